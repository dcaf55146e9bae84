#include "text_files.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace selfdeploy {

std::string TextFiles::readStart(const std::string& path, std::size_t limit) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return {};
    std::string text(limit, '\0');
    std::size_t done = 0;
    while (done < limit) {
        const ssize_t got = ::read(fd, text.data() + done, limit - done);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        done += std::size_t(got);
    }
    ::close(fd);
    text.resize(done);
    return text;
}

void TextFiles::print(std::FILE* stream, const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stream);
    std::fflush(stream);
}

std::optional<std::string> TextFiles::readLine(std::FILE* stream) {
    std::string line;
    int c = 0;
    while ((c = std::fgetc(stream)) != EOF && c != '\n')
        line += char(c);
    if (c == EOF && line.empty())
        return std::nullopt;
    return line;
}

} // namespace selfdeploy
