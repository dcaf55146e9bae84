#include "binary_plist.h"

#include <cstring>
#include <optional>

namespace selfdeploy {

const PlistNode* PlistNode::find(std::string_view key) const {
    for (const auto& [name, value] : entries) {
        if (name == key)
            return value.get();
    }
    return nullptr;
}

namespace {

constexpr std::uint64_t kHeaderSize = 8;
constexpr std::uint64_t kTrailerSize = 32;

std::uint64_t bigEndian(const unsigned char* bytes, std::uint64_t size) {
    std::uint64_t value = 0;
    for (std::uint64_t i = 0; i < size; ++i)
        value = (value << 8) | bytes[i];
    return value;
}

void appendUtf8(std::string& out, std::uint32_t code) {
    if (code < 0x80) {
        out += char(code);
    } else if (code < 0x800) {
        out += char(0xC0 | (code >> 6));
        out += char(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += char(0xE0 | (code >> 12));
        out += char(0x80 | ((code >> 6) & 0x3F));
        out += char(0x80 | (code & 0x3F));
    } else {
        out += char(0xF0 | (code >> 18));
        out += char(0x80 | ((code >> 12) & 0x3F));
        out += char(0x80 | ((code >> 6) & 0x3F));
        out += char(0x80 | (code & 0x3F));
    }
}

// Big-endian UTF-16 to UTF-8; a lone surrogate becomes U+FFFD rather than
// bytes that no later step could read.
std::string utf8OfUtf16(const unsigned char* bytes, std::uint64_t units) {
    std::string out;
    for (std::uint64_t i = 0; i < units; ++i) {
        const std::uint32_t unit = std::uint32_t(bigEndian(bytes + 2 * i, 2));
        if (unit >= 0xD800 && unit < 0xDC00 && i + 1 < units) {
            const std::uint32_t low = std::uint32_t(bigEndian(bytes + 2 * (i + 1), 2));
            if (low >= 0xDC00 && low < 0xE000) {
                appendUtf8(out, 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
                ++i;
                continue;
            }
        }
        appendUtf8(out, unit >= 0xD800 && unit < 0xE000 ? 0xFFFD : unit);
    }
    return out;
}

class Reader {
public:
    explicit Reader(std::string_view data)
        : data_(data)
        , bytes_(reinterpret_cast<const unsigned char*>(data.data())) {}

    PlistRef read(std::string* error) {
        PlistRef top;
        if (readTrailer())
            top = object(topObject_, 0);
        if (!error_.empty()) {
            if (error)
                *error = error_;
            return nullptr;
        }
        return top;
    }

private:
    enum class State { Unread, InProgress, Done };

    bool fail(const std::string& what) {
        if (error_.empty())
            error_ = what;
        return false;
    }

    bool readTrailer() {
        const std::uint64_t size = data_.size();
        if (size < kHeaderSize + 1 + kTrailerSize)
            return fail("the property list is too short");
        if (std::memcmp(bytes_, "bplist00", kHeaderSize) != 0)
            return fail("not a binary property list");
        const unsigned char* trailer = bytes_ + size - kTrailerSize;
        offsetSize_ = trailer[6];
        refSize_ = trailer[7];
        count_ = bigEndian(trailer + 8, 8);
        topObject_ = bigEndian(trailer + 16, 8);
        offsetTable_ = bigEndian(trailer + 24, 8);
        const std::uint64_t trailerStart = size - kTrailerSize;
        if (offsetSize_ < 1 || offsetSize_ > 8 || refSize_ < 1 || refSize_ > 8)
            return fail("bad offset or reference size");
        if (count_ == 0 || topObject_ >= count_)
            return fail("bad object count or top object");
        if (offsetTable_ < kHeaderSize + 1 || offsetTable_ > trailerStart)
            return fail("offset table out of range");
        if (count_ > (trailerStart - offsetTable_) / offsetSize_)
            return fail("offset table too short for its objects");
        states_.assign(count_, State::Unread);
        cache_.assign(count_, nullptr);
        return true;
    }

    // The bytes [offset, offset + length) lie inside the object area.
    bool inObjects(std::uint64_t offset, std::uint64_t length) {
        if (length > offsetTable_ || offset > offsetTable_ - length)
            return fail("an object runs past the object area");
        return true;
    }

    std::optional<std::uint64_t> count(std::uint64_t offset, std::uint64_t* content) {
        const unsigned low = bytes_[offset] & 0x0F;
        if (low != 0x0F) {
            *content = offset + 1;
            return low;
        }
        if (!inObjects(offset + 1, 1))
            return std::nullopt;
        const unsigned char marker = bytes_[offset + 1];
        if ((marker & 0xF0) != 0x10 || (marker & 0x0F) > 3) {
            fail("bad length marker");
            return std::nullopt;
        }
        const std::uint64_t size = std::uint64_t(1) << (marker & 0x0F);
        if (!inObjects(offset + 2, size))
            return std::nullopt;
        *content = offset + 2 + size;
        return bigEndian(bytes_ + offset + 2, size);
    }

    PlistRef object(std::uint64_t index, int depth) {
        if (states_[index] == State::Done)
            return cache_[index];
        if (states_[index] == State::InProgress)
            return fail("reference cycle"), nullptr;
        if (depth > BinaryPlist::maxDepth)
            return fail("nested too deeply"), nullptr;
        const std::uint64_t offset =
            bigEndian(bytes_ + offsetTable_ + index * offsetSize_, offsetSize_);
        if (offset < kHeaderSize || offset >= offsetTable_)
            return fail("an object lies outside the object area"), nullptr;
        states_[index] = State::InProgress;
        auto node = std::make_shared<PlistNode>();
        if (!decode(offset, depth, *node))
            return nullptr;
        states_[index] = State::Done;
        cache_[index] = node;
        return node;
    }

    bool decode(std::uint64_t offset, int depth, PlistNode& node) {
        const unsigned char marker = bytes_[offset];
        switch (marker >> 4) {
        case 0x0:
            node.kind = PlistNode::Kind::Boolean;
            node.boolean = marker == 0x09;
            return marker == 0x08 || marker == 0x09 || fail("unknown object marker");
        case 0x1:
            return integer(offset, node);
        case 0x2:
            node.kind = PlistNode::Kind::Real;
            return ((marker & 0x0F) == 2 || (marker & 0x0F) == 3 || fail("bad real size")) &&
                   inObjects(offset + 1, std::uint64_t(1) << (marker & 0x0F));
        case 0x3:
            node.kind = PlistNode::Kind::Date;
            return (marker == 0x33 || fail("unknown object marker")) && inObjects(offset + 1, 8);
        case 0x4:
        case 0x5:
        case 0x6:
            return text(offset, marker >> 4, node);
        case 0x8:
            node.kind = PlistNode::Kind::Uid;
            if (!inObjects(offset + 1, (marker & 0x0F) + 1u))
                return false;
            node.uid = bigEndian(bytes_ + offset + 1, (marker & 0x0F) + 1u);
            return true;
        case 0xA:
            return array(offset, depth, node);
        case 0xD:
            return dictionary(offset, depth, node);
        default:
            return fail("unknown object marker");
        }
    }

    bool integer(std::uint64_t offset, PlistNode& node) {
        node.kind = PlistNode::Kind::Integer;
        const unsigned low = bytes_[offset] & 0x0F;
        if (low > 4)
            return fail("bad integer size");
        const std::uint64_t size = std::uint64_t(1) << low;
        if (!inObjects(offset + 1, size))
            return false;
        // Sixteen bytes carry an unsigned 64-bit value in their low half.
        const std::uint64_t value =
            size == 16 ? bigEndian(bytes_ + offset + 9, 8) : bigEndian(bytes_ + offset + 1, size);
        node.integer = std::int64_t(value);
        return true;
    }

    bool text(std::uint64_t offset, unsigned high, PlistNode& node) {
        std::uint64_t content = 0;
        const std::optional<std::uint64_t> length = count(offset, &content);
        const std::uint64_t unit = high == 0x6 ? 2 : 1;
        if (!length || *length > offsetTable_ / unit || !inObjects(content, *length * unit))
            return fail("a string or data object runs past the object area");
        const char* start = data_.data() + content;
        if (high == 0x6) {
            node.kind = PlistNode::Kind::String;
            node.bytes = utf8OfUtf16(bytes_ + content, *length);
            return true;
        }
        node.kind = high == 0x4 ? PlistNode::Kind::Data : PlistNode::Kind::String;
        node.bytes.assign(start, *length);
        if (high == 0x5) {
            for (const char c : node.bytes) {
                if (static_cast<unsigned char>(c) > 0x7F)
                    return fail("an ASCII string holds other bytes");
            }
        }
        return true;
    }

    // The n references that start at content.
    std::optional<std::vector<std::uint64_t>> references(std::uint64_t content, std::uint64_t n) {
        if (n > offsetTable_ / refSize_ || !inObjects(content, n * refSize_))
            return std::nullopt;
        std::vector<std::uint64_t> refs;
        refs.reserve(n);
        for (std::uint64_t i = 0; i < n; ++i) {
            const std::uint64_t ref = bigEndian(bytes_ + content + i * refSize_, refSize_);
            if (ref >= count_) {
                fail("object reference out of range");
                return std::nullopt;
            }
            refs.push_back(ref);
        }
        return refs;
    }

    bool array(std::uint64_t offset, int depth, PlistNode& node) {
        node.kind = PlistNode::Kind::Array;
        std::uint64_t content = 0;
        const std::optional<std::uint64_t> n = count(offset, &content);
        const auto refs = n ? references(content, *n) : std::nullopt;
        if (!refs)
            return fail("bad array");
        for (const std::uint64_t ref : *refs) {
            PlistRef item = object(ref, depth + 1);
            if (!item)
                return false;
            node.items.push_back(std::move(item));
        }
        return true;
    }

    bool dictionary(std::uint64_t offset, int depth, PlistNode& node) {
        node.kind = PlistNode::Kind::Dictionary;
        std::uint64_t content = 0;
        const std::optional<std::uint64_t> n = count(offset, &content);
        const auto refs = n && *n <= offsetTable_ / 2 ? references(content, *n * 2) : std::nullopt;
        if (!refs)
            return fail("bad dictionary");
        for (std::uint64_t i = 0; i < *n; ++i) {
            const PlistRef key = object((*refs)[i], depth + 1);
            if (!key)
                return false;
            if (key->kind != PlistNode::Kind::String)
                return fail("a dictionary key is not a string");
            PlistRef value = object((*refs)[*n + i], depth + 1);
            if (!value)
                return false;
            node.entries.emplace_back(key->bytes, std::move(value));
        }
        return true;
    }

    std::string_view data_;
    const unsigned char* bytes_;
    std::uint64_t offsetSize_ = 0;
    std::uint64_t refSize_ = 0;
    std::uint64_t count_ = 0;
    std::uint64_t topObject_ = 0;
    std::uint64_t offsetTable_ = 0;
    std::vector<State> states_;
    std::vector<PlistRef> cache_;
    std::string error_;
};

} // namespace

PlistRef BinaryPlist::parse(std::string_view data, std::string* error) {
    return Reader(data).read(error);
}

} // namespace selfdeploy
