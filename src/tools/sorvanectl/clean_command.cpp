#include "clean_command.h"

#include "app_backup.h"
#include "application_lookup.h"
#include "backup_report.h"
#include "command_line.h"
#include "ctl_output.h"
#include "ctl_session.h"
#include "found_item.h"
#include "leftover_check.h"
#include "packager/package_keys.h"
#include "util/path_utils.h"
#include "workflows/result_texts.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace {

const QString kCommand = u"clean"_s;

struct Section {
    QString title;
    QList<FoundItem> items;
    QList<bool> remaining; // per item, after a real cleaning
};

QList<Section> sectionsOf(const ApplicationLookup::Found& found) {
    return {{u"Defaults domains"_s, FoundItem::domains(found.results, found.reasons), {}},
            {u"Preference files"_s, FoundItem::preferenceFiles(found.results, found.reasons), {}},
            {u"Caches"_s, FoundItem::caches(found.results, found.reasons), {}}};
}

// The backup's checks, made before anything is searched or written.
QString backupProblem(const QString& path) {
    if (sv::pathExtension(path) != package_keys::kExtension)
        return u"the backup must be a .Kolvane2 file: %1"_s.arg(path);
    const QFileInfo info(path);
    if (info.exists() || info.isSymLink())
        return u"the backup %1 already exists; give a new name"_s.arg(path);
    if (!info.absoluteDir().exists())
        return u"the backup's folder %1 does not exist"_s.arg(info.absolutePath());
    return QString();
}

void lookForLeftovers(QList<Section>& sections, CtlSession& session) {
    LeftoverCheck check(session.helper());
    for (Section& section : sections) {
        for (const FoundItem& item : section.items) {
            section.remaining.append(
                item.level ? check.domainRemains(SVDefaultsDomain(item.label, *item.level))
                           : LeftoverCheck::fileRemains(item.label));
        }
    }
}

void print(CtlOutput& out, const QList<Section>& sections, bool cleaned) {
    for (const Section& section : sections) {
        out.line(u"%1 (%2):"_s.arg(section.title).arg(section.items.size()));
        for (qsizetype i = 0; i < section.items.size(); ++i) {
            const QString state = !cleaned                     ? QString()
                                  : section.remaining.value(i) ? u"still there  "_s
                                                               : u"deleted  "_s;
            out.line(u"  "_s + state + section.items.at(i).text());
        }
    }
}

QJsonArray jsonOf(const Section& section) {
    QJsonArray array;
    for (qsizetype i = 0; i < section.items.size(); ++i) {
        QJsonObject item = section.items.at(i).json();
        if (!section.remaining.isEmpty())
            item.insert(u"deleted"_s, !section.remaining.at(i));
        array.append(item);
    }
    return array;
}

QJsonObject documentOf(const ApplicationLookup::Found& found, const QList<Section>& sections,
                       CtlSession& session) {
    return {{u"application"_s, found.applicationJson()},
            {u"helper"_s, session.helperJson()},
            {u"running"_s, session.running().isRunning(found.results.appBundleIdentifier)},
            {u"domains"_s, jsonOf(sections.at(0))},
            {u"preferenceFiles"_s, jsonOf(sections.at(1))},
            {u"caches"_s, jsonOf(sections.at(2))}};
}

QString counted(qsizetype count, const QString& noun) {
    return u"%1 %2%3"_s.arg(count).arg(noun, count == 1 ? QString() : u"s"_s);
}

void printBackup(CtlOutput& out, const QString& path, const AppBackup::Result& backup) {
    if (backup.written)
        out.line(u"Backup written to %1: %2, %3."_s.arg(path,
                                                        counted(backup.domains.size(), u"domain"_s),
                                                        counted(backup.files.size(), u"file"_s)));
    else
        out.line(u"Nothing to back up: no domain or preference file of the user's own."_s);
    for (const AppBackup::LeftOut& entry : backup.leftOut)
        out.line(u"  not in the backup: %1 (%2)"_s.arg(entry.item, entry.why));
}

int dryRun(const ApplicationLookup::Found& found, const QList<Section>& sections,
           const QString& backup, CtlSession& session) {
    CtlOutput& out = session.out();
    qsizetype count = 0;
    for (const Section& section : sections)
        count += section.items.size();
    out.line(found.heading() + u" (dry run: nothing is deleted)"_s);
    print(out, sections, false);
    if (session.running().isRunning(found.results.appBundleIdentifier))
        out.line(u"%1 is running: a cleaning would be refused until it quits."_s.arg(found.name));
    if (!backup.isNull())
        out.line(u"A backup would be written to %1 first."_s.arg(backup));
    out.line(u"Would delete %1."_s.arg(counted(count, u"item"_s)));
    QJsonObject document = documentOf(found, sections, session);
    document.insert(u"dryRun"_s, true);
    return out.finish(kCommand, CtlOutput::kSuccess, document);
}

