#include "tool/terminal/printable.h"

#include <array>
#include <cstdio>
#include <utility>

namespace tintwell::tool {
namespace {

constexpr char32_t kInvalid = 0xFFFD;

bool steers(char32_t letter) {
    // Control characters; marks and overrides of direction; separators of lines and paragraphs.
    constexpr std::array<std::pair<char32_t, char32_t>, 6> kRanges{{{0x00, 0x1F},
                                                                    {0x7F, 0x9F},
                                                                    {0x061C, 0x061C},
                                                                    {0x200E, 0x200F},
                                                                    {0x2028, 0x202E},
                                                                    {0x2066, 0x2069}}};
    for (const auto& [first, last] : kRanges) {
        if (letter >= first && letter <= last) {
            return true;
        }
    }
    return false;
}

struct Letter {
    char32_t code = kInvalid;
    std::size_t bytes = 1;
    bool valid = false;
};

/// The first character of a text that is not empty.
Letter firstLetter(std::string_view text) {
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) {
        return {lead, 1, true};
    }
    const std::size_t bytes = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < bytes) {
        return {};
    }
    char32_t code = lead & (0x7FU >> bytes);
    for (std::size_t at = 1; at < bytes; ++at) {
        if ((byte(at) & 0xC0U) != 0x80U) {
            return {};
        }
        code = code << 6U | (byte(at) & 0x3FU);
    }
    constexpr std::array<char32_t, 5> kLeast{0, 0, 0x80, 0x800, 0x10000};
    const bool valid =
        code >= kLeast[bytes] && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
    return valid ? Letter{code, bytes, true} : Letter{};
}

} // namespace

std::string replaceSteering(std::string_view text,
                            const std::function<std::string(char32_t)>& replacement) {
    std::string result;
    while (!text.empty()) {
        const Letter letter = firstLetter(text);
        if (!letter.valid || steers(letter.code)) {
            result += replacement(letter.code);
        } else {
            result += text.substr(0, letter.bytes);
        }
        text.remove_prefix(letter.bytes);
    }
    return result;
}

std::string printable(std::string_view text) {
    return replaceSteering(text, [](char32_t letter) {
        const bool blank = letter == '\n' || letter == '\r' || letter == '\t' || letter == 0x2028 ||
                           letter == 0x2029;
        return blank ? " " : "?";
    });
}

std::string printableJson(std::string_view document) {
    return replaceSteering(document, [](char32_t letter) {
        if (letter == '\n') {
            return std::string("\n"); // of the layout: texts hold none that is not escaped
        }
        char escaped[16];
        std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(letter));
        return std::string(escaped);
    });
}

} // namespace tintwell::tool
