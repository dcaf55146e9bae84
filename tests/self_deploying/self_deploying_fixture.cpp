#include "self_deploying_fixture.h"

#include "catalogues/sv_known_app.h"
#include "packager/package_creator.h"
#include "packager/self_deploying_assembler.h"
#include "platform/tool_locations.h"

#include <QDirIterator>
#include <QFile>
#include <QProcess>

using namespace Qt::StringLiterals;

QStringList DeployRun::errLines() const {
    return err.split(u'\n', Qt::SkipEmptyParts);
}

QString SelfDeployingFixture::templateZip() {
    return qEnvironmentVariable("SORVANE_BUILD_DIR") + u"/share/sorvane/sdkv2.zip"_s;
}

QString SelfDeployingFixture::runDefaults(const QStringList& arguments) const {
    QProcess process;
    process.start(ToolLocations::defaultsTool(), arguments);
    process.waitForFinished(10000);
    return QString::fromUtf8(process.readAllStandardOutput());
}

void SelfDeployingFixture::knownApps(const QByteArray& xml) const {
    SVKnownApp::loadKnownAppDataFromFile(sandbox.makeFile(sandbox.path() + u"/AppData.xml"_s, xml));
}

QByteArray SelfDeployingFixture::createPackage(const QList<std::shared_ptr<SVPPItem>>& system,
                                               const QList<std::shared_ptr<SVPPItem>>& apps) {
    PackageCreator creator(&shouldCancel, alerts);
    const auto bytes = creator.background_createPackage(system, apps);
    EXPECT_TRUE(bytes.has_value());
    return bytes.value_or(QByteArray());
}

QString SelfDeployingFixture::assemble(const QByteArray& packageBytes, const QString& name) {
    const QString bundle = sandbox.path() + u'/' + name + u".app"_s;
    SelfDeployingAssembler assembler(alerts, templateZip(), scratch());
    if (!assembler.assemble(packageBytes, QUrl::fromLocalFile(bundle)))
        return {};
    return bundle;
}

DeployRun SelfDeployingFixture::runDeploy(const QString& bundle,
                                          const QStringList& arguments) const {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QString& name :
         {u"DISPLAY"_s, u"WAYLAND_DISPLAY"_s, u"QT_QPA_PLATFORM"_s, u"SORVANE_DEFAULTS_TOOL"_s})
        environment.remove(name);
    environment.insert(u"HOME"_s, sandbox.home());
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(bundle + u"/Contents/MacOS/sorvane-deploy"_s, arguments);
    DeployRun run;
    if (!process.waitForFinished(60000)) {
        run.err = u"did not finish: "_s + process.errorString();
        return run;
    }
    run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}

QMap<QString, QByteArray> SelfDeployingFixture::homeSnapshot() const {
    QMap<QString, QByteArray> files;
    QDirIterator it(sandbox.home(), QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile file(it.next());
        files.insert(file.fileName(),
                     file.open(QIODevice::ReadOnly) ? file.readAll() : "(unreadable)");
    }
    return files;
}

void SelfDeployingFixture::TearDown() {
    SVKnownApp::unloadKnownAppData();
}