// Writes the backup (after the cleaning's own refusal of a running
// application, asked with nothing to delete); false when the cleaning must
// not go on.
bool backUp(Cleaning& cleaning, const ApplicationLookup::Found& found, const QString& backup,
            CtlSession& session, QJsonObject& document) {
    ApplicationSearchResults nothing;
    nothing.appBundleIdentifier = found.results.appBundleIdentifier;
    if (!cleaning.cleanAppPreferences(found.url, nothing))
        return false;
    session.out().progress(u"Writing the backup…"_s);
    const auto written = AppBackup(session.alerts()).write(backup, found.name, found.results);
    if (!written)
        return false;
    printBackup(session.out(), backup, *written);
    document.insert(u"backup"_s, written->json(backup));
    return true;
}

int clean(const ApplicationLookup::Found& found, QList<Section>& sections, const QString& backup,
          bool keepUndoBackup, CtlSession& session) {
    CtlOutput& out = session.out();
    Cleaning cleaning(session.cleaningServices(keepUndoBackup));
    QJsonObject document = documentOf(found, sections, session);
    document.insert(u"dryRun"_s, false);
    out.line(found.heading());
    if (!backup.isNull() && !backUp(cleaning, found, backup, session, document))
        return out.finish(kCommand, CtlOutput::kFailure, document);
    out.progress(u"Cleaning…"_s);
    const auto counter = cleaning.cleanAppPreferences(found.url, found.results);
    BackupReport::afterCleaning(cleaning, session, document);
    if (!counter)
        return out.finish(kCommand, CtlOutput::kFailure, document);
    lookForLeftovers(sections, session);
    print(out, sections, true);
    out.line(ResultTexts::deletionSummary(*counter));
    bool anyLeft = false;
    for (const Section& section : sections)
        anyLeft = anyLeft || section.remaining.contains(true);
    document.insert(u"domains"_s, jsonOf(sections.at(0)));
    document.insert(u"preferenceFiles"_s, jsonOf(sections.at(1)));
    document.insert(u"caches"_s, jsonOf(sections.at(2)));
    document.insert(u"counter"_s, QJsonObject{{u"deleted"_s, qint64(counter->deleted)},
                                              {u"errors"_s, qint64(counter->errors)}});
    document.insert(u"summary"_s, ResultTexts::deletionSummary(*counter));
    return out.finish(kCommand, anyLeft ? CtlOutput::kFailure : CtlOutput::kSuccess, document);
}

} // namespace

QString CleanCommand::help() {
    return uR"(Usage: sorvanectl clean [--json] [--dry-run] [--backup FILE.Kolvane2]
                        [--no-backup] APP

Deletes what "sorvanectl search APP" lists: the application's defaults
domains (the user's own with the defaults program, root's through the
privileged helper), its preference files and its caches (directly, else
through the helper). Refused while the application runs. What is deleted is
first kept in a backup that "sorvanectl undo" restores; when that backup
cannot be written, nothing is deleted.

  --dry-run        list what would be deleted, with the reasons; delete and
                   write nothing
  --backup FILE    first write a package (a new .Kolvane2 file) holding the
                   application's own domains and every file below its
                   preference files; "sorvanectl package deploy FILE" undoes
                   the cleaning. Root's domains, caches and empty files are not
                   in it. Nothing is deleted when the backup cannot be written.
  --no-backup      keep no backup for "sorvanectl undo" (nor ask for one)

Each item is reported as deleted or still there, followed by the desktop
application's summary of its counts.

Exit status: 0 when everything listed is gone (or after a dry run), 1 when
something is still there, the application runs or the backup failed, 2 on
wrong usage (APP naming no application or several, a bad backup name).)"_s;
}

int CleanCommand::run(const QStringList& arguments, CtlSession& session) {
    CtlOutput& out = session.out();
    CommandLine line({{u"--dry-run"_s}, {u"--backup"_s, true}, {u"--no-backup"_s}});
    if (!line.parse(arguments))
        return out.usage(kCommand, line.error());
    if (line.operands().size() != 1)
        return out.usage(kCommand, u"give one application"_s);
    const QString backup = line.isSet(u"--backup"_s)
                               ? QFileInfo(line.value(u"--backup"_s)).absoluteFilePath()
                               : QString();
    if (!backup.isNull()) {
        const QString problem = backupProblem(backup);
        if (!problem.isNull())
            return out.usage(kCommand, problem);
    }
    session.setWithoutHelper(u"root's domains are not searched or deleted"_s);
    const auto found = ApplicationLookup::find(kCommand, line.operands().first(), session);
    if (!found)
        return out.finish(kCommand, CtlOutput::kUsage);
    QList<Section> sections = sectionsOf(*found);
    if (line.isSet(u"--dry-run"_s))
        return dryRun(*found, sections, backup, session);

    return clean(*found, sections, backup, !line.isSet(u"--no-backup"_s), session);
}
