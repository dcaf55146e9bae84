#include "self_deploying_fixture.h"

#include "dconf_value_kinds.h"

#include "packager/self_deploying_executable.h"
#include "platform/keyed_archive.h"
#include "recording_services.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

const QString SelfDeployingFixture::kNotes = u"/org/example/Notes/"_s;
const QString SelfDeployingFixture::kSketch = u"/org/example/Sketch/"_s;
const QString SelfDeployingFixture::kOther = u"/org/example/Other/"_s;
const QString SelfDeployingFixture::kPaintStore =
    u".var/app/org.example.Paint/config/glib-2.0/settings/keyfile"_s;
const QStringList SelfDeployingFixture::kSketchFiles = {
    u".config/sketch/sketch.conf"_s, u".config/sketch/Grüße.bin"_s, u".sketchrc"_s};

namespace {

const QList<QPair<QString, QString>>& kValues = dconfValueKinds();

QByteArray sketchEntry(const QString& program) {
    return "[Desktop Entry]\nType=Application\nName=Sketch\nExec=" + program.toUtf8() + " %U\n";
}

bool writeFile(const QString& path, const QByteArray& content) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

} // namespace

QString SelfDeployingFixture::deployProgram() {
    return QCoreApplication::applicationDirPath() + u"/../libexec/sorvane/sorvane-deploy-linux"_s;
}

QString SelfDeployingFixture::sketchProgram() {
    return u"sketch-%1"_s.arg(QCoreApplication::applicationPid());
}

QString SelfDeployingFixture::sorvanectl() {
    return QCoreApplication::applicationDirPath() + u"/../bin/sorvanectl"_s;
}

void SelfDeployingFixture::SetUp() {
    ASSERT_TRUE(folder_.isValid());
    ASSERT_TRUE(writeFile(path(u"user.profile"_s), "user-db:user\n"));
    const QString resources = path(u"resources"_s);
    ASSERT_TRUE(writeFile(resources + u"/linux/PackagerData.xml"_s,
                          "<packagerdata>\n  <component name=\"Notes\">\n"
                          "    <description>Notes</description>\n"
                          "    <domain>org.example.Notes</domain>\n  </component>\n"
                          "</packagerdata>\n"));
    ASSERT_TRUE(writeFile(resources + u"/linux/AppData.xml"_s,
                          "<applist>\n  <app id=\"org.example.Sketch\">\n"
                          "    <path>~/.config/sketch</path>\n    <path>~/.sketchrc</path>\n"
                          "  </app>\n</applist>\n"));
    ASSERT_TRUE(writeFile(resources + u"/linux/SystemData.xml"_s, "<systemdata>\n</systemdata>\n"));

    maker_ = std::make_unique<DesktopUser>(path(u"maker"_s), DconfBus::Service::Dconf);
    maker_->setDconfProfile(path(u"user.profile"_s));
    ASSERT_TRUE(maker_->isReady());
    for (const auto& [key, value] : kValues) {
        const ProgramRun write = maker_->dconf({u"write"_s, kNotes + key, value});
        ASSERT_EQ(write.status, 0) << write.err.toStdString();
    }
    ASSERT_EQ(
        maker_->dconf({u"load"_s, kSketch}, "[/]\nzoom=uint32 3\n\n[tools]\npen='round'\n").status,
        0);
    const QString applications = u".local/share/applications/"_s;
    ASSERT_TRUE(maker_->writeFile(applications + u"org.example.Sketch.desktop"_s,
                                  sketchEntry(u"sketch"_s)));
    ASSERT_TRUE(maker_->writeFile(applications + u"org.example.Paint.desktop"_s,
                                  "[Desktop Entry]\nType=Application\nName=Paint\n"
                                  "Exec=/usr/bin/flatpak run org.example.Paint\n"
                                  "X-Flatpak=org.example.Paint\n"));
    ASSERT_TRUE(maker_->writeFile(kPaintStore, "[org/example/Paint]\nbrush='soft'\n"
                                               "size=uint16 12\n"));
    ASSERT_TRUE(maker_->writeFile(kSketchFiles[0], "[General]\nzoom=3\n"));
    ASSERT_TRUE(maker_->writeFile(kSketchFiles[1], QByteArray("\0\x01\xff\xfe\r\n\x80", 7)));
    ASSERT_TRUE(maker_->writeFile(kSketchFiles[2], "set pen round\n"));

    QProcessEnvironment sorvane = maker_->bareEnvironment(qEnvironmentVariable("PATH"));
    sorvane.insert(u"SORVANE_SETTINGS"_s, u"linux"_s);
    sorvane.insert(u"SORVANE_RESOURCES_DIR"_s, resources);
    const ProgramRun create = maker_->run(sorvanectl(),
                                          {u"package"_s, u"create"_s, u"--component"_s, u"Notes"_s,
                                           u"--app"_s, u"org.example.Sketch"_s, u"--app"_s,
                                           u"org.example.Paint"_s, u"-o"_s, selfDeploying()},
                                          sorvane);
    ASSERT_EQ(create.status, 0) << create.out.toStdString() << create.err.toStdString();
    ASSERT_TRUE(create.out.contains(u"Saved the self-deploying package file "_s))
        << create.out.toStdString();
}

