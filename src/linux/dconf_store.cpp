#include "linux/dconf_store.h"

#include "linux/dconf_names.h"
#include "util/plain_text.h"

#include <dconf.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>

#include <sys/stat.h>
#include <unistd.h>

namespace {

struct ObjectDeleter {
    void operator()(gpointer object) const { g_object_unref(object); }
};
struct VariantDeleter {
    void operator()(GVariant* value) const { g_variant_unref(value); }
};
struct StrvDeleter {
    void operator()(gchar** strings) const { g_strfreev(strings); }
};
struct FreeDeleter {
    void operator()(gpointer memory) const { g_free(memory); }
};
struct ErrorDeleter {
    void operator()(GError* error) const { g_error_free(error); }
};
struct KeyFileDeleter {
    void operator()(GKeyFile* file) const { g_key_file_free(file); }
};
struct ChangesetDeleter {
    void operator()(DConfChangeset* changes) const { dconf_changeset_unref(changes); }
};
using Client = std::unique_ptr<DConfClient, ObjectDeleter>;
using Variant = std::unique_ptr<GVariant, VariantDeleter>;
using Strv = std::unique_ptr<gchar*, StrvDeleter>;
using Text = std::unique_ptr<gchar, FreeDeleter>;
using Error = std::unique_ptr<GError, ErrorDeleter>;
using KeyFile = std::unique_ptr<GKeyFile, KeyFileDeleter>;
using Changeset = std::unique_ptr<DConfChangeset, ChangesetDeleter>;

bool fail(std::string* error, const std::string& message) {
    if (error)
        *error = message;
    return false;
}

// --- names ---------------------------------------------------------------

// --- reading -------------------------------------------------------------

bool isReadableFile(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
           ::access(path.c_str(), R_OK) == 0;
}

// Where dconf looks for a profile named without a path: /etc first, then the
// data folders.
std::vector<std::string> profileFolders() {
    std::vector<std::string> folders{"/etc/dconf/profile"};
    const char* variable = std::getenv("XDG_DATA_DIRS");
    const std::string dataFolders =
        variable && *variable ? variable : "/usr/local/share:/usr/share";
    for (const std::string& folder : sv::plain::split(dataFolders, ':')) {
        if (!folder.empty())
            folders.push_back(folder + "/dconf/profile");
    }
    return folders;
}

// A DCONF_PROFILE that cannot be opened makes dconf fall back, with only a
// warning, to a configuration without databases: everything would look empty.
bool profileIsReadable() {
    const char* variable = std::getenv("DCONF_PROFILE");
    const std::string profile = variable ? variable : "";
    if (profile.empty())
        return true;
    if (profile.front() == '/')
        return isReadableFile(profile);
    const std::vector<std::string> folders = profileFolders();
    return std::any_of(folders.cbegin(), folders.cend(), [&profile](const std::string& folder) {
        return isReadableFile(folder + '/' + profile);
    });
}

// dconf reads the user database from the folder GLib names, as we do here.
bool userDatabaseIsReadable() {
    const std::string path = std::string(g_get_user_config_dir()) + "/dconf/user";
    struct stat info {};
    return ::lstat(path.c_str(), &info) != 0 || isReadableFile(path);
}

std::optional<Client> openClient(std::string* problem) {
    if (!profileIsReadable()) {
        fail(problem, std::string("dconf cannot be read: its profile ") +
                          std::getenv("DCONF_PROFILE") + " cannot be opened");
        return std::nullopt;
    }
    if (!userDatabaseIsReadable()) {
        fail(problem, "dconf cannot be read: the user database cannot be opened");
        return std::nullopt;
    }
    return Client(dconf_client_new());
}

std::vector<std::string> listEntries(DConfClient* client, const std::string& dir) {
    gint length = 0;
    const Strv items(dconf_client_list(client, dir.c_str(), &length));
    return std::vector<std::string>(items.get(), items.get() + length);
}

bool isDirectory(const std::string& entry) {
    return !entry.empty() && entry.back() == '/';
}

Variant userValue(DConfClient* client, const std::string& key) {
    return Variant(dconf_client_read_full(client, key.c_str(), DCONF_READ_USER_VALUE, nullptr));
}

// Keys before directories, each in byte order: the order "dconf dump" uses,
// which also decides the order of the groups.
void sortForDump(std::vector<std::string>& entries) {
    std::sort(entries.begin(), entries.end(), [](const std::string& a, const std::string& b) {
        if (isDirectory(a) != isDirectory(b))
            return !isDirectory(a);
        return a < b;
    });
}

// Adds dir's user values to the key file under group ("/" for the domain's
// own directory, "sub/dir" below it), then its subdirectories.
void addToKeyFile(GKeyFile* file, DConfClient* client, const std::string& dir,
                  const std::string& group) {
    std::vector<std::string> entries = listEntries(client, dir);
    sortForDump(entries);
    for (const std::string& entry : entries) {
        if (isDirectory(entry)) {
            const std::string name = entry.substr(0, entry.size() - 1);
            addToKeyFile(file, client, dir + entry, group == "/" ? name : group + '/' + name);
            continue;
        }
        const Variant value = userValue(client, dir + entry);
        if (!value)
            continue;
        const Text printed(g_variant_print(value.get(), TRUE));
        g_key_file_set_value(file, group.c_str(), entry.c_str(), printed.get());
    }
}

void collectDomains(DConfClient* client, const std::string& dir,
                    std::vector<std::string>* domains) {
    bool holdsUserValue = false;
    for (const std::string& entry : listEntries(client, dir)) {
        if (isDirectory(entry))
            collectDomains(client, dir + entry, domains);
        // One user value is enough: the rest of the directory need not be read.
        else if (!holdsUserValue)
            holdsUserValue = userValue(client, dir + entry) != nullptr;
    }
    if (holdsUserValue && dir != "/")
        domains->push_back(DconfNames::domainOfPath(dir));
}

// Every key below dir that holds a user value.
void collectUserKeys(DConfClient* client, const std::string& dir, std::vector<std::string>* keys) {
    for (const std::string& entry : listEntries(client, dir)) {
        if (isDirectory(entry))
            collectUserKeys(client, dir + entry, keys);
        else if (userValue(client, dir + entry))
            keys->push_back(dir + entry);
    }
}

// --- writing -------------------------------------------------------------

// The line (from 1) where the key file sets group/key; 0 when not found. A
// key set twice keeps its last value, so the last line counts.
int lineOfKey(const std::string& text, const std::string& group, const std::string& key) {
    const std::vector<std::string> lines = sv::plain::split(text, '\n');
    std::string currentGroup;
    int found = 0;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::string line = sv::plain::trimmed(lines[i]);
        const auto equals = line.find('=');
        if (line.size() >= 2 && line.front() == '[' && line.back() == ']')
            currentGroup = line.substr(1, line.size() - 2);
        else if (!line.empty() && line.front() != '#' && equals != std::string::npos &&
                 currentGroup == group && sv::plain::trimmed(line.substr(0, equals)) == key)
            found = int(i) + 1;
    }
    return found;
}

