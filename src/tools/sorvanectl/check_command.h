#pragma once

#include <QString>
#include <QStringList>

class CtlSession;

// sorvanectl check [--user | --system | FOLDER] [--delete]: the property-list
// check. The two preference folders are checked by the privileged helper,
// as the desktop application has them checked; any other folder, and those
// two when the helper cannot be reached, with the same checker and the
// user's own rights.
class CheckCommand {
public:
    static int run(const QStringList& arguments, CtlSession& session);
    static QString help();
};
