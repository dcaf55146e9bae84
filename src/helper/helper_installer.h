#pragma once

#include <QString>

// Installs the running helper program as the system's privileged helper: the
// program into libexec, its hardened systemd unit, its D-Bus activation file,
// its bus policy and its polkit actions, all through an InstallTree (a prefix
// nobody else may change, no link followed); then asks the bus to reload and
// stops an older helper still running, so that the next call activates the
// new one. It signals only a process it has verified to be an installed
// helper: one running this prefix's program as root (or as whoever installs).
// Run as root (through pkexec), or into a folder of its own with a prefix
// (tests, packaging).
class HelperInstaller {
public:
    enum Status { Installed = 0, Failed = 1 };

    // prefix: "/usr" for the system; busAddress: empty for the system bus.
    HelperInstaller(QString prefix, QString busAddress);

    // Writes what went wrong to standard error.
    Status install(const QString& helperProgram) const;

    QString installedProgram() const;
    QString activationFile() const;
    QString busPolicyFile() const;
    QString polkitActionsFile() const;
    // The hardened unit the bus activates the helper through under systemd.
    QString systemdUnitFile() const;
    // The unit's text for a program installed at the given path.
    static QByteArray systemdUnit(const QString& program);
    // Whether the process is a helper this installer may stop: it runs the
    // installed program (or the file it replaced) as root or as whoever
    // installs.
    bool isInstalledHelper(qint64 pid) const;

private:
    void reloadBusAndStopOldHelper() const;

    QString prefix_;
    QString busAddress_;
};