std::string valueProblem(const std::string& text, const std::string& group, const std::string& key,
                         const std::string& what) {
    return "line " + std::to_string(lineOfKey(text, group, key)) + ": [" + group + "] " + key +
           ": " + what;
}

std::string keyPathOf(const std::string& dir, const std::string& group, const std::string& key) {
    return group == "/" ? dir + key : dir + group + '/' + key;
}

// Adds one group's values to the change; false with the problem when a key's
// path or value is not valid.
bool addGroup(DConfChangeset* changes, GKeyFile* file, const std::string& dir,
              const std::string& group, const std::string& text, std::string* problem) {
    const Strv keys(g_key_file_get_keys(file, group.c_str(), nullptr, nullptr));
    for (gchar** key = keys.get(); key && *key; ++key) {
        const std::string path = keyPathOf(dir, group, *key);
        GError* rawError = nullptr;
        if (!dconf_is_key(path.c_str(), &rawError)) {
            const Error pathError(rawError);
            return fail(problem,
                        valueProblem(text, group, *key,
                                     std::string("invalid key path: ") + pathError->message));
        }
        const Text raw(g_key_file_get_value(file, group.c_str(), *key, nullptr));
        const Variant value(g_variant_parse(nullptr, raw.get(), nullptr, nullptr, &rawError));
        if (!value) {
            const Error parseError(rawError);
            return fail(problem, valueProblem(text, group, *key,
                                              std::string("invalid value ") + raw.get() + ": " +
                                                  parseError->message));
        }
        dconf_changeset_set(changes, path.c_str(), value.get());
    }
    return true;
}

