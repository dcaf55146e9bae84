#include "util/string_extensions.h"

using namespace Qt::StringLiterals;

namespace sv {

QString stringByInsertingTildeInPath(const QString& path) {
    // A plain prefix test: "/Usersfoo/bar" is abbreviated too, deliberately.
    if (!path.startsWith(u"/Users"_s))
        return path;
    if (path == u"/Users"_s || path == u"/Users/"_s || path == u"/Users/Shared"_s ||
        path.startsWith(u"/Users/Shared/"_s))
        return path;
    const QString rest = path.mid(7);
    const qsizetype slash = rest.indexOf(u'/');
    if (slash >= 0 && slash != rest.size() - 1)
        return u'~' + rest.mid(slash);
    return u"~"_s;
}

bool startsWithString(const QString& string, const QString& prefix) {
    if (prefix.size() > string.size())
        return false;
    return QStringView(string).left(prefix.size()) == prefix;
}

bool endsWithString(const QString& string, const QString& suffix) {
    if (suffix.size() > string.size())
        return false;
    for (qsizetype i = 1; i <= suffix.size(); ++i) {
        if (string.at(string.size() - i).unicode() != suffix.at(suffix.size() - i).unicode())
            return false;
    }
    return true;
}

} // namespace sv
