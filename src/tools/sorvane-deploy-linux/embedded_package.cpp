#include "embedded_package.h"

#include "packager/self_deploying_trailer.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace selfdeploy {

namespace {

bool readAt(int fd, std::string& buffer, off_t offset) {
    std::size_t done = 0;
    while (done < buffer.size()) {
        const ssize_t got =
            ::pread(fd, buffer.data() + done, buffer.size() - done, offset + off_t(done));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
        done += std::size_t(got);
    }
    return true;
}

} // namespace

std::optional<std::string> EmbeddedPackage::readFrom(const std::string& path,
                                                     std::string* problem) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        *problem = "cannot read " + path + ": " + std::strerror(errno);
        return std::nullopt;
    }
    struct stat info {};
    std::string trailer(self_deploying_trailer::kSize, '\0');
    std::optional<std::string> package;
    const bool hasTrailer = ::fstat(fd, &info) == 0 &&
                            std::uint64_t(info.st_size) >= trailer.size() &&
                            readAt(fd, trailer, info.st_size - off_t(trailer.size()));
    const auto length = hasTrailer ? self_deploying_trailer::packageLength(trailer) : std::nullopt;
    const std::uint64_t room = hasTrailer ? std::uint64_t(info.st_size) - trailer.size() : 0;
    if (!length || *length == 0 || *length > room) {
        *problem = path + " carries no package";
    } else {
        package.emplace(std::size_t(*length), '\0');
        if (!readAt(fd, *package, off_t(room - *length))) {
            *problem = "cannot read the package inside " + path;
            package.reset();
        }
    }
    ::close(fd);
    return package;
}

} // namespace selfdeploy
