#include "media/metadata/image_formats.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace tintwell::media {
namespace {

/// Pictures may begin behind the generic header, or behind those of film and television too.
constexpr std::size_t kGenericLength = 1664;
constexpr std::size_t kHeaderLength = 2048;
constexpr std::uint8_t kUndefined = 0xFF;

// Where the file's numbers lie, 32 bits each.
constexpr std::size_t kPictureOffset = 4;
constexpr std::size_t kFileLength = 16;
constexpr std::size_t kIndustryLength = 28;
// Each of the picture's elements has an offset of its own.
constexpr std::size_t kElementOffset = 808;
constexpr std::size_t kElementStep = 72;
constexpr std::size_t kElements = 8;

struct Part {
    std::size_t begin;
    std::size_t end;
    std::size_t width; ///< of its numbers; 1 for text
};

/// All that is not about how the picture is stored.
constexpr std::array<Part, 8> kParts{{
    {36, 660, 1},    // name, date, creator, project, copyright
    {801, 803, 1},   // transfer and colorimetry
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
    if (file.size() < kGenericLength) {
        return Order::None;
    }
    return beginsWith(file, kBig)      ? Order::Big
           : beginsWith(file, kLittle) ? Order::Little
                                       : Order::None;
}

std::uint32_t numberAt(ByteView file, std::size_t place, Order order) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        number = number << 8U | file[place + (order == Order::Big ? i : 3 - i)];
    }
    return number;
}

void setNumber(std::vector<std::uint8_t>& file, std::size_t place, Order order,
               std::uint32_t number) {
    for (std::size_t i = 0; i < 4; ++i) {
        const std::size_t shift = 8 * (order == Order::Big ? 3 - i : i);
        file[place + i] = static_cast<std::uint8_t>(number >> shift);
    }
}

bool hasIndustryHeader(ByteView file, Order order) {
    return file.size() >= kHeaderLength && numberAt(file, kPictureOffset, order) >= kHeaderLength;
}

/// Makes room for the headers of film and television where the picture begins before their end.
void insertIndustryHeader(std::vector<std::uint8_t>& file, Order order) {
    const std::uint32_t begin = numberAt(file, kPictureOffset, order);
    if (begin >= kHeaderLength || begin < kGenericLength || begin > file.size()) {
        return;
    }
    const auto added = static_cast<std::uint32_t>(kHeaderLength - begin);
    file.insert(file.begin() + begin, added, kUndefined);
    setNumber(file, kPictureOffset, order, kHeaderLength);
    setNumber(file, kFileLength, order, static_cast<std::uint32_t>(file.size()));
    setNumber(file, kIndustryLength, order, kHeaderLength - kGenericLength);
    for (std::size_t i = 0; i < kElements; ++i) {
        const std::size_t place = kElementOffset + i * kElementStep;
        const std::uint32_t offset = numberAt(file, place, order);
        if (offset >= begin && offset < file.size()) {
            setNumber(file, place, order, offset + added);
        }
    }
}

} // namespace

void readDpxNotes(ByteView file, ImageNotes& notes) {
    const Order order = orderOf(file);
    if (order == Order::None) {
        return;
    }
    const bool whole = hasIndustryHeader(file, order);
    notes.header.assign(file.begin(), file.begin() + (whole ? kHeaderLength : kGenericLength));
}

std::vector<std::uint8_t> withDpxNotes(ByteView file, const ImageNotes& notes) {
    std::vector<std::uint8_t> result(file.begin(), file.end());
    const Order order = orderOf(file);
    const Order sourceOrder = orderOf(notes.header);
    if (order == Order::None || sourceOrder == Order::None) {
        return result;
    }
    if (notes.header.size() == kHeaderLength) {
        insertIndustryHeader(result, order);
    }
    for (const Part& part : kParts) {
        if (part.end > notes.header.size()) {
            break; // the rest lies behind the generic header, too
        }
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
