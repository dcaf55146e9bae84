#pragma once

#include <QString>
#include <QStringList>

class CtlSession;

// sorvanectl clean APP [--dry-run] [--backup FILE.Kolvane2]: the desktop
// application's cleaning of one application, refused while it runs. A dry
// run lists what would go and touches nothing; a backup is written before
// anything is deleted, and "package deploy" of it undoes the cleaning.
class CleanCommand {
public:
    static int run(const QStringList& arguments, CtlSession& session);
    static QString help();
};
