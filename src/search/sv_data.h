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
    // Where one resolved URL came from: a fixed path or a search expression,
    // as the catalogue wrote it.
    struct Origin {
        QUrl url;
        bool fromSearch = false;
        QString text;
    };

    // While one lives, existingFilesInArray and searchResultsForSearches on
    // the same thread note the origin of every URL they return, so that a
    // caller can explain a catalogue's files without resolving them twice.
    // Nothing about what is resolved changes.
    class OriginRecording {
    public:
        OriginRecording();
        ~OriginRecording();
        OriginRecording(const OriginRecording&) = delete;
        OriginRecording& operator=(const OriginRecording&) = delete;

        const QList<Origin>& origins() const { return origins_; }

    private:
        QList<Origin> origins_;
        QList<Origin>* previous_;
    };

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
