#pragma once

#include <string>
#include <vector>

namespace tintwell::tool {

// On standard error, each a line whatever file names it quotes.
void printError(const std::string& message);
void printWarnings(const std::vector<std::string>& warnings);
void printNote(const std::string& message);

} // namespace tintwell::tool
