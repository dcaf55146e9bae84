#pragma once

#include "home_writer.h"

#include <string>

namespace selfdeploy {

// Replaces one domain with a package's settings text, as Sorvane's own
// deployment does: the keys the text does not hold are gone afterwards. A
// dconf domain goes through the desktop's own dconf program ("dconf reset -f"
// on its directory, then "dconf load"), which reaches the user's
// dconf-service on the session bus; should the load fail, the domain's former
// settings are loaded back. A Flatpak application's settings store is its key
// file, replaced whole.
class DomainWriter {
public:
    // dconf: the dconf program; empty when the desktop has none.
    DomainWriter(std::string dconf, const HomeWriter& home);

    // False with *error saying why.
    bool write(const std::string& domain, const std::string& text, std::string* error) const;

private:
    bool loadIntoDconf(const std::string& directory, const std::string& text,
                       std::string* why) const;

    std::string dconf_;
    const HomeWriter& home_;
};

} // namespace selfdeploy
