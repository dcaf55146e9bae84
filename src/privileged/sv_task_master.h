#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>

#include <atomic>
#include <optional>

class SVTaskMasterDelegate;

// Runs one command-line program as a child process with the user's own
// rights, blocks the calling thread until it ends, and collects its standard
// output. One object serves one run: the buffer is never cleared, so a second
// run would append to the first one's output.
//
// The caller's stop flag is a std::atomic<bool>: it is written on another
// thread and read here without a lock, which only an atomic makes well
// defined (volatile would not).
class SVTaskMaster {
public:
    SVTaskMaster() = default;
    SVTaskMaster(const SVTaskMaster&) = delete;
    SVTaskMaster& operator=(const SVTaskMaster&) = delete;

    // True when the program was started and has ended, whatever its exit
    // status; false when it could not be started.
    bool runTaskWithProgram(const QString& program, const QStringList& arguments,
                            std::optional<QString>* output, const std::atomic<bool>* exitFlag);
    bool runTaskWithProgram(const QString& program, const QStringList& arguments,
                            const std::atomic<bool>* exitFlag);

    void appendTaskOutput(const QString& piece);

    // Absent when the program printed nothing.
    const std::optional<QString>& output() const { return taskOutputBuffer_; }
    // Absent unless the program could not be started.
    const std::optional<QString>& errorMessage() const { return errorMessage_; }

    // Runs "defaults delete <domain>"; true means the program ran, not that
    // the domain is gone.
    bool deleteDefaultDomain(const QString& domain);
    // Runs "reboot now"; true means the program ran.
    bool rebootComputer();

    SVTaskMasterDelegate* delegate() const { return delegate_; }
    void setDelegate(SVTaskMasterDelegate* delegate) { delegate_ = delegate; }
    QVariant userInfo() const { return userInfo_; }
    void setUserInfo(const QVariant& userInfo) { userInfo_ = userInfo; }

private:
    bool runConvenienceTask(const QString& program, const QString& shownTool,
                            const QStringList& arguments);

    std::optional<QString> taskOutputBuffer_;
    std::optional<QString> errorMessage_;
    SVTaskMasterDelegate* delegate_ = nullptr; // not owned
    QVariant userInfo_;
};
