#include "defaults_command.h"
#include "linux_defaults_command.h"

#include <QByteArray>

#include <cstdio>

namespace {

void print(FILE* stream, const QByteArray& bytes) {
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
}

} // namespace

// No QCoreApplication: the program needs no event loop, and skipping it keeps start-up short.
int main(int argc, char** argv) {
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    // The settings system its caller chose: a macOS home folder's property
    // lists, else the Linux desktop's dconf settings.
    const DefaultsCommand::Result result =
        qgetenv("SORVANE_SETTINGS") == "macos"
            ? DefaultsCommand::run(QString::fromLocal8Bit(qgetenv("HOME")), arguments)
            : LinuxDefaultsCommand::run(arguments);
    print(stdout, result.output);
    print(stderr, result.error.toUtf8());
    return result.exitCode;
}
