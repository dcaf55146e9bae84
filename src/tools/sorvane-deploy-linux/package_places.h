#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace selfdeploy {

// Where each part of a package goes on this desktop, decided from the
// package's own names before anything is written. Every rule refuses rather
// than repairs: a name that needs repairing did not come from Sorvane.
class PackagePlaces {
public:
    using Components = std::vector<std::string>;

    // The folders and file name below the home folder of a stored path,
    // which must be "~/" followed by names that are neither empty, "." nor
    // "..": nothing for a path that could lead anywhere but into the home.
    static std::optional<Components> homeComponents(const std::string& stored);
    // The dconf directory of a dotted domain ("org.example.Notes" is
    // "/org/example/Notes/", "%2E" a dot inside a name and "%25" a percent
    // sign); empty when the name is not a dconf domain (a name starting
    // with "flatpak:" never is).
    static std::string dconfDirectoryOf(const std::string& domain);
    // The key file of a Flatpak application's settings store, the domain
    // "flatpak:<id>", below the home folder; nothing for another name.
    static std::optional<Components> flatpakKeyfileOf(const std::string& domain);
    // Whether settings text reads as a key file (groups, "key=value" lines,
    // comments and blank lines): the form of every Linux domain's text, and
    // not the form of a macOS home folder's settings.
    static bool isKeyFileText(const std::string& text);
    // The number of "key=value" lines inside the groups of key-file text.
    static std::size_t keyCount(const std::string& text);
};

} // namespace selfdeploy
