#pragma once

#include "tool/values/render_options.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tintwell::tool {

// Text given on the command line, turned into values. The parsers throw std::invalid_argument with
// the value given, what is wrong with it and what would be right; the caller knows the option.

/// A finite decimal number from `minimum` to `maximum`, with nothing after it.
double parseReal(std::string_view text, double minimum, double maximum, std::string_view unit);

/// A whole number from `minimum` to `maximum`.
std::size_t parseCount(std::string_view text, std::size_t minimum, std::size_t maximum);

/// "A-B", "A", "A-" or "-B": frames counted from 0, the last not before the first.
media::FrameSpan parseFrameRange(std::string_view text);

/// What parseFrameRange reads as the same range.
std::string frameRangeText(const media::FrameSpan& range);

/// "A" or "A,B" and so on: small whole numbers, 0 and above.
std::vector<int> parseNumbers(std::string_view text);

/// Seconds from "12.5", "75:02.5" or "1:02:03.5"; none below 0.
double parseTime(std::string_view text);

/// "key=value"; the value may be empty and may hold further equals signs.
KeyValue parseKeyValue(std::string_view text);

/// Gives back "25", "23.976" or "30000/1001" if it is a rate above 0.
std::string parseFrameRate(std::string_view text);

/// The shortest decimal text that reads back as the same number.
std::string numberText(double value);

/// "between 0 and 10 (seconds)"; without a unit no parentheses.
std::string rangeText(double minimum, double maximum, std::string_view unit);

} // namespace tintwell::tool
