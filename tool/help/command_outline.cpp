#include "tool/help/command_outline.h"

#include <algorithm>
#include <sstream>
#include <string_view>

namespace tintwell::tool {
namespace {

bool nameHas(const CLI::Option& option, std::string_view part) {
    return option.get_type_name().find(part) != std::string::npos;
}

} // namespace

std::vector<const CLI::App*> commandsOf(const CLI::App& program) {
    return program.get_subcommands(
        [](const CLI::App* command) { return !command->get_group().empty(); });
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& command) {
    return command.get_options([](const CLI::Option* option) {
        return option->nonpositional() && !option->get_group().empty();
    });
}

std::vector<const CLI::Option*> argumentsOf(const CLI::App& command) {
    return command.get_options([](const CLI::Option* option) {
        return option->get_positional() && !option->get_group().empty();
    });
}

std::vector<std::string> namesOf(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) {
        names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    return names;
}

bool takesValue(const CLI::Option& option) {
    return option.get_items_expected_max() > 0;
}

bool mayRepeat(const CLI::Option& option) {
    return takesValue(option) &&
           option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
}

std::vector<std::string> choicesOf(const CLI::Option& option) {
    std::vector<std::string> choices;
    if (nameHas(option, "|")) {
        std::istringstream words(option.get_type_name());
        for (std::string word; std::getline(words, word, '|');) {
            choices.push_back(word);
        }
    }
    return choices;
}

ValueKind valueKindOf(const CLI::Option& option) {
    if (nameHas(option, "|")) {
        return ValueKind::Choice;
    }
    if (nameHas(option, "FOLDER")) {
        return ValueKind::Folder;
    }
    return nameHas(option, "FILE") || option.get_positional() ? ValueKind::File : ValueKind::Free;
}

std::string shortDescription(const CLI::Option& option, const std::string& name) {
    const std::string& text = option.get_description();
    const std::vector<std::string>& negatives = option.get_fnames();
    const bool negative = std::any_of(negatives.begin(), negatives.end(),
                                      [&](const std::string& bare) { return "--" + bare == name; });
    return (negative ? "Off: " : "") + text.substr(0, text.find(';'));
}

std::string joined(const std::vector<std::string>& words, const std::string& between) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : between) + word;
    }
    return text;
}

std::string quoted(const std::string& text) {
    std::string result = "'";
    for (const char letter : text) {
        result += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
    }
    return result + "'";
}

} // namespace tintwell::tool
