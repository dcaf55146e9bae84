// Times the property-list check of every file of a folder, and the same loop
// with only a bare libplist parse, in one process with a warm page cache.
//   bench_plist_check sorvane|libplist <threads> <folder>
// Prints: <mode> <threads> <best seconds of 3> <files> <files that failed>
#include "platform/plist_checker.h"

#include <plist/plist.h>

#include <QByteArray>
#include <QString>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

std::vector<std::string> listFolder(const std::string& folder)
{
    std::vector<std::string> paths;
    DIR* dir = ::opendir(folder.c_str());
    if (!dir)
        return paths;
    while (const dirent* entry = ::readdir(dir)) {
        if (entry->d_name[0] != '.')
            paths.push_back(folder + "/" + entry->d_name);
    }
    ::closedir(dir);
    return paths;
}

QByteArray readFile(const std::string& path)
{
    QByteArray data;
    const int fd = ::open(path.c_str(), O_RDONLY);
    if (fd < 0)
        return data;
    struct stat info {};
    if (::fstat(fd, &info) == 0 && info.st_size > 0) {
        data.resize(qsizetype(info.st_size));
        qsizetype done = 0;
        while (done < data.size()) {
            const ssize_t n = ::read(fd, data.data() + done, size_t(data.size() - done));
            if (n <= 0)
                break;
            done += n;
        }
        data.truncate(done);
    }
    ::close(fd);
    return data;
}

bool checkWithSorvane(const QByteArray& data)
{
    return PlistChecker::check(data) == QStringLiteral("OK");
}

bool parseWithLibplist(const QByteArray& data)
{
    plist_t root = nullptr;
    plist_from_memory(data.constData(), uint32_t(data.size()), &root);
    if (!root)
        return false;
    plist_free(root);
    return true;
}

int runOnce(const std::vector<std::string>& paths, bool sorvane, int threads)
{
    std::atomic<size_t> next{0};
    std::atomic<int> failures{0};
    auto work = [&]() {
        for (size_t i = next++; i < paths.size(); i = next++) {
            const QByteArray data = readFile(paths[i]);
            const bool ok = sorvane ? checkWithSorvane(data) : parseWithLibplist(data);
            if (!ok)
                ++failures;
        }
    };
    std::vector<std::thread> pool;
    for (int t = 1; t < threads; ++t)
        pool.emplace_back(work);
    work();
    for (std::thread& thread : pool)
        thread.join();
    return failures;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: bench_plist_check sorvane|libplist <threads> <folder>\n");
        return 2;
    }
    const bool sorvane = std::strcmp(argv[1], "sorvane") == 0;
    const int threads = std::atoi(argv[2]);
    const std::vector<std::string> paths = listFolder(argv[3]);
    int failures = runOnce(paths, sorvane, threads); // warms the page cache
    double best = 1e9;
    for (int round = 0; round < 3; ++round) {
        const auto start = std::chrono::steady_clock::now();
        failures = runOnce(paths, sorvane, threads);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        best = std::min(best, took.count());
    }
    std::printf("%s %d %.4f %zu %d\n", argv[1], threads, best, paths.size(), failures);
    return 0;
}
