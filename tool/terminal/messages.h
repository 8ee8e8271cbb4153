#pragma once

#include <string>
#include <vector>

namespace tintwell::tool {

/// A line of a message: it must stay one, and must not steer the terminal, whatever file names it
/// quotes.
std::string printable(std::string text);

// On standard error.
void printError(const std::string& message);
void printWarnings(const std::vector<std::string>& warnings);
void printNote(const std::string& message);

} // namespace tintwell::tool
