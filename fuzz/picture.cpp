#include "picture.h"

namespace tintwell::fuzz {

Picture::Picture(FuzzInput& input) {
    constexpr std::int64_t kMostBytes = 1 << 14;
    const std::uint8_t shape = input.byte();
    const auto has = [&](int quirk) { return (shape >> quirk & 1) != 0; };
    world_.flags = has(0) ? kWorldFlag16Bit : 0;
    world_.width = has(1) ? input.number(std::int32_t{33}) : 9;
    world_.height = has(1) ? input.number(std::int32_t{3}) : 7;
    const auto packed =
        static_cast<std::int32_t>(std::clamp<std::int64_t>(rowSize(), 0, kMostBytes));
    world_.rowBytes = has(2) ? input.number(packed + 4) : has(3) ? -packed : packed;

    // The blend takes odd row bytes as they are, all else cuts them to whole samples.
    const std::int64_t last = isEmpty() ? 0 : std::int64_t{world_.rowBytes} * (world_.height - 1);
    const std::int64_t size = isEmpty() ? 0 : std::abs(last) + rowSize();
    if (has(4) || size > kMostBytes) {
        return;
    }
    const std::int64_t misalignment = has(5) ? 1 : 0;
    start_ = std::max<std::int64_t>(0, -last) + misalignment;
    memory_ = std::vector<std::byte>(static_cast<std::size_t>(size + misalignment));
    world_.data = memory_.data() + start_;
    fill(input);
}

/// A gradient with a cast, the same with a grain, or what the fuzzer says; then, 16-bit samples may
/// leave their scale.
void Picture::fill(FuzzInput& input) {
    const std::uint8_t kind = input.byte() % 3;
    std::uint32_t seed = input.byte();
    for (std::size_t i = 0; i < memory_.size(); ++i) {
        const std::size_t place = world_.flags != 0 ? i / 2 : i;
        seed = seed * 1664525U + 1013904223U;
        const std::size_t grain = kind == 0 ? 0 : seed >> 26U;
        std::size_t level =
            kind == 2 ? input.byte() : (place / 4 * 11 + place % 4 * 3 + grain) % 256;
        if (kind < 2 && world_.flags != 0 && i % 2 == 1) {
            level /= 2;
        }
        memory_[i] = static_cast<std::byte>(level);
    }
}

bool Picture::differsInPixelsOnly(std::vector<std::byte> before) const {
    const bool hasPixels = !memory_.empty() && !isEmpty();
    for (std::int64_t y = 0; hasPixels && !isEndless() && y < world_.height; ++y) {
        for (const std::int64_t offset : {rowOffset(y), y * world_.rowBytes}) {
            const std::int64_t row = start_ + offset;
            std::copy_n(memory_.begin() + row, rowSize(), before.begin() + row);
        }
    }
    return isEndless() || before == memory_;
}

} // namespace tintwell::fuzz
