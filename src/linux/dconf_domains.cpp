#include "linux/dconf_domains.h"

#include "util/like_matcher.h"
#include "util/logging.h"

#include <QFile>
#include <QFileInfo>

#include <dconf.h>

#include <algorithm>
#include <memory>

using namespace Qt::StringLiterals;

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

// --- names ---------------------------------------------------------------

QString escapeComponent(const QString& component) {
    QString escaped = component;
    escaped.replace(u'%', u"%25"_s);
    escaped.replace(u'.', u"%2E"_s);
    return escaped;
}

// Undoes escapeComponent; nothing for a "%" that is not one of its escapes.
std::optional<QString> unescapeComponent(const QString& component) {
    QString plain;
    for (qsizetype i = 0; i < component.size(); ++i) {
        if (component[i] != u'%') {
            plain += component[i];
            continue;
        }
        const QString code = component.mid(i + 1, 2).toUpper();
        if (code == u"25"_s)
            plain += u'%';
        else if (code == u"2E"_s)
            plain += u'.';
        else
            return std::nullopt;
        i += 2;
    }
    return plain;
}

// --- matching ------------------------------------------------------------

// A component as it is compared loosely: without dashes and underscores
// and, on the application's side only, without a trailing version number
// (unless nothing else is left): "Rhythmbox3" keeps its settings in
// "rhythmbox", but "game2" and "game3" are two applications.
QString looseComponent(const QString& component, bool withoutVersion) {
    QString loose = component;
    loose.remove(u'-');
    loose.remove(u'_');
    qsizetype end = loose.size();
    while (withoutVersion && end > 0 && loose[end - 1].isDigit())
        --end;
    if (end > 0)
        loose.truncate(end);
    return loose;
}

QString looseName(const QString& name, bool withoutVersion) {
    QStringList components = name.split(u'.');
    for (QString& component : components)
        component = looseComponent(component, withoutVersion);
    return components.join(u'.');
}

bool nameMatches(const QString& name, const QString& pattern, const QString& loosePattern) {
    return sv::isCaseInsensitiveLike(name, pattern) ||
           sv::isCaseInsensitiveLike(looseName(name, false), loosePattern);
}

// Whether the domain, or a domain it lies below, matches.
bool domainOrParentMatches(const QString& domain, const QString& pattern,
                           const QString& loosePattern) {
    qsizetype end = domain.size();
    while (end > 0) {
        if (nameMatches(domain.left(end), pattern, loosePattern))
            return true;
        end = domain.lastIndexOf(u'.', end - 1);
    }
    return false;
}

// --- reading -------------------------------------------------------------

QString profileFolderFor(const QString& dataFolder) {
    return dataFolder + u"/dconf/profile"_s;
}

bool isReadableFile(const QString& path) {
    QFile file(path);
    return QFileInfo(path).isFile() && file.open(QIODevice::ReadOnly);
}

// Where dconf looks for a profile named without a path: /etc first, then the
// data folders.
QStringList profileFolders() {
    QStringList folders{u"/etc/dconf/profile"_s};
    QString dataFolders = qEnvironmentVariable("XDG_DATA_DIRS");
    if (dataFolders.isEmpty())
        dataFolders = u"/usr/local/share:/usr/share"_s;
    const QStringList dataList = dataFolders.split(u':', Qt::SkipEmptyParts);
    for (const QString& folder : dataList)
        folders.append(profileFolderFor(folder));
    return folders;
}

// A DCONF_PROFILE that cannot be opened makes dconf fall back, with only a
// warning, to a configuration without databases: everything would look empty.
bool profileIsReadable() {
    const QString profile = qEnvironmentVariable("DCONF_PROFILE");
    if (profile.isEmpty())
        return true;
    if (profile.startsWith(u'/'))
        return isReadableFile(profile);
    const QStringList folders = profileFolders();
    return std::any_of(folders.cbegin(), folders.cend(), [&profile](const QString& folder) {
        return isReadableFile(folder + u'/' + profile);
    });
}

