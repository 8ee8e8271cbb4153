#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace tintwell::declaration {

/// A file or a property list is not as its format wants it.
class FormatError : public std::runtime_error {
public:
    FormatError(std::size_t offset, const std::string& message)
        : std::runtime_error(message), offset_(offset) {}

    /// Where: bytes from the start of what was read.
    std::size_t offset() const { return offset_; }

private:
    std::size_t offset_;
};

} // namespace tintwell::declaration
