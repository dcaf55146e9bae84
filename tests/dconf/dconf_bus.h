#pragma once

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

// A private dbus-daemon of the session type in a temporary folder of its own.
// With Service::Dconf it activates Debian's real dconf-service, which inherits
// this process's environment (XDG_CONFIG_HOME and XDG_RUNTIME_DIR included),
// so it writes the same user database that this process reads.
class DconfBus {
public:
    enum class Service { Dconf, None };

    explicit DconfBus(Service service);
    ~DconfBus();
    DconfBus(const DconfBus&) = delete;
    DconfBus& operator=(const DconfBus&) = delete;

    bool isRunning() const { return !address_.isEmpty(); }
    QString address() const { return address_; }
    QString lastError() const { return lastError_; }

private:
    bool writeConfig(Service service);
    void stopService() const;

    QTemporaryDir dir_;
    QProcess daemon_;
    QString address_;
    QString lastError_;
};
