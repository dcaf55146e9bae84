#include "undo_command.h"

#include "backup_report.h"
#include "command_line.h"
#include "ctl_output.h"
#include "ctl_session.h"
#include "workflows/cleaning_backup_restore.h"
#include "workflows/settings_system.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace {

const QString kCommand = u"undo"_s;

} // namespace

QString UndoCommand::help() {
    return uR"(Usage: sorvanectl undo [--json] [ID]
       sorvanectl undo --list [--json]
       sorvanectl undo --discard ID [--json]

Before a cleaning (sorvanectl clean, sorvanectl components clean or the
desktop application) deletes anything, Sorvane keeps what it is about to
delete in a backup: the user's own domains and every file, folder and link,
folders whole, up to 256 MiB of files. Root's domains and what cannot be read
are named in the backup as not kept. Backups live in
$XDG_DATA_HOME/sorvane/backups on the Linux desktop and in
~/Library/Application Support/Sorvane/Backups on a macOS home folder; the
newest 20 are kept, 1 GiB at most.

  (no operand)   restore the newest backup not restored yet: its domains
                 written back with the defaults program, its files byte for
                 byte with their modes and times, its folders and links
  ID             restore that backup, also one restored before
  --list         the backups, newest first, with what each holds
  --discard ID   delete that backup

Refused while the cleaned application runs.

Exit status: 0 when everything the backup holds was restored (or after
--list and --discard), 1 when something could not be restored, the
application runs or there is nothing to undo, 2 on wrong usage (an unknown
ID).)"_s;
}

int UndoCommand::run(const QStringList& arguments, CtlSession& session) {
    CtlOutput& out = session.out();
    CommandLine line({{u"--list"_s}, {u"--discard"_s, true}});
    if (!line.parse(arguments))
        return out.usage(kCommand, line.error());
    const QStringList operands = line.operands();
    const bool listing = line.isSet(u"--list"_s);
    const bool discarding = line.isSet(u"--discard"_s);
    if (operands.size() > 1 || (listing && discarding) ||
        ((listing || discarding) && !operands.isEmpty()))
        return out.usage(kCommand, u"give --list, --discard ID or at most one ID"_s);
    if (listing)
        return list(session);
    if (discarding)
        return discard(line.value(u"--discard"_s), session);
    return restore(operands.value(0), session);
}

int UndoCommand::list(CtlSession& session) {
    CtlOutput& out = session.out();
    CleaningBackupStore& store = session.backups();
    const QList<CleaningBackup> backups = store.backups();
    QJsonArray array;
    for (const CleaningBackup& backup : backups) {
        out.line(BackupReport::line(backup));
        array.append(BackupReport::json(backup, store));
    }
    if (backups.isEmpty())
        out.line(u"No cleaning has been backed up (backups are kept in %1)."_s.arg(store.folder()));
    return out.finish(kCommand + u" --list"_s, CtlOutput::kSuccess,
                      {{u"folder"_s, store.folder()}, {u"backups"_s, array}});
}

int UndoCommand::discard(const QString& id, CtlSession& session) {
    CtlOutput& out = session.out();
    const QString command = kCommand + u" --discard"_s;
    CleaningBackupStore& store = session.backups();
    const auto backup = store.backup(id);
    if (!backup)
        return out.usage(kCommand, u"there is no backup %1 (see sorvanectl undo --list)"_s.arg(id));
    QString error;
    if (!store.discard(id, &error)) {
        out.complain(u"the backup %1 could not be discarded: %2"_s.arg(id, error));
        return out.finish(command, CtlOutput::kFailure);
    }
    out.line(u"Discarded the backup of %1."_s.arg(backup->description()));
    return out.finish(command, CtlOutput::kSuccess, {{u"discarded"_s, id}});
}

int UndoCommand::restore(const QString& id, CtlSession& session) {
    CtlOutput& out = session.out();
    CleaningBackupStore& store = session.backups();
    const auto backup = id.isEmpty() ? store.latestNotRestored() : store.backup(id);
    if (!backup && !id.isEmpty())
        return out.usage(kCommand, u"there is no backup %1 (see sorvanectl undo --list)"_s.arg(id));
    if (!backup) {
        out.complain(u"nothing to undo: every backup of a cleaning is restored already (see "
                     u"sorvanectl undo --list)"_s);
        return out.finish(kCommand, CtlOutput::kFailure);
    }
    QJsonObject document{{u"backup"_s, BackupReport::json(*backup, store)}};
    out.line(u"Undoing %1 (%2): %3."_s.arg(
        backup->description(), backup->created.toLocalTime().toString(u"yyyy-MM-dd HH:mm"_s),
        backup->contentsSummary()));
    out.progress(u"Restoring…"_s);
    CleaningBackupRestore restore(store, session.alerts(), session.running(),
                                  SettingsSystem::current());
    const auto result = restore.restore(*backup);
    if (!result)
        return out.finish(kCommand, CtlOutput::kFailure, document);
    for (const QString& failure : result->failures)
        out.line(u"  not restored: "_s + failure);
    out.line(result->summary());
    document.insert(u"restored"_s, qint64(result->restored));
    document.insert(u"failed"_s, qint64(result->failed));
    document.insert(u"notKept"_s, qint64(result->notKept));
    document.insert(u"failures"_s, QJsonArray::fromStringList(result->failures));
    document.insert(u"summary"_s, result->summary());
    return out.finish(kCommand, result->failed ? CtlOutput::kFailure : CtlOutput::kSuccess,
                      document);
}
