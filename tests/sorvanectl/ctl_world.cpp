#include "ctl_world.h"

#include "platform/defaults_store.h"
#include "test_bundles.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QProcess>

using namespace Qt::StringLiterals;

namespace {

// Known applications: one entry with every kind of catalogue match.
const QByteArray kAppData = R"(<applist>
  <app id="com.example.tool">
    <domain>com.example.tool.helper</domain>
    <path>~/Library/Application Support/Tool</path>
    <search>~/Library/Application Support/Tool Plug-Ins/??.plugin</search>
    <path type="cache">~/Library/Logs/Tool</path>
    <search type="cache">~/Library/HTTPStorages/com.example.tool??</search>
  </app>
</applist>
)";

const QByteArray kSystemData = R"(<systemdata>
  <component name="Dock">
    <description>Dock layout</description>
    <domain>com.example.dock</domain>
    <path>~/Library/Application Support/Dock/desktop.db</path>
  </component>
  <component name="Clock">
    <description>Menu bar clock</description>
    <domain>com.example.clock*</domain>
  </component>
</systemdata>
)";

const QByteArray kPackagerData = R"(<packagerdata>
  <component name="Dock">
    <description>Dock layout</description>
    <domain>com.example.dock</domain>
  </component>
  <component name="Global settings">
    <description>Settings every application reads</description>
    <domain>NSGlobalDomain</domain>
  </component>
</packagerdata>
)";

void writeFile(const QString& path, const QByteArray& content) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << qPrintable(path);
    file.write(content);
}

// The template of the self-deploying application, a zip of a bundle; made
// once per test program.
QString templateZip() {
    static QTemporaryDir folder;
    static const QString path = [] {
        const QString zip = folder.filePath(u"sdkv2.zip"_s);
        QProcess python;
        python.start(
            u"/usr/bin/python3"_s,
            {u"-c"_s,
             u"import sys, zipfile\n"
             u"with zipfile.ZipFile(sys.argv[1], 'w') as z:\n"
             u"    z.writestr('Self-Deploying Kolvane2.app/Contents/Resources/', '')\n"
             u"    z.writestr('Self-Deploying Kolvane2.app/Contents/MacOS/deploy', 'x')\n"_s,
             zip});
        python.waitForFinished(20000);
        return zip;
    }();
    return path;
}

} // namespace

QStringList CtlRun::errLines() const {
    return err.split(u'\n', Qt::SkipEmptyParts);
}

CtlWorld::CtlWorld()
    : CtlWorld(QString(), QString()) {}

CtlWorld::CtlWorld(const QString& home, const QString& systemRoot)
    : home_(home.isEmpty() ? dir_.filePath(u"home"_s) : home)
    , root_(systemRoot.isEmpty() ? dir_.filePath(u"root"_s) : systemRoot)
    , helperBus_(u"unix:path="_s + dir_.filePath(u"no-bus"_s)) {
    QDir().mkpath(home_);
    QDir().mkpath(root_);
    resourcesDir_ = resources_.path();
    writeResources();
}

QString CtlWorld::program() {
    // Test programs live in <build>/tests, sorvanectl in <build>/bin.
    return QCoreApplication::applicationDirPath() + u"/../bin/sorvanectl"_s;
}

void CtlWorld::writeResources() const {
    writeFile(resources_.filePath(u"AppData.xml"_s), kAppData);
    writeFile(resources_.filePath(u"SystemData.xml"_s), kSystemData);
    writeFile(resources_.filePath(u"PackagerData.xml"_s), kPackagerData);
    ASSERT_TRUE(QFile::copy(templateZip(), resources_.filePath(u"sdkv2.zip"_s)));
}

CtlRun CtlWorld::run(const QStringList& arguments) const {
    return start(program(), arguments);
}

CtlRun CtlWorld::runThrough(const QStringList& command) const {
    return start(command.first(), command.mid(1));
}

