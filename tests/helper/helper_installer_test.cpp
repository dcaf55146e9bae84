#include "helper/helper_installer.h"

#include "privileged/helper_protocol.h"

#include "sandbox.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QXmlStreamReader>

#include <cstdio>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool isWellFormedXml(const QByteArray& xml) {
    QXmlStreamReader reader(xml);
    while (!reader.atEnd())
        reader.readNext();
    return !reader.hasError();
}

} // namespace

TEST(HelperInstaller, WritesProgramActivationPolicyAndActionsBelowThePrefix) {
    Sandbox sandbox;
    const QString program = sandbox.makeFile(sandbox.homePath(u"helper-v1"_s), "#!/bin/sh\n");
    // No bus: the files are written all the same.
    const HelperInstaller installer(sandbox.homePath(u"prefix"_s), u"unix:path=/nonexistent"_s);

    ASSERT_EQ(installer.install(program), HelperInstaller::Installed);

    EXPECT_EQ(installer.installedProgram(),
              sandbox.homePath(u"prefix/libexec/sorvane/sorvane-helper"_s));
    EXPECT_TRUE(QFileInfo(installer.installedProgram()).isExecutable());
    const QByteArray underSystemd = QFileInfo(u"/run/systemd/system"_s).isDir()
                                        ? "SystemdService=sorvane-helper.service\n"
                                        : "";
    EXPECT_EQ(contents(installer.activationFile()),
              ("[D-BUS Service]\nName=com.brisvale.Sorvane.Helper\nExec=" +
               QFile::encodeName(installer.installedProgram()) + "\nUser=root\n" + underSystemd));
    const QByteArray unit = contents(installer.systemdUnitFile());
    EXPECT_TRUE(
        unit.contains("ExecStart=" + QFile::encodeName(installer.installedProgram()) + "\n"));
    for (const char* option :
         {"Type=dbus\n", "BusName=com.brisvale.Sorvane.Helper\n", "NoNewPrivileges=yes\n",
          "ProtectSystem=strict\n",
          "ReadWritePaths=-/home -/root/Library -/Library -/etc/xdg -/etc/dconf -/var/cache\n",
          "CapabilityBoundingSet=CAP_CHOWN CAP_DAC_OVERRIDE CAP_FOWNER CAP_KILL CAP_SETUID "
          "CAP_SETGID\n",
          "SystemCallFilter=@system-service\n", "PrivateTmp=yes\n", "PrivateDevices=yes\n",
          "RestrictAddressFamilies=AF_UNIX\n", "RestrictSUIDSGID=yes\n", "RestrictNamespaces=yes\n",
          "UMask=0077\n", "MemoryMax=768M\n", "TasksMax=64\n"})
        EXPECT_TRUE(unit.contains(option)) << option;
    const QByteArray policy = contents(installer.busPolicyFile());
    EXPECT_TRUE(isWellFormedXml(policy));
    EXPECT_TRUE(policy.contains(R"(<policy user="root">)"));
    const QByteArray actions = contents(installer.polkitActionsFile());
    EXPECT_TRUE(isWellFormedXml(actions));
    for (const QString& action : {HelperProtocol::kActionReadDomains, HelperProtocol::kActionDelete,
                                  HelperProtocol::kActionCopy, HelperProtocol::kActionSetAttributes,
                                  HelperProtocol::kActionCheckPlists, HelperProtocol::kActionReboot,
                                  HelperProtocol::kActionRunScript})
        EXPECT_TRUE(actions.contains("<action id=\"" + action.toUtf8() + "\">"))
            << action.toStdString();
    for (const QString& action : {HelperProtocol::kActionDelete, HelperProtocol::kActionCopy,
                                  HelperProtocol::kActionSetAttributes}) {
        for (const QString& suffix :
             {HelperProtocol::kOwnLibrarySuffix, HelperProtocol::kOtherUserSuffix})
            EXPECT_TRUE(actions.contains("<action id=\"" + (action + suffix).toUtf8() + "\">"))
                << (action + suffix).toStdString();
    }

    // A second installation replaces the program.
    const QString newer = sandbox.makeFile(sandbox.homePath(u"helper-v2"_s), "#!/bin/sh\n# v2\n");
    ASSERT_EQ(installer.install(newer), HelperInstaller::Installed);
    EXPECT_EQ(contents(installer.installedProgram()), "#!/bin/sh\n# v2\n");
}

TEST(HelperInstaller, UnwritablePrefixFails) {
    Sandbox sandbox;
    const QString program = sandbox.makeFile(sandbox.homePath(u"helper"_s), "x");
    // A file where a folder must go.
    const QString blocked = sandbox.makeFile(sandbox.homePath(u"prefix"_s), "file");
    const HelperInstaller installer(blocked, u"unix:path=/nonexistent"_s);
    EXPECT_EQ(installer.install(program), HelperInstaller::Failed);
}

namespace {

// The overall exposure systemd-analyze gives a unit file, or -1.
double exposureOf(const QString& unit, QString* output) {
    QProcess analyze;
    analyze.setProcessChannelMode(QProcess::MergedChannels);
    analyze.start(u"systemd-analyze"_s, {u"security"_s, u"--offline=yes"_s, u"--no-pager"_s, unit});
    if (!analyze.waitForFinished(60000))
        return -1;
    *output = QString::fromUtf8(analyze.readAll());
    static const QRegularExpression overall(u"Overall exposure level for [^:]+: ([0-9.]+)"_s);
    const QRegularExpressionMatch match = overall.match(*output);
    return match.hasMatch() ? match.captured(1).toDouble() : -1;
}

} // namespace

// The unit the installer writes keeps the helper confined: systemd's own
// reckoning of its exposure stays at 3.0 or lower ("OK").
TEST(HelperInstaller, TheUnitScoresAtMostThreeWithSystemdAnalyze) {
    if (QStandardPaths::findExecutable(u"systemd-analyze"_s).isEmpty())
        GTEST_SKIP() << "systemd-analyze is not installed: the unit's exposure cannot be measured";
    Sandbox sandbox;
    const QString program = sandbox.makeFile(sandbox.homePath(u"helper"_s), "#!/bin/sh\n");
    const HelperInstaller installer(sandbox.homePath(u"prefix"_s), u"unix:path=/nonexistent"_s);
    ASSERT_EQ(installer.install(program), HelperInstaller::Installed);

    QString output;
    const double exposure = exposureOf(installer.systemdUnitFile(), &output);

    ASSERT_GE(exposure, 0.0) << output.toStdString();
    EXPECT_LE(exposure, 3.0) << output.toStdString();
    std::printf("systemd-analyze security --offline: %.1f\n", exposure);
}
