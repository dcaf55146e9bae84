#include "linux_defaults_command.h"

#include <cstdio>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    const LinuxDefaultsCommand::Result result = LinuxDefaultsCommand::run(arguments);
    std::fwrite(result.output.data(), 1, result.output.size(), stdout);
    std::fwrite(result.error.data(), 1, result.error.size(), stderr);
    return result.exitCode;
}