CtlRun CtlWorld::start(const QString& program, const QStringList& arguments) const {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_s, home_);
    environment.insert(u"SORVANE_SYSTEM_ROOT"_s, root_);
    environment.insert(u"SORVANE_RESOURCES_DIR"_s, resourcesDir_);
    environment.insert(u"SORVANE_HELPER_BUS"_s, helperBus_);
    environment.insert(u"TMPDIR"_s, tmp_.path());
    environment.remove(u"QT_LOGGING_RULES"_s);
    QProcess process;
    process.setProcessEnvironment(environment);
    QElapsedTimer timer;
    timer.start();
    process.start(program, arguments);
    CtlRun result;
    const bool finished = process.waitForFinished(30000);
    result.elapsedMs = timer.elapsed();
    result.out = QString::fromUtf8(process.readAllStandardOutput());
    result.err = QString::fromUtf8(process.readAllStandardError());
    if (finished && process.exitStatus() == QProcess::NormalExit)
        result.status = process.exitCode();
    return result;
}

CtlRun CtlWorld::runJson(QStringList arguments) const {
    arguments.prepend(u"--json"_s);
    CtlRun result = run(arguments);
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(result.out.toUtf8(), &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError)
        << "not JSON: " << qPrintable(result.out) << qPrintable(result.err);
    result.json = document.object();
    return result;
}

QString CtlWorld::makeFile(const QString& path, const QByteArray& content) const {
    writeFile(path, content);
    return path;
}

QString CtlWorld::makeFolder(const QString& path) const {
    QDir().mkpath(path);
    return path;
}

QString CtlWorld::makeApp(const QString& name, const QString& identifier) const {
    return testbundles::makeBundle(homePath(u"Applications/"_s + name),
                                   {{u"CFBundleIdentifier"_s, identifier}});
}

void CtlWorld::writeDomain(const QString& domain, const PlistValue& dictionary) const {
    QString error;
    ASSERT_TRUE(DefaultsStore(home_).writeDomain(domain, dictionary, &error)) << qPrintable(error);
}

void CtlWorld::writeRootDomain(const QString& domain, const PlistValue& dictionary) const {
    QString error;
    ASSERT_TRUE(DefaultsStore(root_ + u"/root"_s).writeDomain(domain, dictionary, &error))
        << qPrintable(error);
}

PlistValue CtlWorld::readDomain(const QString& domain) const {
    QString error;
    return DefaultsStore(home_).readDomain(domain, &error);
}

bool CtlWorld::domainExists(const QString& domain) const {
    return DefaultsStore(home_).domainExists(domain);
}

QMap<QString, QString> CtlWorld::snapshot(const QString& folder) {
    QMap<QString, QString> entries;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QFileInfo info(path);
        QString entry;
        if (info.isSymLink())
            entry = u"link "_s + info.symLinkTarget();
        else if (info.isDir())
            entry = u"folder"_s;
        else
            entry = u"file %1 %2"_s.arg(info.size())
                        .arg(QString::fromLatin1(
                            QCryptographicHash::hash(contents(path), QCryptographicHash::Sha256)
                                .toHex()));
        entries.insert(QDir(folder).relativeFilePath(path), entry);
    }
    return entries;
}

QMap<QString, QString> CtlWorld::snapshot() const {
    QMap<QString, QString> both;
    for (const auto& [prefix, folder] : {std::pair{u"home/"_s, home_}, {u"root/"_s, root_}}) {
        const QMap<QString, QString> part = snapshot(folder);
        for (auto it = part.cbegin(); it != part.cend(); ++it)
            both.insert(prefix + it.key(), it.value());
    }
    return both;
}

QByteArray CtlWorld::contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

PlistValue CtlWorld::dict(const QList<QPair<QString, PlistValue>>& entries) {
    PlistValue value = PlistValue::dictionary();
    for (const auto& [key, item] : entries)
        value.insert(key, item);
    return value;
}
