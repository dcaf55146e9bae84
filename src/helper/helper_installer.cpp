#include "helper/helper_installer.h"

#include "helper/install_tree.h"
#include "helper/unique_fd.h"
#include "privileged/helper_protocol.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <cstdio>

#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
namespace P = HelperProtocol;

namespace {

// How long an older helper gets to leave the bus after being told to stop.
constexpr int kStopWaitMs = 5000;

void complain(const QString& text) {
    std::fprintf(stderr, "%s\n", qPrintable(text));
}

QByteArray busPolicy() {
    return uR"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<!-- Sorvane's privileged helper: only root may own its name; anyone may call
     it, and the helper asks polkit before every privileged operation. -->
<busconfig>
  <policy user="root">
    <allow own="%1"/>
  </policy>
  <policy context="default">
    <allow send_destination="%1" send_interface="%1"/>
    <allow send_destination="%1" send_interface="org.freedesktop.DBus.Introspectable"/>
    <allow send_destination="%1" send_interface="org.freedesktop.DBus.Peer"/>
  </policy>
</busconfig>
)"_s.arg(P::kLabel)
        .toUtf8();
}

QString polkitAction(const QString& id, const QString& description, const QString& message,
                     const QString& active = u"auth_admin_keep"_s) {
    return uR"(  <action id="%1">
    <description>%2</description>
    <message>%3</message>
    <defaults>
      <allow_any>auth_admin</allow_any>
      <allow_inactive>auth_admin</allow_inactive>
      <allow_active>%4</allow_active>
    </defaults>
  </action>
)"_s.arg(id, description, message, active);
}

// One's own Library needs only one's own password; another user's needs an
// administrator's every time. Messages name the target: polkit fills $(path)
// and $(source) from the details the helper passes with every check.
QString fileActions(const QString& id, const QString& description, const QString& message) {
    return polkitAction(id, description, message) +
           polkitAction(id + P::kOwnLibrarySuffix, description + u" in your Library"_s, message,
                        u"auth_self_keep"_s) +
           polkitAction(id + P::kOtherUserSuffix, description + u" in another user's Library"_s,
                        message, u"auth_admin"_s);
}

QByteArray polkitActions() {
    QString actions;
    actions += polkitAction(P::kActionReadDomains, u"List root's defaults domains"_s,
                            u"Sorvane wants to list the system's settings."_s);
    actions += fileActions(P::kActionDelete, u"Delete settings and files as root"_s,
                           u"Sorvane wants to delete $(path)."_s);
    actions += fileActions(P::kActionCopy, u"Copy files as root"_s,
                           u"Sorvane wants to copy $(source) to $(path)."_s);
    actions += fileActions(P::kActionSetAttributes, u"Change file attributes as root"_s,
                           u"Sorvane wants to change the owner or permissions of $(path)."_s);
    actions += polkitAction(P::kActionCheckPlists, u"Check the system's property lists"_s,
                            u"Sorvane wants to check the settings files in $(path)."_s);
    actions += polkitAction(P::kActionReboot, u"Restart the computer"_s,
                            u"Sorvane wants to restart the computer."_s);
    actions += polkitAction(P::kActionRunScript, u"Run an update script as root"_s,
                            u"Sorvane wants to run the update script $(path) with root rights."_s,
                            u"auth_admin"_s);
    return uR"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE policyconfig PUBLIC "-//freedesktop//DTD PolicyKit Policy Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/PolicyKit/1/policyconfig.dtd">
<policyconfig>
  <vendor>Brisvale</vendor>
%1</policyconfig>
)"_s.arg(actions)
        .toUtf8();
}

// Whether the machine runs systemd, the way systemd itself tells.
bool systemdIsRunning() {
    return QFileInfo(u"/run/systemd/system"_s).isDir();
}

} // namespace

HelperInstaller::HelperInstaller(QString prefix, QString busAddress)
    : prefix_(QDir::cleanPath(prefix))
    , busAddress_(std::move(busAddress)) {}

QString HelperInstaller::installedProgram() const {
    return prefix_ + u"/libexec/sorvane/sorvane-helper"_s;
}

QString HelperInstaller::activationFile() const {
    return prefix_ + u"/share/dbus-1/system-services/"_s + P::kLabel + u".service"_s;
}

QString HelperInstaller::busPolicyFile() const {
    return prefix_ + u"/share/dbus-1/system.d/"_s + P::kLabel + u".conf"_s;
}

QString HelperInstaller::systemdUnitFile() const {
    return prefix_ + u"/lib/systemd/system/sorvane-helper.service"_s;
}

QString HelperInstaller::polkitActionsFile() const {
    return prefix_ + u"/share/polkit-1/actions/"_s + P::kLabel + u".policy"_s;
}

