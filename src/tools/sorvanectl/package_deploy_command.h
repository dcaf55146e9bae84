#pragma once

#include <QString>
#include <QStringList>

class CtlSession;

// sorvanectl package deploy FILE [--only NAME]... [--dry-run]: writes a
// package's settings into the current user's defaults and home folder, as the
// packager window deploys them, with the user's own rights. Before writing,
// every domain is compared with what the machine holds now (keys added,
// changed and removed); a dry run stops there. After writing, every domain
// and file is read back to report what really arrived.
class PackageDeployCommand {
public:
    static int run(const QStringList& arguments, CtlSession& session);
    static QString help();
};
