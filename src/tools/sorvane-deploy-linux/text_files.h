#pragma once

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace selfdeploy {

// Reading small files and talking on the standard streams
// without the C++ stream library, whose locale machinery, linked in, would
// make every saved package five times larger.
class TextFiles {
public:
    // At most limit bytes from the start of a file; empty when it cannot be read.
    static std::string readStart(const std::string& path, std::size_t limit);
    // Writes the text and flushes the stream.
    static void print(std::FILE* stream, const std::string& text);
    // One line without its line end; nothing at the end of the input.
    static std::optional<std::string> readLine(std::FILE* stream);
};

} // namespace selfdeploy
