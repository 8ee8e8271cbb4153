#include "media/image_sequence.h"

#include "media/folder_names.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <vector>

namespace tintwell::media {
namespace {

/// The number in a file's name, where the name is one of the sequence.
std::optional<std::int64_t> numberIn(const std::string& name, const SequencePattern& pattern) {
    const std::size_t around = pattern.prefix.size() + pattern.suffix.size();
    if (name.size() < around + pattern.digits || !name.starts_with(pattern.prefix) ||
        !name.ends_with(pattern.suffix)) {
        return {};
    }
    const char* begin = name.data() + pattern.prefix.size();
    const char* end = name.data() + name.size() - pattern.suffix.size();
    std::int32_t number = 0; // as FFmpeg counts them
    const auto [stop, error] = std::from_chars(begin, end, number);
    if (error != std::errc() || stop != end || number < 0 || pattern.nameOf(number) != name) {
        return {};
    }
    return number;
}

} // namespace

std::string SequencePattern::nameOf(std::int64_t number) const {
    const std::string plain = std::to_string(number);
    return prefix + std::string(digits > plain.size() ? digits - plain.size() : 0, '0') + plain +
           suffix;
}

bool SequencePattern::covers(const std::string& path) const {
    const std::filesystem::path whole(path);
    const auto folder = whole.has_parent_path() ? whole.parent_path() : ".";
    std::error_code error;
    return numberIn(whole.filename().string(), *this) &&
           std::filesystem::equivalent(folder, directory, error) && !error;
}

/// "%d", "%4d" or "%04d" once; "%%" is a plain "%".
std::optional<SequencePattern> parseSequence(const std::string& path) {
    const std::filesystem::path whole(path);
    const std::string name = whole.filename().string();
    SequencePattern pattern;
    std::string* text = &pattern.prefix;
    for (std::size_t at = 0; at < name.size(); ++at) {
        if (name[at] != '%') {
            *text += name[at];
            continue;
        }
        const std::size_t letter = name.find_first_not_of("0123456789", at + 1);
        const std::size_t width = letter == std::string::npos ? 0 : letter - at - 1;
        if (letter == std::string::npos || width > 2) {
            return {};
        }
        if (name[letter] == '%' && width == 0) {
            *text += '%';
        } else if (name[letter] == 'd' && text == &pattern.prefix) {
            pattern.digits =
                width == 0 ? 1 : static_cast<std::size_t>(std::stoi(name.substr(at + 1, width)));
            text = &pattern.suffix;
        } else {
            return {};
        }
        at = letter;
    }
    if (text == &pattern.prefix) {
        return {};
    }
    pattern.directory = whole.has_parent_path() ? whole.parent_path().string() : ".";
    return pattern;
}

std::string escapedForPattern(const std::string& text) {
    std::string escaped;
    for (const char letter : text) {
        escaped += letter == '%' ? "%%" : std::string(1, letter);
    }
    return escaped;
}

std::string SequencePattern::text() const {
    return escapedForPattern(directory + "/" + prefix) + "%0" + std::to_string(digits) + "d" +
           escapedForPattern(suffix);
}

SequenceFiles findSequence(const SequencePattern& pattern) {
    SequenceFiles files;
    std::vector<std::int64_t>& numbers = files.numbers;
    for (const std::string& name : namesIn(pattern.directory)) {
        if (const auto number = numberIn(name, pattern)) {
            numbers.push_back(*number);
        }
    }
    std::ranges::sort(numbers);
    const auto gap = std::ranges::adjacent_find(numbers, [](std::int64_t one, std::int64_t next) {
        return next - one > SequenceFiles::kLongestGap + 1;
    });
    if (gap != numbers.end()) {
        files.behind = numbers.end() - gap - 1;
        numbers.erase(gap + 1, numbers.end());
    }
    return files;
}

} // namespace tintwell::media
