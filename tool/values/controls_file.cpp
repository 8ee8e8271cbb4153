#include "tool/values/controls_file.h"

#include "tool/terminal/user_error.h"
#include "tool/values/control_catalog.h"
#include "tool/values/json_document.h"
#include "tool/values/option_values.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <fstream>
#include <limits>
#include <system_error>
#include <utility>
#include <vector>

namespace tintwell::tool {
namespace {

/// More than a million keyframes.
constexpr std::size_t kMostBytes = std::size_t{64} << 20;

using Value = JsonDocument::Value;

constexpr std::int64_t kFormatVersion = 1;
constexpr std::int64_t kLastFrame = std::numeric_limits<std::int32_t>::max();

/// Checks a document against the format. Paths in messages are written as one would write them in
/// a script: controls.black-clip[1].value.
class ControlsReader {
public:
    ControlsReader(const JsonDocument& document, const std::string& name)
        : document_(document), name_(name) {}

    ControlSettings read() const;

private:
    [[noreturn]] void fail(const Value& at, const std::string& path,
                           const std::string& problem) const {
        throw UserError(name_ + ", line " + std::to_string(document_.lineOf(at)) + ": " + path +
                            ": " + problem,
                        ExitCode::Usage);
    }

    void checkVersion() const;
    host::ControlTrack readTrack(const ControlInfo& info, const Value& value,
                                 const std::string& path) const;
    host::Keyframe readKeyframe(const ControlInfo& info, const Value& value,
                                const std::string& path) const;
    void checkOrder(const host::Keyframe& previous, const host::Keyframe& key, const Value& value,
                    const std::string& path) const;
    double readAmount(const ControlInfo& info, const Value& value, const std::string& path) const;
    std::int32_t readFrame(const Value& value, const std::string& path) const;
    host::Interpolation readInterpolation(const ControlInfo& info, const Value& value,
                                          const std::string& path) const;

