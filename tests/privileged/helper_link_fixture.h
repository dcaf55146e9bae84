#pragma once

#include "platform/tool_locations.h"
#include "privileged/link_to_helper_tool.h"

#include "log_capture.h"
#include "private_bus.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <memory>

// A private bus with a fake polkit (allowing everything unless a test says
// otherwise) and a link pointed at it. The helper is not installed: tests that
// want it call installHelper(). Services on the bus run a fake reboot that
// records its arguments in rebootRecord().
class HelperLinkTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(tools_.isValid());
        const QString reboot = tools_.filePath(QStringLiteral("reboot"));
        writeScript(reboot, "echo \"$@\" > '" + QFile::encodeName(rebootRecord()) + "'\n");
        QProcessEnvironment environment;
        environment.insert(QStringLiteral("SORVANE_REBOOT_TOOL"), reboot);
        addHelperEnvironment(environment);
        bus_ = std::make_unique<PrivateBus>(environment);
        ASSERT_TRUE(bus_->isRunning()) << bus_->lastError().toStdString();
        ASSERT_TRUE(bus_->startPolkit()) << bus_->lastError().toStdString();
        ASSERT_TRUE(bus_->allowUnknownActions(true));
        qputenv("SORVANE_HELPER_BUS", bus_->address().toUtf8());
        link_ = std::make_unique<LinkToHelperTool>();
        link_->setInstallerCommand(bus_->installerCommand(helperProgram()));
    }

    void TearDown() override {
        link_.reset();
        bus_.reset();
        qunsetenv("SORVANE_HELPER_BUS");
    }

    // What else the bus hands the helper it activates; read before the bus starts.
    virtual void addHelperEnvironment(QProcessEnvironment&) const {}

    // The build tree's helper, found beside the test program's own folder.
    static QString helperProgram() { return ToolLocations::helperTool(); }

    void installHelper() {
        ASSERT_EQ(bus_->installHelper(helperProgram()), 0) << bus_->lastError().toStdString();
    }

    QString rebootRecord() const { return tools_.filePath(QStringLiteral("rebooted")); }

    // A file below the helper's system root.
    QString makeRootFile(const QString& relative, const QByteArray& content = "data") const {
        const QString path = bus_->systemRoot() + QLatin1Char('/') + relative;
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write(content);
        return path;
    }

    QString writeScript(const QString& path, const QByteArray& body) const {
        QFile file(path);
        if (file.open(QIODevice::WriteOnly))
            file.write("#!/bin/sh\n" + body);
        file.close();
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return path;
    }

    template <typename Predicate>
    static bool eventually(Predicate predicate, int timeoutMs = 5000) {
        const QDeadlineTimer deadline(timeoutMs);
        while (!predicate()) {
            if (deadline.hasExpired())
                return false;
            QThread::msleep(10);
        }
        return true;
    }

    QTemporaryDir tools_;
    std::unique_ptr<PrivateBus> bus_;
    std::unique_ptr<LinkToHelperTool> link_;
};
