#include "workflows/cleaning_backup.h"

#include <QJsonArray>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// Raised whenever the index changes in a way an older Sorvane could misread.
constexpr int kFormat = 1;

const QString kApplicationKind = u"application"_s;
const QString kComponentsKind = u"components"_s;

QString counted(qsizetype count, const QString& noun) {
    return u"%1 %2%3"_s.arg(count).arg(noun, count == 1 ? QString() : u"s"_s);
}

QString typeName(CleaningBackup::Item::Type type) {
    switch (type) {
    case CleaningBackup::Item::Type::File:
        return u"file"_s;
    case CleaningBackup::Item::Type::Folder:
        return u"folder"_s;
    case CleaningBackup::Item::Type::Link:
        return u"link"_s;
    }
    return u"file"_s;
}

std::optional<CleaningBackup::Item::Type> typeNamed(const QString& name) {
    for (const auto type : {CleaningBackup::Item::Type::File, CleaningBackup::Item::Type::Folder,
                            CleaningBackup::Item::Type::Link}) {
        if (typeName(type) == name)
            return type;
    }
    return std::nullopt;
}

QString dateText(const QDateTime& date) {
    return date.toUTC().toString(Qt::ISODateWithMs);
}

QDateTime dateOf(const QJsonValue& value) {
    return value.isString() ? QDateTime::fromString(value.toString(), Qt::ISODateWithMs)
                            : QDateTime();
}

void insertProblem(QJsonObject& json, const QString& problem) {
    if (!problem.isNull())
        json.insert(u"problem"_s, problem);
}

QString problemOf(const QJsonObject& json) {
    return json.contains(u"problem"_s) ? json.value(u"problem"_s).toString(u""_s) : QString();
}

QJsonObject domainJson(const CleaningBackup::Domain& domain) {
    QJsonObject json{{u"domain"_s, domain.domain}, {u"level"_s, domain.authLevel}};
    insertProblem(json, domain.problem);
    return json;
}

QJsonObject itemJson(const CleaningBackup::Item& item) {
    QJsonObject json{{u"path"_s, item.path},
                     {u"type"_s, typeName(item.type)},
                     {u"mode"_s, qint64(item.mode)},
                     {u"size"_s, item.size},
                     {u"modified"_s, item.modifiedMs}};
    if (item.type == CleaningBackup::Item::Type::Link)
        json.insert(u"target"_s, item.target);
    insertProblem(json, item.problem);
    return json;
}

std::optional<CleaningBackup::Item> itemOf(const QJsonObject& json) {
    const auto type = typeNamed(json.value(u"type"_s).toString());
    const QString path = json.value(u"path"_s).toString();
    if (!type || path.isEmpty())
        return std::nullopt;
    return CleaningBackup::Item{path,
                                *type,
                                quint32(json.value(u"mode"_s).toInteger()),
                                json.value(u"size"_s).toInteger(),
                                json.value(u"modified"_s).toInteger(),
                                json.value(u"target"_s).toString(),
                                problemOf(json)};
}

} // namespace

qsizetype CleaningBackup::keptCount() const {
    return std::count_if(domains.cbegin(), domains.cend(),
                         [](const Domain& d) { return d.kept(); }) +
           std::count_if(items.cbegin(), items.cend(), [](const Item& i) { return i.kept(); });
}

qsizetype CleaningBackup::notKeptCount() const {
    return domains.size() + items.size() - keptCount();
}

QString CleaningBackup::contentsSummary() const {
    const auto keptOfType = [this](Item::Type type) {
        return std::count_if(items.cbegin(), items.cend(),
                             [type](const Item& item) { return item.kept() && item.type == type; });
    };
    const qsizetype keptDomains =
        std::count_if(domains.cbegin(), domains.cend(), [](const Domain& d) { return d.kept(); });
    QStringList parts;
    const QList<std::pair<qsizetype, QString>> counts = {
        {keptDomains, u"domain"_s},
        {keptOfType(Item::Type::File), u"file"_s},
        {keptOfType(Item::Type::Folder), u"folder"_s},
        {keptOfType(Item::Type::Link), u"link"_s}};
    for (const auto& [count, noun] : counts) {
        if (count > 0)
            parts.append(counted(count, noun));
    }
    QString summary = parts.isEmpty() ? u"nothing"_s : parts.join(u", "_s);
    if (const qsizetype missing = notKeptCount())
        summary += u"; %1 not kept"_s.arg(counted(missing, u"item"_s));
    return summary;
}

QString CleaningBackup::description() const {
    return kind == Kind::Application ? u"the cleaning of %1"_s.arg(title)
                                     : u"the cleaning of components %1"_s.arg(title);
}

QJsonObject CleaningBackup::toJson() const {
    QJsonArray domainArray;
    for (const Domain& domain : domains)
        domainArray.append(domainJson(domain));
    QJsonArray itemArray;
    for (const Item& item : items)
        itemArray.append(itemJson(item));
    QJsonObject json{{u"format"_s, kFormat},
                     {u"id"_s, id},
                     {u"created"_s, dateText(created)},
                     {u"kind"_s, kind == Kind::Application ? kApplicationKind : kComponentsKind},
                     {u"title"_s, title},
                     {u"identifier"_s, identifier},
                     {u"domains"_s, domainArray},
                     {u"items"_s, itemArray},
                     {u"bytes"_s, bytes}};
    if (isRestored())
        json.insert(u"restored"_s, dateText(restored));
    return json;
}

std::optional<CleaningBackup> CleaningBackup::fromJson(const QJsonObject& json) {
    if (json.value(u"format"_s).toInt() != kFormat || json.value(u"id"_s).toString().isEmpty())
        return std::nullopt;
    CleaningBackup backup;
    backup.id = json.value(u"id"_s).toString();
    backup.created = dateOf(json.value(u"created"_s));
    backup.kind =
        json.value(u"kind"_s).toString() == kComponentsKind ? Kind::Components : Kind::Application;
    backup.title = json.value(u"title"_s).toString();
    backup.identifier = json.value(u"identifier"_s).toString();
    for (const QJsonValue& value : json.value(u"domains"_s).toArray()) {
        const QJsonObject domain = value.toObject();
        backup.domains.append({domain.value(u"domain"_s).toString(),
                               qint32(domain.value(u"level"_s).toInt()), problemOf(domain)});
    }
    for (const QJsonValue& value : json.value(u"items"_s).toArray()) {
        const auto item = itemOf(value.toObject());
        if (!item)
            return std::nullopt;
        backup.items.append(*item);
    }
    backup.bytes = json.value(u"bytes"_s).toInteger();
    backup.restored = dateOf(json.value(u"restored"_s));
    return backup;
}
