#pragma once

#include <QString>
#include <QStringList>

// The system's dconf settings (level 1) as domains: the key files that
// administrators keep in <system root>/etc/dconf/db/<database>.d/ and the
// lock files in their locks/ folders, from which "dconf update" builds the
// binary databases. Domains are named as DconfDomains names them.
//
// Removing a domain edits those files as text, so that everything else in
// them (other groups, comments, spacing, other files) stays byte for byte;
// the caller runs "dconf update" afterwards.
class DconfSystemDatabases {
public:
    // Works on <system root>/etc/dconf/db.
    DconfSystemDatabases();
    explicit DconfSystemDatabases(const QString& databasesFolder);

    QString databasesFolder() const { return folder_; }

    // The domains in which the key files set keys or the lock files lock
    // keys (a lock settles a key for every user, as a value does), sorted
    // and without duplicates. Files that are not key files are passed over.
    QStringList domains() const;

    // Removes every key below the domain from the key files and every lock
    // line below it from the lock files; a group left without keys goes with
    // its header. Each changed file is replaced atomically. Nothing is written
    // when a key file cannot be read or parsed; true when no file holds the
    // domain.
    bool removeDomain(const QString& domain, QString* error) const;

private:
    QString folder_;
};
