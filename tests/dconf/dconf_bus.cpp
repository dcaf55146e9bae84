#include "dconf_bus.h"

#include "private_bus.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QThread>

#include <signal.h>

using namespace Qt::StringLiterals;

namespace {

const QString kDconfName = u"ca.desrt.dconf"_s;
const QString kDconfService = u"/usr/libexec/dconf-service"_s;

QString busConfig(const QString& folder) {
    return uR"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:dir=%1</listen>
  <auth>EXTERNAL</auth>
  <servicedir>%1/services</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)"_s.arg(folder);
}

bool writeFile(const QString& path, const QString& text) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text.toUtf8()) >= 0;
}

// Whether a process has ended: gone, or a zombie. dbus-daemon detaches the
// services it starts, so the system's init collects them, in its own time.
bool hasEnded(pid_t pid) {
    QFile stat(u"/proc/%1/stat"_s.arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return true;
    const QByteArray line = stat.readAll();
    const qsizetype close = line.lastIndexOf(')');
    return close < 0 || line.mid(close + 2, 1) == "Z";
}

void stopProcess(pid_t pid) {
    ::kill(pid, SIGTERM);
    const QDeadlineTimer deadline(5000);
    while (!hasEnded(pid) && !deadline.hasExpired())
        QThread::msleep(10);
}

} // namespace

DconfBus::DconfBus(Service service) {
    if (!writeConfig(service))
        return;
    address_ = startDbusDaemon(daemon_, dir_.filePath(u"bus.conf"_s), &lastError_);
}

bool DconfBus::writeConfig(Service service) {
    const QString services = dir_.filePath(u"services"_s);
    QDir().mkpath(services);
    if (!writeFile(dir_.filePath(u"bus.conf"_s), busConfig(dir_.path()))) {
        lastError_ = u"cannot write the bus configuration"_s;
        return false;
    }
    if (service == Service::None)
        return true;
    if (!QFile::exists(kDconfService)) {
        lastError_ = kDconfService + u" is not installed"_s;
        return false;
    }
    const QString activation =
        u"[D-BUS Service]\nName=%1\nExec=%2\n"_s.arg(kDconfName, kDconfService);
    if (!writeFile(services + u"/ca.desrt.dconf.service"_s, activation)) {
        lastError_ = u"cannot write the activation file"_s;
        return false;
    }
    return true;
}

DconfBus::~DconfBus() {
    if (isRunning())
        stopService();
    daemon_.kill();
    daemon_.waitForFinished(5000);
}

// dconf-service was started by the bus, not by us: it is stopped by its pid.
void DconfBus::stopService() const {
    const QString connectionName = u"dconf-bus-teardown-"_s + address_;
    {
        QDBusConnection bus = QDBusConnection::connectToBus(address_, connectionName);
        const auto pid = bus.isConnected() ? bus.interface()->servicePid(kDconfName).value() : 0;
        if (pid > 0 && qint64(pid) != QCoreApplication::applicationPid())
            stopProcess(static_cast<pid_t>(pid));
    }
    QDBusConnection::disconnectFromBus(connectionName);
}
