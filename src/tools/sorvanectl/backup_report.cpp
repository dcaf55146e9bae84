#include "backup_report.h"

#include "ctl_output.h"
#include "ctl_session.h"
#include "found_item.h"
#include "workflows/cleaning.h"
#include "workflows/cleaning_backup_store.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

namespace {

QString shownDate(const QDateTime& date) {
    return date.toLocalTime().toString(u"yyyy-MM-dd HH:mm"_s);
}

QJsonValue dateJson(const QDateTime& date) {
    return date.isValid() ? QJsonValue(date.toUTC().toString(Qt::ISODateWithMs)) : QJsonValue();
}

} // namespace

QString BackupReport::line(const CleaningBackup& backup) {
    QString text = u"%1  %2  %3: %4"_s.arg(backup.id, shownDate(backup.created),
                                           backup.kind == CleaningBackup::Kind::Components
                                               ? u"components "_s + backup.title
                                               : backup.title,
                                           backup.contentsSummary());
    if (backup.isRestored())
        text += u"  (restored %1)"_s.arg(shownDate(backup.restored));
    return text;
}

QJsonObject BackupReport::json(const CleaningBackup& backup, const CleaningBackupStore& store) {
    QJsonArray domains;
    QJsonArray notKept;
    for (const CleaningBackup::Domain& domain : backup.domains) {
        domains.append(QJsonObject{{u"domain"_s, domain.domain},
                                   {u"level"_s, FoundItem::levelName(domain.authLevel)},
                                   {u"kept"_s, domain.kept()}});
        if (!domain.kept())
            notKept.append(QJsonObject{{u"item"_s, domain.domain}, {u"why"_s, domain.problem}});
    }
    qint64 items = 0;
    for (const CleaningBackup::Item& item : backup.items) {
        if (item.kept())
            ++items;
        else
            notKept.append(QJsonObject{{u"item"_s, item.path}, {u"why"_s, item.problem}});
    }
    return {{u"id"_s, backup.id},
            {u"created"_s, dateJson(backup.created)},
            {u"kind"_s,
             backup.kind == CleaningBackup::Kind::Components ? u"components"_s : u"application"_s},
            {u"title"_s, backup.title},
            {u"identifier"_s, backup.identifier},
            {u"holds"_s, backup.contentsSummary()},
            {u"restored"_s, dateJson(backup.restored)},
            {u"package"_s, store.packagePath(backup.id)},
            {u"domains"_s, domains},
            {u"items"_s, items},
            {u"bytes"_s, backup.bytes},
            {u"notKept"_s, notKept}};
}

void BackupReport::afterCleaning(const Cleaning& cleaning, CtlSession& session,
                                 QJsonObject& document) {
    CtlOutput& out = session.out();
    if (cleaning.refusedWithoutBackup()) {
        out.complain(u"nothing was deleted; give --no-backup to clean without a backup"_s);
        return;
    }
    const auto& backup = cleaning.lastBackup();
    if (!backup)
        return;
    out.line(u"Kept first in a backup: %1 (\"sorvanectl undo\" puts it back)."_s.arg(
        backup->contentsSummary()));
    document.insert(u"undoBackup"_s, json(*backup, session.backups()));
}
