// Times the settings check of a folder, of a list of files, and a bare read
// of the same folder, in one process with a warm page cache.
//   bench_config_check check <threads> <folder>   ConfigFolderCheck::checkFolder
//   bench_config_check files <threads> <list>     ConfigFolderCheck::checkFiles over
//                                                 NUL-separated paths
//   bench_config_check read <threads> <folder>    list the folder, read each file whole
// Prints: <mode> <threads> <best seconds of 3> <files> <files that failed>
//
// The process is kept to <threads> CPUs: the check works on the calling
// thread beside the global pool's, so a pool of one thread alone would still
// check on two.
#include "bench_support.h"
#include "linux/config_folder_check.h"

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QStringList>
#include <QThread>
#include <QThreadPool>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

struct Outcome {
    qsizetype files = 0;
    qsizetype failed = 0;
};

// Keeps this process (and the threads it starts) on its first `threads`
// allowed CPUs; answers how many it got.
int limitToCpus(int threads) {
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    if (::sched_getaffinity(0, sizeof(allowed), &allowed) != 0)
        return QThread::idealThreadCount();
    cpu_set_t chosen;
    CPU_ZERO(&chosen);
    int count = 0;
    for (int cpu = 0; cpu < CPU_SETSIZE && count < threads; ++cpu) {
        if (CPU_ISSET(cpu, &allowed)) {
            CPU_SET(cpu, &chosen);
            ++count;
        }
    }
    if (count > 0)
        ::sched_setaffinity(0, sizeof(chosen), &chosen);
    QThreadPool::globalInstance()->setMaxThreadCount(count);
    return count;
}

Outcome tally(const ConfigFolderCheck::Results& results) {
    Outcome outcome{results.size(), 0};
    for (const QString& verdict : results) {
        if (verdict != u"OK"_s)
            ++outcome.failed;
    }
    return outcome;
}

QStringList readList(const QString& listFile) {
    QFile file(listFile);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QStringList paths;
    for (const QByteArray& path : file.readAll().split('\0')) {
        if (!path.isEmpty())
            paths.append(QFile::decodeName(path));
    }
    return paths;
}

// What any checker must do at the least: find every regular file below the
// folder and read it whole into memory of its own.
qsizetype readFile(int folderFd, const char* name) {
    const int fd = ::openat(folderFd, name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return 0;
    struct stat info {};
    qsizetype done = 0;
    if (::fstat(fd, &info) == 0) {
        QByteArray data(qsizetype(info.st_size), Qt::Uninitialized);
        while (done < data.size()) {
            const ssize_t n = ::read(fd, data.data() + done, size_t(data.size() - done));
            if (n <= 0)
                break;
            done += n;
        }
    }
    ::close(fd);
    return done;
}

void readFolder(int folderFd, Outcome& outcome) {
    DIR* dir = ::fdopendir(folderFd);
    if (!dir) {
        ::close(folderFd);
        return;
    }
    while (const dirent* entry = ::readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
            continue;
        if (entry->d_type == DT_DIR) {
            const int child =
                ::openat(folderFd, entry->d_name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (child >= 0)
                readFolder(child, outcome);
        } else if (entry->d_type == DT_REG) {
            readFile(folderFd, entry->d_name);
            ++outcome.files;
        }
    }
    ::closedir(dir);
}

Outcome readAll(const QString& folder) {
    Outcome outcome;
    const int fd =
        ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0)
        readFolder(fd, outcome);
    return outcome;
}

// The best of three timed runs after one that warms the page cache.
double bestOfThree(const std::function<Outcome()>& run, Outcome& outcome) {
    outcome = run();
    double best = 1e9;
    for (int round = 0; round < 3; ++round) {
        const auto start = std::chrono::steady_clock::now();
        outcome = run();
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        best = std::min(best, took.count());
    }
    return best;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: bench_config_check check|files|read <threads> <path>\n");
        return 2;
    }
    bench::silenceLog();
    const std::string mode = argv[1];
    const int threads = limitToCpus(std::max(1, std::atoi(argv[2])));
    const QString path = QFile::decodeName(argv[3]);
    std::function<Outcome()> run;
    if (mode == "check") {
        run = [&] { return tally(ConfigFolderCheck::checkFolder(path)); };
    } else if (mode == "files") {
        const QStringList paths = readList(path);
        run = [paths] { return tally(ConfigFolderCheck::checkFiles(paths)); };
    } else if (mode == "read") {
        run = [&] { return readAll(path); };
    } else {
        std::fprintf(stderr, "bench_config_check: unknown mode %s\n", argv[1]);
        return 2;
    }
    Outcome outcome;
    const double seconds = bestOfThree(run, outcome);
    std::printf("%s %d %.4f %lld %lld\n", mode.c_str(), threads, seconds,
                static_cast<long long>(outcome.files), static_cast<long long>(outcome.failed));
    return 0;
}
