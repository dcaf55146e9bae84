#include "domain_diff.h"

#include "platform/plist_value.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

DomainDiff DomainDiff::between(const PlistValue& current, const PlistValue& incoming) {
    DomainDiff diff;
    const bool hasCurrent = current.isDictionary();
    for (const QString& key : incoming.keys()) {
        const PlistValue* now = hasCurrent ? current.find(key) : nullptr;
        if (!now)
            diff.added.append(key);
        else if (*now != *incoming.find(key))
            diff.changed.append(key);
    }
    if (hasCurrent) {
        for (const QString& key : current.keys()) {
            if (!incoming.find(key))
                diff.removed.append(key);
        }
    }
    return diff;
}

QJsonObject DomainDiff::json() const {
    return {{u"added"_s, QJsonArray::fromStringList(added)},
            {u"changed"_s, QJsonArray::fromStringList(changed)},
            {u"removed"_s, QJsonArray::fromStringList(removed)}};
}

QString DomainDiff::text() const {
    if (isEmpty())
        return u"no change"_s;
    QStringList words;
    for (const QString& key : added)
        words.append(u'+' + key);
    for (const QString& key : changed)
        words.append(u'~' + key);
    for (const QString& key : removed)
        words.append(u'-' + key);
    return words.join(u' ');
}
