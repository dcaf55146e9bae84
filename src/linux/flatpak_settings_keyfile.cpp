#include "linux/flatpak_settings_keyfile.h"

#include "linux/dconf_store.h"

#include <glib.h>
#include <glib/gstdio.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

#include <dirent.h>
#include <sys/stat.h>

namespace {

const std::string kStore = "/config/glib-2.0/settings/keyfile";

bool fail(std::string* error, const std::string& message) {
    if (error)
        *error = message;
    return false;
}

// ~/.var/app, where Flatpak keeps each application's home data. GLib's home
// folder is HOME when it is set, as in Flatpak itself.
std::string containers() {
    return std::string(g_get_home_dir()) + "/.var/app";
}

// Flatpak IDs are reverse-DNS names: nothing that could leave the folder.
bool isFlatpakId(const std::string& id) {
    return !id.empty() && id.find('/') == std::string::npos && id.front() != '.' &&
           id.find('.') != std::string::npos;
}

long long sizeOf(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) ? info.st_size : -1;
}

} // namespace

bool FlatpakSettingsKeyfile::hasPrefix(const std::string& name) {
    return name.rfind(prefix, 0) == 0;
}

bool FlatpakSettingsKeyfile::isDomain(const std::string& name) {
    return hasPrefix(name) && isFlatpakId(name.substr(std::strlen(prefix)));
}

std::string FlatpakSettingsKeyfile::domainOf(const std::string& flatpakId) {
    return prefix + flatpakId;
}

std::string FlatpakSettingsKeyfile::pathOf(const std::string& domain) {
    if (!isDomain(domain))
        return {};
    return containers() + '/' + domain.substr(std::strlen(prefix)) + kStore;
}

std::vector<std::string> FlatpakSettingsKeyfile::userDomains() {
    std::vector<std::string> domains;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(containers().c_str()), ::closedir);
    if (!folder)
        return domains;
    while (const dirent* entry = ::readdir(folder.get())) {
        const std::string id = entry->d_name;
        if (isFlatpakId(id) && sizeOf(containers() + '/' + id + kStore) > 0)
            domains.push_back(domainOf(id));
    }
    std::sort(domains.begin(), domains.end());
    return domains;
}

std::optional<std::string> FlatpakSettingsKeyfile::read(const std::string& domain) {
    const std::string path = pathOf(domain);
    if (path.empty() || sizeOf(path) < 0)
        return std::string();
    gchar* contents = nullptr;
    gsize length = 0;
    if (!g_file_get_contents(path.c_str(), &contents, &length, nullptr))
        return std::nullopt;
    std::string text(contents, length);
    g_free(contents);
    return text;
}

bool FlatpakSettingsKeyfile::write(const std::string& domain, const std::string& text,
                                   std::string* error) {
    const std::string path = pathOf(domain);
    if (path.empty())
        return fail(error, domain + " is not a domain");
    // The same text a dconf domain takes, so the same check.
    if (!DconfStore::valuesOfText(text))
        return fail(error, "Cannot write " + domain + ": the text is not a settings key file");
    gchar* folder = g_path_get_dirname(path.c_str());
    const int made = g_mkdir_with_parents(folder, 0700);
    g_free(folder);
    GError* rawError = nullptr;
    // g_file_set_contents writes a temporary file and renames it over the store.
    if (made != 0 ||
        !g_file_set_contents(path.c_str(), text.data(), gssize(text.size()), &rawError)) {
        const std::string why = rawError ? rawError->message : std::strerror(errno);
        if (rawError)
            g_error_free(rawError);
        return fail(error, "Cannot write " + domain + ": " + why);
    }
    return true;
}

bool FlatpakSettingsKeyfile::remove(const std::string& domain, std::string* error) {
    const std::string path = pathOf(domain);
    if (path.empty())
        return fail(error, domain + " is not a domain");
    if (g_unlink(path.c_str()) != 0 && errno != ENOENT)
        return fail(error, "Cannot delete " + domain + ": " + std::strerror(errno));
    return true;
}
