#include "private_bus.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QThread>

#include <atomic>

#include <signal.h>

namespace {

const QString kPython = QStringLiteral("/usr/bin/python3");
const QString kMockInterface = QStringLiteral("org.freedesktop.DBus.Mock");
const QString kPolkitName = QStringLiteral("org.freedesktop.PolicyKit1");
const QString kPolkitPath = QStringLiteral("/org/freedesktop/PolicyKit1/Authority");

QString busConfig(const QString& folder, const QString& prefix) {
    return QStringLiteral(
               R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:dir=%1</listen>
  <auth>EXTERNAL</auth>
  <servicedir>%2/share/dbus-1/system-services</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
  <includedir>%2/share/dbus-1/system.d</includedir>
</busconfig>
)")
        .arg(folder, prefix);
}

} // namespace

PrivateBus::PrivateBus(const QProcessEnvironment& extraEnvironment)
    : extra_(extraEnvironment) {
    QDir().mkpath(systemRoot() + QStringLiteral("/root"));
    QDir().mkpath(home());
    QDir().mkpath(prefix() + QStringLiteral("/share/dbus-1/system-services"));
    QDir().mkpath(prefix() + QStringLiteral("/share/dbus-1/system.d"));
    const QString config = dir_.filePath(QStringLiteral("bus.conf"));
    QFile file(config);
    if (!file.open(QIODevice::WriteOnly)) {
        lastError_ = file.errorString();
        return;
    }
    file.write(busConfig(dir_.path(), prefix()).toUtf8());
    file.close();

    daemon_.setProcessEnvironment(childEnvironment());
    address_ = startDbusDaemon(daemon_, config, &lastError_);
}

QString startDbusDaemon(QProcess& daemon, const QString& configFile, QString* error) {
    daemon.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    daemon.start(QStringLiteral("dbus-daemon"),
                 {QStringLiteral("--config-file=") + configFile, QStringLiteral("--nofork"),
                  QStringLiteral("--print-address=1")});
    QByteArray line;
    const QDeadlineTimer deadline(10000);
    while (!line.contains('\n') && !deadline.hasExpired() &&
           daemon.state() != QProcess::NotRunning) {
        daemon.waitForReadyRead(100);
        line += daemon.readAllStandardOutput();
    }
    const QString address = QString::fromUtf8(line).trimmed();
    if (address.isEmpty() && error)
        *error = QStringLiteral("dbus-daemon did not start: ") + daemon.errorString();
    return address;
}

PrivateBus::~PrivateBus() {
    // Activated services (the helper) are not our children: stop them by pid.
    if (isRunning()) {
        const QDBusConnection bus =
            QDBusConnection::connectToBus(address_, QStringLiteral("private-bus-teardown"));
        if (bus.isConnected()) {
            const QStringList names = bus.interface()->registeredServiceNames().value();
            for (const QString& name : names) {
                if (name.startsWith(QLatin1Char(':')) ||
                    name == QStringLiteral("org.freedesktop.DBus"))
                    continue;
                const qint64 pid = ownerPid(name);
                if (pid > 0 && pid != QCoreApplication::applicationPid())
                    ::kill(static_cast<pid_t>(pid), SIGKILL);
            }
        }
        QDBusConnection::disconnectFromBus(QStringLiteral("private-bus-teardown"));
    }
    for (auto& mock : mocks_) {
        mock->kill();
        mock->waitForFinished(5000);
    }
    daemon_.kill();
    daemon_.waitForFinished(5000);
}

QProcessEnvironment PrivateBus::childEnvironment() const {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), home());
    environment.insert(QStringLiteral("SORVANE_SYSTEM_ROOT"), systemRoot());
    // The helper counts the sandbox home as its caller's and keeps its audit
    // trail where tests can read it.
    environment.insert(QStringLiteral("SORVANE_HELPER_TEST_HOME"), home());
    environment.insert(QStringLiteral("SORVANE_HELPER_AUDIT_LOG"), auditLog());
    if (!address_.isEmpty()) {
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), address_);
        environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), address_);
    }
    const QStringList keys = extra_.keys();
    for (const QString& key : keys)
        environment.insert(key, extra_.value(key));
    return environment;
}

