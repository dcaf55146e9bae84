#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// Decides whether the helper may start a script as root: only a regular file
// owned by root that nobody else may write, in folders owned by root all the
// way up that nobody else may change.
class TrustedScript {
public:
    static bool isTrusted(const QByteArray& path, QString* error);
    // How a trusted script is started. The helper's own service is confined
    // far more than an update may be (read-only system, few capabilities, a
    // filter of system calls), so under systemd the script runs as a unit of
    // its own, outside that confinement; elsewhere the helper has none and
    // starts it itself. underSystemd: whether the helper is a service.
    static QStringList launchCommand(const QString& script, bool underSystemd);
    static bool runningUnderSystemd();
};
