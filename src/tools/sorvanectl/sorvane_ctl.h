#pragma once

#include <QString>
#include <QStringList>

// sorvanectl: every job of Sorvane from the command line, over the same core
// as the desktop application. Picks the command, handles the options every
// command takes (--json, --help, --verbose) and returns the exit status.
class SorvaneCtl {
public:
    static int run(const QStringList& arguments);
    static QString help();

private:
    // The help of the command the arguments name; null when there is none.
    static QString helpFor(const QStringList& words);
};
