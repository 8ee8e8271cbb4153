#include "host/string_tables.h"

#include <algorithm>

namespace tintwell::host {

std::string textOfKeyString(std::string_view keyString) {
    constexpr std::string_view kLineBreak = "#{cr}";
    const std::size_t equals = keyString.find('=');
    std::string text(equals == std::string_view::npos ? keyString : keyString.substr(equals + 1));
    for (std::size_t at = text.find(kLineBreak); at != std::string::npos;
         at = text.find(kLineBreak, at)) {
        text.replace(at, kLineBreak.size(), 1, '\n');
    }
    return text;
}

void* StringTables::add(const StringTableDescriptor& descriptor) {
    auto table = std::make_unique<Table>();
    for (std::int64_t i = 0; i + 1 < descriptor.count; ++i) {
        const char* keyString = descriptor.entries[i].keyString;
        table->push_back(keyString == nullptr ? std::string() : textOfKeyString(keyString));
    }
    tables_.push_back(std::move(table));
    return tables_.back().get();
}

const char* StringTables::find(const void* reference, std::int32_t index) const {
    const auto found = std::find_if(tables_.begin(), tables_.end(),
                                    [&](const auto& table) { return table.get() == reference; });
    if (found == tables_.end() || index < 0 ||
        static_cast<std::size_t>(index) >= (*found)->size()) {
        return nullptr;
    }
    return (**found)[static_cast<std::size_t>(index)].c_str();
}

bool StringTables::remove(const void* reference) {
    return std::erase_if(tables_, [&](const auto& table) { return table.get() == reference; }) != 0;
}

} // namespace tintwell::host
