#include "tool/commands/controls_command.h"

#include "host/effect_instance.h"
#include "host/module_library.h"
#include "tool/options/effect_options.h"
#include "tool/options/module_path.h"
#include "tool/terminal/printable.h"
#include "tool/values/control_catalog.h"
#include "tool/values/controls_file.h"
#include "tool/values/option_values.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <iostream>
#include <memory>
#include <utility>

namespace tintwell::tool {
namespace {

using Json = nlohmann::ordered_json;

struct ControlsRequest {
    std::string module;
    bool json = false;
    bool asTemplate = false;
};

/// The module set up with nothing to render, to be asked about itself.
std::unique_ptr<host::EffectInstance> openModule(const std::filesystem::path& file) {
    auto instance = std::make_unique<host::EffectInstance>(
        std::make_shared<const host::ModuleLibrary>(file), host::InstanceOptions{});
    instance->setUp();
    return instance;
}

bool isCheckbox(const host::ControlDeclaration& control) {
    return control.type == ControlType::Checkbox;
}

/// The option that sets a control; empty for one that the tool does not know.
std::string keyOf(const host::ControlDeclaration& control) {
    for (const ControlInfo& info : controlCatalog()) {
        if (static_cast<std::int32_t>(info.control) == control.index) {
            return std::string(info.key);
        }
    }
    return {};
}

/// Percentages are declared as such; other units stand in parentheses behind the name.
std::string unitOf(const host::ControlDeclaration& control) {
    if (control.percent) {
        return "percent";
    }
    const std::size_t open = control.name.rfind('(');
    const std::size_t close = control.name.rfind(')');
    const bool hasUnit = open != std::string::npos && close != std::string::npos && open < close;
    return hasUnit ? control.name.substr(open + 1, close - open - 1) : std::string();
}

Json describeAsJson(const host::ControlDeclaration& control) {
    Json entry{{"index", control.index}, {"key", keyOf(control)}, {"name", control.name}};
    if (isCheckbox(control)) {
        entry["type"] = "checkbox";
        entry["default"] = control.initialValue != 0.0;
    } else {
        entry["type"] = "slider";
        entry["minimum"] = control.validMinimum;
        entry["maximum"] = control.validMaximum;
        entry["default"] = control.initialValue;
        entry["unit"] = unitOf(control);
        entry["decimals"] = control.precision;
    }
    return entry;
}

using Row = std::array<std::string, 5>;

Row describeAsRow(const host::ControlDeclaration& control) {
    const std::string option = "--" + keyOf(control);
    if (isCheckbox(control)) {
        return {control.name, option, "off or on", control.initialValue != 0.0 ? "on" : "off", ""};
    }
    return {control.name, option,
            numberText(control.validMinimum) + " to " + numberText(control.validMaximum),
            numberText(control.initialValue), unitOf(control)};
}

void printTable(const std::vector<Row>& rows) {
    std::array<std::size_t, std::tuple_size_v<Row>> widths{};
    for (const Row& row : rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], row[column].size());
        }
    }
    for (const Row& row : rows) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            line += row[column] + std::string(widths[column] + 2 - row[column].size(), ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        std::cout << printable(line) << "\n";
    }
}

void runControls(const ControlsRequest& request) {
    if (request.asTemplate) {
        std::cout << controlsTemplate();
        return;
    }
    const std::filesystem::path file = findModule(request.module);
    const auto module = openModule(file);
    if (request.json) {
        Json document{{"version", 1}, {"module", file.string()}, {"controls", Json::array()}};
        for (const host::ControlDeclaration& control : module->declaredControls()) {
            document["controls"].push_back(describeAsJson(control));
        }
        std::cout << printableJson(document.dump(2, ' ', false, Json::error_handler_t::replace))
                  << "\n";
        return;
    }
    std::vector<Row> rows{{"Control", "Option", "Range", "Default", "Unit"}};
    for (const host::ControlDeclaration& control : module->declaredControls()) {
        rows.push_back(describeAsRow(control));
    }
    printTable(rows);
}

} // namespace

Command addControlsCommand(CLI::App& parent) {
    CLI::App& app = *parent.add_subcommand("controls", "List the controls of the effect");
    const auto request = std::make_shared<ControlsRequest>();
    addModuleOption(app, request->module);
    CLI::Option* const json = app.add_flag("--json", request->json, "A machine-readable list");
    app.add_flag("--template", request->asTemplate,
                 "Instead of the list a file for --controls, with every control at the value it "
                 "has if not given and keyframes as an example")
        ->excludes(json);
    app.footer("Examples:\n"
               "  tintwell controls --json\n"
               "  tintwell controls --template > look.json");
    return {&app, [request](const std::atomic<bool>&) { runControls(*request); }};
}

std::string describeModule(const std::filesystem::path& module) {
    const std::string about = openModule(module)->about();
    return about.substr(0, about.find_first_of("\r\n")) + " (" + module.string() + ")";
}

} // namespace tintwell::tool
