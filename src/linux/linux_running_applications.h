#pragma once

#include <QString>
#include <QStringList>

// What identifies one application's processes on the Linux desktop.
struct LinuxProgramIdentity {
    QStringList programs; // file names of the entry's Exec/TryExec programs ("gimp-2.10")
    QString flatpakId;    // "org.gimp.GIMP" for a Flatpak application, else empty
    QString snapName;     // "firefox" for a Snap, else empty
};

// Whether a desktop application runs now on the Linux desktop. A process
// belongs to the application when its executable or its first argument is one
// of the entry's programs, or when it is an interpreter running one of them as
// a script; a Flatpak application runs while one of its sandbox instances is
// alive, a Snap while a process sits in one of the snap's cgroups. Found
// through /proc, so only processes whose details this user may read are seen;
// the scan stops at the first match.
class LinuxRunningApplications {
public:
    // The same as below, with /proc and $XDG_RUNTIME_DIR.
    static bool isRunning(const LinuxProgramIdentity& identity);
    // Whether the application runs, with procRoot standing for /proc and
    // runtimeDir for $XDG_RUNTIME_DIR. An empty identity never runs.
    static bool isRunning(const LinuxProgramIdentity& identity, const QString& procRoot,
                          const QString& runtimeDir);
};
