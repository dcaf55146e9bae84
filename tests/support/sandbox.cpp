#include "sandbox.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <unistd.h>

Sandbox::Sandbox()
    : home_(dir_.filePath(QStringLiteral("home")))
    , root_(dir_.filePath(QStringLiteral("root")))
    , oldHome_(qgetenv("HOME"))
    , oldRoot_(qgetenv("SORVANE_SYSTEM_ROOT")) {
    QDir().mkpath(home_);
    QDir().mkpath(root_);
    qputenv("HOME", QFile::encodeName(home_));
    qputenv("SORVANE_SYSTEM_ROOT", QFile::encodeName(root_));
}

Sandbox::~Sandbox() {
    qputenv("HOME", oldHome_);
    qputenv("SORVANE_SYSTEM_ROOT", oldRoot_);
}

QString Sandbox::homePath(const QString& relative) const {
    return home_ + QLatin1Char('/') + relative;
}

QString Sandbox::rootPath(const QString& relative) const {
    return root_ + QLatin1Char('/') + relative;
}

QString Sandbox::makeFile(const QString& path, const QByteArray& content) const {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(content);
    return path;
}

QString Sandbox::makeFolder(const QString& path) const {
    QDir().mkpath(path);
    return path;
}

bool runningAsRoot() {
    return geteuid() == 0;
}

RerunResult rerunCurrentTestUnprivileged() {
    RerunResult result;
    const QString setpriv = QStandardPaths::findExecutable(QStringLiteral("setpriv"));
    if (setpriv.isEmpty()) {
        result.output =
            QStringLiteral("setpriv is not installed: cannot run as an unprivileged user");
        return result;
    }
    const ::testing::TestInfo* info = ::testing::UnitTest::GetInstance()->current_test_info();
    const QString name = QString::fromUtf8(info->test_suite_name()) + QLatin1Char('.') +
                         QString::fromUtf8(info->name());
    QProcess child;
    child.setProcessChannelMode(QProcess::MergedChannels);
    child.start(setpriv, {QStringLiteral("--reuid=65534"), QStringLiteral("--regid=65534"),
                          QStringLiteral("--clear-groups"), QCoreApplication::applicationFilePath(),
                          QStringLiteral("--gtest_filter=") + name});
    if (!child.waitForFinished(120000)) {
        result.output =
            QStringLiteral("the unprivileged run did not finish: ") + child.errorString();
        return result;
    }
    result.output = QString::fromUtf8(child.readAll());
    if (result.output.contains(QStringLiteral("Permission denied")) &&
        !result.output.contains(QStringLiteral("[==========]"))) {
        result.output.prepend(QStringLiteral("the test program cannot run as nobody: "));
        return result;
    }
    result.ran = true;
    result.passed = child.exitCode() == 0 &&
                    result.output.contains(QStringLiteral("[  PASSED  ] 1 test.")) &&
                    !result.output.contains(QStringLiteral("[  SKIPPED ]"));
    return result;
}
