#pragma once

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

// Starts "dbus-daemon --config-file=<configFile>" in daemon and waits (up to
// 10 s) for the address it prints; an empty address, with the reason in
// error, when it does not start.
QString startDbusDaemon(QProcess& daemon, const QString& configFile, QString* error);

// A private dbus-daemon in a temporary folder of its own, standing in for the
// system bus: its activation files come from <prefix>/share/dbus-1/
// system-services and its policies from <prefix>/share/dbus-1/system.d, which
// is where "sorvane-helper --install --prefix <prefix>" writes them. Services
// it activates inherit extraEnvironment (for instance a fake reboot program)
// and see <folder>/root as the system root and <folder>/home as home.
// Optionally python-dbusmock plays polkit's authority on it.
class PrivateBus {
public:
    explicit PrivateBus(const QProcessEnvironment& extraEnvironment = {});
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    bool isRunning() const { return !address_.isEmpty(); }
    QString address() const { return address_; }
    QString folder() const { return dir_.path(); }
    QString prefix() const { return dir_.filePath(QStringLiteral("prefix")); }
    QString systemRoot() const { return dir_.filePath(QStringLiteral("root")); }
    QString home() const { return dir_.filePath(QStringLiteral("home")); }
    // Where an activated helper appends its audit lines.
    QString auditLog() const { return dir_.filePath(QStringLiteral("audit.log")); }
    // Why the bus or a service on it did not start.
    QString lastError() const { return lastError_; }

    // The fake polkit authority; it refuses every action until told otherwise.
    bool startPolkit();
    bool setAllowedActions(const QStringList& actions);
    bool allowUnknownActions(bool allow);
    bool setPolkitDelay(double seconds);

    // A python-dbusmock object standing for a helper, for replies the real
    // helper never gives. Methods are added with addMockMethod.
    bool startMockService(const QString& name, const QString& path, const QString& interface);
    bool addMockMethod(const QString& path, const QString& interface, const QString& method,
                       const QString& inSignature, const QString& outSignature,
                       const QString& pythonCode);

    // Runs "<program> --install --prefix <prefix> --bus <address>"; its exit status.
    int installHelper(const QString& program);
    // The installer command the link should run instead of pkexec.
    QStringList installerCommand(const QString& program) const;

    // The process id of a name's owner on this bus, or 0.
    qint64 ownerPid(const QString& name) const;
    bool hasOwner(const QString& name) const;
    // Waits (up to timeoutMs) until the name has an owner, or none.
    bool waitForOwner(const QString& name, bool owned, int timeoutMs) const;
    // Kills the name's owner and waits until it has left the bus.
    bool killOwner(const QString& name) const;

private:
    QProcessEnvironment childEnvironment() const;
    bool startMock(const QStringList& arguments, const QString& name);
    bool callMock(const QString& name, const QString& path, const QString& method,
                  const QList<QVariant>& arguments) const;

    QTemporaryDir dir_;
    QProcessEnvironment extra_;
    QProcess daemon_;
    std::vector<std::unique_ptr<QProcess>> mocks_;
    QString address_;
    QString lastError_;
};
