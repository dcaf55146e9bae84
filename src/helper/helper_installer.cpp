#include "helper/helper_installer.h"

#include "privileged/helper_protocol.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QThread>

#include <cstdio>

#include <signal.h>

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
// administrator's every time.
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
                           u"Sorvane wants to delete settings that belong to the system."_s);
    actions += fileActions(P::kActionCopy, u"Copy files as root"_s,
                           u"Sorvane wants to copy files that belong to the system."_s);
    actions += fileActions(P::kActionSetAttributes, u"Change file attributes as root"_s,
                           u"Sorvane wants to change the owner or permissions of a file."_s);
    actions += polkitAction(P::kActionCheckPlists, u"Check the system's property lists"_s,
                            u"Sorvane wants to check the system's preference files."_s);
    actions += polkitAction(P::kActionReboot, u"Restart the computer"_s,
                            u"Sorvane wants to restart the computer."_s);
    actions +=
        polkitAction(P::kActionRunScript, u"Run an update script as root"_s,
                     u"Sorvane wants to run an update script with root rights."_s, u"auth_admin"_s);
    return uR"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE policyconfig PUBLIC "-//freedesktop//DTD PolicyKit Policy Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/PolicyKit/1/policyconfig.dtd">
<policyconfig>
  <vendor>Brisvale</vendor>
%1</policyconfig>
)"_s.arg(actions)
        .toUtf8();
}

// The helper only ever writes inside Library folders (users' homes, root's
// and the system's); everything else is read-only to it, and it needs neither
// devices, network nor namespaces. A missing folder ("-") is not an error.
QByteArray systemdUnit(const QString& program) {
    return uR"([Unit]
Description=Sorvane privileged helper

[Service]
Type=dbus
BusName=%1
ExecStart=%2
User=root
NoNewPrivileges=yes
ProtectSystem=strict
ReadWritePaths=-/home -/root/Library -/Library
PrivateTmp=yes
PrivateDevices=yes
RestrictAddressFamilies=AF_UNIX
RestrictSUIDSGID=yes
RestrictNamespaces=yes
RestrictRealtime=yes
LockPersonality=yes
ProtectKernelTunables=yes
ProtectKernelModules=yes
ProtectControlGroups=yes
SystemCallArchitectures=native
)"_s.arg(P::kLabel, program)
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

HelperInstaller::Status HelperInstaller::install(const QString& helperProgram) const {
    QByteArray activation =
        u"[D-BUS Service]\nName=%1\nExec=%2\nUser=root\n"_s.arg(P::kLabel, installedProgram())
            .toUtf8();
    // Under systemd the bus starts the hardened unit; elsewhere it runs Exec.
    if (systemdIsRunning())
        activation += "SystemdService=sorvane-helper.service\n";
    if (!copyProgram(helperProgram) ||
        !writeFile(systemdUnitFile(), systemdUnit(installedProgram())) ||
        !writeFile(activationFile(), activation) || !writeFile(busPolicyFile(), busPolicy()) ||
        !writeFile(polkitActionsFile(), polkitActions()))
        return Failed;
    reloadBusAndStopOldHelper();
    return Installed;
}

bool HelperInstaller::writeFile(const QString& path, const QByteArray& content) const {
    QDir().mkpath(QFileInfo(path).path());
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() ||
        !file.commit()) {
        complain(u"Cannot write %1: %2"_s.arg(path, file.errorString()));
        return false;
    }
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup |
                                    QFile::ReadOther);
    return true;
}

bool HelperInstaller::copyProgram(const QString& helperProgram) const {
    const QString target = installedProgram();
    QDir().mkpath(QFileInfo(target).path());
    // Copied beside the target and renamed over it, so that a helper still
    // running from the old file is never overwritten in place.
    const QString staged = target + u".new"_s;
    QFile::remove(staged);
    if (!QFile::copy(helperProgram, staged)) {
        complain(u"Cannot copy %1 to %2"_s.arg(helperProgram, staged));
        return false;
    }
    QFile::setPermissions(staged, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                      QFile::ReadGroup | QFile::ExeGroup | QFile::ReadOther |
                                      QFile::ExeOther);
    if (::rename(QFile::encodeName(staged).constData(), QFile::encodeName(target).constData()) !=
        0) {
        complain(u"Cannot install %1"_s.arg(target));
        QFile::remove(staged);
        return false;
    }
    return true;
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
        ::kill(static_cast<pid_t>(pid.value()), SIGTERM);
        const QDeadlineTimer deadline(kStopWaitMs);
        while (daemon->isServiceRegistered(P::kLabel).value() && !deadline.hasExpired())
            QThread::msleep(20);
    }
    QDBusConnection::disconnectFromBus(name);
}