// dconf reads the user database from the folder GLib names, as we do here.
bool userDatabaseIsReadable() {
    const QString path = QFile::decodeName(g_get_user_config_dir()) + u"/dconf/user"_s;
    return !QFileInfo::exists(path) || isReadableFile(path);
}

std::optional<Client> openClient() {
    if (!profileIsReadable()) {
        sv::log(u"dconf cannot be read: its profile %1 cannot be opened"_s.arg(
            qEnvironmentVariable("DCONF_PROFILE")));
        return std::nullopt;
    }
    if (!userDatabaseIsReadable()) {
        sv::log(u"dconf cannot be read: the user database cannot be opened"_s);
        return std::nullopt;
    }
    return Client(dconf_client_new());
}

QList<QByteArray> listEntries(DConfClient* client, const QByteArray& dir) {
    gint length = 0;
    const Strv items(dconf_client_list(client, dir.constData(), &length));
    QList<QByteArray> entries;
    entries.reserve(length);
    for (gint i = 0; i < length; ++i)
        entries.append(QByteArray(items.get()[i]));
    return entries;
}

bool isDirectory(const QByteArray& entry) {
    return entry.endsWith('/');
}

Variant userValue(DConfClient* client, const QByteArray& key) {
    return Variant(dconf_client_read_full(client, key.constData(), DCONF_READ_USER_VALUE, nullptr));
}

// Keys before directories, each in byte order: the order "dconf dump" uses,
// which also decides the order of the groups.
void sortForDump(QList<QByteArray>& entries) {
    std::sort(entries.begin(), entries.end(), [](const QByteArray& a, const QByteArray& b) {
        if (isDirectory(a) != isDirectory(b))
            return !isDirectory(a);
        return a < b;
    });
}

// Adds dir's user values to the key file under group ("/" for the domain's
// own directory, "sub/dir" below it), then its subdirectories.
void addToKeyFile(GKeyFile* file, DConfClient* client, const QByteArray& dir,
                  const QByteArray& group) {
    QList<QByteArray> entries = listEntries(client, dir);
    sortForDump(entries);
    for (const QByteArray& entry : std::as_const(entries)) {
        if (isDirectory(entry)) {
            const QByteArray name = entry.chopped(1);
            addToKeyFile(file, client, dir + entry, group == "/" ? name : group + '/' + name);
            continue;
        }
        const Variant value = userValue(client, dir + entry);
        if (!value)
            continue;
        const Text printed(g_variant_print(value.get(), TRUE));
        g_key_file_set_value(file, group.constData(), entry.constData(), printed.get());
    }
}

void collectDomains(DConfClient* client, const QByteArray& dir, QStringList* domains) {
    const QList<QByteArray> entries = listEntries(client, dir);
    bool holdsUserValue = false;
    for (const QByteArray& entry : entries) {
        if (isDirectory(entry))
            collectDomains(client, dir + entry, domains);
        // One user value is enough: the rest of the directory need not be read.
        else if (!holdsUserValue)
            holdsUserValue = userValue(client, dir + entry) != nullptr;
    }
    if (holdsUserValue && dir != "/")
        domains->append(DconfDomains::domainOfPath(QString::fromUtf8(dir)));
}

// Every key below dir that holds a user value.
void collectUserKeys(DConfClient* client, const QByteArray& dir, QList<QByteArray>* keys) {
    const QList<QByteArray> entries = listEntries(client, dir);
    for (const QByteArray& entry : entries) {
        if (isDirectory(entry))
            collectUserKeys(client, dir + entry, keys);
        else if (userValue(client, dir + entry))
            keys->append(dir + entry);
    }
}

// --- writing -------------------------------------------------------------

// The caller reports the error: the defaults program prints it once.
bool fail(QString* error, const QString& message) {
    if (error)
        *error = message;
    return false;
}

