#include "defaults_command.h"
#include "linux_defaults_command.h"

#include <QByteArray>

#include <cstdio>
#include <string>
#include <vector>

namespace {

void print(FILE* stream, const QByteArray& bytes) {
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
}

void print(FILE* stream, const std::string& bytes) {
    std::fwrite(bytes.data(), 1, bytes.size(), stream);
}

} // namespace

// No QCoreApplication: the program needs no event loop, and skipping it keeps start-up short.
int main(int argc, char** argv) {
    // The settings system its caller chose: a macOS home folder's property
    // lists, else the Linux desktop's dconf settings.
    if (qgetenv("SORVANE_SETTINGS") != "macos") {
        const auto result =
            LinuxDefaultsCommand::run(std::vector<std::string>(argv + 1, argv + argc));
        print(stdout, result.output);
        print(stderr, result.error);
        return result.exitCode;
    }
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    const DefaultsCommand::Result result =
        DefaultsCommand::run(QString::fromLocal8Bit(qgetenv("HOME")), arguments);
    print(stdout, result.output);
    print(stderr, result.error.toUtf8());
    return result.exitCode;
}
