#pragma once

#include <string>
#include <vector>

// Sorvane's `defaults` program on the Linux desktop: the same verbs over the
// user's dconf settings, a domain being a dconf directory with its subtree
// ("org.gnome.TextEditor"). `domains` lists the domains that hold user values
// joined by ", "; `read DOMAIN` prints the domain as dconf key-file text with
// the values' types; `write DOMAIN TEXT` replaces the domain with the text
// (values absent from it are reset); `delete DOMAIN` resets the domain. A
// Flatpak application's own settings store is the domain "flatpak:<id>".
// Complaints are one line on standard error with exit status 1. Built without
// Qt so that it starts as fast as dconf's own tool.
class LinuxDefaultsCommand {
public:
    struct Result {
        int exitCode = 0;
        std::string output;
        std::string error;
    };

    static Result run(const std::vector<std::string>& arguments);
};
