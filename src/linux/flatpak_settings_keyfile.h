#pragma once

#include <optional>
#include <string>
#include <vector>

// A Flatpak application's own GSettings store: inside its sandbox GLib keeps
// the settings in ~/.var/app/<id>/config/glib-2.0/settings/keyfile rather
// than in the host's dconf. Sorvane treats that file as one more domain of
// the application, named "flatpak:<id>", with the verbs of the dconf domains.
// Its text is the key file itself: groups are dconf paths without their outer
// slashes ("[org/gnome/TextEditor]"), values GVariant text with their types.
// Without Qt, like the defaults program that serves it; strings are UTF-8.
class FlatpakSettingsKeyfile {
public:
    static constexpr const char* prefix = "flatpak:";

    static bool hasPrefix(const std::string& name);
    static bool isDomain(const std::string& name);
    static std::string domainOf(const std::string& flatpakId);
    // The file behind a domain; empty when the name is not one.
    static std::string pathOf(const std::string& domain);

    // The domains of every Flatpak application whose store holds a value, sorted.
    static std::vector<std::string> userDomains();
    // The file's text; empty for an absent or empty store, nothing when it
    // cannot be read.
    static std::optional<std::string> read(const std::string& domain);
    // Replaces the store with the text, which must be a key file whose every
    // value parses; the file is replaced whole, so a reader sees the old or
    // the new one.
    static bool write(const std::string& domain, const std::string& text, std::string* error);
    static bool remove(const std::string& domain, std::string* error);
};
