#include "util/path_utils.h"

#include <QDir>

#include <pwd.h>

using namespace Qt::StringLiterals;

namespace sv {
namespace {

// Collapses runs of "/" and drops a trailing "/" (but keeps a lone "/").
QString fixSlashes(const QString& path) {
    if (!path.contains(u"//"_s) && (path.size() <= 1 || !path.endsWith(u'/')))
        return path;
    QString fixed;
    fixed.reserve(path.size());
    for (QChar c : path) {
        if (c == u'/' && fixed.endsWith(u'/'))
            continue;
        fixed.append(c);
    }
    if (fixed.size() > 1 && fixed.endsWith(u'/'))
        fixed.chop(1);
    return fixed;
}

// Index where the extension starts (after the dot) within a slash-fixed path,
// or -1. A leading dot of the last component, and "..", start no extension.
qsizetype extensionStart(const QString& fixed) {
    const qsizetype componentStart = fixed.lastIndexOf(u'/') + 1;
    const qsizetype dot = fixed.lastIndexOf(u'.');
    if (dot < componentStart || dot == componentStart)
        return -1;
    if (fixed.mid(componentStart) == u".."_s)
        return -1;
    return dot + 1;
}

QString homeOfUser(const QString& name) {
    if (name.isEmpty())
        return QDir::homePath();
    const QByteArray encoded = name.toUtf8();
    const passwd* entry = getpwnam(encoded.constData());
    return entry ? QString::fromLocal8Bit(entry->pw_dir) : QString();
}

} // namespace

QStringList pathComponents(const QString& path) {
    QStringList components;
    if (path.isEmpty())
        return components;
    if (path.startsWith(u'/'))
        components.append(u"/"_s);
    const QStringList parts = path.split(u'/', Qt::SkipEmptyParts);
    components.append(parts);
    if (path.size() > 1 && path.endsWith(u'/') && !parts.isEmpty())
        components.append(u"/"_s);
    return components;
}

QString lastPathComponent(const QString& path) {
    const QString fixed = fixSlashes(path);
    if (fixed == u"/"_s)
        return fixed;
    return fixed.mid(fixed.lastIndexOf(u'/') + 1);
}

QString pathExtension(const QString& path) {
    const QString fixed = fixSlashes(path);
    const qsizetype start = extensionStart(fixed);
    return start < 0 ? QString() : fixed.mid(start);
}

QString stringByDeletingPathExtension(const QString& path) {
    const QString fixed = fixSlashes(path);
    const qsizetype start = extensionStart(fixed);
    return start < 0 ? fixed : fixed.left(start - 1);
}

QString stringByAppendingPathComponent(const QString& path, const QString& component) {
    if (path.isEmpty())
        return fixSlashes(component);
    if (component.isEmpty())
        return fixSlashes(path);
    return fixSlashes(path + u'/' + component);
}

QString stringByDeletingLastPathComponent(const QString& path) {
    const QString fixed = fixSlashes(path);
    const qsizetype slash = fixed.lastIndexOf(u'/');
    if (slash < 0)
        return QString();
    if (slash == 0)
        return fixed == u"/"_s ? fixed : u"/"_s;
    return fixed.left(slash);
}

QString stringByExpandingTildeInPath(const QString& path) {
    if (!path.startsWith(u'~'))
        return path;
    const qsizetype slash = path.indexOf(u'/');
    const QString user = path.mid(1, slash < 0 ? -1 : slash - 1);
    const QString home = homeOfUser(user);
    if (home.isEmpty())
        return path;
    return fixSlashes(slash < 0 ? home : home + path.mid(slash));
}

} // namespace sv
