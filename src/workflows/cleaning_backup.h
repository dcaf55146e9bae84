#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>

// What one backup of a cleaning holds, as its index says: when it was made and
// of what, every domain and file-system item the cleaning was about to delete
// (each with what kept it out of the backup, when something did) and whether
// it has been restored. The package file beside the index holds the domains'
// settings texts and the files' bytes; the index adds what a package cannot
// carry: folders, links, empty files, modes and times.
class CleaningBackup {
public:
    enum class Kind { Application, Components };

    struct Domain {
        QString domain;
        qint32 authLevel = 0;
        QString problem; // why it is not in the backup; null when it is
        bool kept() const { return problem.isNull(); }
        bool operator==(const Domain&) const = default;
    };

    struct Item {
        enum class Type { File, Folder, Link };
        // As the package keys it: the home folder written as "~".
        QString path;
        Type type = Type::File;
        quint32 mode = 0; // the permission bits, set-id and sticky bits included
        qint64 size = 0;
        qint64 modifiedMs = 0; // since the epoch
        QString target;        // a link's
        QString problem;       // why it is not in the backup; null when it is
        bool kept() const { return problem.isNull(); }
        bool operator==(const Item&) const = default;
    };

    QString id;
    QDateTime created;
    Kind kind = Kind::Application;
    // The application's name, or the components' names joined.
    QString title;
    // The application's identifier; empty for components.
    QString identifier;
    QList<Domain> domains;
    QList<Item> items;
    qint64 bytes = 0;   // the files' bytes the backup holds
    QDateTime restored; // invalid until the backup is restored

    bool isRestored() const { return restored.isValid(); }
    qsizetype keptCount() const;
    qsizetype notKeptCount() const;
    // "2 domains, 14 files, 3 folders" and, when something is missing,
    // "; 1 item not kept".
    QString contentsSummary() const;
    // "the cleaning of Kate" / "the cleaning of components Fonts, Proxy".
    QString description() const;

    QJsonObject toJson() const;
    // Nothing for an index of another format or without an identifier.
    static std::optional<CleaningBackup> fromJson(const QJsonObject& json);

    bool operator==(const CleaningBackup&) const = default;
};
