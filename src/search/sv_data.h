#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

// Base of the catalogue entries: turns fixed paths and path search
// expressions into the file URLs of what exists on this machine now. Nothing
// is cached; every call reads the file system again.
class SVData {
public:
    virtual ~SVData() = default;

    // Fixed paths ("~" allowed) that exist, in the order given.
    QList<QUrl> existingFilesInArray(const QStringList& paths) const;
    // The results of every expression, concatenated in order.
    QList<QUrl> searchResultsForSearches(const QStringList& searches) const;
    // The existing paths one expression resolves to (empty when none).
    QList<QUrl> resultsOfSearch(const QString& search) const;
    // Resolves the remaining components below base (a null base means the
    // expression has not reached a folder yet).
    QList<QUrl> resultsOfSearchIn(const QString& base,
                                  const QStringList& remainingComponents) const;
    // Logs the results of four fixed expressions.
    void runTests() const;

private:
    QList<QUrl> resultsOfWildcardStep(QString base, const QString& component,
                                      const QStringList& rest) const;
};
