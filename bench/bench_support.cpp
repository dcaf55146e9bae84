#include "bench_support.h"

#include <QDir>
#include <QFile>
#include <QLoggingCategory>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

extern char** environ;

namespace bench {

QString makeScratch(const QString& name) {
    const QString base = QDir::tempPath() + QStringLiteral("/sorvane-bench-") + name;
    QDir(base).removeRecursively();
    QDir().mkpath(base + QStringLiteral("/home"));
    QDir().mkpath(base + QStringLiteral("/root"));
    qputenv("HOME", QFile::encodeName(base + QStringLiteral("/home")));
    qputenv("SORVANE_SYSTEM_ROOT", QFile::encodeName(base + QStringLiteral("/root")));
    return base;
}

bool runQuietly(const QString& program, const QStringList& arguments) {
    std::vector<QByteArray> storage;
    storage.push_back(QFile::encodeName(program));
    for (const QString& argument : arguments)
        storage.push_back(argument.toUtf8());
    std::vector<char*> argv;
    for (QByteArray& item : storage)
        argv.push_back(item.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    const int spawned = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0)
        return false;
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void silenceLog() {
    QLoggingCategory::setFilterRules(QStringLiteral("sorvane.info=false"));
}

} // namespace bench
