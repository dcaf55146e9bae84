#include "helper/allowed_places.h"

#include "linux/linux_settings_places.h"
#include "platform/library_folders.h"

#include <QDir>
#include <QFile>
#include <QStringDecoder>

#include <climits>

#include <pwd.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

bool fail(QString* error, const QString& message) {
    if (error)
        *error = message;
    return false;
}

// A home from the user database counts only when it is an absolute, clean
// path: "/" or a relative entry would turn the whole system into a Library.
bool usableHome(const QString& home) {
    return home.startsWith(u'/') && home != u"/"_s && QDir::cleanPath(home) == home;
}

bool isBeneath(const QList<QByteArray>& components, const QList<QByteArray>& root) {
    if (components.size() <= root.size())
        return false;
    for (qsizetype i = 0; i < root.size(); ++i) {
        if (components.at(i) != root.at(i))
            return false;
    }
    return true;
}

QList<QByteArray> split(const QByteArray& path) {
    QList<QByteArray> parts = path.split('/');
    parts.removeAll(QByteArray());
    return parts;
}

// The allowed folder a path lies in, as components below the root's home.
struct Base {
    QList<QByteArray> folder; // below the home; empty for a legacy entry
    bool legacy = false;
};

QList<Base> basesOf(AllowedPlaces::Kind kind) {
    QList<Base> bases;
    for (const QString& folder : AllowedPlaces::settingsFolders(kind))
        bases.append({split(QFile::encodeName(folder)), false});
    if (kind == AllowedPlaces::Kind::CallerLibrary || kind == AllowedPlaces::Kind::OtherUserLibrary)
        bases.append({{}, true});
    return bases;
}

// Whether components (below a home) lie in base: strictly beneath its folder,
// the folder itself when allowed, or for a legacy base a named home entry.
bool liesIn(const QList<QByteArray>& relative, const Base& base, bool folderItself) {
    if (base.legacy)
        return !relative.isEmpty() && LinuxSettingsPlaces::legacyHomeEntries().contains(
                                          QString::fromUtf8(relative.first()));
    if (folderItself && relative == base.folder)
        return true;
    return isBeneath(relative, base.folder);
}

} // namespace

QString AllowedPlaces::Target::path() const {
    QString result = home;
    for (const QByteArray& component : libraryPath + components)
        result += u'/' + QString::fromUtf8(component);
    return result;
}

bool AllowedPlaces::Target::isLinuxPlace() const {
    return libraryPath != QList<QByteArray>{"Library"};
}

AllowedPlaces::AllowedPlaces(uid_t callerUid, QString testHome, QString otherTestHome)
    : caller_(callerUid)
    , testHome_(std::move(testHome))
    , otherTestHome_(std::move(otherTestHome)) {}

QStringList AllowedPlaces::settingsFolders(Kind kind) {
    switch (kind) {
    case Kind::CallerLibrary:
    case Kind::OtherUserLibrary:
        return QStringList{u"Library"_s} + LinuxSettingsPlaces::userFolders();
    case Kind::SystemLibrary:
        return QStringList{u"Library"_s} + LinuxSettingsPlaces::systemFolders();
    case Kind::RootLibrary:
        break;
    }
    return {u"Library"_s};
}

bool AllowedPlaces::isValidPath(const QByteArray& path, QString* error) {
    if (!path.startsWith('/'))
        return fail(error, u"The path is not absolute."_s);
    if (path.contains('\0'))
        return fail(error, u"The path holds a NUL byte."_s);
    if (path.size() >= PATH_MAX)
        return fail(error, u"The path is too long."_s);
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder(path);
    if (decoder.hasError())
        return fail(error, u"The path is not valid UTF-8."_s);
    const QList<QByteArray> parts = path.mid(1).split('/');
    for (const QByteArray& part : parts) {
        if (part.isEmpty() || part == "." || part == "..")
            return fail(error, u"The path has an empty, \".\" or \"..\" component."_s);
        if (part.size() > NAME_MAX)
            return fail(error, u"A name in the path is too long."_s);
    }
    return true;
}

