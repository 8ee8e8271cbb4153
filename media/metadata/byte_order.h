#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tintwell::media {

using ByteView = std::span<const std::uint8_t>;

/// The number of `count` bytes, at most 8, at this place, the first byte being the greatest; the
/// bytes must be there.
inline std::uint64_t readBig(ByteView bytes, std::size_t place, std::size_t count) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        value = value << 8 | bytes[place + i];
    }
    return value;
}

/// The same with the first byte being the least.
inline std::uint64_t readLittle(ByteView bytes, std::size_t place, std::size_t count) {
    std::uint64_t value = 0;
    for (std::size_t i = count; i > 0; --i) {
        value = value << 8 | bytes[place + i - 1];
    }
    return value;
}

inline void appendBig(std::vector<std::uint8_t>& bytes, std::uint64_t value, std::size_t count) {
    for (std::size_t i = count; i > 0; --i) {
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * (i - 1))));
    }
}

inline void append(std::vector<std::uint8_t>& bytes, ByteView more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

inline bool beginsWith(ByteView bytes, ByteView start) {
    return bytes.size() >= start.size() && std::equal(start.begin(), start.end(), bytes.begin());
}

} // namespace tintwell::media
