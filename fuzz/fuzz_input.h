#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>

namespace tintwell::fuzz {

/// What the fuzzer thought up, read from front to back. Behind its end there are zeros, and a zero
/// means the usual: short inputs are healthy sessions.
class FuzzInput {
public:
    FuzzInput(const std::uint8_t* data, std::size_t size) : rest_(data, size) {}

    bool isEmpty() const { return rest_.empty(); }

    std::uint8_t byte() { return raw<std::uint8_t>(); }

    template <class T>
    T raw() {
        std::array<std::uint8_t, sizeof(T)> bytes{};
        const std::size_t count = std::min(sizeof(T), rest_.size());
        std::memcpy(bytes.data(), rest_.data(), count);
        rest_ = rest_.subspan(count);
        return std::bit_cast<T>(bytes);
    }

    /// The usual value, one near 0, a limit of the type, or any.
    template <class T>
    T number(T usual) {
        using Limits = std::numeric_limits<T>;
        const std::uint8_t kind = byte();
        const std::array limits = {Limits::min(),        Limits::max(),         Limits::lowest(),
                                   T(Limits::max() - 1), T(Limits::max() / 2),  Limits::infinity(),
                                   Limits::quiet_NaN(),  T(-Limits::infinity())};
        switch (kind % 4) {
        case 0:
            return usual;
        case 1:
            return static_cast<T>(raw<std::int8_t>());
        case 2:
            return limits[kind / 4 % limits.size()];
        default:
            return raw<T>();
        }
    }

private:
    std::span<const std::uint8_t> rest_;
};

} // namespace tintwell::fuzz
