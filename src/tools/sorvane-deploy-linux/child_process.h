#pragma once

#include <string>
#include <vector>

namespace selfdeploy {

// What a child program did: its exit status (-1 when it could not start or
// did not exit normally) and everything it wrote.
struct ChildResult {
    int status = -1;
    std::string out;
    std::string err;
};

// Runs the desktop's own programs (dconf, the dialog programs) with this
// program's environment, feeding them input and collecting their output
// without ever blocking on a full pipe.
class ChildProcess {
public:
    // The program of that name in a folder of PATH; empty when none is.
    static std::string findOnPath(const std::string& name);
    static ChildResult run(const std::string& program, const std::vector<std::string>& arguments,
                           const std::string& input = {});
};

} // namespace selfdeploy