std::unique_ptr<DesktopUser> SelfDeployingFixture::receiver(DconfBus::Service service,
                                                            const QString& home,
                                                            const QString& busFolder) {
    auto user = std::make_unique<DesktopUser>(
        home.isEmpty() ? path(u"receiver%1"_s.arg(++copies_)) : home, service, busFolder);
    EXPECT_TRUE(user->isReady());
    user->setDconfProfile(path(u"user.profile"_s));
    // A receiver whose bus lacks dconf-service gets its settings through a
    // bus that has one.
    std::unique_ptr<DesktopUser> helper;
    if (service == DconfBus::Service::None) {
        helper = std::make_unique<DesktopUser>(user->home(), DconfBus::Service::Dconf);
        helper->setDconfProfile(path(u"user.profile"_s));
    }
    const DesktopUser& writer = helper ? *helper : *user;
    EXPECT_EQ(writer.dconf({u"load"_s, kNotes}, "[/]\ntitle='mine'\nstale=true\n").status, 0);
    EXPECT_EQ(writer.dconf({u"load"_s, kOther}, "[/]\nkeep=1\n").status, 0);
    EXPECT_TRUE(user->writeFile(u".local/share/applications/org.example.Sketch.desktop"_s,
                                sketchEntry(sketchProgram())));
    EXPECT_TRUE(user->writeFile(u".sketchrc"_s, "old\n"));
    return user;
}

QString SelfDeployingFixture::copyOf(const QString& file) {
    const QString folder = path(u"download%1"_s.arg(++copies_));
    QDir().mkpath(folder);
    const QString copy = folder + u'/' + QFileInfo(file).fileName();
    EXPECT_TRUE(QFile::copy(file, copy));
    return copy;
}

ProgramRun SelfDeployingFixture::runCopy(const DesktopUser& user, const QStringList& arguments,
                                         const QString& path, const QByteArray& input,
                                         const QString& inputFile) {
    return user.run(copyOf(selfDeploying()), arguments, user.bareEnvironment(path), input,
                    inputFile);
}

QString SelfDeployingFixture::assemble(const QVariantMap& root, const QString& name) {
    const QByteArray bytes = KeyedArchive::encode(root);
    EXPECT_FALSE(bytes.isEmpty());
    RecordingAlerts alerts;
    const QString file = path(name);
    EXPECT_TRUE(SelfDeployingExecutable(alerts, deployProgram())
                    .assemble(bytes, QUrl::fromLocalFile(file)));
    EXPECT_TRUE(alerts.shown.isEmpty());
    return file;
}

SelfDeployingFixture::State SelfDeployingFixture::stateOf(const DesktopUser& user) {
    State state{
        user.dump(kNotes), user.dump(kSketch), user.dump(kOther), user.readFile(kPaintStore), {}};
    for (const QString& file : kSketchFiles)
        state.files.append(user.readFile(file));
    return state;
}

void PrintTo(const SelfDeployingFixture::State& state, std::ostream* out) {
    *out << "notes:\n"
         << state.notes.toStdString() << "sketch:\n"
         << state.sketch.toStdString() << "other:\n"
         << state.other.toStdString() << "paint store:\n"
         << state.paintStore.toStdString() << "files:";
    for (const QByteArray& file : state.files)
        *out << " [" << file.toHex().toStdString() << ']';
}
