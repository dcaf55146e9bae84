#pragma once

#include <QByteArray>
#include <QString>

#include <sys/types.h>

// Writes the helper's audit trail: one line for every request saying who
// asked, what polkit action it needed, the verdict, the operation and its
// target, malformed and refused requests included. A request put to polkit
// has its line written before polkit is asked ("asked") and completed by a
// second line with the same request number once it has answered, so that a
// helper that dies while a prompt is open still leaves a trace. Targets are
// escaped so that a hostile name cannot forge a line; file contents never
// appear.
class HelperAudit {
public:
    struct Entry {
        quint64 request = 0; // numbers the requests since the helper started
        QString caller;      // the unique bus name
        uid_t uid = static_cast<uid_t>(-1);
        qint64 pid = -1;
        QString action; // "-" when refused before polkit was asked
        // "asked", then "allowed" or "denied"; or "refused" (by the helper's
        // own checks) or "malformed" (wrong arguments), which are complete.
        QString verdict;
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
