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

QString FoundItem::kindName(MatchReason::Kind kind) {
    switch (kind) {
    case MatchReason::Kind::Identifier:
        return u"identifier"_s;
    case MatchReason::Kind::Name:
        return u"name"_s;
    case MatchReason::Kind::SuffixWord:
        return u"suffix"_s;
    case MatchReason::Kind::SavedState:
        return u"savedState"_s;
    case MatchReason::Kind::CataloguePath:
        return u"cataloguePath"_s;
    case MatchReason::Kind::CatalogueSearch:
        return u"catalogueSearch"_s;
    case MatchReason::Kind::CatalogueDomain:
        break;
    }
    return u"catalogueDomain"_s;
}

QString FoundItem::reasonText(const MatchReason& reason) {
    QString text;
    switch (reason.kind) {
    case MatchReason::Kind::Identifier:
        text = u"bundle identifier \"%1\""_s;
        break;
    case MatchReason::Kind::Name:
        text = u"application name \"%1\""_s;
        break;
    case MatchReason::Kind::SuffixWord:
        text = u"application name less the suffix word \"%1\""_s;
        break;
    case MatchReason::Kind::SavedState:
        text = u"saved state of \"%1\""_s;
        break;
    case MatchReason::Kind::CataloguePath:
        text = u"catalogue path \"%1\""_s;
        break;
    case MatchReason::Kind::CatalogueSearch:
        text = u"catalogue search \"%1\""_s;
        break;
    case MatchReason::Kind::CatalogueDomain:
        text = u"catalogue domain \"%1\""_s;
        break;
    }
    text = text.arg(reason.detail);
    if (reason.inContainer)
        text += u", in the application's container"_s;
    return text;
}

QJsonObject FoundItem::reasonJson(const MatchReason& reason) {
    return {{u"kind"_s, kindName(reason.kind)},
            {u"detail"_s, reason.detail},
            {u"container"_s, reason.inContainer}};
}

QString FoundItem::text() const {
    const QString why = reasonText(reason);
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
