#pragma once

#include "host/declaration/format_error.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tintwell::declaration {

/// Bytes that are not trusted, with little-endian numbers in them. Everything is checked to lie
/// inside; the FormatErrors tell offsets in the whole of which this view is a part.
class ByteView {
public:
    /// The bytes outlive the view. `start` is where they begin in the whole.
    explicit ByteView(std::span<const std::uint8_t> bytes, std::size_t start = 0)
        : bytes_(bytes), start_(start) {}

    std::size_t size() const { return bytes_.size(); }

    /// Where the byte at `offset` of this view is in the whole.
    std::size_t place(std::uint64_t offset) const {
        return start_ + static_cast<std::size_t>(offset);
    }

    /// `what` names the part in the error when it does not lie inside.
    ByteView part(std::uint64_t offset, std::uint64_t size, std::string_view what) const {
        if (offset > bytes_.size() || size > bytes_.size() - offset) {
            throw FormatError(place(offset < bytes_.size() ? offset : bytes_.size()),
                              std::string(what) + " runs past the end");
        }
        return ByteView(
            bytes_.subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(size)),
            place(offset));
    }

    template <class Number>
    Number number(std::uint64_t offset, std::string_view what) const {
        Number number = 0;
        const ByteView bytes = part(offset, sizeof(Number), what);
        for (std::size_t i = sizeof(Number); i-- > 0;) {
            number = static_cast<Number>(number << 8U | bytes.bytes_[i]);
        }
        return number;
    }

    std::uint8_t number8(std::uint64_t offset, std::string_view what) const {
        return part(offset, 1, what).bytes_[0];
    }

    std::uint16_t number16(std::uint64_t offset, std::string_view what) const {
        return number<std::uint16_t>(offset, what);
    }

    std::uint32_t number32(std::uint64_t offset, std::string_view what) const {
        return number<std::uint32_t>(offset, what);
    }

    std::uint64_t number64(std::uint64_t offset, std::string_view what) const {
        return number<std::uint64_t>(offset, what);
    }

    std::string_view characters() const {
        return {reinterpret_cast<const char*>(bytes_.data()), bytes_.size()};
    }

private:
    std::span<const std::uint8_t> bytes_;
    std::size_t start_;
};

} // namespace tintwell::declaration
