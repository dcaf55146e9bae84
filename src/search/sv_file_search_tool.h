#pragma once

#include <QList>
#include <QString>
#include <QUrl>

// Finds the files of one application in the standard Library folders: its
// preference files (never the property lists of a Preferences folder: those
// are its defaults domains, listed apart) and its cache and saved-state files.
// It works from the application's name and bundle identifier alone and keeps
// no state; every call lists the folders anew.
class SVFileSearchTool {
public:
    SVFileSearchTool();

    static SVFileSearchTool* sharedTool();

    QUrl containerDirectoryForApplicationIdentifier(const QString& identifier) const;
    QList<QUrl> preferenceFilesForApplicationName(const QString& name,
                                                  const QString& identifier) const;
    QList<QUrl> cacheFilesForApplicationName(const QString& name, const QString& identifier) const;
    // The entries of one folder owned by the application; name is lower-case.
    QList<QUrl> filesInDirectory(const QUrl& folder, const QString& name,
                                 const QString& identifier) const;
    // The suffix rule: whether an entry belongs to an application whose
    // lower-case name ends in "se", "le", "trial", "express" or "free".
    static bool nameIsRelatedToApplicationName(const QString& entryName,
                                               const QString& applicationName);
    // Logs the suffix rule's fixed cases with their verdicts.
    static void runNameComparisonTests();

private:
    QList<QUrl> savedStatesInDirectory(const QUrl& folder, const QString& identifier) const;
    bool containerExists(const QString& identifier) const;
    QUrl containerSubfolder(const QString& identifier, const QString& last) const;
};