// Adds every value of the key-file text to the change, below dir.
bool addValues(DConfChangeset* changes, const std::string& dir, const std::string& text,
               std::string* problem) {
    const KeyFile file(g_key_file_new());
    GError* rawError = nullptr;
    if (!g_key_file_load_from_data(file.get(), text.data(), text.size(), G_KEY_FILE_NONE,
                                   &rawError)) {
        const Error loadError(rawError);
        return fail(problem, std::string("the text is not a key file: ") + loadError->message);
    }
    const Strv groups(g_key_file_get_groups(file.get(), nullptr));
    for (gchar** group = groups.get(); *group; ++group) {
        if (!addGroup(changes, file.get(), dir, *group, text, problem))
            return false;
    }
    return true;
}

// Errors that mean the service was never reached: no bus, no dconf service on
// it, or no answer.
bool isUnreachable(const GError* error) {
    if (error->domain == G_IO_ERROR)
        return true;
    if (error->domain != G_DBUS_ERROR)
        return false;
    switch (error->code) {
    case G_DBUS_ERROR_SERVICE_UNKNOWN:
    case G_DBUS_ERROR_NAME_HAS_NO_OWNER:
    case G_DBUS_ERROR_NO_REPLY:
    case G_DBUS_ERROR_TIMEOUT:
    case G_DBUS_ERROR_TIMED_OUT:
    case G_DBUS_ERROR_DISCONNECTED:
    case G_DBUS_ERROR_NO_SERVER:
    case G_DBUS_ERROR_NO_NETWORK:
    case G_DBUS_ERROR_FILE_NOT_FOUND:
    case G_DBUS_ERROR_SPAWN_EXEC_FAILED:
    case G_DBUS_ERROR_SPAWN_FORK_FAILED:
    case G_DBUS_ERROR_SPAWN_CHILD_EXITED:
    case G_DBUS_ERROR_SPAWN_CHILD_SIGNALED:
    case G_DBUS_ERROR_SPAWN_FAILED:
    case G_DBUS_ERROR_SPAWN_SERVICE_NOT_FOUND:
    case G_DBUS_ERROR_SPAWN_SERVICE_INVALID:
    case G_DBUS_ERROR_SPAWN_FILE_INVALID:
    case G_DBUS_ERROR_SPAWN_NO_MEMORY:
        return true;
    default:
        return false;
    }
}

// One line: dconf's messages may carry line ends and runs of spaces.
std::string simplified(const std::string& text) {
    std::istringstream words(text);
    std::string word;
    std::string result;
    while (words >> word) {
        if (!result.empty())
            result += ' ';
        result += word;
    }
    return result;
}

std::string describeFailure(GError* error) {
    g_dbus_error_strip_remote_error(error);
    const std::string message = simplified(error->message);
    if (error->domain == DCONF_ERROR)
        return "dconf refused the change: " + message;
    if (isUnreachable(error))
        return "dconf is not reachable: " + message;
    return "dconf could not make the change: " + message;
}

bool apply(DConfClient* client, DConfChangeset* changes, std::string* error) {
    GError* rawError = nullptr;
    if (dconf_client_change_sync(client, changes, nullptr, nullptr, &rawError))
        return true;
    const Error changeError(rawError);
    return fail(error, describeFailure(changeError.get()));
}