// The line (from 1) where the key file sets group/key; 0 when not found. A
// key set twice keeps its last value, so the last line counts.
int lineOfKey(const QString& text, const QString& group, const QString& key) {
    const QStringList lines = text.split(u'\n');
    QString currentGroup;
    int found = 0;
    for (int i = 0; i < lines.size(); ++i) {
        const QString line = lines[i].trimmed();
        if (line.startsWith(u'[') && line.endsWith(u']'))
            currentGroup = line.mid(1, line.size() - 2);
        else if (!line.startsWith(u'#') && line.contains(u'=') && currentGroup == group &&
                 line.left(line.indexOf(u'=')).trimmed() == key)
            found = i + 1;
    }
    return found;
}

QString valueProblem(const QString& text, const QByteArray& group, const QByteArray& key,
                     const QString& what) {
    const QString groupName = QString::fromUtf8(group);
    const QString keyName = QString::fromUtf8(key);
    return u"line %1: [%2] %3: %4"_s.arg(lineOfKey(text, groupName, keyName))
        .arg(groupName, keyName, what);
}

QByteArray keyPathOf(const QByteArray& dir, const QByteArray& group, const QByteArray& key) {
    return group == "/" ? dir + key : dir + group + '/' + key;
}

// Adds one group's values to the change; false with the problem when a key's
// path or value is not valid.
bool addGroup(DConfChangeset* changes, GKeyFile* file, const QByteArray& dir,
              const QByteArray& group, const QString& text, QString* problem) {
    const Strv keys(g_key_file_get_keys(file, group.constData(), nullptr, nullptr));
    for (gchar** key = keys.get(); key && *key; ++key) {
        const QByteArray path = keyPathOf(dir, group, *key);
        GError* rawError = nullptr;
        if (!dconf_is_key(path.constData(), &rawError)) {
            const Error pathError(rawError);
            *problem = valueProblem(
                text, group, *key, u"invalid key path: "_s + QString::fromUtf8(pathError->message));
            return false;
        }
        const Text raw(g_key_file_get_value(file, group.constData(), *key, nullptr));
        const Variant value(g_variant_parse(nullptr, raw.get(), nullptr, nullptr, &rawError));
        if (!value) {
            const Error parseError(rawError);
            *problem =
                valueProblem(text, group, *key,
                             u"invalid value %1: %2"_s.arg(QString::fromUtf8(raw.get()),
                                                           QString::fromUtf8(parseError->message)));
            return false;
        }
        dconf_changeset_set(changes, path.constData(), value.get());
    }
    return true;
}

