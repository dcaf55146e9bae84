#include "platform/tool_locations.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

QString overridden(const char* variable, const QString& fallback) {
    const QString value = qEnvironmentVariable(variable);
    return value.isEmpty() ? fallback : value;
}

} // namespace

QString ToolLocations::libexecFolder() {
    const QString programFolder = QCoreApplication::applicationDirPath();
    if (programFolder.endsWith(u"/libexec/sorvane"_s))
        return programFolder;
    return QDir::cleanPath(programFolder + u"/../libexec/sorvane"_s);
}

QString ToolLocations::defaultsTool() {
    // A program inside an application bundle (the self-deploying package
    // application) carries its own defaults beside it in Contents/MacOS, so
    // that the bundle works when it is copied to a machine alone.
    const QString programFolder = QCoreApplication::applicationDirPath();
    if (programFolder.endsWith(u"/Contents/MacOS"_s) &&
        QFileInfo(programFolder + u"/defaults"_s).isExecutable())
        return overridden("SORVANE_DEFAULTS_TOOL", programFolder + u"/defaults"_s);
    // On the Linux desktop, the same verbs from a program without Qt, which
    // starts as fast as dconf's own tool.
    const QString program =
        qgetenv("SORVANE_SETTINGS") == "macos" ? u"/defaults"_s : u"/dconf-defaults"_s;
    return overridden("SORVANE_DEFAULTS_TOOL", libexecFolder() + program);
}

QString ToolLocations::rebootTool() {
    return overridden("SORVANE_REBOOT_TOOL", u"/sbin/reboot"_s);
}

QString ToolLocations::unzipTool() {
    return overridden("SORVANE_UNZIP_TOOL", u"/usr/bin/unzip"_s);
}

QString ToolLocations::linuxDeployTool() {
    return overridden("SORVANE_DEPLOY_LINUX_TOOL", libexecFolder() + u"/sorvane-deploy-linux"_s);
}

QString ToolLocations::helperTool() {
    return overridden("SORVANE_HELPER_TOOL", libexecFolder() + u"/sorvane-helper"_s);
}

QString ToolLocations::pkexecTool() {
    return overridden("SORVANE_PKEXEC_TOOL", u"/usr/bin/pkexec"_s);
}
