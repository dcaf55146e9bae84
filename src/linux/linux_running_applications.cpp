#include "linux/linux_running_applications.h"

#include "platform/directory_listing.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <climits>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// A script's first argument is near the start of the command line; reading
// more would only cost time on processes with huge argument lists.
constexpr qint64 kCommandLineLimit = 8192;
constexpr qint64 kSmallFileLimit = 65536;

QString fileNameOf(const QString& path) {
    return path.mid(path.lastIndexOf(u'/') + 1);
}

bool isNumber(const QString& text) {
    for (QChar c : text) {
        if (!c.isDigit())
            return false;
    }
    return !text.isEmpty();
}

QByteArray readStart(const QString& path, qint64 limit) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.read(limit);
}

// QFile::symLinkTarget cleans the path it returns; the kernel's own text is
// needed here, " (deleted)" suffix included.
QString linkText(const QString& path) {
    char buffer[PATH_MAX];
    const ssize_t length = ::readlink(QFile::encodeName(path).constData(), buffer, sizeof buffer);
    if (length <= 0)
        return {};
    return QFile::decodeName(QByteArray(buffer, length));
}

QString executableName(const QString& processFolder) {
    QString target = linkText(processFolder + u"/exe"_s);
    const QString deleted = u" (deleted)"_s;
    if (target.endsWith(deleted))
        target.chop(deleted.size());
    return fileNameOf(target);
}

QStringList commandLine(const QString& processFolder) {
    QStringList arguments;
    const QByteArray text = readStart(processFolder + u"/cmdline"_s, kCommandLineLimit);
    for (const QByteArray& argument : text.split('\0'))
        arguments.append(QFile::decodeName(argument));
    if (!arguments.isEmpty() && arguments.last().isEmpty())
        arguments.removeLast();
    return arguments;
}

// "python3.11" and "tclsh8.6" are interpreters, "shotwell" is not: only a
// version may follow the interpreter's name.
bool isInterpreter(const QString& name) {
    static const QStringList interpreters = {
        u"sh"_s,   u"bash"_s, u"dash"_s, u"zsh"_s, u"ksh"_s,   u"python"_s, u"perl"_s,
        u"ruby"_s, u"node"_s, u"gjs"_s,  u"lua"_s, u"tclsh"_s, u"wish"_s,   u"php"_s,
    };
    for (const QString& interpreter : interpreters) {
        if (!name.startsWith(interpreter))
            continue;
        const QString version = name.mid(interpreter.size());
        if (std::all_of(version.begin(), version.end(),
                        [](QChar c) { return c.isDigit() || c == u'.'; }))
            return true;
    }
    return false;
}

QString scriptArgument(const QStringList& arguments) {
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        if (arguments[i] == u"--"_s)
            return arguments.value(i + 1);
        if (!arguments[i].startsWith(u'-'))
            return arguments[i];
    }
    return {};
}

bool runsProgram(const QString& processFolder, const QStringList& programs) {
    const QString executable = executableName(processFolder);
    if (programs.contains(executable))
        return true;
    const QStringList arguments = commandLine(processFolder);
    if (arguments.isEmpty())
        return false;
    const QString first = fileNameOf(arguments.first());
    if (programs.contains(first))
        return true;
    if (!isInterpreter(executable) && !isInterpreter(first))
        return false;
    return programs.contains(fileNameOf(scriptArgument(arguments)));
}

// snapd names the units it starts snap.NAME.APP.service, snap.NAME.APP-UUID.scope
// (earlier snap.NAME.APP.UUID.scope) and snap.NAME.hook.HOOK-UUID.scope; each
// is one component of the cgroup path.
bool isInSnap(const QString& processFolder, const QString& snapName) {
    const QByteArray cgroups = readStart(processFolder + u"/cgroup"_s, kSmallFileLimit);
    return cgroups.contains(QFile::encodeName(u"/snap."_s + snapName + u'.'));
}

// The name= key of the [Application] group; runtime sandboxes have a
// [Runtime] group instead and belong to no application.
QString applicationName(const QString& infoFile) {
    const QByteArray text = readStart(infoFile, kSmallFileLimit);
    bool inApplication = false;
    for (const QByteArray& rawLine : text.split('\n')) {
        const QString line = QString::fromUtf8(rawLine).trimmed();
        if (line.startsWith(u'[')) {
            inApplication = line == u"[Application]"_s;
            continue;
        }
        const qsizetype equals = line.indexOf(u'=');
        if (inApplication && equals > 0 && line.left(equals).trimmed() == u"name"_s)
            return line.mid(equals + 1).trimmed();
    }
    return {};
}

bool isAlive(const QString& pidFile, const QString& procRoot) {
    const QString pid = QString::fromLatin1(readStart(pidFile, 32)).trimmed();
    if (!isNumber(pid) || pid.toLongLong() <= 0)
        return false;
    return QFileInfo(procRoot + u'/' + pid).isDir();
}

// Flatpak keeps one folder per sandbox in $XDG_RUNTIME_DIR/.flatpak, and
// leaves it behind when a sandbox dies without cleaning up: only the pid of
// its bwrap process tells whether it still runs.
bool flatpakInstanceRuns(const QString& flatpakId, const QString& procRoot,
                         const QString& runtimeDir) {
    if (runtimeDir.isEmpty())
        return false;
    const QString instances = runtimeDir + u"/.flatpak"_s;
    for (const QString& name : DirectoryListing::list(instances).names) {
        const QString folder = instances + u'/' + name;
        if (applicationName(folder + u"/info"_s) == flatpakId &&
            isAlive(folder + u"/pid"_s, procRoot))
            return true;
    }
    return false;
}

bool processRuns(const QStringList& programs, const QString& snapName, const QString& procRoot) {
    for (const QString& pid : DirectoryListing::list(procRoot).names) {
        if (!isNumber(pid))
            continue;
        const QString folder = procRoot + u'/' + pid;
        if (!programs.isEmpty() && runsProgram(folder, programs))
            return true;
        if (!snapName.isEmpty() && isInSnap(folder, snapName))
            return true;
    }
    return false;
}

QString defaultRuntimeDir() {
    const QString runtimeDir = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtimeDir.isEmpty())
        return runtimeDir;
    return u"/run/user/%1"_s.arg(::getuid());
}

} // namespace

bool LinuxRunningApplications::isRunning(const LinuxProgramIdentity& identity) {
    return isRunning(identity, u"/proc"_s, defaultRuntimeDir());
}

bool LinuxRunningApplications::isRunning(const LinuxProgramIdentity& identity,
                                         const QString& procRoot, const QString& runtimeDir) {
    // An empty name would match kernel threads, whose command line is empty.
    QStringList programs = identity.programs;
    programs.removeAll(QString());
    if (!identity.flatpakId.isEmpty() &&
        flatpakInstanceRuns(identity.flatpakId, procRoot, runtimeDir))
        return true;
    if (programs.isEmpty() && identity.snapName.isEmpty())
        return false;
    return processRuns(programs, identity.snapName, procRoot);
}
