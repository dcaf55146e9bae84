#pragma once

#include "linux/linux_running_applications.h"

#include <QString>
#include <QStringList>

class DesktopEntry;

// What the searches and the running-application query need of one desktop
// application: its identifier, the names its files may carry, its programs,
// and its Flatpak and Snap identities.
struct LinuxApplication {
    QString identifier;
    // Lower-case names, launchers left out (see below).
    QStringList fileNames;
    QString flatpakId;
    QString snapName;
    // The Exec and TryExec programs, launchers left out.
    QStringList programs;

    static LinuxApplication fromEntry(const DesktopEntry& entry);
    // Programs that start other programs (shells, interpreters, launchers):
    // their names say nothing about the application they start.
    static bool isLauncher(const QString& program);

    LinuxProgramIdentity programIdentity() const { return {programs, flatpakId, snapName}; }
};
