#include "home_writer.h"

#include <cerrno>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace selfdeploy {

namespace {

// A descriptor closed when it goes out of scope.
class Fd {
public:
    explicit Fd(int fd = -1)
        : fd_(fd) {}
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    ~Fd() { reset(-1); }
    void reset(int fd) {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = fd;
    }
    int get() const { return fd_; }

private:
    int fd_;
};

std::string joined(const std::vector<std::string>& components, std::size_t count) {
    std::string path = "~";
    for (std::size_t i = 0; i < count; ++i)
        path += '/' + components[i];
    return path;
}

bool fail(std::string* error, const std::string& path, const std::string& why) {
    if (error)
        *error = path + ": " + why;
    return false;
}

// The folder name inside parent, made when missing; -1 when it is a link,
// not a folder, or cannot be made.
int openFolder(int parent, const std::string& name) {
    constexpr int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    int fd = ::openat(parent, name.c_str(), flags);
    if (fd >= 0 || errno != ENOENT)
        return fd;
    if (::mkdirat(parent, name.c_str(), 0777) != 0 && errno != EEXIST)
        return -1;
    return ::openat(parent, name.c_str(), flags);
}

bool writeAll(int fd, const std::string& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t wrote = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (wrote < 0 && errno == EINTR)
            continue;
        if (wrote <= 0)
            return false;
        done += std::size_t(wrote);
    }
    return true;
}

// A fresh temporary file in the folder; -1 when none can be made.
int createTemporary(int folder, std::string* name) {
    static unsigned counter = 0;
    for (int attempt = 0; attempt < 100; ++attempt) {
        *name = ".sorvane-deploy-" + std::to_string(::getpid()) + '-' +
                std::to_string(std::time(nullptr)) + '-' + std::to_string(counter++);
        const int fd = ::openat(folder, name->c_str(),
                                O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST)
            return fd;
    }
    return -1;
}

} // namespace

HomeWriter::HomeWriter(std::string home)
    : home_(std::move(home)) {}

bool HomeWriter::write(const std::vector<std::string>& components, const std::string& bytes,
                       std::string* error) const {
    const std::string path = joined(components, components.size());
    if (components.empty())
        return fail(error, path, "no file name");
    // The home folder itself may be a link (a home moved to another disk);
    // that is the user's own choice and is followed.
    Fd folder(::open(home_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.get() < 0)
        return fail(error, home_, std::strerror(errno));
    for (std::size_t i = 0; i + 1 < components.size(); ++i) {
        const int next = openFolder(folder.get(), components[i]);
        if (next < 0)
            return fail(error, joined(components, i + 1),
                        errno == ELOOP || errno == ENOTDIR ? "is a link or not a folder"
                                                           : std::strerror(errno));
        folder.reset(next);
    }
    const std::string& name = components.back();
    struct stat existing {};
    const bool exists = ::fstatat(folder.get(), name.c_str(), &existing, AT_SYMLINK_NOFOLLOW) == 0;
    if (exists && S_ISDIR(existing.st_mode))
        return fail(error, path, "is a folder");
    std::string temporary;
    Fd file(createTemporary(folder.get(), &temporary));
    if (file.get() < 0)
        return fail(error, path, std::strerror(errno));
    // A file that is replaced keeps its mode.
    const bool written = (!exists || !S_ISREG(existing.st_mode) ||
                          ::fchmod(file.get(), existing.st_mode & 07777) == 0) &&
                         writeAll(file.get(), bytes) && ::fsync(file.get()) == 0;
    const int writeError = errno;
    file.reset(-1);
    if (written && ::renameat(folder.get(), temporary.c_str(), folder.get(), name.c_str()) == 0)
        return true;
    const int failure = written ? errno : writeError;
    ::unlinkat(folder.get(), temporary.c_str(), 0);
    return fail(error, path, std::strerror(failure));
}

} // namespace selfdeploy
