#include "media/metadata/image_formats.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace tintwell::media {
namespace {

constexpr std::size_t kHeaderLength = 2048;

struct Part {
    std::size_t begin;
    std::size_t end;
    std::size_t width; ///< of its numbers; 1 for text
};

/// All that is not about how the picture is stored.
constexpr std::array<Part, 8> kParts{{
    {36, 660, 1},    // name, date, creator, project, copyright
    {801, 803, 1},   // transfer and colorimetric specification
    {1432, 1620, 1}, // source image, its date, device, serial number
    {1664, 1712, 1}, // film edge code, format
    {1712, 1732, 4}, // position, length, rate, shutter angle
    {1732, 1864, 1}, // frame, slate
    {1920, 1928, 4}, // timecode and user bits
    {1928, 1932, 1}, // fields, signal
}};

enum class Order { Big, Little, None };

Order orderOf(ByteView file) {
    constexpr std::array<std::uint8_t, 4> kBig{'S', 'D', 'P', 'X'};
    constexpr std::array<std::uint8_t, 4> kLittle{'X', 'P', 'D', 'S'};
    if (file.size() < kHeaderLength) {
        return Order::None;
    }
    return beginsWith(file, kBig)      ? Order::Big
           : beginsWith(file, kLittle) ? Order::Little
                                       : Order::None;
}

} // namespace

void readDpxNotes(ByteView file, ImageNotes& notes) {
    if (orderOf(file) != Order::None) {
        notes.header.assign(file.begin(), file.begin() + kHeaderLength);
    }
}

std::vector<std::uint8_t> withDpxNotes(ByteView file, const ImageNotes& notes) {
    std::vector<std::uint8_t> result(file.begin(), file.end());
    const Order order = orderOf(file);
    const Order sourceOrder = orderOf(notes.header);
    if (order == Order::None || sourceOrder == Order::None) {
        return result;
    }
    for (const Part& part : kParts) {
        for (std::size_t place = part.begin; place < part.end; place += part.width) {
            const auto source = notes.header.begin() + static_cast<std::ptrdiff_t>(place);
            const auto behind = source + static_cast<std::ptrdiff_t>(part.width);
            const auto target = result.begin() + static_cast<std::ptrdiff_t>(place);
            if (order == sourceOrder) {
                std::copy(source, behind, target);
            } else {
                std::reverse_copy(source, behind, target);
            }
        }
    }
    return result;
}

} // namespace tintwell::media
