#pragma once

#include <QDeadlineTimer>
#include <QMap>
#include <QString>

#include <atomic>

// Checks every property-list file below a folder, several files at a time;
// the Linux desktop's system settings folders (/etc/xdg, /etc/dconf) have
// every settings file checked by its format instead.
// It stops early, answering with what was checked so far, when cancelled or
// when its deadline passes: the application gives up on a check that takes
// longer than its own time-out, so a partial answer in time beats a full one
// too late.
class PlistCheckJob {
public:
    // Full path of each checked file to "OK" or the checker's message.
    using Results = QMap<QString, QString>;

    static QStringList plistFilesInFolder(const QString& folder);
    static bool isLinuxSettingsFolder(const QString& folder);
    static Results run(const QString& folder, const std::atomic<bool>& cancelled,
                       QDeadlineTimer deadline);
};
