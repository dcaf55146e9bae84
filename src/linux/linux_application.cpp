#include "linux/linux_application.h"

#include "linux/desktop_entry.h"

#include <QSet>

using namespace Qt::StringLiterals;

bool LinuxApplication::isLauncher(const QString& program) {
    static const QSet<QString> launchers = {
        u"sh"_s,         u"bash"_s,    u"dash"_s,     u"zsh"_s,      u"env"_s,
        u"python"_s,     u"python3"_s, u"perl"_s,     u"ruby"_s,     u"java"_s,
        u"mono"_s,       u"wine"_s,    u"node"_s,     u"gjs"_s,      u"electron"_s,
        u"flatpak"_s,    u"snap"_s,    u"xdg-open"_s, u"exo-open"_s, u"gtk-launch"_s,
        u"kioclient5"_s, u"pkexec"_s,  u"sudo"_s,     u"firejail"_s, u"x-terminal-emulator"_s};
    return launchers.contains(program.toLower());
}

LinuxApplication LinuxApplication::fromEntry(const DesktopEntry& entry) {
    LinuxApplication application;
    application.identifier = entry.identifier();
    application.flatpakId = entry.flatpakId();
    application.snapName = entry.snapName();
    for (const QString& name : entry.fileNames()) {
        if (!isLauncher(name))
            application.fileNames.append(name);
    }
    for (const QString& program : {entry.execProgram(), entry.tryExecProgram()}) {
        if (!program.isEmpty() && !isLauncher(program) && !application.programs.contains(program))
            application.programs.append(program);
    }
    return application;
}
