#include "host/ledger.h"

namespace tintwell::host {

std::uint64_t Ledger::layerCheckOutsOf(std::int32_t frame) const {
    const bool known = frame >= 0 && static_cast<std::size_t>(frame) < layerCheckOuts.size();
    return known ? layerCheckOuts[static_cast<std::size_t>(frame)] : 0;
}

std::vector<std::string> Ledger::outstanding() const {
    std::vector<std::string> sentences;
    if (checkedOut != 0) {
        sentences.push_back(std::to_string(checkedOut) + " parameter(s) not checked in");
    }
    for (const auto& [suite, count] : suites) {
        sentences.push_back("suite '" + suite.name + "' " + std::to_string(suite.version) +
                            " acquired " + std::to_string(count) + " time(s) without a release");
    }
    if (handles != 0) {
        sentences.push_back(std::to_string(handles) + " handle(s) of " +
                            std::to_string(handleBytes) + " bytes in all not disposed");
    }
    if (stringTables != 0) {
        sentences.push_back(std::to_string(stringTables) + " string table(s) not released");
    }
    sentences.insert(sentences.end(), misuses.begin(), misuses.end());
    return sentences;
}

} // namespace tintwell::host
