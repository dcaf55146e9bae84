#pragma once

#include "keyed_archive_reader.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace selfdeploy {

// One captured domain: its name as Sorvane names it ("org.example.Notes", or
// "flatpak:<id>" for a Flatpak's settings store) and its settings text.
struct PackagedDomain {
    std::string name;
    std::string text;
};

// One extra file, under the "~/…" path the packing user's home gave it.
struct PackagedFile {
    std::string storedPath;
    std::string bytes;
};

// A component or an application of the package.
struct PackagedItem {
    bool application = false;
    std::string name;
    std::string description; // components only
    std::string identifier;  // applications: the desktop-file or Flatpak ID
    std::vector<PackagedDomain> domains;
    std::vector<PackagedFile> files;
};

// What a package holds, read from its archive as Sorvane's own package reader
// reads it: records without a name are passed over; components come first.
struct PackageContents {
    std::vector<PackagedItem> items;

    // Nothing with *problem when the root is not a package or holds nothing.
    static std::optional<PackageContents> fromArchive(const ArchivedValue& root,
                                                      std::string* problem);

    std::size_t componentCount() const;
    std::size_t applicationCount() const;
    std::size_t domainCount() const;
    std::size_t fileCount() const;
};

} // namespace selfdeploy
