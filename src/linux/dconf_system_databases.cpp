#include "linux/dconf_system_databases.h"

#include "linux/dconf_domains.h"
#include "platform/library_folders.h"
#include "util/logging.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QSet>

#include <dconf.h>

#include <algorithm>
#include <memory>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

struct StrvDeleter {
    void operator()(gchar** strings) const { g_strfreev(strings); }
};
struct ErrorDeleter {
    void operator()(GError* error) const { g_error_free(error); }
};
struct KeyFileDeleter {
    void operator()(GKeyFile* file) const { g_key_file_free(file); }
};
using Strv = std::unique_ptr<gchar*, StrvDeleter>;
using Error = std::unique_ptr<GError, ErrorDeleter>;
using KeyFile = std::unique_ptr<GKeyFile, KeyFileDeleter>;

// One key as a key file sets it: its group and name as written, and the dconf
// path they make.
struct KeyEntry {
    QByteArray group;
    QByteArray name;
    QByteArray path;
};

// A file's new content, written once every file has been prepared.
struct FileEdit {
    QString path;
    QByteArray content;
};

bool fail(QString* error, const QString& message) {
    sv::log(message);
    if (error)
        *error = message;
    return false;
}

// The files dconf reads from a folder: regular files whose names do not
// start with a dot (editors' swap files), in name order.
QStringList filesIn(const QString& folder) {
    const QDir dir(folder);
    const QStringList names = dir.entryList(QDir::Files, QDir::Name);
    QStringList paths;
    for (const QString& name : names)
        paths.append(dir.filePath(name));
    return paths;
}

QStringList databaseFolders(const QString& folder) {
    const QDir dir(folder);
    const QStringList names = dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    QStringList folders;
    for (const QString& name : names) {
        if (name.endsWith(u".d"_s))
            folders.append(dir.filePath(name));
    }
    return folders;
}

QStringList keyFilesIn(const QString& folder) {
    QStringList files;
    const QStringList databases = databaseFolders(folder);
    for (const QString& database : databases)
        files += filesIn(database);
    return files;
}

QStringList lockFilesIn(const QString& folder) {
    QStringList files;
    const QStringList databases = databaseFolders(folder);
    for (const QString& database : databases)
        files += filesIn(database + u"/locks"_s);
    return files;
}

// The group "/" holds keys of the root directory; any other group names a
// directory without its leading and trailing slash, as "dconf update" reads it.
QByteArray keyPath(const QByteArray& group, const QByteArray& name) {
    return group == "/" ? '/' + name : '/' + group + '/' + name;
}

// The keys of a key file that make valid dconf keys; nothing when the file
// cannot be read or parsed (why goes to problem).
std::optional<QList<KeyEntry>> keysOf(const QByteArray& content, QString* problem) {
    const KeyFile file(g_key_file_new());
    GError* rawError = nullptr;
    if (!g_key_file_load_from_data(file.get(), content.constData(), content.size(),
                                   G_KEY_FILE_KEEP_COMMENTS, &rawError)) {
        const Error loadError(rawError);
        *problem = QString::fromUtf8(loadError->message);
        return std::nullopt;
    }
    QList<KeyEntry> keys;
    const Strv groups(g_key_file_get_groups(file.get(), nullptr));
    for (gchar** group = groups.get(); *group; ++group) {
        const Strv names(g_key_file_get_keys(file.get(), *group, nullptr, nullptr));
        for (gchar** name = names.get(); name && *name; ++name) {
            const QByteArray path = keyPath(*group, *name);
            if (dconf_is_key(path.constData(), nullptr))
                keys.append({*group, *name, path});
        }
    }
    return keys;
}

std::optional<QByteArray> readFile(const QString& path, QString* problem) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *problem = file.errorString();
        return std::nullopt;
    }
    return file.readAll();
}

// A lock file's lines, each with its line end; dconf takes every line that
// starts with "/" as a locked key or directory.
QList<QByteArray> linesOf(const QByteArray& content) {
    QList<QByteArray> lines;
    qsizetype start = 0;
    while (start < content.size()) {
        qsizetype end = content.indexOf('\n', start);
        end = end < 0 ? content.size() : end + 1;
        lines.append(content.mid(start, end - start));
        start = end;
    }
    return lines;
}

QByteArray withoutLineEnd(const QByteArray& line) {
    return line.endsWith('\n') ? line.chopped(1) : line;
}

