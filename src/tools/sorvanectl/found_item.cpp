#include "found_item.h"

#include "workflows/application_search.h"

#include <array>

using namespace Qt::StringLiterals;

namespace {

QList<FoundItem> files(const QList<QUrl>& urls, const QList<MatchReason>& reasons) {
    QList<FoundItem> items;
    for (qsizetype i = 0; i < urls.size(); ++i)
        items.append({urls.at(i).toLocalFile(), std::nullopt, reasons.value(i)});
    return items;
}

// The JSON kind and the text of each reason, in the order of MatchReason::Kind.
struct ReasonNames {
    QStringView kind;
    QStringView text;
};
constexpr std::array reasonNames{
    ReasonNames{u"identifier", u"bundle identifier \"%1\""},
    ReasonNames{u"name", u"application name \"%1\""},
    ReasonNames{u"suffix", u"application name less the suffix word \"%1\""},
    ReasonNames{u"savedState", u"saved state of \"%1\""},
    ReasonNames{u"cataloguePath", u"catalogue path \"%1\""},
    ReasonNames{u"catalogueSearch", u"catalogue search \"%1\""},
    ReasonNames{u"catalogueDomain", u"catalogue domain \"%1\""},
    ReasonNames{u"applicationId", u"application ID \"%1\""},
    ReasonNames{u"rcFile", u"KDE configuration file of \"%1\""},
    ReasonNames{u"notificationSettings", u"the desktop's notification settings of \"%1\""},
};
static_assert(reasonNames.size() ==
              static_cast<size_t>(MatchReason::Kind::NotificationSettings) + 1);

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
    return reasonNames.at(static_cast<size_t>(kind)).kind.toString();
}

QString FoundItem::reasonText(const MatchReason& reason) {
    QString text =
        reasonNames.at(static_cast<size_t>(reason.kind)).text.toString().arg(reason.detail);
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
