// The self-deploying file needs nothing of Sorvane, Qt or a property-list
// library: the program loads libc alone, and the file deploys inside a root
// that holds only itself, the dconf program and the libraries those two load.
// Saving makes it on the Linux desktop only; a macOS home folder keeps its
// application bundle.
#include "self_deploying_fixture.h"

#include "linux/linux_desktop.h"
#include "packager/package_creator.h"
#include "packager/self_deploying_executable.h"
#include "platform/keyed_archive.h"
#include "platform/mac_home_folder.h"
#include "recording_services.h"
#include "scoped_environment.h"
#include "workflows/settings_system.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QScopeGuard>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// The shared libraries ldd says a program loads, as ldd names them.
QStringList librariesOf(const QString& program, QString* error) {
    QProcess ldd;
    ldd.start(u"/usr/bin/ldd"_s, {program});
    if (!ldd.waitForFinished() || ldd.exitCode() != 0) {
        *error = QString::fromUtf8(ldd.readAllStandardError());
        return {};
    }
    QStringList libraries;
    static const QRegularExpression line(u"^\\s*(\\S+)(?:\\s+=>\\s+(\\S+))?\\s+\\(0x"_s);
    for (const QString& text : QString::fromUtf8(ldd.readAllStandardOutput()).split(u'\n')) {
        const QRegularExpressionMatch match = line.match(text);
        if (match.hasMatch())
            libraries.append(match.captured(2).isEmpty() ? match.captured(1) : match.captured(2));
    }
    return libraries;
}

QString fileNameOf(const QString& path) {
    return QFileInfo(path).fileName();
}

} // namespace

TEST(SelfDeployingProgram, LoadsLibcAloneAndNoQt) {
    QString error;
    const QStringList libraries = librariesOf(SelfDeployingFixture::deployProgram(), &error);
    ASSERT_FALSE(libraries.isEmpty()) << error.toStdString();
    const QStringList allowed = {u"linux-vdso.so.1"_s, u"libc.so.6"_s, u"ld-linux-x86-64.so.2"_s};
    for (const QString& library : libraries)
        EXPECT_TRUE(allowed.contains(fileNameOf(library))) << library.toStdString();
    EXPECT_TRUE(std::any_of(libraries.cbegin(), libraries.cend(), [](const QString& library) {
        return fileNameOf(library) == u"libc.so.6"_s;
    }));
}

namespace {

// A root that holds the self-deploying file, the dconf program and the
// libraries they load, and a home whose bus socket lies inside it.
class MinimalRoot : public SelfDeployingFixture {
protected:
    QString root() const { return path(u"root"_s); }

    // Copies a program and the libraries it loads to their own paths below the root.
    void install(const QString& program, const QString& at) {
        ASSERT_TRUE(QDir().mkpath(QFileInfo(root() + at).path()));
        ASSERT_TRUE(QFile::copy(program, root() + at));
        QString error;
        const QStringList libraries = librariesOf(program, &error);
        ASSERT_FALSE(libraries.isEmpty()) << error.toStdString();
        for (const QString& library : libraries) {
            if (!library.startsWith(u'/') || QFileInfo::exists(root() + library))
                continue;
            ASSERT_TRUE(QDir().mkpath(QFileInfo(root() + library).path()));
            ASSERT_TRUE(QFile::copy(QFileInfo(library).canonicalFilePath(), root() + library))
                << library.toStdString();
        }
    }

    // Every file below the root, root-relative.
    QStringList contents() const {
        QStringList files;
        QDirIterator it(root(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (it.hasNext())
            files.append(it.next().mid(root().size()));
        return files;
    }
};

} // namespace

TEST_F(MinimalRoot, TheFileDeploysWithOnlyDconfBesideIt) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "a chroot needs root's rights; the bare-environment runs cover the rest";
    ASSERT_TRUE(QDir().mkpath(root() + u"/tmp"_s));
    install(copyOf(selfDeploying()), u"/deploy"_s);
    install(u"/usr/bin/dconf"_s, u"/usr/bin/dconf"_s);
    for (const QString& file : contents()) {
        for (const QString& foreign : {u"Qt"_s, u"stdc++"_s, u"plist"_s, u"sorvane"_s})
            EXPECT_FALSE(file.contains(foreign, Qt::CaseInsensitive)) << file.toStdString();
    }

