#pragma once

#include "module/interface/host_interface.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tintwell::host {

/// The text of a key string: what follows the first '=', with each "#{cr}" made a line break. This
/// is where a host with translations would look the key up.
std::string textOfKeyString(std::string_view keyString);

/// The texts that a module has registered. References are opaque to the module.
class StringTables {
public:
    /// Copies the texts; gives the table's reference. The descriptor's count is one more than the
    /// number of its entries.
    void* add(const StringTableDescriptor& descriptor);

    /// Null when there is no such table or text; else valid until the table is removed.
    const char* find(const void* reference, std::int32_t index) const;

    /// False when there is no such table.
    bool remove(const void* reference);

    std::size_t count() const { return tables_.size(); }

private:
    using Table = std::vector<std::string>;
    std::vector<std::unique_ptr<Table>> tables_;
};

} // namespace tintwell::host
