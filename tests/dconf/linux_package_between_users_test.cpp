// A package made by one user of a Linux desktop and deployed by another, with
// the real sorvanectl, Sorvane's defaults program and dconf-service: each
// user has a home, XDG folders and a session bus of their own, and their
// values are set and read back with the real dconf program.
#include "dconf_bus.h"
#include "dconf_value_kinds.h"
#include "scoped_environment.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QString kNotes = u"/org/example/Notes/"_s;
const QString kSketch = u"/org/example/Sketch/"_s;

const QList<QPair<QString, QString>>& kValues = dconfValueKinds();

void writeFile(const QString& path, const QByteArray& content) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
    file.write(content);
}

struct ProgramRun {
    int status = -1;
    QString out;
    QString err;
};

// One user of the desktop: a home with its XDG folders and a session bus
// whose dconf-service writes that home's database. Sorvane's programs use
// that bus too, or (Service::None) one where nothing provides dconf.
class DesktopUser {
public:
    DesktopUser(const QString& profile, const QString& resources, DconfBus::Service forSorvane) {
        environment_ = QProcessEnvironment::systemEnvironment();
        const QString home = dir_.path();
        const QList<QPair<const char*, QString>> folders = {
            {"HOME", home},
            {"XDG_CONFIG_HOME", home + u"/.config"_s},
            {"XDG_DATA_HOME", home + u"/.local/share"_s},
            {"XDG_CACHE_HOME", home + u"/.cache"_s},
            {"XDG_STATE_HOME", home + u"/.local/state"_s},
            {"XDG_RUNTIME_DIR", home + u"/run"_s}};
        // dconf-service takes its folders from the bus that starts it.
        ScopedEnvironment busEnvironment;
        for (const auto& [name, value] : folders) {
            QDir().mkpath(value);
            environment_.insert(QString::fromLatin1(name), value);
            busEnvironment.set(name, value);
        }
        QFile::setPermissions(home + u"/run"_s,
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        bus_ = std::make_unique<DconfBus>(DconfBus::Service::Dconf);
        sorvaneBus_ = forSorvane == DconfBus::Service::Dconf
                          ? nullptr
                          : std::make_unique<DconfBus>(DconfBus::Service::None);
        environment_.insert(u"DCONF_PROFILE"_s, profile);
        environment_.insert(u"SORVANE_SETTINGS"_s, u"linux"_s);
        environment_.insert(u"SORVANE_RESOURCES_DIR"_s, resources);
    }

    // The setting for every program run from now on.
    void set(const QString& name, const QString& value) { environment_.insert(name, value); }
    QString dataHome() const { return environment_.value(u"XDG_DATA_HOME"_s); }

    bool isReady() const {
        return dir_.isValid() && bus_->isRunning() && (!sorvaneBus_ || sorvaneBus_->isRunning());
    }
    QString home() const { return dir_.path(); }

    ProgramRun run(const QString& program, const QStringList& arguments, const DconfBus& bus,
                   const QByteArray& input = {}) const {
        QProcessEnvironment environment = environment_;
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, bus.address());
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(program, arguments);
        process.write(input);
        process.closeWriteChannel();
        ProgramRun run;
        if (process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit)
            run.status = process.exitCode();
        run.out = QString::fromUtf8(process.readAllStandardOutput());
        run.err = QString::fromUtf8(process.readAllStandardError());
        return run;
    }
    ProgramRun dconf(const QStringList& arguments, const QByteArray& input = {}) const {
        return run(u"dconf"_s, arguments, *bus_, input);
    }
    ProgramRun defaults(const QStringList& arguments) const {
        return run(QCoreApplication::applicationDirPath() + u"/../libexec/sorvane/defaults"_s,
                   arguments, *bus_);
    }
    ProgramRun sorvanectl(const QStringList& arguments) const {
        // Test programs live in <build>/tests/<folder>, sorvanectl in <build>/bin.
        return run(QCoreApplication::applicationDirPath() + u"/../bin/sorvanectl"_s, arguments,
                   sorvaneBus_ ? *sorvaneBus_ : *bus_);
    }
    QString dump(const QString& dir = kNotes) const { return dconf({u"dump"_s, dir}).out; }

private:
    QTemporaryDir dir_;
    std::unique_ptr<DconfBus> bus_;
    std::unique_ptr<DconfBus> sorvaneBus_;
    QProcessEnvironment environment_;
};