// Resets, in the same change, every user key below dir that the change does
// not set. A directory reset would be simpler, but dconf-service drops from a
// change every value equal to the stored one before it applies the change's
// directory resets, so the reset would take those values away. A key that
// the system has locked since the user set it cannot be reset, and its value
// counts for nothing: it is left alone rather than refusing the whole change.
void resetOtherUserKeys(DConfClient* client, DConfChangeset* changes, const std::string& dir) {
    std::vector<std::string> keys;
    collectUserKeys(client, dir, &keys);
    for (const std::string& key : keys) {
        if (!dconf_changeset_get(changes, key.c_str(), nullptr) &&
            dconf_client_is_writable(client, key.c_str()))
            dconf_changeset_set(changes, key.c_str(), nullptr);
    }
}

} // namespace

std::optional<std::vector<std::string>> DconfStore::userDomains(std::string* problem) {
    const std::optional<Client> client = openClient(problem);
    if (!client)
        return std::nullopt;
    std::vector<std::string> domains;
    collectDomains(client->get(), "/", &domains);
    std::sort(domains.begin(), domains.end());
    return domains;
}

std::optional<std::string> DconfStore::read(const std::string& domain, std::string* problem) {
    const std::string path = DconfNames::pathOfDomain(domain);
    if (path.empty()) {
        fail(problem, domain + " is not a dconf domain");
        return std::nullopt;
    }
    const std::optional<Client> client = openClient(problem);
    if (!client)
        return std::nullopt;
    const KeyFile file(g_key_file_new());
    addToKeyFile(file.get(), client->get(), path, "/");
    const Text data(g_key_file_to_data(file.get(), nullptr, nullptr));
    return std::string(data.get());
}

bool DconfStore::write(const std::string& domain, const std::string& text, std::string* error) {
    const std::string dir = DconfNames::pathOfDomain(domain);
    if (dir.empty())
        return fail(error, domain + " is not a dconf domain");
    const Changeset changes(dconf_changeset_new());
    std::string problem;
    if (!addValues(changes.get(), dir, text, &problem))
        return fail(error, "Cannot write " + domain + ": " + problem);
    const std::optional<Client> client = openClient(nullptr);
    if (!client)
        return fail(error, "Cannot write " + domain + ": dconf cannot be read");
    // One change holds the new values and the resets: readers see the old
    // domain or the new one, never a mixture.
    resetOtherUserKeys(client->get(), changes.get(), dir);
    std::string failure;
    if (apply(client->get(), changes.get(), &failure))
        return true;
    return fail(error, "Cannot write " + domain + ": " + failure);
}

bool DconfStore::remove(const std::string& domain, std::string* error) {
    const std::string path = DconfNames::pathOfDomain(domain);
    if (path.empty())
        return fail(error, domain + " is not a dconf domain");
    const Client client(dconf_client_new());
    const Changeset changes(dconf_changeset_new());
    dconf_changeset_set(changes.get(), path.c_str(), nullptr);
    std::string failure;
    if (apply(client.get(), changes.get(), &failure))
        return true;
    return fail(error, "Cannot delete " + domain + ": " + failure);
}

std::optional<std::map<std::string, std::string>>
DconfStore::valuesOfText(const std::string& text) {
    const Changeset changes(dconf_changeset_new());
    if (!addValues(changes.get(), "/", text, nullptr))
        return std::nullopt;
    const gchar* prefix = nullptr;
    const gchar* const* paths = nullptr;
    GVariant* const* values = nullptr;
    const guint count = dconf_changeset_describe(changes.get(), &prefix, &paths, &values);
    std::map<std::string, std::string> result;
    for (guint i = 0; i < count; ++i) {
        const Text printed(g_variant_print(values[i], TRUE));
        result.emplace((std::string(prefix) + paths[i]).substr(1), printed.get());
    }
    return result;
}
