#include "package_places.h"

#include "linux/dconf_names.h"
#include "util/plain_text.h"

#include <algorithm>

namespace selfdeploy {

namespace {

constexpr const char* kFlatpakPrefix = "flatpak:";

// Control characters have no place in a file or dconf name, and a NUL would
// cut the name short on its way to the system.
bool hasControlCharacter(const std::string& text) {
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; });
}

bool isPlainName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
           !hasControlCharacter(name);
}

bool isKeyLine(const std::string& line) {
    const auto equals = line.find('=');
    return equals != std::string::npos && !sv::plain::trimmed(line.substr(0, equals)).empty();
}

} // namespace

std::optional<PackagePlaces::Components> PackagePlaces::homeComponents(const std::string& stored) {
    if (stored.rfind("~/", 0) != 0)
        return std::nullopt;
    const Components components = sv::plain::split(stored.substr(2), '/');
    if (!std::all_of(components.begin(), components.end(), isPlainName))
        return std::nullopt;
    return components;
}

std::string PackagePlaces::dconfDirectoryOf(const std::string& domain) {
    // Every name with the prefix is a Flatpak store's, valid or not.
    if (domain.empty() || hasControlCharacter(domain) || domain.rfind(kFlatpakPrefix, 0) == 0)
        return {};
    return DconfNames::pathOfDomain(domain);
}

std::optional<PackagePlaces::Components>
PackagePlaces::flatpakKeyfileOf(const std::string& domain) {
    if (domain.rfind(kFlatpakPrefix, 0) != 0)
        return std::nullopt;
    const std::string id = domain.substr(std::string(kFlatpakPrefix).size());
    // Flatpak IDs are reverse-DNS names, never hidden files.
    if (!isPlainName(id) || id.front() == '.' || id.find('.') == std::string::npos)
        return std::nullopt;
    return Components{".var", "app", id, "config", "glib-2.0", "settings", "keyfile"};
}

bool PackagePlaces::isKeyFileText(const std::string& text) {
    if (text.find('\0') != std::string::npos)
        return false;
    bool inGroup = false;
    for (const std::string& raw : sv::plain::split(text, '\n')) {
        const std::string line = sv::plain::trimmed(raw);
        if (line.empty() || line.front() == '#')
            continue;
        const bool group = line.size() > 2 && line.front() == '[' && line.back() == ']';
        // A key file's first entry is a group.
        if (!group && !(inGroup && isKeyLine(line)))
            return false;
        inGroup = inGroup || group;
    }
    return true;
}

std::size_t PackagePlaces::keyCount(const std::string& text) {
    std::size_t count = 0;
    bool inGroup = false;
    for (const std::string& raw : sv::plain::split(text, '\n')) {
        const std::string line = sv::plain::trimmed(raw);
        if (!line.empty() && line.front() == '[')
            inGroup = true;
        else if (inGroup && !line.empty() && line.front() != '#' && isKeyLine(line))
            ++count;
    }
    return count;
}

} // namespace selfdeploy
