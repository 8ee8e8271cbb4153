#pragma once

#include <CLI/CLI.hpp>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace tintwell::tool {

/// One subcommand: its options, and what it does once they are parsed. `run` throws on failure and
/// returns soon after `stop` is set.
struct Command {
    CLI::App* app; ///< owned by the parent application
    std::function<void(const std::atomic<bool>& stop)> run;
};

/// An option with one value, which `apply` reads; what it throws as std::invalid_argument is shown
/// with the option's name.
template <typename Apply>
CLI::Option* addValueOption(CLI::App& app, const std::string& name, const std::string& valueName,
                            const std::string& help, Apply apply) {
    const auto read = [name, apply](const std::string& text) {
        try {
            apply(text);
        } catch (const std::invalid_argument& error) {
            throw CLI::ValidationError(name, error.what());
        }
    };
    return app.add_option_function<std::string>(name, read, help)->type_name(valueName);
}

/// An option whose value is one of a few words. Its value name lists them, as in "auto|8|16": that
/// is where completion and manual pages know them from; "FILE" and "FOLDER" are known there, too.
template <typename T>
CLI::Option* addChoiceOption(CLI::App& app, const std::string& name,
                             const std::vector<std::pair<std::string, T>>& choices, T& target,
                             const std::string& help) {
    std::string words;
    for (const auto& [word, value] : choices) {
        words += (words.empty() ? "" : "|") + word;
    }
    return addValueOption(app, name, words, help, [choices, words, &target](const auto& text) {
        for (const auto& [word, value] : choices) {
            if (word == text) {
                target = value;
                return;
            }
        }
        throw std::invalid_argument("'" + text + "' is not one of " + words);
    });
}

} // namespace tintwell::tool
