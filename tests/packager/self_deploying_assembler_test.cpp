#include "packager/self_deploying_assembler.h"

#include "log_capture.h"
#include "recording_services.h"
#include "sandbox.h"

#include <QFile>
#include <QProcess>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// A template zip whose entries are the given names (folders end in "/").
QString makeZip(const Sandbox& sandbox, const QString& name, const QStringList& entries) {
    const QString path = sandbox.path() + u'/' + name;
    QProcess python;
    python.start(u"/usr/bin/python3"_s,
                 QStringList{u"-c"_s,
                             u"import sys, zipfile\n"
                             u"with zipfile.ZipFile(sys.argv[1], 'w') as z:\n"
                             u"    for e in sys.argv[2:]: z.writestr(e, '' if e.endswith('/') "
                             u"else 'x')\n"_s,
                             path} +
                     entries);
    python.waitForFinished(20000);
    EXPECT_EQ(python.exitCode(), 0);
    return path;
}

const QStringList kTemplate = {u"Self-Deploying Kolvane2.app/Contents/Resources/"_s,
                               u"Self-Deploying Kolvane2.app/Contents/MacOS/deploy"_s};

QString codeText(int code) {
    return u"The PreferencePackage could not be saved because an internal error occurred (%1)"_s
        .arg(code);
}

class SelfDeploying : public ::testing::Test {
protected:
    Sandbox sandbox;
    RecordingAlerts alerts;
    QString scratch = sandbox.path() + u"/tmp/com.brisvale.Sorvane"_s;
    QUrl destination = QUrl::fromLocalFile(sandbox.path() + u"/Mine.app"_s);

    void expectOnlyAlert(int code) {
        ASSERT_EQ(alerts.shown.size(), 1);
        EXPECT_EQ(alerts.shown[0], qMakePair(u"Error Saving Kolvane"_s, codeText(code)));
    }
};

TEST_F(SelfDeploying, CarriesThePackageBytesInsideTheMovedBundle) {
    SelfDeployingAssembler assembler(alerts, makeZip(sandbox, u"sdkv2.zip"_s, kTemplate), scratch);
    ASSERT_TRUE(assembler.assemble("package bytes", destination));
    QFile embedded(destination.toLocalFile() + u"/Contents/Resources/Package.Kolvane2"_s);
    ASSERT_TRUE(embedded.open(QIODevice::ReadOnly));
    EXPECT_EQ(embedded.readAll(), QByteArray("package bytes"));
    EXPECT_TRUE(QFile::exists(destination.toLocalFile() + u"/Contents/MacOS/deploy"_s));
    EXPECT_FALSE(QFile::exists(scratch + u"/Self-Deploying Kolvane2.app"_s));
    EXPECT_TRUE(alerts.shown.isEmpty());
}

TEST_F(SelfDeploying, AnExistingApplicationIsLeftUntouched) {
    const QString existing = sandbox.makeFile(destination.toLocalFile() + u"/keep"_s, "mine");
    SelfDeployingAssembler assembler(alerts, makeZip(sandbox, u"sdkv2.zip"_s, kTemplate), scratch);
    EXPECT_FALSE(assembler.assemble("bytes", destination));
    expectOnlyAlert(4003);
    QFile kept(existing);
    ASSERT_TRUE(kept.open(QIODevice::ReadOnly));
    EXPECT_EQ(kept.readAll(), QByteArray("mine"));
    EXPECT_FALSE(QFile::exists(scratch + u"/Self-Deploying Kolvane2.app"_s));
}

TEST_F(SelfDeploying, EachEarlyFailureHasItsCode) {
    {
        SelfDeployingAssembler assembler(alerts, QString(), scratch);
        EXPECT_FALSE(assembler.assemble("b", destination));
        expectOnlyAlert(4001);
    }
    {
        alerts.shown.clear();
        const QString file = sandbox.makeFile(sandbox.path() + u"/plain"_s, "f");
        SelfDeployingAssembler assembler(alerts, makeZip(sandbox, u"z.zip"_s, kTemplate),
                                         file + u"/below"_s);
        EXPECT_FALSE(assembler.assemble("b", destination));
        expectOnlyAlert(4002);
    }
    {
        alerts.shown.clear();
        SelfDeployingAssembler assembler(
            alerts, makeZip(sandbox, u"other.zip"_s, {u"Other.app/Contents/"_s}), scratch);
        EXPECT_FALSE(assembler.assemble("b", destination));
        expectOnlyAlert(4004);
    }
    {
        alerts.shown.clear();
        qputenv("SORVANE_UNZIP_TOOL", QFile::encodeName(sandbox.path() + u"/no-unzip"_s));
        LogCapture log;
        SelfDeployingAssembler assembler(alerts, makeZip(sandbox, u"y.zip"_s, kTemplate), scratch);
        EXPECT_FALSE(assembler.assemble("b", destination));
        qunsetenv("SORVANE_UNZIP_TOOL");
        expectOnlyAlert(4005);
        EXPECT_TRUE(log.lines().last().startsWith(u"unzip task failed : "_s));
    }
    EXPECT_FALSE(QFile::exists(destination.toLocalFile()));
}

} // namespace
