#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace tintwell::tool {

// The defined commands and options as whatever is generated from them sees them. What is hidden
// from the help (an empty group) is hidden here.

std::vector<const CLI::App*> commandsOf(const CLI::App& program);
std::vector<const CLI::Option*> optionsOf(const CLI::App& command);
std::vector<const CLI::Option*> argumentsOf(const CLI::App& command);

/// With their dashes, the short ones first: -h, --help. Empty for an argument.
std::vector<std::string> namesOf(const CLI::Option& option);

bool takesValue(const CLI::Option& option);
bool mayRepeat(const CLI::Option& option);

/// The words an option or argument takes, where its value name lists them as in "auto|8|16".
std::vector<std::string> choicesOf(const CLI::Option& option);

enum class ValueKind { Free, Choice, File, Folder };

/// Told by the value's name; an argument without choices is a file.
ValueKind valueKindOf(const CLI::Option& option);

/// The description up to its first semicolon, for where there is one line; marked where `name`, one
/// of namesOf, switches off.
std::string shortDescription(const CLI::Option& option, const std::string& name);

std::string joined(const std::vector<std::string>& words, const std::string& between);

/// "it's" as the shells take it for one word: 'it'\''s'.
std::string quoted(const std::string& text);

} // namespace tintwell::tool
