#pragma once

#include <set>
#include <string>
#include <vector>

namespace tintwell::tool {

// On standard error, each a line whatever file names it quotes.
void printError(const std::string& message);
/// Without those that were told before.
void printWarnings(const std::vector<std::string>& warnings,
                   const std::set<std::string>& told = {});
void printNote(const std::string& message);

} // namespace tintwell::tool
