#pragma once

#include "workflows/match_reason.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>

struct ApplicationSearchReasons;
struct ApplicationSearchResults;

// One item an application search found, with the reason it was matched,
// ready for text and JSON. Built from the search's results and the reasons it
// filled beside them, index by index.
struct FoundItem {
    QString label;               // the domain's name or the file's path
    std::optional<qint32> level; // a domain's authLevel; nothing for files
    MatchReason reason;

    static QList<FoundItem> domains(const ApplicationSearchResults& results,
                                    const ApplicationSearchReasons& reasons);
    static QList<FoundItem> preferenceFiles(const ApplicationSearchResults& results,
                                            const ApplicationSearchReasons& reasons);
    static QList<FoundItem> caches(const ApplicationSearchResults& results,
                                   const ApplicationSearchReasons& reasons);

    // "com.example.tool  (user; bundle identifier "com.example.tool")"
    QString text() const;
    // {"domain"|"path", "level"?, "reason": {...}}
    QJsonObject json() const;

    static QJsonArray jsonArray(const QList<FoundItem>& items);
    static QString levelName(qint32 authLevel);
    static QJsonObject reasonJson(const MatchReason& reason);
};