    const auto user = receiver(DconfBus::Service::Dconf, root() + u"/home/b"_s, root() + u"/tmp"_s);
    ASSERT_TRUE(user->busAddress().contains(root() + u"/tmp/"_s))
        << user->busAddress().toStdString();
    // The same folders and bus, as the root sees them; no dconf profile, so
    // dconf takes its default, the user's database alone.
    QProcessEnvironment inside;
    const QProcessEnvironment outside = user->bareEnvironment();
    for (const QString& name : outside.keys()) {
        if (name != u"DCONF_PROFILE"_s)
            inside.insert(name, outside.value(name).replace(root(), QString()));
    }
    const ProgramRun run =
        user->run(u"/usr/sbin/chroot"_s, {root(), u"/deploy"_s, u"--yes"_s}, inside);
    if (run.status != 0 && run.err.contains(u"Operation not permitted"_s))
        GTEST_SKIP() << "this machine allows no chroot: " << run.err.toStdString();
    ASSERT_EQ(run.status, 0) << run.out.toStdString() << run.err.toStdString();
    EXPECT_FALSE(QFileInfo::exists(root() + u"/proc"_s));

    State expected = stateOf(*maker_);
    expected.other = u"[/]\nkeep=1\n"_s;
    EXPECT_EQ(stateOf(*user), expected);
}

namespace {

class Saving : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dir_.isValid());
        bytes_ = KeyedArchive::encode(QVariantMap{
            {u"system"_s,
             QVariantList{QVariantMap{
                 {u"name"_s, u"Notes"_s},
                 {u"prefs"_s, QVariantMap{{u"org.example.Notes"_s, u"[/]\nk=1\n"_s}}}}}}});
        ASSERT_FALSE(bytes_.isEmpty());
    }
    void TearDown() override { SettingsSystem::setCurrent(nullptr); }

    QTemporaryDir dir_;
    QByteArray bytes_;
    RecordingAlerts alerts_;
};

} // namespace

TEST_F(Saving, OnTheLinuxDesktopAnyOtherNameIsOneExecutableFile) {
    SettingsSystem::setCurrent(std::make_unique<LinuxDesktop>());
    const QString file = dir_.filePath(u"Notes.app"_s);
    ASSERT_TRUE(PackageCreator::saveAssembledPackaged(bytes_, QUrl::fromLocalFile(file), alerts_));
    EXPECT_TRUE(alerts_.shown.isEmpty());
    const QFileInfo info(file);
    ASSERT_TRUE(info.isFile());
    // rwxr-xr-x, whatever the umask.
    EXPECT_EQ(info.permissions() & 0x7777, QFile::Permissions(0x7755));
    EXPECT_EQ(SelfDeployingExecutable::packageIn(file), bytes_);
    QFile saved(file);
    QFile program(SelfDeployingFixture::deployProgram());
    ASSERT_TRUE(saved.open(QIODevice::ReadOnly) && program.open(QIODevice::ReadOnly));
    EXPECT_TRUE(saved.readAll().startsWith(program.readAll()));

    const QString package = dir_.filePath(u"Notes.Kolvane2"_s);
    ASSERT_TRUE(
        PackageCreator::saveAssembledPackaged(bytes_, QUrl::fromLocalFile(package), alerts_));
    QFile plain(package);
    ASSERT_TRUE(plain.open(QIODevice::ReadOnly));
    EXPECT_EQ(plain.readAll(), bytes_);
}

TEST_F(Saving, AMacOSHomeFolderKeepsTheApplicationBundle) {
    SettingsSystem::setCurrent(std::make_unique<MacHomeFolder>());
    // No template among these resources: the bundle's assembly says so.
    ScopedEnvironment environment;
    environment.set("SORVANE_RESOURCES_DIR", dir_.filePath(u"resources"_s));
    const QString file = dir_.filePath(u"Notes.app"_s);
    EXPECT_FALSE(PackageCreator::saveAssembledPackaged(bytes_, QUrl::fromLocalFile(file), alerts_));
    ASSERT_EQ(alerts_.shown.size(), 1);
    EXPECT_EQ(alerts_.shown[0].first, u"Error Saving Kolvane"_s);
    EXPECT_TRUE(alerts_.shown[0].second.endsWith(u"(4001)"_s));
    EXPECT_FALSE(QFileInfo::exists(file));
}
