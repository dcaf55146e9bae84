#pragma once

#include <QString>
#include <QStringList>

class CtlSession;

// sorvanectl undo: restores what a cleaning deleted from the backup kept
// before it (the newest not restored yet, or the one named), lists the
// backups, or discards one.
class UndoCommand {
public:
    static int run(const QStringList& arguments, CtlSession& session);
    static QString help();

private:
    static int list(CtlSession& session);
    static int discard(const QString& id, CtlSession& session);
    static int restore(const QString& id, CtlSession& session);
};
