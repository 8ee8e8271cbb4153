#pragma once

#include "plugins/openfx/standard.h"

#include <array>
#include <optional>
#include <string>

namespace tintwell::openfx {

/// A property set of the host's; owns nothing. What a host does not have, or refuses, is no error
/// here: much of the standard is optional, and more is missing somewhere.
class Properties {
public:
    Properties(const PropertySuite& suite, PropertySetHandle handle)
        : suite_(suite), handle_(handle) {}

    Status set(const char* name, const char* value, int index = 0) const {
        return handle_ == nullptr ? status::kBadHandle
                                  : suite_.setString(handle_, name, index, value);
    }

    Status set(const char* name, int value, int index = 0) const {
        return handle_ == nullptr ? status::kBadHandle : suite_.setInt(handle_, name, index, value);
    }

    Status set(const char* name, double value, int index = 0) const {
        return handle_ == nullptr ? status::kBadHandle
                                  : suite_.setDouble(handle_, name, index, value);
    }

    std::optional<int> getInt(const char* name, int index = 0) const {
        return get<int>(suite_.getInt, name, index);
    }

    std::optional<double> getDouble(const char* name, int index = 0) const {
        return get<double>(suite_.getDouble, name, index);
    }

    void* getPointer(const char* name) const {
        return get<void*>(suite_.getPointer, name, 0).value_or(nullptr);
    }

    /// A copy, as the host's text may be gone with the next call; empty where there is none.
    std::string getString(const char* name) const {
        const char* const text = get<char*>(suite_.getString, name, 0).value_or(nullptr);
        return text == nullptr ? std::string() : std::string(text);
    }

    /// All four values of a rectangle of pixels.
    std::optional<std::array<int, 4>> getRectangle(const char* name) const {
        std::array<int, 4> values{};
        for (std::size_t i = 0; i < values.size(); ++i) {
            const std::optional<int> value = getInt(name, static_cast<int>(i));
            if (!value) {
                return {};
            }
            values[i] = *value;
        }
        return values;
    }

private:
    template <class Value>
    std::optional<Value> get(Status (*getValue)(PropertySetHandle, const char*, int, Value*),
                             const char* name, int index) const {
        Value value{};
        const bool found =
            handle_ != nullptr && getValue(handle_, name, index, &value) == status::kOk;
        return found ? std::optional<Value>(value) : std::nullopt;
    }

    const PropertySuite& suite_;
    PropertySetHandle handle_;
};

} // namespace tintwell::openfx