    const JsonDocument& document_;
    const std::string& name_;
};

std::string elementPath(const std::string& list, std::size_t index) {
    return list + "[" + std::to_string(index) + "]";
}

std::string memberPath(const std::string& object, const std::string& key) {
    return object + "." + key;
}

std::string allKeys() {
    std::string keys;
    for (const ControlInfo& info : controlCatalog()) {
        keys += (keys.empty() ? "" : ", ") + std::string(info.key);
    }
    return keys;
}

ControlSettings ControlsReader::read() const {
    const Value& root = document_.root();
    if (!root.is_object()) {
        fail(root, "the file",
             "must be an object: {\"version\": 1, \"controls\": {\"black-clip\": 0.5}}");
    }
    for (const auto& [key, value] : root.items()) {
        if (key != "version" && key != "controls") {
            fail(value, key, "is not known; the keys here are version and controls");
        }
    }
    checkVersion();
    const auto controls = root.find("controls");
    if (controls == root.end()) {
        fail(root, "controls", "is missing; add an object with the controls to set");
    }
    if (!controls->is_object()) {
        fail(*controls, "controls",
             "must be an object of controls, for example "
             "{\"black-clip\": 0.5}");
    }
    ControlSettings settings;
    for (const auto& [key, value] : controls->items()) {
        const std::string path = memberPath("controls", key);
        const ControlInfo* const info = findControl(key);
        if (info == nullptr) {
            fail(value, path, "there is no such control; the controls are " + allKeys());
        }
        settings.emplace(info->control, readTrack(*info, value, path));
    }
    return settings;
}

void ControlsReader::checkVersion() const {
    const Value& root = document_.root();
    const auto version = root.find("version");
    if (version == root.end()) {
        fail(root, "version", "is missing; add \"version\": 1");
    }
    if (!version->is_number_integer() || *version != kFormatVersion) {
        fail(*version, "version", version->dump() + " is not a version this tool reads; use 1");
    }
}

host::ControlTrack ControlsReader::readTrack(const ControlInfo& info, const Value& value,
                                             const std::string& path) const {
    if (!value.is_array()) {
        return host::ControlTrack(readAmount(info, value, path));
    }
    if (value.empty()) {
        fail(value, path, "has no keyframes; give at least one, or a single value");
    }
    std::vector<host::Keyframe> keys;
    for (const Value& entry : value) {
        const std::string entryPath = elementPath(path, keys.size());
        const host::Keyframe key = readKeyframe(info, entry, entryPath);
        if (!keys.empty()) {
            checkOrder(keys.back(), key, entry, entryPath);
        }
        keys.push_back(key);
    }
    return host::ControlTrack(std::move(keys));
}

void ControlsReader::checkOrder(const host::Keyframe& previous, const host::Keyframe& key,
                                const Value& value, const std::string& path) const {
    if (key.frame <= previous.frame) {
        fail(value.at("frame"), path + ".frame",
             std::to_string(key.frame) + " does not come after " + std::to_string(previous.frame) +
                 "; put the keyframes in rising order");
    }
}

host::Keyframe ControlsReader::readKeyframe(const ControlInfo& info, const Value& value,
                                            const std::string& path) const {
    if (!value.is_object()) {
        fail(value, path,
             "must be a keyframe, for example {\"frame\": 0, \"value\": " +
                 std::string(info.isCheckbox ? "true" : "0.5") + "}");
    }
    host::Keyframe key;
    key.interpolation = info.isCheckbox ? host::Interpolation::Hold : host::Interpolation::Linear;
    for (const auto& [name, entry] : value.items()) {
        const std::string entryPath = memberPath(path, name);
        if (name == "frame") {
            key.frame = readFrame(entry, entryPath);
        } else if (name == "value") {
            key.value = readAmount(info, entry, entryPath);
        } else if (name == "interpolation") {
            key.interpolation = readInterpolation(info, entry, entryPath);
        } else {
            fail(entry, entryPath,
                 "is not known; a keyframe has frame, value and, if wanted, interpolation");
        }
    }
    for (const char* const needed : {"frame", "value"}) {
        if (!value.contains(needed)) {
            fail(value, path,
                 std::string("has no ").append(needed) + "; a keyframe needs both frame and value");
        }
    }
    return key;
}

double ControlsReader::readAmount(const ControlInfo& info, const Value& value,
                                  const std::string& path) const {
    if (info.isCheckbox) {
        if (!value.is_boolean()) {
            fail(value, path, value.dump() + " must be true or false");
        }
        return value.get<bool>() ? 1.0 : 0.0;
    }
    if (!value.is_number()) {
        fail(value, path, "must be a number " + rangeText(info) + " or a list of keyframes");
    }
    const double amount = value.get<double>();
    if (amount < info.minimum || amount > info.maximum) {
        fail(value, path, value.dump() + " is out of range; give a number " + rangeText(info));
    }
    return amount;
}

std::int32_t ControlsReader::readFrame(const Value& value, const std::string& path) const {
    // Only compared as the sign it was written with: a large unsigned number must not turn
    // negative.
    const bool fits = value.is_number_unsigned()
                          ? value.get<std::uint64_t>() <= static_cast<std::uint64_t>(kLastFrame)
                          : value.is_number_integer() && value.get<std::int64_t>() >= 0;
    if (!fits) {
        fail(value, path,
             value.dump() + " is not a frame; give a whole number between 0 and " +
                 std::to_string(kLastFrame));
    }
    return value.get<std::int32_t>();
}

host::Interpolation ControlsReader::readInterpolation(const ControlInfo& info, const Value& value,
                                                      const std::string& path) const {
    if (value == "hold") {
        return host::Interpolation::Hold;
    }
    if (value == "linear" && !info.isCheckbox) {
        return host::Interpolation::Linear;
    }
    fail(value, path,
         value.dump() + (info.isCheckbox ? " is not possible for a checkbox; use \"hold\""
                                         : " is not known; use \"linear\" or \"hold\""));
}

Value initialValue(const ControlInfo& info) {
    return info.isCheckbox ? Value(info.initial != 0.0) : Value(info.initial);
}

} // namespace

ControlSettings parseControls(std::string_view text, const std::string& name) {
    try {
        const JsonDocument document(text);
        return ControlsReader(document, name).read();
    } catch (const JsonError& error) {
        throw UserError(name + ", line " + std::to_string(error.line()) + ": " + error.what(),
                        ExitCode::Usage);
    }
}

ControlSettings readControlsFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text;
    std::array<char, 4096> chunk{};
    while (file.read(chunk.data(), chunk.size()) || file.gcount() > 0) {
        text.append(chunk.data(), static_cast<std::size_t>(file.gcount()));
        if (text.size() > kMostBytes) {
            throw UserError(path + ": is too large to be a controls file", ExitCode::Usage);
        }
    }
    if (!file.is_open() || file.bad()) {
        throw UserError("cannot read the controls file '" + path +
                        "': " + std::generic_category().message(errno));
    }
    return parseControls(text, path);
}

std::string controlsTemplate() {
    constexpr int kExampleFrame = 48;
    Value controls = Value::object();
    for (const ControlInfo& info : controlCatalog()) {
        controls[std::string(info.key)] = initialValue(info);
    }
    const ControlInfo& last = controlCatalog().back();
    controls[std::string(last.key)] = Value::array({
        {{"frame", 0}, {"value", initialValue(last)}},
        {{"frame", kExampleFrame}, {"value", initialValue(last)}, {"interpolation", "hold"}},
    });
    return Value{{"version", kFormatVersion}, {"controls", controls}}.dump(2) + "\n";
}

} // namespace tintwell::tool
