#include "tool/terminal/messages.h"

#include <iostream>

namespace tintwell::tool {

std::string printable(std::string text) {
    for (char& letter : text) {
        if (static_cast<unsigned char>(letter) < ' ' || letter == '\x7f') {
            letter = ' ';
        }
    }
    return text;
}

void printError(const std::string& message) {
    printNote("error: " + message);
}

void printWarnings(const std::vector<std::string>& warnings) {
    for (const std::string& warning : warnings) {
        printNote("warning: " + warning);
    }
}

void printNote(const std::string& message) {
    std::cerr << "tintwell: " << printable(message) << "\n";
}

} // namespace tintwell::tool
