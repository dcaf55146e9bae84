#pragma once

#include "helper_link_fixture.h"
#include "sandbox.h"
#include "unprivileged_caller.h"

#include "privileged/helper_protocol.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QTemporaryDir>

#include <memory>

#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

// The real helper, installed on a private bus as HelperLinkTest has it, and
// a caller that is not root: "nobody", who owns the sandbox home (its own
// Library). A second home belongs to another user ("daemon"), so that the
// helper has another user's Library to refuse or to ask polkit about.
// Folders on the way are opened so that a plain user may pass through them,
// as in a real system; anything a test wants kept from the caller it closes
// itself. Skips, saying why, where the machine cannot run a plain user.
class UnprivilegedHelperTest : public HelperLinkTest {
protected:
    void addHelperEnvironment(QProcessEnvironment& environment) const override {
        environment.insert(QStringLiteral("SORVANE_HELPER_TEST_OTHER_HOME"), otherHome());
    }

    void SetUp() override {
        QString why;
        if (!UnprivilegedCaller::isAvailable(&why))
            GTEST_SKIP() << why.toStdString();
        const passwd* other = ::getpwnam("daemon");
        if (!other)
            GTEST_SKIP() << "no user \"daemon\" to own another user's Library";
        otherUid_ = other->pw_uid;
        otherGid_ = other->pw_gid;
        ASSERT_TRUE(others_.isValid());
        HelperLinkTest::SetUp();
        if (HasFatalFailure())
            return;
        openUp(bus_->folder());
        openUp(others_.path());
        // The bus listens on a socket that a plain user must be able to reach.
        const QString socket =
            bus_->address().section(QStringLiteral("path="), 1).section(u',', 0, 0);
        ASSERT_EQ(::chmod(QFile::encodeName(socket).constData(), 0777), 0) << socket.toStdString();
        writeFile(bus_->prefix() + QStringLiteral("/share/dbus-1/system.d/all-users.conf"),
                  "<busconfig><policy context=\"default\"><allow user=\"*\"/></policy>"
                  "</busconfig>\n");
        QDir().mkpath(otherHome());
        ASSERT_EQ(::chown(QFile::encodeName(otherHome()).constData(), otherUid_, otherGid_), 0);
        ASSERT_EQ(::chown(QFile::encodeName(bus_->home()).constData(), UnprivilegedCaller::kNobody,
                          UnprivilegedCaller::kNobody),
                  0);
        openUp(bus_->home());
        openUp(bus_->systemRoot());
        installHelper();
        caller_ = std::make_unique<UnprivilegedCaller>(bus_->address());
    }

    QString otherHome() const { return others_.filePath(QStringLiteral("home")); }

    static void openUp(const QString& folder) {
        ::chmod(QFile::encodeName(folder).constData(), 0755);
    }

    // Creates a file owned by uid, and the folders it needs, also uid's.
    static QString writeFile(const QString& path, const QByteArray& content, uid_t uid = 0,
                             mode_t mode = 0644) {
        QString folder = QFileInfo(path).path();
        QStringList missing;
        for (; !QFileInfo::exists(folder); folder = QFileInfo(folder).path())
            missing.prepend(folder);
        for (const QString& made : std::as_const(missing)) {
            QDir().mkdir(made);
            ::chown(QFile::encodeName(made).constData(), uid, uid);
        }
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write(content);
        file.close();
        ::chown(QFile::encodeName(path).constData(), uid, uid);
        ::chmod(QFile::encodeName(path).constData(), mode);
        return path;
    }

    static QString fileUrl(const QString& path) { return QStringLiteral("file://") + path; }

    // One call as the plain caller; its result ({"reply": …} or {"error": …}).
    QJsonObject callAsNobody(const QString& method, const QString& signature,
                             const QJsonArray& arguments) const {
        const QJsonArray results =
            caller_->run({UnprivilegedCaller::call(method, signature, arguments)});
        return results.first().toObject();
    }

    // The processes the helper started as uid: its check workers.
    QList<pid_t> workersOf(qint64 helper, uid_t uid) const {
        QList<pid_t> workers;
        QDirIterator threads(QStringLiteral("/proc/%1/task").arg(helper),
                             QDir::Dirs | QDir::NoDotAndDotDot);
        while (threads.hasNext()) {
            QFile children(threads.next() + QStringLiteral("/children"));
            if (!children.open(QIODevice::ReadOnly))
                continue;
            for (const QByteArray& child : children.readAll().simplified().split(' ')) {
                // Only a worker that runs its program: before that the child
                // is still a copy of the helper.
                struct stat info {};
                QFile command(QString::fromLatin1("/proc/" + child + "/cmdline"));
                if (!child.isEmpty() &&
                    ::stat(QByteArray("/proc/" + child).constData(), &info) == 0 &&
                    info.st_uid == uid && command.open(QIODevice::ReadOnly) &&
                    command.readAll().contains("--check-worker"))
                    workers.append(child.toInt());
            }
        }
        return workers;
    }

    // Waits for a check worker of uid and stops it (SIGSTOP), so that its
    // check stays running until the test lets it go on; -1 when none came.
    pid_t stopWorkerOf(uid_t uid) const {
        QList<pid_t> workers;
        const QDeadlineTimer deadline(10000);
        qint64 helper = 0;
        while (workers.isEmpty() && !deadline.hasExpired()) {
            if (helper <= 0)
                helper = bus_->ownerPid(HelperProtocol::kLabel);
            else
                workers = workersOf(helper, uid);
        }
        if (workers.isEmpty())
            return -1;
        ::kill(workers.first(), SIGSTOP);
        return workers.first();
    }

    // Property lists that take a worker a moment each, so that it can be caught.
    static QByteArray slowPropertyList() { return "(" + QByteArray("a,").repeated(1000000) + "a)"; }

    uid_t otherUid_ = 0;
    gid_t otherGid_ = 0;
    QTemporaryDir others_;
    std::unique_ptr<UnprivilegedCaller> caller_;
};
