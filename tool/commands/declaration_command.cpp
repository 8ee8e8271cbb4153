#include "tool/commands/declaration_command.h"

#include "host/declaration/declaration.h"
#include "tool/options/module_path.h"
#include "tool/terminal/printable.h"

#include <nlohmann/json.hpp>

#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>

namespace tintwell::tool {
namespace {

using Json = nlohmann::ordered_json;
using declaration::Declaration;
using declaration::Version;
using property_list::kProperties;

struct DeclarationRequest {
    std::string module;
    bool json = false;
};

struct JsonOf {
    Json operator()(std::uint32_t number) const { return number; }

    Json operator()(const Version& version) const { return {version.major, version.minor}; }

    Json operator()(const std::string& text) const { return text; }
};

struct TextOf {
    /// Most numbers are flags, or pack several into one.
    std::string operator()(std::uint32_t number) const {
        std::ostringstream text;
        text << number;
        if (number > 9) {
            text << " (0x" << std::hex << number << ")";
        }
        return text.str();
    }

    std::string operator()(const Version& version) const {
        return std::to_string(version.major) + "." + std::to_string(version.minor);
    }

    std::string operator()(const std::string& text) const { return text; }
};

Json describeAsJson(const Declaration& declared, const std::filesystem::path& file) {
    Json document{{"version", 1},
                  {"module", file.string()},
                  {"offset", declared.offset},
                  {"size", declared.size},
                  {"properties", Json::array()}};
    for (std::size_t i = 0; i < kProperties.size(); ++i) {
        document["properties"].push_back({{"key", kProperties[i].key},
                                          {"name", kProperties[i].label},
                                          {"value", std::visit(JsonOf(), declared.values[i])}});
    }
    return document;
}

void printAsTable(const Declaration& declared) {
    const auto printRow = [](const char* key, const char* name, const std::string& value) {
        std::cout << std::left << std::setw(6) << key << std::setw(19) << name << printable(value)
                  << "\n";
    };
    printRow("Key", "Property", "Value");
    for (std::size_t i = 0; i < kProperties.size(); ++i) {
        printRow(kProperties[i].key, kProperties[i].label,
                 std::visit(TextOf(), declared.values[i]));
    }
}

void runDeclaration(const DeclarationRequest& request) {
    const std::filesystem::path file = findModule(request.module);
    const Declaration declared = declaration::readDeclaration(file);
    if (request.json) {
        std::cout << printableJson(describeAsJson(declared, file)
                                       .dump(2, ' ', false, Json::error_handler_t::replace))
                  << "\n";
    } else {
        printAsTable(declared);
    }
}

} // namespace

Command addDeclarationCommand(CLI::App& parent) {
    CLI::App& app = *parent.add_subcommand(
        "declaration", "Show what a module file tells hosts, without loading it");
    const auto request = std::make_shared<DeclarationRequest>();
    app.add_option("MODULE", request->module, "The module's file, for Linux or for Windows")
        ->type_name("");
    app.add_flag("--json", request->json, "A machine-readable list");
    app.footer("Example:\n  tintwell declaration --json tintwell.dll");
    return {&app, [request](const std::atomic<bool>&) { runDeclaration(*request); }};
}

} // namespace tintwell::tool
