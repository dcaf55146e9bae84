#pragma once

#include <QString>
#include <QStringList>

// Which application bundles have a running process: a process belongs to a
// bundle when its executable (or, for interpreted programs, its first
// argument, or the script an interpreter runs) lies inside the bundle's
// Contents/MacOS folder. Found through
// /proc; only processes whose details this user may read are seen.
class RunningApplications {
public:
    // The bundle folders of every running process, without duplicates.
    static QStringList runningBundlePaths();
    // The bundle folders of the running processes whose bundle has this
    // identifier.
    static QStringList runningApplicationsWithBundleIdentifier(const QString& identifier);
    // The bundle folder a program path lies in, or an empty string.
    static QString bundlePathOfExecutable(const QString& executable);
};
