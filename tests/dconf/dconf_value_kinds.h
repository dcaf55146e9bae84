#pragma once

#include <QList>
#include <QPair>
#include <QString>

// Every kind of value dconf stores, by key below a domain, as "dconf write"
// takes it and "dconf read" prints it (but the quoted string, which dconf
// prints with its own quoting).
inline const QList<QPair<QString, QString>>& dconfValueKinds() {
    using namespace Qt::StringLiterals;
    static const QList<QPair<QString, QString>> values = {
        {u"title"_s, u"'two\\nlines with \\'quotes\\''"_s},
        {u"greeting"_s, u"'Grüße 😀'"_s},
        {u"count"_s, u"-7"_s},
        {u"small"_s, u"byte 0x07"_s},
        {u"short"_s, u"int16 -300"_s},
        {u"ushort"_s, u"uint16 65535"_s},
        {u"big"_s, u"int64 -5000000000"_s},
        {u"ubig"_s, u"uint64 18446744073709551615"_s},
        {u"unsigned"_s, u"uint32 4000000000"_s},
        {u"ratio"_s, u"0.25"_s},
        {u"on"_s, u"true"_s},
        {u"names"_s, u"['a', 'b']"_s},
        {u"empty"_s, u"@as []"_s},
        {u"window/geometry"_s, u"(10, 20, uint16 300)"_s},
        {u"window/tags"_s, u"{'a': <byte 0x01>, 'b': <'x'>}"_s},
        {u"window/maybe"_s, u"@mi 5"_s},
    };
    return values;
}
