#include "helper/allowed_places.h"

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

// The settings folders below each kind of place.
QList<QByteArray> settingsFolders(AllowedPlaces::Kind kind) {
    switch (kind) {
    case AllowedPlaces::Kind::CallerLibrary:
    case AllowedPlaces::Kind::OtherUserLibrary:
        return {"Library", ".config", ".local/share", ".local/state", ".cache", ".var/app", "snap"};
    case AllowedPlaces::Kind::SystemLibrary:
        return {"Library", "etc/xdg", "etc/dconf", "var/cache"};
    case AllowedPlaces::Kind::RootLibrary:
        break;
    }
    return {"Library"};
}

} // namespace

QString AllowedPlaces::Target::path() const {
    QString result = home;
    for (const QByteArray& component : libraryPath + components)
        result += u'/' + QString::fromUtf8(component);
    return result;
}

AllowedPlaces::AllowedPlaces(uid_t callerUid, QString testHome)
    : caller_(callerUid)
    , testHome_(std::move(testHome)) {}

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
    // The test home's user is whoever owns it, so that tests can stand a
    // plain user's home beside a root caller.
    struct stat testHomeInfo {};
    if (usableHome(testHome_) &&
        ::stat(QFile::encodeName(testHome_).constData(), &testHomeInfo) == 0)
        result.append({Kind::CallerLibrary, testHome_, testHomeInfo.st_uid});
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
        for (const QByteArray& folder : settingsFolders(root.kind)) {
            QList<QByteArray> base = split(QFile::encodeName(root.home));
            const qsizetype homeDepth = base.size();
            base += split(folder);
            if (!isBeneath(components, base) || base.size() <= bestDepth)
                continue;
            Target target;
            target.kind = root.kind;
            target.home = systemRoot ? QString() : root.home;
            target.libraryPath = base.mid(homeDepth);
            target.components = components.mid(base.size());
            target.libraryUser = root.user;
            best = target;
            bestDepth = base.size();
        }
    }
    if (!best)
        fail(error, u"%1 is not inside a Library folder Sorvane may change."_s.arg(
                        QString::fromUtf8(path)));
    return best;
}
