#include "linux_defaults_command.h"

#include "linux/dconf_names.h"
#include "linux/dconf_store.h"
#include "linux/flatpak_settings_keyfile.h"

namespace {

using Result = LinuxDefaultsCommand::Result;

const char* const usage = "usage: defaults domains\n"
                          "       defaults read domain\n"
                          "       defaults write domain '<dconf key-file text>'\n"
                          "       defaults delete domain\n";

Result failure(const std::string& message) {
    return {1, {}, !message.empty() && message.back() == '\n' ? message : message + '\n'};
}

Result success(const std::string& output = {}) {
    return {0, output, {}};
}

// Every name with the Flatpak store's prefix is one, valid or not: it never
// falls through to a dconf directory of that name.
bool isDomain(const std::string& name) {
    return FlatpakSettingsKeyfile::hasPrefix(name) ? FlatpakSettingsKeyfile::isDomain(name)
                                                   : !DconfNames::pathOfDomain(name).empty();
}

Result domains() {
    std::string problem;
    const auto names = DconfStore::userDomains(&problem);
    if (!names)
        return failure(problem);
    std::vector<std::string> all = *names;
    for (const std::string& store : FlatpakSettingsKeyfile::userDomains())
        all.push_back(store);
    std::string joined;
    for (const std::string& name : all)
        joined.append(joined.empty() ? "" : ", ").append(name);
    return success(joined + '\n');
}

Result read(const std::string& domain) {
    if (!isDomain(domain))
        return failure(domain + " is not a domain");
    std::string problem;
    const bool flatpak = FlatpakSettingsKeyfile::hasPrefix(domain);
    const std::optional<std::string> text =
        flatpak ? FlatpakSettingsKeyfile::read(domain) : DconfStore::read(domain, &problem);
    if (!text)
        return failure(flatpak ? domain + " cannot be read" : problem);
    if (text->empty())
        return failure("Domain " + domain + " does not exist");
    return success(*text);
}

Result change(bool done, const std::string& error) {
    return done ? success() : failure(error);
}

} // namespace

Result LinuxDefaultsCommand::run(const std::vector<std::string>& arguments) {
    const std::string verb = arguments.empty() ? std::string() : arguments.front();
    const std::string name = arguments.size() > 1 ? arguments[1] : std::string();
    const bool flatpak = FlatpakSettingsKeyfile::hasPrefix(name);
    std::string error;
    if (verb == "domains" && arguments.size() == 1)
        return domains();
    if (verb == "read" && arguments.size() == 2)
        return read(name);
    if (verb == "write" && arguments.size() == 3)
        return change(flatpak ? FlatpakSettingsKeyfile::write(name, arguments[2], &error)
                              : DconfStore::write(name, arguments[2], &error),
                      error);
    if (verb == "delete" && arguments.size() == 2)
        return change(flatpak ? FlatpakSettingsKeyfile::remove(name, &error)
                              : DconfStore::remove(name, &error),
                      error);
    return failure(usage);
}
