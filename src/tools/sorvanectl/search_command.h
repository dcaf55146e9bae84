#pragma once

#include <QString>
#include <QStringList>

class CtlSession;

// sorvanectl search APP: the application's defaults domains, preference files
// and caches exactly as the desktop search finds them, each with the reason
// it was matched.
class SearchCommand {
public:
    static int run(const QStringList& arguments, CtlSession& session);
    static QString help();
};