QString domainOfKeyOrDir(const QByteArray& path) {
    const QByteArray dir = path.endsWith('/') ? path : path.left(path.lastIndexOf('/') + 1);
    return DconfDomains::domainOfPath(QString::fromUtf8(dir));
}

QList<QByteArray> lockedPaths(const QByteArray& content) {
    QList<QByteArray> paths;
    const QList<QByteArray> lines = linesOf(content);
    for (const QByteArray& line : lines) {
        const QByteArray path = withoutLineEnd(line);
        if (path.startsWith('/') && dconf_is_path(path.constData(), nullptr))
            paths.append(path);
    }
    return paths;
}

// --- the text of a key file, line by line, as GLib reads it ---------------

bool isKeyFileSpace(char c) {
    return g_ascii_isspace(c);
}

QByteArray withoutLeadingSpace(const QByteArray& line) {
    qsizetype start = 0;
    while (start < line.size() && isKeyFileSpace(line[start]))
        ++start;
    return line.mid(start);
}

// "[name]" with nothing but blanks after the "]": the group's name.
std::optional<QByteArray> groupOfLine(const QByteArray& line) {
    const QByteArray text = withoutLeadingSpace(line);
    if (!text.startsWith('['))
        return std::nullopt;
    const qsizetype close = text.lastIndexOf(']');
    if (close < 0)
        return std::nullopt;
    for (qsizetype i = close + 1; i < text.size(); ++i) {
        if (text[i] != ' ' && text[i] != '\t' && text[i] != '\n' && text[i] != '\r')
            return std::nullopt;
    }
    return text.mid(1, close - 1);
}

// "name = value": the key's name, without the blanks around it.
std::optional<QByteArray> keyOfLine(const QByteArray& line) {
    const QByteArray text = withoutLeadingSpace(line);
    if (text.isEmpty() || text.startsWith('#'))
        return std::nullopt;
    const qsizetype equals = text.indexOf('=');
    if (equals < 0)
        return std::nullopt;
    qsizetype end = equals;
    while (end > 0 && isKeyFileSpace(text[end - 1]))
        --end;
    return text.left(end);
}

// One group's stretch of lines: its header, then everything up to the next
// header.
struct Section {
    std::optional<QByteArray> group;
    QList<QByteArray> lines;
};

QList<Section> sectionsOf(const QByteArray& content) {
    QList<Section> sections{Section{}};
    const QList<QByteArray> lines = linesOf(content);
    for (const QByteArray& line : lines) {
        const std::optional<QByteArray> group = groupOfLine(line);
        if (group)
            sections.append(Section{group, {}});
        sections.last().lines.append(line);
    }
    return sections;
}

// The section without the lines of removed keys. A section whose keys all go
// loses its header and everything up to its last key; the comments after
// that belong to what follows.
QByteArray editedSection(const Section& section, const QSet<QByteArray>& removedKeys) {
    QList<bool> removed(section.lines.size(), false);
    qsizetype lastKey = -1;
    bool keepsAKey = false;
    for (qsizetype i = 0; i < section.lines.size(); ++i) {
        const std::optional<QByteArray> key = keyOfLine(section.lines[i]);
        if (!key || !section.group || (i == 0))
            continue;
        lastKey = i;
        removed[i] = removedKeys.contains(*section.group + '\n' + *key);
        keepsAKey = keepsAKey || !removed[i];
    }
    const bool dropsHeader = section.group && lastKey >= 0 && !keepsAKey;
    QByteArray text;
    for (qsizetype i = 0; i < section.lines.size(); ++i) {
        if (removed[i] || (dropsHeader && i <= lastKey))
            continue;
        text += section.lines[i];
    }
    return text;
}

QByteArray withoutKeys(const QByteArray& content, const QSet<QByteArray>& removedKeys) {
    QByteArray text;
    const QList<Section> sections = sectionsOf(content);
    for (const Section& section : sections)
        text += editedSection(section, removedKeys);
    return text;
}

QSet<QByteArray> keysBelow(const QList<KeyEntry>& keys, const QByteArray& dir) {
    QSet<QByteArray> below;
    for (const KeyEntry& key : keys) {
        if (key.path.startsWith(dir))
            below.insert(key.group + '\n' + key.name);
    }
    return below;
}

bool anyKeyBelow(const QList<KeyEntry>& keys, const QByteArray& dir) {
    return std::any_of(keys.cbegin(), keys.cend(),
                       [&dir](const KeyEntry& key) { return key.path.startsWith(dir); });
}

