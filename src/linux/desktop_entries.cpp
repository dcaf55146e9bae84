#include "linux/desktop_entries.h"

#include "platform/library_folders.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

const QString kDesktopSuffix = u".desktop"_s;
const QString kApplications = u"/applications"_s;
// Deep enough for any real menu layout, shallow enough to end a symbolic-link
// loop.
constexpr int kMaximumDepth = 8;

using EntryFileVisitor = std::function<void(const QString& path, const QString& desktopFileId)>;

// The freedesktop base-directory rules accept absolute paths only.
bool isUsableFolder(const QString& path) {
    return path.startsWith(u'/');
}

QString dataHome() {
    const QString value = qEnvironmentVariable("XDG_DATA_HOME");
    if (isUsableFolder(value))
        return QDir::cleanPath(value);
    return QDir::cleanPath(LibraryFolders::homeFolder() + u"/.local/share"_s);
}

QStringList dataDirs() {
    QStringList folders;
    const QStringList values =
        qEnvironmentVariable("XDG_DATA_DIRS").split(u':', Qt::SkipEmptyParts);
    for (const QString& value : values) {
        if (isUsableFolder(value))
            folders.append(QDir::cleanPath(value));
    }
    if (values.isEmpty()) {
        folders.append(LibraryFolders::underSystemRoot(u"/usr/local/share"_s));
        folders.append(LibraryFolders::underSystemRoot(u"/usr/share"_s));
    }
    return folders;
}

void appendOnce(QStringList& folders, const QString& folder) {
    const QString cleaned = QDir::cleanPath(folder);
    if (!folders.contains(cleaned))
        folders.append(cleaned);
}

// Lists the entry files below one applications/ folder in a fixed order: a
// folder's own files before its sub-folders, each by name, so that the rare
// clash of "foo-bar.desktop" with "foo/bar.desktop" always ends the same way.
void visitEntryFiles(const QString& folder, const QString& relative, int depth,
                     const EntryFileVisitor& visit) {
    const QFileInfoList children = QDir(folder).entryInfoList(
        QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name | QDir::DirsLast);
    for (const QFileInfo& child : children) {
        const QString childRelative = relative + child.fileName();
        if (child.isDir()) {
            if (depth < kMaximumDepth)
                visitEntryFiles(child.filePath(), childRelative + u'/', depth + 1, visit);
        } else if (child.fileName().endsWith(kDesktopSuffix)) {
            visit(child.filePath(), DesktopEntries::desktopFileIdForRelativePath(childRelative));
        }
    }
}

QString withoutDesktopSuffix(const QString& id) {
    return id.endsWith(kDesktopSuffix) ? id.chopped(kDesktopSuffix.size()) : id;
}

bool equalsIgnoringCase(const QString& a, const QString& b) {
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

} // namespace

QStringList DesktopEntries::dataFolders() {
    const QString home = dataHome();
    QStringList folders{home};
    for (const QString& folder : dataDirs())
        appendOnce(folders, folder);
    // A session started without the profile scripts lacks these in
    // XDG_DATA_DIRS, yet its Flatpak and Snap applications are installed.
    appendOnce(folders, home + u"/flatpak/exports/share"_s);
    appendOnce(folders, LibraryFolders::underSystemRoot(u"/var/lib/flatpak/exports/share"_s));
    appendOnce(folders, LibraryFolders::underSystemRoot(u"/var/lib/snapd/desktop"_s));
    return folders;
}

QList<DesktopEntry> DesktopEntries::all() {
    QList<DesktopEntry> entries;
    QSet<QString> claimed;
    // The first file of an ID claims it even when it is not a usable entry,
    // as the desktop's own menus do: an override hides what it overrides.
    const EntryFileVisitor visit = [&](const QString& path, const QString& id) {
        if (claimed.contains(id))
            return;
        claimed.insert(id);
        if (auto entry = DesktopEntry::read(path, id))
            entries.append(std::move(*entry));
    };
    for (const QString& folder : dataFolders())
        visitEntryFiles(folder + kApplications, QString(), 0, visit);
    return entries;
}

std::optional<DesktopEntry> DesktopEntries::withIdentifier(const QString& identifier) {
    const QString wanted = withoutDesktopSuffix(identifier);
    if (wanted.isEmpty())
        return std::nullopt;
    const QList<DesktopEntry> entries = all();
    // The desktop-file ID is exact; the identifier (a Flatpak ID) comes second
    // because two entries of one Flatpak application share it.
    for (const DesktopEntry& entry : entries) {
        if (withoutDesktopSuffix(entry.desktopFileId()) == wanted)
            return entry;
    }
    for (const DesktopEntry& entry : entries) {
        if (entry.identifier() == wanted)
            return entry;
    }
    return std::nullopt;
}

std::optional<DesktopEntry> DesktopEntries::atPath(const QString& path) {
    const QString file = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    for (const QString& folder : dataFolders()) {
        const QString applications = folder + kApplications + u'/';
        if (file.startsWith(applications))
            return DesktopEntry::read(file,
                                      desktopFileIdForRelativePath(file.mid(applications.size())));
    }
    return DesktopEntry::read(file, QFileInfo(file).fileName());
}

QList<DesktopEntry> DesktopEntries::withName(const QString& name) {
    QList<DesktopEntry> matching;
    if (name.isEmpty())
        return matching;
    for (const DesktopEntry& entry : all()) {
        if (entry.hidden())
            continue;
        if (equalsIgnoringCase(entry.name(), name) || equalsIgnoringCase(entry.identifier(), name))
            matching.append(entry);
    }
    return matching;
}

QString DesktopEntries::desktopFileIdForRelativePath(const QString& relativePath) {
    QString id = QDir::cleanPath(relativePath);
    while (id.startsWith(u'/'))
        id.remove(0, 1);
    return id.replace(u'/', u'-');
}