class LinuxPackageBetweenUsers : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(folder_.isValid());
        writeFile(profile(), "user-db:user\n");
        // One packager component on each system, the Notes domain.
        writeFile(resources() + u"/linux/PackagerData.xml"_s,
                  "<packagerdata>\n  <component name=\"Notes\">\n"
                  "    <description>Notes</description>\n"
                  "    <domain>org.example.Notes</domain>\n  </component>\n</packagerdata>\n");
        writeFile(resources() + u"/PackagerData.xml"_s,
                  "<packagerdata>\n  <component name=\"Notes\">\n"
                  "    <description>Notes</description>\n"
                  "    <domain>com.example.notes</domain>\n  </component>\n</packagerdata>\n");
        for (const char* name : {"AppData", "SystemData"})
            writeFile(resources() + u'/' + QString::fromLatin1(name) + u".xml"_s,
                      name == std::string("AppData") ? "<applist>\n</applist>\n"
                                                     : "<systemdata>\n</systemdata>\n");
        writeFile(resources() + u"/linux/AppData.xml"_s, "<applist>\n</applist>\n");
        writeFile(resources() + u"/linux/SystemData.xml"_s, "<systemdata>\n</systemdata>\n");
        maker_ = std::make_unique<DesktopUser>(profile(), resources(), DconfBus::Service::Dconf);
        ASSERT_TRUE(maker_->isReady());
        for (const auto& [key, value] : kValues) {
            const ProgramRun write = maker_->dconf({u"write"_s, kNotes + key, value});
            ASSERT_EQ(write.status, 0) << write.err.toStdString();
        }
        // An application, named by its desktop-file ID, with domains of its own.
        writeFile(maker_->dataHome() + u"/applications/org.example.Sketch.desktop"_s,
                  "[Desktop Entry]\nType=Application\nName=Sketch\nExec=sketch %U\n");
        ASSERT_EQ(
            maker_->dconf({u"load"_s, kSketch}, "[/]\nzoom=uint32 3\n\n[tools]\npen='round'\n")
                .status,
            0);
        const ProgramRun create =
            maker_->sorvanectl({u"package"_s, u"create"_s, u"--component"_s, u"Notes"_s, u"--app"_s,
                                u"org.example.Sketch"_s, u"-o"_s, package()});
        ASSERT_EQ(create.status, 0) << create.out.toStdString() << create.err.toStdString();
    }

    QString profile() const { return folder_.filePath(u"user.profile"_s); }
    QString resources() const { return folder_.filePath(u"resources"_s); }
    QString package() const { return folder_.filePath(u"notes.Kolvane2"_s); }

    // A second user who already has Notes settings of their own.
    std::unique_ptr<DesktopUser> receiver(DconfBus::Service service) {
        auto user = std::make_unique<DesktopUser>(profile(), resources(), service);
        EXPECT_TRUE(user->isReady());
        EXPECT_EQ(user->dconf({u"load"_s, kNotes}, "[/]\ntitle='mine'\nstale=true\n").status, 0);
        return user;
    }

    QTemporaryDir folder_;
    std::unique_ptr<DesktopUser> maker_;
};

} // namespace

TEST_F(LinuxPackageBetweenUsers, EveryValueArrivesWithItsType) {
    const auto user = receiver(DconfBus::Service::Dconf);
    const ProgramRun dryRun =
        user->sorvanectl({u"package"_s, u"deploy"_s, u"--dry-run"_s, package()});
    ASSERT_EQ(dryRun.status, 0) << dryRun.err.toStdString();
    EXPECT_TRUE(dryRun.out.contains(u"domain org.example.Notes: +"_s)) << dryRun.out.toStdString();
    EXPECT_TRUE(dryRun.out.contains(u"+window/geometry"_s)) << dryRun.out.toStdString();
    EXPECT_TRUE(dryRun.out.contains(u"~title"_s)) << dryRun.out.toStdString();
    EXPECT_TRUE(dryRun.out.contains(u"-stale"_s)) << dryRun.out.toStdString();
    EXPECT_TRUE(user->dump().contains(u"stale=true"_s)) << "a dry run wrote";

    const ProgramRun deploy = user->sorvanectl({u"package"_s, u"deploy"_s, package()});
    ASSERT_EQ(deploy.status, 0) << deploy.out.toStdString() << deploy.err.toStdString();
    EXPECT_TRUE(deploy.out.contains(u"written  domain org.example.Notes"_s))
        << deploy.out.toStdString();
    EXPECT_EQ(user->dump(), maker_->dump());
    EXPECT_EQ(user->dump(kSketch), maker_->dump(kSketch));
    EXPECT_TRUE(user->dump(kSketch).contains(u"pen='round'"_s));
    for (const auto& [key, value] : kValues) {
        // dconf prints strings with its own quoting.
        if (value.startsWith(u'\''))
            continue;
        EXPECT_EQ(user->dconf({u"read"_s, kNotes + key}).out.trimmed(), value) << key.toStdString();
    }
    EXPECT_TRUE(user->dconf({u"read"_s, kNotes + u"stale"_s}).out.trimmed().isEmpty());
}

