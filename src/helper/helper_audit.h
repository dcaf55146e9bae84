#pragma once

#include <QByteArray>
#include <QString>

#include <sys/types.h>

// Writes the helper's audit trail: one line per request saying who asked,
// what polkit action it needed, the verdict, the operation and its target.
// Targets are escaped so that a hostile name cannot forge a line; file
// contents never appear.
class HelperAudit {
public:
    struct Entry {
        QString caller; // the unique bus name
        uid_t uid = static_cast<uid_t>(-1);
        qint64 pid = -1;
        QString action;  // "-" when refused before polkit was asked
        QString verdict; // "allowed", "denied" or "refused"
        QString operation;
        QByteArray target;
    };

    // Also appends each line to the file named by SORVANE_HELPER_AUDIT_LOG at
    // start-up, when there is one.
    static void setAuditFile(const QString& path);
    static void record(const Entry& entry);
    static QString format(const Entry& entry);
    // Bytes outside printable ASCII, '\\', '"' and ' ' become \xNN.
    static QString escape(const QByteArray& bytes);
};
