#include "dconf_sandbox.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>

#include <gio/gio.h>

using namespace Qt::StringLiterals;

namespace {

// Registered before main runs, so that it is set up after the test main has
// prepared the environment and before the first test.
DconfSandbox* const gSandbox =
    static_cast<DconfSandbox*>(::testing::AddGlobalTestEnvironment(new DconfSandbox));

bool writeFile(const QString& path, const QByteArray& content) {
    QDir().mkpath(path.left(path.lastIndexOf(u'/')));
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

// GLib ends the whole process when the shared session bus connection closes;
// the private bus closes before this program ends.
GDBusConnection* keepSessionOpen() {
    GError* error = nullptr;
    GDBusConnection* connection = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error);
    if (!connection) {
        ADD_FAILURE() << "cannot connect to the private bus: " << error->message;
        g_error_free(error);
        return nullptr;
    }
    g_dbus_connection_set_exit_on_close(connection, FALSE);
    return connection;
}

} // namespace

DconfSandbox* DconfSandbox::instance() {
    return gSandbox;
}

DconfSandbox::Reach DconfSandbox::reach() {
    const QString reach = qEnvironmentVariable("SORVANE_DCONF_TEST_BUS");
    if (reach == u"no-service"_s)
        return Reach::NoService;
    if (reach == u"dead"_s)
        return Reach::Dead;
    return Reach::Private;
}

void DconfSandbox::SetUp() {
    ASSERT_TRUE(dir_.isValid());
    ASSERT_TRUE(writeFile(userProfile(), "user-db:user\n"));
    qputenv("DCONF_PROFILE", QFile::encodeName(userProfile()));
    dconfBus_ = std::make_unique<DconfBus>(DconfBus::Service::Dconf);
    ASSERT_TRUE(dconfBus_->isRunning()) << qPrintable(dconfBus_->lastError());
    QString address = dconfBus_->address();
    if (reach() == Reach::NoService) {
        emptyBus_ = std::make_unique<DconfBus>(DconfBus::Service::None);
        ASSERT_TRUE(emptyBus_->isRunning()) << qPrintable(emptyBus_->lastError());
        address = emptyBus_->address();
    }
    // With a dead address (the test main's), no connection is ever made.
    if (reach() != Reach::Dead) {
        qputenv("DBUS_SESSION_BUS_ADDRESS", address.toUtf8());
        session_ = keepSessionOpen();
        ASSERT_NE(session_, nullptr);
    }
    ready_ = true;
}

void DconfSandbox::TearDown() {
    emptyBus_.reset();
    dconfBus_.reset();
    if (session_)
        g_object_unref(session_);
    session_ = nullptr;
}

QString DconfSandbox::userProfile() const {
    return dir_.filePath(u"user.profile"_s);
}

QString DconfSandbox::systemProfile(const QString& name, const QMap<QString, QByteArray>& keyFiles,
                                    const QByteArray& locks) const {
    const QString database = dir_.filePath(u"system/"_s + name);
    for (auto it = keyFiles.cbegin(); it != keyFiles.cend(); ++it) {
        if (!writeFile(database + u".d/"_s + it.key(), it.value())) {
            ADD_FAILURE() << "cannot write the key file " << qPrintable(it.key());
            return {};
        }
    }
    if (!locks.isEmpty() && !writeFile(database + u".d/locks/locks"_s, locks)) {
        ADD_FAILURE() << "cannot write the locks of " << qPrintable(name);
        return {};
    }
    const Run compiled = dconf({u"compile"_s, database, database + u".d"_s});
    if (compiled.exitCode != 0) {
        ADD_FAILURE() << "dconf compile failed: " << qPrintable(compiled.err);
        return {};
    }
    const QString profile = dir_.filePath(name + u".profile"_s);
    const QByteArray text = "user-db:user\nfile-db:" + QFile::encodeName(database) + '\n';
    if (!writeFile(profile, text)) {
        ADD_FAILURE() << "cannot write the profile " << qPrintable(profile);
        return {};
    }
    return profile;
}

DconfSandbox::Run DconfSandbox::dconf(const QStringList& arguments, const QByteArray& input,
                                      const QString& profile) const {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, dconfBus_ ? dconfBus_->address() : QString());
    environment.insert(u"DCONF_PROFILE"_s, profile.isEmpty() ? userProfile() : profile);
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(u"dconf"_s, arguments);
    process.write(input);
    process.closeWriteChannel();
    Run run;
    if (!process.waitForFinished(30000) || process.exitStatus() != QProcess::NormalExit) {
        run.err = u"dconf did not finish: "_s + process.errorString();
        return run;
    }
    run.exitCode = process.exitCode();
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}

bool DconfSandbox::resetAll() const {
    return dconf({u"reset"_s, u"-f"_s, u"/"_s}).exitCode == 0;
}

DconfSandbox::ChildResult DconfSandbox::runChild(const QString& test, const QString& reach) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"SORVANE_DCONF_TEST_BUS"_s, reach);
    QProcess child;
    child.setProcessEnvironment(environment);
    child.setProcessChannelMode(QProcess::MergedChannels);
    child.start(QCoreApplication::applicationFilePath(),
                {u"--gtest_also_run_disabled_tests"_s, u"--gtest_filter="_s + test});
    ChildResult result;
    if (!child.waitForFinished(120000)) {
        result.output = u"the child did not finish: "_s + child.errorString();
        child.kill();
        child.waitForFinished(5000);
        return result;
    }
    result.output = QString::fromUtf8(child.readAll());
    result.passed = child.exitStatus() == QProcess::NormalExit && child.exitCode() == 0 &&
                    result.output.contains(u"[  PASSED  ] 1 test."_s) &&
                    !result.output.contains(u"[  SKIPPED ]"_s);
    return result;
}
