#include "media/write/temporary_name.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <random>

namespace tintwell::media {
namespace {

constexpr std::size_t kKeptBytes = 100;
constexpr std::size_t kRandomDigits = 20;
constexpr std::size_t kCheckDigits = 4;

/// Of a long name only the beginning: what is added must not make it too long for a file. No
/// character is cut in two, which some file systems refuse.
std::string beginningFor(const std::string& output) {
    std::size_t size = std::min(output.size(), kKeptBytes);
    while (size < output.size() && size > 0 &&
           (static_cast<unsigned char>(output[size]) & 0xC0) == 0x80) {
        --size;
    }
    return std::string(".").append(output, 0, size).append(".partial-");
}

std::string hexadecimal(std::uint32_t number, std::size_t digits) {
    char text[16];
    std::snprintf(text, sizeof text, "%08x", number);
    return std::string(text).substr(8 - digits);
}

/// Tells our names from those that somebody else chose.
std::string checkOf(std::string_view text) {
    std::uint32_t hash = 2166136261U;
    for (const char letter : text) {
        hash = (hash ^ static_cast<unsigned char>(letter)) * 16777619U;
    }
    return hexadecimal(hash ^ (hash >> 16U), kCheckDigits);
}

std::string randomDigits() {
    std::random_device source;
    std::string digits;
    while (digits.size() < kRandomDigits) {
        digits += hexadecimal(source(), 4);
    }
    return digits;
}

} // namespace

TemporaryName::TemporaryName(const std::string& output)
    : text_(beginningFor(output) + randomDigits()) {
    text_ += checkOf(text_);
}

std::optional<std::string> TemporaryName::in(std::string_view file, const std::string& output) {
    const std::string beginning = beginningFor(output);
    const std::size_t checked = beginning.size() + kRandomDigits;
    if (!file.starts_with(beginning) || file.size() < checked + kCheckDigits ||
        file.substr(checked, kCheckDigits) != checkOf(file.substr(0, checked))) {
        return {};
    }
    return std::string(file.substr(0, checked + kCheckDigits));
}

} // namespace tintwell::media