bool PrivateBus::startMock(const QStringList& arguments, const QString& name) {
    if (!isRunning())
        return false;
    auto mock = std::make_unique<QProcess>();
    mock->setProcessEnvironment(childEnvironment());
    mock->setProcessChannelMode(QProcess::ForwardedChannels);
    // The mock logs every call it gets; that goes to a file, not the test's output.
    const QString logFile = dir_.filePath(QStringLiteral("mock-%1.log").arg(mocks_.size()));
    mock->start(kPython,
                QStringList{QStringLiteral("-m"), QStringLiteral("dbusmock"),
                            QStringLiteral("--session"), QStringLiteral("--logfile"), logFile} +
                    arguments);
    mocks_.push_back(std::move(mock));
    if (!waitForOwner(name, true, 15000)) {
        lastError_ = QStringLiteral("python-dbusmock did not take ") + name;
        return false;
    }
    return true;
}

bool PrivateBus::startPolkit() {
    return startMock({QStringLiteral("--template"), QStringLiteral("polkitd")}, kPolkitName);
}

bool PrivateBus::callMock(const QString& name, const QString& path, const QString& method,
                          const QList<QVariant>& arguments) const {
    // One control connection per bus: a name shared by every bus would keep
    // talking to the first one after it has gone.
    const QString connectionName = QStringLiteral("private-bus-mock-control-") + address_;
    QDBusConnection bus = QDBusConnection::connectToBus(address_, connectionName);
    QDBusMessage call = QDBusMessage::createMethodCall(name, path, kMockInterface, method);
    call.setArguments(arguments);
    const QDBusMessage reply = bus.call(call);
    return reply.type() == QDBusMessage::ReplyMessage;
}

bool PrivateBus::setAllowedActions(const QStringList& actions) {
    return callMock(kPolkitName, kPolkitPath, QStringLiteral("SetAllowed"), {actions});
}

bool PrivateBus::allowUnknownActions(bool allow) {
    return callMock(kPolkitName, kPolkitPath, QStringLiteral("AllowUnknown"), {allow});
}

bool PrivateBus::setPolkitDelay(double seconds) {
    return callMock(kPolkitName, kPolkitPath, QStringLiteral("SetDelay"), {seconds});
}

bool PrivateBus::startMockService(const QString& name, const QString& path,
                                  const QString& interface) {
    return startMock({name, path, interface}, name);
}

bool PrivateBus::addMockMethod(const QString& path, const QString& interface, const QString& method,
                               const QString& inSignature, const QString& outSignature,
                               const QString& pythonCode) {
    // The mock's name is the interface's in every use here.
    return callMock(interface, path, QStringLiteral("AddMethod"),
                    {interface, method, inSignature, outSignature, pythonCode});
}

QStringList PrivateBus::installerCommand(const QString& program) const {
    return {program,  QStringLiteral("--install"), QStringLiteral("--prefix"),
            prefix(), QStringLiteral("--bus"),     address_};
}

int PrivateBus::installHelper(const QString& program) {
    QProcess installer;
    installer.setProcessChannelMode(QProcess::ForwardedChannels);
    const QStringList command = installerCommand(program);
    installer.start(command.first(), command.mid(1));
    if (!installer.waitForFinished(30000)) {
        lastError_ = QStringLiteral("the installer did not run: ") + installer.errorString();
        return -1;
    }
    if (installer.exitStatus() != QProcess::NormalExit) {
        lastError_ = QStringLiteral("the installer crashed");
        return -1;
    }
    return installer.exitCode();
}

qint64 PrivateBus::ownerPid(const QString& name) const {
    static std::atomic<int> serial{0};
    const QString connectionName = QStringLiteral("private-bus-query-%1").arg(++serial);
    qint64 pid = 0;
    {
        QDBusConnection bus = QDBusConnection::connectToBus(address_, connectionName);
        if (bus.isConnected()) {
            const auto reply = bus.interface()->servicePid(name);
            if (reply.isValid())
                pid = reply.value();
        }
    }
    QDBusConnection::disconnectFromBus(connectionName);
    return pid;
}

bool PrivateBus::hasOwner(const QString& name) const {
    return ownerPid(name) > 0;
}

bool PrivateBus::waitForOwner(const QString& name, bool owned, int timeoutMs) const {
    const QDeadlineTimer deadline(timeoutMs);
    while (hasOwner(name) != owned) {
        if (deadline.hasExpired())
            return false;
        QThread::msleep(20);
    }
    return true;
}

bool PrivateBus::killOwner(const QString& name) const {
    const qint64 pid = ownerPid(name);
    if (pid <= 0)
        return false;
    ::kill(static_cast<pid_t>(pid), SIGKILL);
    return waitForOwner(name, false, 5000);
}