TEST_F(LinuxPackageBetweenUsers, WithoutADconfServiceEachDomainSaysSoAndNothingIsLost) {
    const auto user = receiver(DconfBus::Service::None);
    const QString before = user->dump();
    const ProgramRun deploy = user->sorvanectl({u"package"_s, u"deploy"_s, package()});
    EXPECT_EQ(deploy.status, 1) << deploy.out.toStdString();
    // The component's domain and the application's, which holds its subtree.
    const QStringList domains = {u"org.example.Notes"_s, u"org.example.Sketch"_s};
    const QStringList failures = deploy.out.split(u'\n').filter(u"NOT WRITTEN"_s);
    ASSERT_EQ(failures.size(), domains.size()) << deploy.out.toStdString();
    // Why, once per domain, on the error stream.
    const QStringList reasons = deploy.err.split(u'\n', Qt::SkipEmptyParts);
    ASSERT_EQ(reasons.size(), domains.size()) << deploy.err.toStdString();
    for (qsizetype i = 0; i < domains.size(); ++i) {
        EXPECT_TRUE(failures.at(i).contains(u"domain "_s + domains.at(i) + u':'));
        EXPECT_TRUE(reasons.at(i).startsWith(u"Cannot write "_s + domains.at(i) +
                                             u": dconf is not reachable: "_s))
            << deploy.err.toStdString();
    }
    EXPECT_EQ(user->dump(), before);
    EXPECT_TRUE(user->dump(kSketch).isEmpty());
}

TEST_F(LinuxPackageBetweenUsers, APackageOfTheOtherSystemIsRefusedBeforeAnythingIsWritten) {
    // A package made on a macOS home folder: its settings are property lists.
    maker_->set(u"SORVANE_SETTINGS"_s, u"macos"_s);
    const ProgramRun write =
        maker_->defaults({u"write"_s, u"com.example.notes"_s, u"{ title = mine; }"_s});
    ASSERT_EQ(write.status, 0) << write.err.toStdString();
    const QString macPackage = folder_.filePath(u"mac-notes.Kolvane2"_s);
    const ProgramRun create = maker_->sorvanectl(
        {u"package"_s, u"create"_s, u"--component"_s, u"Notes"_s, u"-o"_s, macPackage});
    ASSERT_EQ(create.status, 0) << create.out.toStdString() << create.err.toStdString();

    const auto user = receiver(DconfBus::Service::Dconf);
    const QString before = user->dconf({u"dump"_s, u"/"_s}).out;
    const ProgramRun onLinux = user->sorvanectl({u"package"_s, u"deploy"_s, macPackage});
    EXPECT_NE(onLinux.status, 0);
    EXPECT_TRUE(onLinux.err.contains(u"This package holds macOS settings"_s))
        << onLinux.err.toStdString();
    EXPECT_EQ(user->dconf({u"dump"_s, u"/"_s}).out, before);

    // The Linux package on a macOS home folder.
    user->set(u"SORVANE_SETTINGS"_s, u"macos"_s);
    const ProgramRun onMac = user->sorvanectl({u"package"_s, u"deploy"_s, package()});
    EXPECT_NE(onMac.status, 0);
    EXPECT_TRUE(onMac.err.contains(u"This package holds Linux desktop settings"_s))
        << onMac.err.toStdString();
    EXPECT_FALSE(QFileInfo::exists(user->home() + u"/Library"_s));
}
