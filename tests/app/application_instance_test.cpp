#include "packager/package_creator.h"
#include "platform/application_instance.h"
#include "platform/defaults_store.h"

#include "package_items.h"
#include "private_bus.h"
#include "recording_services.h"
#include "sandbox.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QElapsedTimer>
#include <QProcess>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Two real Sorvanes on a private session bus, in a sandbox: the second hands
// its package file to the first and leaves.
class SingleInstance : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(bus.isRunning()) << bus.lastError().toStdString();
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, bus.address());
        // No helper and no way to install one: nothing privileged is reached.
        environment.insert(u"SORVANE_HELPER_BUS"_s, u"unix:path="_s + sandbox.path() + u"/none"_s);
        environment.insert(u"SORVANE_PKEXEC_TOOL"_s, u"/bin/false"_s);
        environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        environment.insert(u"QT_LOGGING_RULES"_s, u"sorvane.info=true"_s);
        program = QCoreApplication::applicationDirPath() + u"/../bin/sorvane"_s;
    }
    void TearDown() override {
        if (first.state() != QProcess::NotRunning) {
            first.kill();
            first.waitForFinished(5000);
        }
    }

    QUrl makePackage() {
        PlistValue settings = PlistValue::dictionary();
        settings.insert(u"autohide"_s, PlistValue::fromBool(true));
        EXPECT_TRUE(
            DefaultsStore(sandbox.home()).writeDomain(u"com.example.dock"_s, settings, nullptr));
        std::atomic<bool> cancel{false};
        RecordingAlerts alerts;
        PackageCreator creator(&cancel, alerts);
        const auto bytes = creator.background_createPackage(
            {tickedComponent(u"Dock"_s, {u"com.example.dock"_s})}, {});
        const QUrl url = QUrl::fromLocalFile(sandbox.path() + u"/Dock.Kolvane2"_s);
        EXPECT_TRUE(bytes && PackageCreator::writePackageFile(*bytes, url, alerts));
        return url;
    }

    bool nameOwned() const {
        return QDBusConnection::connectToBus(bus.address(), u"probe"_s)
            .interface()
            ->isServiceRegistered(ApplicationInstance::serviceName());
    }

    Sandbox sandbox;
    PrivateBus bus;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    QString program;
    QProcess first;
};

TEST_F(SingleInstance, ALaterStartHandsItsPackageToTheRunningSorvane) {
    const QUrl package = makePackage();
    first.setProcessEnvironment(environment);
    first.setProcessChannelMode(QProcess::SeparateChannels);
    first.start(program, {});
    ASSERT_TRUE(first.waitForStarted(5000));
    QElapsedTimer timer;
    timer.start();
    while (!nameOwned() && timer.elapsed() < 15000)
        QTest::qWait(50);
    ASSERT_TRUE(nameOwned()) << first.readAllStandardError().toStdString();

    QProcess second;
    second.setProcessEnvironment(environment);
    second.start(program, {package.toLocalFile()});
    ASSERT_TRUE(second.waitForFinished(15000));
    EXPECT_EQ(second.exitCode(), 0) << second.readAllStandardError().toStdString();

    QByteArray log;
    timer.restart();
    while (!log.contains("Loaded settings for 1 system components") && timer.elapsed() < 15000) {
        first.waitForReadyRead(100);
        log += first.readAllStandardError();
    }
    EXPECT_TRUE(log.contains("Loaded settings for 1 system components")) << log.toStdString();
    EXPECT_EQ(first.state(), QProcess::Running);
}

} // namespace
