#include "tool/terminal/messages.h"

#include "tool/terminal/printable.h"

#include <iostream>

namespace tintwell::tool {

void printError(const std::string& message) {
    printNote("error: " + message);
}

void printWarnings(const std::vector<std::string>& warnings, const std::set<std::string>& told) {
    for (const std::string& warning : warnings) {
        if (!told.contains(warning)) {
            printNote("warning: " + warning);
        }
    }
}

void printNote(const std::string& message) {
    std::cerr << "tintwell: " << printable(message) << "\n";
}

} // namespace tintwell::tool