// The helper only ever writes inside the settings places (users' homes,
// root's Library, the system's Library and Linux folders); everything else is
// read-only to it, and it needs neither devices, network, namespaces nor more
// capabilities than deleting, copying as another user and changing owners
// take (and stopping its own check workers). A missing folder ("-") is not an
// error. Its checks run as worker processes in the same unit, so the memory
// and task limits hold them too.
QByteArray HelperInstaller::systemdUnit(const QString& program) {
    return uR"([Unit]
Description=Sorvane privileged helper

[Service]
Type=dbus
BusName=%1
ExecStart=%2
User=root
NoNewPrivileges=yes
CapabilityBoundingSet=CAP_CHOWN CAP_DAC_OVERRIDE CAP_FOWNER CAP_KILL CAP_SETUID CAP_SETGID
ProtectSystem=strict
ReadWritePaths=-/home -/root/Library -/Library -/etc/xdg -/etc/dconf -/var/cache
PrivateTmp=yes
PrivateDevices=yes
PrivateNetwork=yes
IPAddressDeny=any
PrivateMounts=yes
ProtectProc=invisible
ProcSubset=pid
ProtectClock=yes
ProtectHostname=yes
ProtectKernelLogs=yes
ProtectKernelTunables=yes
ProtectKernelModules=yes
ProtectControlGroups=yes
RestrictAddressFamilies=AF_UNIX
RestrictSUIDSGID=yes
RestrictNamespaces=yes
RestrictRealtime=yes
LockPersonality=yes
MemoryDenyWriteExecute=yes
SystemCallArchitectures=native
SystemCallFilter=@system-service
SystemCallFilter=~@aio @keyring @memlock @resources capset userfaultfd
SystemCallErrorNumber=EPERM
UMask=0077
MemoryMax=768M
TasksMax=64
)"_s.arg(P::kLabel, program)
        .toUtf8();
}

HelperInstaller::Status HelperInstaller::install(const QString& helperProgram) const {
    QByteArray activation =
        u"[D-BUS Service]\nName=%1\nExec=%2\nUser=root\n"_s.arg(P::kLabel, installedProgram())
            .toUtf8();
    // Under systemd the bus starts the hardened unit; elsewhere it runs Exec.
    if (systemdIsRunning())
        activation += "SystemdService=sorvane-helper.service\n";
    QFile program(helperProgram);
    if (!program.open(QIODevice::ReadOnly)) {
        complain(u"Cannot read %1: %2"_s.arg(helperProgram, program.errorString()));
        return Failed;
    }
    const QByteArray image = program.readAll();
    const InstallTree tree(prefix_);
    QString error;
    const auto relative = [this](const QString& path) { return path.mid(prefix_.size() + 1); };
    // The program first and the files that name it after, so that the bus
    // never activates a program that is not there yet.
    const bool written =
        tree.writeFile(relative(installedProgram()), image, 0755, &error) &&
        tree.writeFile(relative(systemdUnitFile()), systemdUnit(installedProgram()), 0644,
                       &error) &&
        tree.writeFile(relative(activationFile()), activation, 0644, &error) &&
        tree.writeFile(relative(busPolicyFile()), busPolicy(), 0644, &error) &&
        tree.writeFile(relative(polkitActionsFile()), polkitActions(), 0644, &error);
    if (!written) {
        complain(error);
        return Failed;
    }
    reloadBusAndStopOldHelper();
    return Installed;
}

bool HelperInstaller::isInstalledHelper(qint64 pid) const {
    const QByteArray proc = "/proc/" + QByteArray::number(pid);
    char exe[PATH_MAX];
    const ssize_t length = ::readlink((proc + "/exe").constData(), exe, sizeof exe - 1);
    if (length <= 0)
        return false;
    const QString running = QFile::decodeName(QByteArray(exe, length));
    // A helper still running the program this installation replaced.
    if (running != installedProgram() && running != installedProgram() + u" (deleted)"_s)
        return false;
    QFile status(QFile::decodeName(proc + "/status"));
    if (!status.open(QIODevice::ReadOnly))
        return false;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (!line.startsWith("Uid:"))
            continue;
        const QList<QByteArray> ids = line.mid(4).simplified().split(' ');
        const uid_t installer = ::geteuid();
        bool ok = !ids.isEmpty();
        for (const QByteArray& id : ids) {
            const uint uid = id.toUInt();
            ok = ok && (uid == 0 || uid == installer);
        }
        return ok;
    }
    return false;
}

void HelperInstaller::reloadBusAndStopOldHelper() const {
    const QString name = u"sorvane-helper-installer"_s;
    QDBusConnection bus = busAddress_.isEmpty()
                              ? QDBusConnection::connectToBus(QDBusConnection::SystemBus, name)
                              : QDBusConnection::connectToBus(busAddress_, name);
    if (!bus.isConnected()) {
        // The files are in place; the bus picks them up when it next starts.
        complain(
            u"Installed, but the bus could not be reached: %1"_s.arg(bus.lastError().message()));
        QDBusConnection::disconnectFromBus(name);
        return;
    }
    bus.call(QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                            u"org.freedesktop.DBus"_s, u"ReloadConfig"_s));
    QDBusConnectionInterface* daemon = bus.interface();
    const auto pid = daemon->servicePid(P::kLabel);
    if (pid.isValid() && pid.value() > 0) {
        // Held by a descriptor while it is looked at, so that the process
        // signalled is the one verified even if its id is taken again.
        const UniqueFd process(static_cast<int>(::syscall(SYS_pidfd_open, pid.value(), 0)));
        const bool verified = process.isValid() && isInstalledHelper(pid.value());
        if (!verified ||
            ::syscall(SYS_pidfd_send_signal, process.get(), SIGTERM, nullptr, 0) != 0) {
            complain(u"The owner of %1 on the bus (process %2) is not an installed helper: it is "
                     u"left alone."_s.arg(P::kLabel)
                         .arg(pid.value()));
        } else {
            const QDeadlineTimer deadline(kStopWaitMs);
            while (daemon->isServiceRegistered(P::kLabel).value() && !deadline.hasExpired())
                QThread::msleep(20);
        }
    }
    QDBusConnection::disconnectFromBus(name);
}
