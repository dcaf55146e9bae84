#pragma once

#include <QList>
#include <QString>
#include <QUrl>

#include <optional>

// Finds the files of one application in the standard Library folders: its
// preference files (never the property lists of a Preferences folder: those
// are its defaults domains, listed apart) and its cache and saved-state files.
// It works from the application's name and bundle identifier alone and keeps
// no state; every call lists the folders anew.
class SVFileSearchTool {
public:
    // Why an entry was taken, for callers that explain their results (the
    // command-line tool). Filled beside the URLs, one per URL, only when asked.
    struct Match {
        enum class Rule { Name, Identifier, SuffixWord, SavedState };
        Rule rule = Rule::Name;
        QString suffixWord;       // the word the suffix rule cut off
        bool inContainer = false; // found in the application's container
    };
    using Matches = QList<Match>;

    SVFileSearchTool();

    static SVFileSearchTool* sharedTool();

    QUrl containerDirectoryForApplicationIdentifier(const QString& identifier) const;
    // Each search may also say why it took each entry (matches, parallel to
    // the URLs); asking changes nothing about what is found.
    QList<QUrl> preferenceFilesForApplicationName(const QString& name, const QString& identifier,
                                                  Matches* matches = nullptr) const;
    QList<QUrl> cacheFilesForApplicationName(const QString& name, const QString& identifier,
                                             Matches* matches = nullptr) const;
    // The entries of one folder owned by the application; name is lower-case.
    QList<QUrl> filesInDirectory(const QUrl& folder, const QString& name, const QString& identifier,
                                 Matches* matches = nullptr) const;
    // The suffix rule: whether an entry belongs to an application whose
    // lower-case name ends in "se", "le", "trial", "express" or "free".
    static bool nameIsRelatedToApplicationName(const QString& entryName,
                                               const QString& applicationName);
    // The suffix word by which the rule relates the two names; null when it
    // does not.
    static QString relatedSuffixWord(const QString& entryName, const QString& applicationName);
    // Logs the suffix rule's fixed cases with their verdicts.
    static void runNameComparisonTests();

private:
    // Both append to found and, when kept, to matches.
    void collectInDirectory(const QUrl& folder, const QString& name, const QString& identifier,
                            bool inContainer, QList<QUrl>& found, Matches* matches) const;
    void collectSavedStates(const QUrl& folder, const QString& identifier, bool inContainer,
                            QList<QUrl>& found, Matches* matches) const;
    static std::optional<Match> matchOfEntry(const QString& entry, const QString& name,
                                             const QString& identifier);
    bool containerExists(const QString& identifier) const;
    QUrl containerSubfolder(const QString& identifier, const QString& last) const;
};
