#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>

namespace tintwell::tool {

/// The text is no JSON, or JSON that is not taken: a key given twice, or nested too deeply.
class JsonError : public std::runtime_error {
public:
    JsonError(std::size_t line, const std::string& message)
        : std::runtime_error(message), line_(line) {}

    std::size_t line() const { return line_; }

private:
    std::size_t line_;
};

/// A JSON text whose values know the line they begin on, so that a message about a value can say
/// where it stands. Keys keep their order. The document owns its values.
class JsonDocument {
public:
    using Value = nlohmann::ordered_json;

    /// Throws JsonError.
    explicit JsonDocument(std::string_view text);
    JsonDocument(const JsonDocument&) = delete;
    JsonDocument& operator=(const JsonDocument&) = delete;

    const Value& root() const { return root_; }

    /// Counted from 1; `value` is one of this document's.
    std::size_t lineOf(const Value& value) const { return lines_.at(&value); }

private:
    Value root_;
    std::unordered_map<const Value*, std::size_t> lines_;
};

} // namespace tintwell::tool