// The key file's content without the keys below dir; nothing (and why) when
// it cannot be parsed, or when the edited text would still hold such a key.
std::optional<QByteArray> editedKeyFile(const QByteArray& content, const QByteArray& dir,
                                        QString* problem) {
    const std::optional<QList<KeyEntry>> keys = keysOf(content, problem);
    if (!keys)
        return std::nullopt;
    const QSet<QByteArray> removed = keysBelow(*keys, dir);
    if (removed.isEmpty())
        return content;
    const QByteArray edited = withoutKeys(content, removed);
    const std::optional<QList<KeyEntry>> left = keysOf(edited, problem);
    if (!left || anyKeyBelow(*left, dir)) {
        if (left)
            *problem = u"some of its lines cannot be told apart"_s;
        return std::nullopt;
    }
    return edited;
}

std::optional<QByteArray> editedLockFile(const QByteArray& content, const QByteArray& dir,
                                         QString*) {
    QByteArray edited;
    const QList<QByteArray> lines = linesOf(content);
    for (const QByteArray& line : lines) {
        if (!line.startsWith(dir))
            edited += line;
    }
    return edited;
}

bool writeAtomically(const FileEdit& edit, QString* error) {
    const QFileDevice::Permissions permissions = QFile::permissions(edit.path);
    QSaveFile file(edit.path);
    if (!file.open(QIODevice::WriteOnly) || file.write(edit.content) != edit.content.size() ||
        !file.commit())
        return fail(error, u"Cannot write %1: %2"_s.arg(edit.path, file.errorString()));
    QFile::setPermissions(edit.path, permissions);
    return true;
}

} // namespace

DconfSystemDatabases::DconfSystemDatabases()
    : folder_(LibraryFolders::underSystemRoot(u"/etc/dconf/db"_s)) {}

DconfSystemDatabases::DconfSystemDatabases(const QString& databasesFolder)
    : folder_(databasesFolder) {}

QStringList DconfSystemDatabases::domains() const {
    QSet<QString> found;
    const QStringList keyFiles = keyFilesIn(folder_);
    for (const QString& path : keyFiles) {
        QString problem;
        const std::optional<QByteArray> content = readFile(path, &problem);
        const std::optional<QList<KeyEntry>> keys =
            content ? keysOf(*content, &problem) : std::nullopt;
        if (!keys) {
            sv::log(u"Cannot read the dconf key file %1: %2"_s.arg(path, problem));
            continue;
        }
        for (const KeyEntry& key : *keys)
            found.insert(domainOfKeyOrDir(key.path));
    }
    const QStringList lockFiles = lockFilesIn(folder_);
    for (const QString& path : lockFiles) {
        QString problem;
        const std::optional<QByteArray> content = readFile(path, &problem);
        const QList<QByteArray> paths = content ? lockedPaths(*content) : QList<QByteArray>{};
        for (const QByteArray& locked : paths)
            found.insert(domainOfKeyOrDir(locked));
    }
    found.remove(QString());
    QStringList domains(found.cbegin(), found.cend());
    std::sort(domains.begin(), domains.end());
    return domains;
}

bool DconfSystemDatabases::removeDomain(const QString& domain, QString* error) const {
    const QByteArray dir = DconfDomains::pathOfDomain(domain).toUtf8();
    if (dir.isEmpty())
        return fail(error, u"%1 is not a dconf domain"_s.arg(domain));
    QList<FileEdit> edits;
    const auto prepare = [&](const QStringList& paths, auto edit) {
        for (const QString& path : paths) {
            QString problem;
            const std::optional<QByteArray> content = readFile(path, &problem);
            const std::optional<QByteArray> edited =
                content ? edit(*content, dir, &problem) : std::nullopt;
            if (!edited)
                return fail(error, u"Cannot edit %1: %2"_s.arg(path, problem));
            if (*edited != *content)
                edits.append({path, *edited});
        }
        return true;
    };
    // Every file is prepared before the first is written: a file that cannot
    // be edited leaves all of them as they were.
    if (!prepare(keyFilesIn(folder_), editedKeyFile) ||
        !prepare(lockFilesIn(folder_), editedLockFile))
        return false;
    return std::all_of(edits.cbegin(), edits.cend(),
                       [error](const FileEdit& edit) { return writeAtomically(edit, error); });
}