bool AllowedPlaces::isPlainName(const QString& name) {
    if (name.isEmpty() || name.size() > NAME_MAX || name == u"."_s || name == u".."_s)
        return false;
    for (const QChar c : name) {
        const bool plain = (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') ||
                           (c >= u'0' && c <= u'9') || c == u'.' || c == u'_' || c == u'-';
        if (!plain)
            return false;
    }
    return true;
}

QList<AllowedPlaces::Root> AllowedPlaces::roots() const {
    QList<Root> result;
    result.append({Kind::SystemLibrary, QDir::cleanPath(LibraryFolders::systemRoot()), 0});
    result.append({Kind::RootLibrary, QDir::cleanPath(LibraryFolders::rootHomeFolder()), 0});
    // A test home's user is whoever owns it, so that tests can stand a plain
    // user's home beside a root caller.
    struct stat info {};
    if (usableHome(testHome_) && ::stat(QFile::encodeName(testHome_).constData(), &info) == 0)
        result.append({Kind::CallerLibrary, testHome_, info.st_uid});
    if (usableHome(otherTestHome_) &&
        ::stat(QFile::encodeName(otherTestHome_).constData(), &info) == 0)
        result.append({info.st_uid == caller_ ? Kind::CallerLibrary : Kind::OtherUserLibrary,
                       otherTestHome_, info.st_uid});
    if (const passwd* own = ::getpwuid(caller_); own && own->pw_dir)
        result.append({Kind::CallerLibrary, QFile::decodeName(own->pw_dir), caller_});
    ::setpwent();
    while (const passwd* entry = ::getpwent()) {
        if (entry->pw_dir && entry->pw_uid != caller_)
            result.append(
                {Kind::OtherUserLibrary, QFile::decodeName(entry->pw_dir), entry->pw_uid});
    }
    ::endpwent();
    return result;
}

std::optional<AllowedPlaces::Target> AllowedPlaces::resolve(const QByteArray& path,
                                                            QString* error) const {
    return find(path, false, error);
}

std::optional<AllowedPlaces::Target> AllowedPlaces::resolveFolder(const QByteArray& path,
                                                                  QString* error) const {
    return find(path, true, error);
}

std::optional<AllowedPlaces::Target> AllowedPlaces::find(const QByteArray& path, bool folderItself,
                                                         QString* error) const {
    if (!isValidPath(path, error))
        return std::nullopt;
    const QList<QByteArray> components = split(path);
    // The longest allowed folder wins, so that root's Library inside the
    // system root is root's and not the system's.
    std::optional<Target> best;
    qsizetype bestDepth = -1;
    const QList<Root> candidates = roots();
    for (const Root& root : candidates) {
        const bool systemRoot = root.kind == Kind::SystemLibrary && root.home == u"/"_s;
        if (!systemRoot && !usableHome(root.home))
            continue;
        const QList<QByteArray> home = split(QFile::encodeName(root.home));
        if (components.size() <= home.size() || components.mid(0, home.size()) != home)
            continue;
        const QList<QByteArray> relative = components.mid(home.size());
        for (const Base& base : basesOf(root.kind)) {
            const qsizetype depth = home.size() + base.folder.size();
            if (depth <= bestDepth || !liesIn(relative, base, folderItself))
                continue;
            Target target;
            target.kind = root.kind;
            target.home = systemRoot ? QString() : root.home;
            target.libraryPath = base.folder;
            target.components = relative.mid(base.folder.size());
            target.libraryUser = root.user;
            best = target;
            bestDepth = depth;
        }
    }
    if (!best)
        fail(error, u"%1 is not inside a Library folder Sorvane may change."_s.arg(
                        QString::fromUtf8(path)));
    return best;
}
