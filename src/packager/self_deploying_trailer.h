#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// The end of a self-deploying package file on the Linux desktop: the program
// that deploys, then the package bytes, then this trailer, which says how
// long the package is. The program finds its package by reading its own last
// bytes, so the saved file stays one file that any ELF loader still runs.
// Plain C++: the deploying program is built without Qt and reads it too.
namespace self_deploying_trailer {

inline constexpr std::string_view kMagic = "SORVANE-KOLVANE2";
// The package's length as eight bytes, most significant first, then the magic.
inline constexpr std::size_t kSize = 8 + kMagic.size();

inline std::string trailerFor(std::uint64_t packageLength) {
    std::string trailer(8, '\0');
    for (int i = 7; i >= 0; --i) {
        trailer[std::size_t(i)] = char(packageLength & 0xFF);
        packageLength >>= 8;
    }
    return trailer + std::string(kMagic);
}

// The package's length from a file's last kSize bytes; nothing when they are
// not a trailer.
inline std::optional<std::uint64_t> packageLength(std::string_view lastBytes) {
    if (lastBytes.size() != kSize || lastBytes.substr(8) != kMagic)
        return std::nullopt;
    std::uint64_t length = 0;
    for (std::size_t i = 0; i < 8; ++i)
        length = (length << 8) | static_cast<unsigned char>(lastBytes[i]);
    return length;
}

} // namespace self_deploying_trailer