// Adds every value of the key-file text to the change, below dir.
bool addValues(DConfChangeset* changes, const QByteArray& dir, const QString& text,
               QString* problem) {
    const KeyFile file(g_key_file_new());
    const QByteArray data = text.toUtf8();
    GError* rawError = nullptr;
    if (!g_key_file_load_from_data(file.get(), data.constData(), data.size(), G_KEY_FILE_NONE,
                                   &rawError)) {
        const Error loadError(rawError);
        *problem = u"the text is not a key file: "_s + QString::fromUtf8(loadError->message);
        return false;
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

QString describeFailure(GError* error) {
    g_dbus_error_strip_remote_error(error);
    const QString message = QString::fromUtf8(error->message).simplified();
    if (error->domain == DCONF_ERROR)
        return u"dconf refused the change: "_s + message;
    if (isUnreachable(error))
        return u"dconf is not reachable: "_s + message;
    return u"dconf could not make the change: "_s + message;
}

bool apply(DConfClient* client, DConfChangeset* changes, QString* error) {
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
void resetOtherUserKeys(DConfClient* client, DConfChangeset* changes, const QByteArray& dir) {
    QList<QByteArray> keys;
    collectUserKeys(client, dir, &keys);
    for (const QByteArray& key : std::as_const(keys)) {
        if (!dconf_changeset_get(changes, key.constData(), nullptr) &&
            dconf_client_is_writable(client, key.constData()))
            dconf_changeset_set(changes, key.constData(), nullptr);
    }
}

} // namespace

QString DconfDomains::pathOfDomain(const QString& domain) {
    if (domain.isEmpty())
        return {};
    const QStringList components = domain.split(u'.');
    QString path = u"/"_s;
    for (const QString& component : components) {
        const std::optional<QString> plain = unescapeComponent(component);
        if (!plain || plain->isEmpty() || plain->contains(u'/'))
            return {};
        path += *plain + u'/';
    }
    return path;
}

QString DconfDomains::domainOfPath(const QString& path) {
    if (path.size() < 3 || !path.startsWith(u'/') || !path.endsWith(u'/'))
        return {};
    const QStringList components = path.mid(1, path.size() - 2).split(u'/');
    QStringList escaped;
    for (const QString& component : components) {
        if (component.isEmpty())
            return {};
        escaped.append(escapeComponent(component));
    }
    return escaped.join(u'.');
}

QStringList DconfDomains::matches(const QStringList& domains, const QString& pattern) {
    const QString loosePattern = looseName(pattern, true);
    QStringList found;
    for (const QString& domain : domains) {
        if (domainOrParentMatches(domain, pattern, loosePattern))
            found.append(domain);
    }
    return found;
}

std::optional<QStringList> DconfDomains::userDomains() const {
    const std::optional<Client> client = openClient();
    if (!client)
        return std::nullopt;
    QStringList domains;
    collectDomains(client->get(), "/", &domains);
    std::sort(domains.begin(), domains.end());
    return domains;
}

std::optional<QString> DconfDomains::read(const QString& domain) const {
    const QString path = pathOfDomain(domain);
    if (path.isEmpty()) {
        sv::log(u"%1 is not a dconf domain"_s.arg(domain));
        return std::nullopt;
    }
    const std::optional<Client> client = openClient();
    if (!client)
        return std::nullopt;
    const KeyFile file(g_key_file_new());
    addToKeyFile(file.get(), client->get(), path.toUtf8(), "/");
    const Text data(g_key_file_to_data(file.get(), nullptr, nullptr));
    return QString::fromUtf8(data.get());
}

bool DconfDomains::write(const QString& domain, const QString& text, QString* error) const {
    const QString path = pathOfDomain(domain);
    if (path.isEmpty())
        return fail(error, u"%1 is not a dconf domain"_s.arg(domain));
    const QByteArray dir = path.toUtf8();
    const Changeset changes(dconf_changeset_new());
    QString problem;
    if (!addValues(changes.get(), dir, text, &problem))
        return fail(error, u"Cannot write %1: %2"_s.arg(domain, problem));
    const std::optional<Client> client = openClient();
    if (!client)
        return fail(error, u"Cannot write %1: dconf cannot be read"_s.arg(domain));
    // One change holds the new values and the resets: readers see the old
    // domain or the new one, never a mixture.
    resetOtherUserKeys(client->get(), changes.get(), dir);
    QString failure;
    if (apply(client->get(), changes.get(), &failure))
        return true;
    return fail(error, u"Cannot write %1: %2"_s.arg(domain, failure));
}

std::optional<QMap<QString, QString>> DconfDomains::valuesOfText(const QString& text) {
    const Changeset changes(dconf_changeset_new());
    QString problem;
    if (!addValues(changes.get(), "/", text, &problem))
        return std::nullopt;
    const gchar* prefix = nullptr;
    const gchar* const* paths = nullptr;
    GVariant* const* values = nullptr;
    const guint count = dconf_changeset_describe(changes.get(), &prefix, &paths, &values);
    QMap<QString, QString> result;
    for (guint i = 0; i < count; ++i) {
        const Text printed(g_variant_print(values[i], TRUE));
        const QString key = QString::fromUtf8(prefix) + QString::fromUtf8(paths[i]);
        result.insert(key.mid(1), QString::fromUtf8(printed.get()));
    }
    return result;
}

bool DconfDomains::remove(const QString& domain, QString* error) const {
    const QString path = pathOfDomain(domain);
    if (path.isEmpty())
        return fail(error, u"%1 is not a dconf domain"_s.arg(domain));
    const Client client(dconf_client_new());
    const Changeset changes(dconf_changeset_new());
    dconf_changeset_set(changes.get(), path.toUtf8().constData(), nullptr);
    QString failure;
    if (apply(client.get(), changes.get(), &failure))
        return true;
    return fail(error, u"Cannot delete %1: %2"_s.arg(domain, failure));
}
