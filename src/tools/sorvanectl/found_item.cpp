#include "found_item.h"

#include "workflows/application_search.h"

using namespace Qt::StringLiterals;

namespace {

QList<FoundItem> files(const QList<QUrl>& urls, const QList<MatchReason>& reasons) {
    QList<FoundItem> items;
    for (qsizetype i = 0; i < urls.size(); ++i)
        items.append({urls.at(i).toLocalFile(), std::nullopt, reasons.value(i)});
    return items;
}

} // namespace

QList<FoundItem> FoundItem::domains(const ApplicationSearchResults& results,
                                    const ApplicationSearchReasons& reasons) {
    QList<FoundItem> items;
    for (qsizetype i = 0; i < results.appDomainResults.size(); ++i) {
        const SVDefaultsDomain& domain = results.appDomainResults.at(i);
        items.append({domain.domain(), domain.authLevel(), reasons.domains.value(i)});
    }
    return items;
}

QList<FoundItem> FoundItem::preferenceFiles(const ApplicationSearchResults& results,
                                            const ApplicationSearchReasons& reasons) {
    return files(results.appAdditionalPreferenceFiles, reasons.preferenceFiles);
}

QList<FoundItem> FoundItem::caches(const ApplicationSearchResults& results,
                                   const ApplicationSearchReasons& reasons) {
    return files(results.appCacheFiles, reasons.caches);
}

QJsonArray FoundItem::jsonArray(const QList<FoundItem>& items) {
    QJsonArray array;
    for (const FoundItem& item : items)
        array.append(item.json());
    return array;
}

QString FoundItem::levelName(qint32 authLevel) {
    return authLevel == 0 ? u"user"_s : u"root"_s;
}

QJsonObject FoundItem::reasonJson(const MatchReason& reason) {
    return {{u"kind"_s, MatchReason::kindName(reason.kind)},
            {u"detail"_s, reason.detail},
            {u"container"_s, reason.inContainer}};
}

QString FoundItem::text() const {
    const QString why = reason.text();
    if (level)
        return u"%1  (%2; %3)"_s.arg(label, levelName(*level), why);
    return u"%1  (%2)"_s.arg(label, why);
}

QJsonObject FoundItem::json() const {
    QJsonObject object;
    if (level) {
        object.insert(u"domain"_s, label);
        object.insert(u"level"_s, levelName(*level));
    } else {
        object.insert(u"path"_s, label);
    }
    object.insert(u"reason"_s, reasonJson(reason));
    return object;
}
