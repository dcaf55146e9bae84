#pragma once

#include <QString>
#include <QStringList>

class CtlSession;

// sorvanectl components list | components clean NAME… [--dry-run]: the
// operating-system components of the built-in catalogue and their cleaning,
// as the desktop application's components tab does it.
class ComponentsCommand {
public:
    static int run(const QStringList& arguments, CtlSession& session);
    static QString help();
    static QString listHelp();
    static QString cleanHelp();

private:
    static int list(const QStringList& arguments, CtlSession& session);
    static int clean(const QStringList& arguments, CtlSession& session);
};
