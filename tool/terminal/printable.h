#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace tintwell::tool {

// What comes from outside (names of files, metadata, words of libraries) may hold characters that
// steer a terminal, turn the direction of what stands beside them, or are none at all.

/// Replaces each of these. What is no UTF-8 is handed over byte by byte as U+FFFD.
std::string replaceSteering(std::string_view text,
                            const std::function<std::string(char32_t letter)>& replacement);

/// As part of a line for people: blanks for what parts lines, question marks for the others.
std::string printable(std::string_view text);

/// A JSON document, which may be indented, that means the same and steers nothing.
std::string printableJson(std::string_view document);

} // namespace tintwell::tool
