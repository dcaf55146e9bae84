#include "domain_diff.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

DomainDiff DomainDiff::between(const std::optional<SettingsSystem::DomainValues>& current,
                               const SettingsSystem::DomainValues& incoming) {
    DomainDiff diff;
    for (auto key = incoming.cbegin(); key != incoming.cend(); ++key) {
        if (!current || !current->contains(key.key()))
            diff.added.append(key.key());
        else if (current->value(key.key()) != key.value())
            diff.changed.append(key.key());
    }
    if (current) {
        for (const QString& key : current->keys()) {
            if (!incoming.contains(key))
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
