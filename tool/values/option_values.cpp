#include "tool/values/option_values.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <stdexcept>
#include <system_error>

namespace tintwell::tool {
namespace {

[[noreturn]] void refuse(std::string_view text, const std::string& problem) {
    throw std::invalid_argument("'" + std::string(text) + "' " + problem);
}

/// The whole text as a number; false where it is none or does not fit.
template <typename Number>
bool readWhole(std::string_view text, Number& number) {
    const char* const end = text.data() + text.size();
    const auto [stop, code] = std::from_chars(text.data(), end, number);
    return code == std::errc() && stop == end;
}

bool readFrame(std::string_view text, std::int64_t& frame) {
    return readWhole(text, frame) && frame >= 0;
}

bool isPositiveNumber(std::string_view text) {
    double number = 0.0;
    return readWhole(text, number) && std::isfinite(number) && number > 0.0;
}

} // namespace

double parseReal(std::string_view text, double minimum, double maximum, std::string_view unit) {
    double number = 0.0;
    if (!readWhole(text, number) || !std::isfinite(number)) {
        refuse(text, "is not a number; give one " + rangeText(minimum, maximum, unit));
    }
    if (number < minimum || number > maximum) {
        refuse(text, "is out of range; give a number " + rangeText(minimum, maximum, unit));
    }
    return number;
}

std::size_t parseCount(std::string_view text, std::size_t minimum, std::size_t maximum) {
    std::size_t count = 0;
    if (!readWhole(text, count) || count < minimum || count > maximum) {
        refuse(text, "is not a whole number between " + std::to_string(minimum) + " and " +
                         std::to_string(maximum));
    }
    return count;
}

media::FrameSpan parseFrameRange(std::string_view text) {
    const std::size_t dash = text.find('-');
    const std::string_view begin = text.substr(0, dash);
    const std::string_view end = dash == std::string_view::npos ? text : text.substr(dash + 1);
    std::int64_t first = 0;
    std::int64_t last = media::FrameSpan::kGreatest;
    const bool given = !begin.empty() || !end.empty();
    if (!given || (!begin.empty() && !readFrame(begin, first)) ||
        (!end.empty() && !readFrame(end, last))) {
        refuse(text, "is not a frame range; give FIRST-LAST, FIRST-, -LAST or one frame, counted "
                     "from 0, for example 0-99");
    }
    if (last < first) {
        refuse(text, "ends before it begins; give the first frame first");
    }
    if (std::max(first, last) > media::FrameSpan::kGreatest) {
        refuse(text, "goes too far; the greatest frame number is " +
                         std::to_string(media::FrameSpan::kGreatest));
    }
    return end.empty() ? media::FrameSpan::from(first) : media::FrameSpan(first, last);
}

std::string frameRangeText(const media::FrameSpan& range) {
    return std::to_string(range.first) + "-" + (range.toEnd ? "" : std::to_string(range.last));
}

std::vector<int> parseNumbers(std::string_view text) {
    constexpr std::size_t kGreatest = 9999;
    std::vector<int> numbers;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        numbers.push_back(
            static_cast<int>(parseCount(text.substr(begin, end - begin), 0, kGreatest)));
        begin = end + 1;
    }
    return numbers;
}

KeyValue parseKeyValue(std::string_view text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos || equals == 0) {
        refuse(text, "is not KEY=VALUE, for example preset=slow");
    }
    return {std::string(text.substr(0, equals)), std::string(text.substr(equals + 1))};
}

double parseTime(std::string_view text) {
    constexpr double kLongest = 1e9; // beyond all media, and exact to the microsecond
    if (text.starts_with('-')) {
        refuse(text, "lies before the beginning; times count from 0");
    }
    std::string_view rest = text;
    double time = 0.0;
    bool valid = true;
    int parts = 0;
    for (bool last = false; valid && !last; ++parts) {
        const std::size_t colon = rest.find(':');
        last = colon == std::string_view::npos;
        const std::string_view part = rest.substr(0, colon);
        double number = 0.0;
        // "1:2.5:3" is none, nor is "1:75" or "1e3"; "75:10" is, as people count on in minutes.
        valid = readWhole(part, number) && number < (parts > 0 ? 60.0 : kLongest) &&
                part.find_first_not_of(last ? "0123456789." : "0123456789") == part.npos;
        time = 60.0 * time + number;
        rest.remove_prefix(last ? rest.size() : colon + 1);
    }
    if (!valid || parts > 3 || time > kLongest) {
        refuse(text, "is not a time; give seconds, or hours, minutes and seconds, for example 62.5 "
                     "or 1:02.5");
    }
    return time;
}

std::string parseFrameRate(std::string_view text) {
    const std::size_t slash = text.find('/');
    const bool valid =
        slash == std::string_view::npos
            ? isPositiveNumber(text)
            : isPositiveNumber(text.substr(0, slash)) && isPositiveNumber(text.substr(slash + 1));
    if (!valid) {
        refuse(text, "is not a frame rate; give frames per second above 0, for example 25 or "
                     "30000/1001");
    }
    return std::string(text);
}

std::string numberText(double value) {
    std::array<char, 32> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    return {buffer.data(), result.ptr};
}

std::string rangeText(double minimum, double maximum, std::string_view unit) {
    std::string text = "between " + numberText(minimum) + " and " + numberText(maximum);
    if (!unit.empty()) {
        text += " (" + std::string(unit) + ")";
    }
    return text;
}

} // namespace tintwell::tool
