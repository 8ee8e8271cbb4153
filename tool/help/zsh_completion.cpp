// The shell's _arguments does the work; it is told every option as
// '(EXCLUDED)NAME[DESCRIPTION]:VALUE:ACTION'.

#include "tool/help/command_outline.h"
#include "tool/help/shell_completion.h"

#include <sstream>

namespace tintwell::tool {
namespace {

constexpr const char* kBegin = R"(#compdef tintwell
_tintwell() {
    local curcontext=$curcontext state line
    local -a commands
    typeset -A opt_args
    commands=(
)";

constexpr const char* kArguments = "_arguments -s -S";

constexpr const char* kEnd = R"(    esac
}

# Loaded from a folder of completions the file is the function's body; sourced it registers it.
if [[ ${funcstack[1]} == _tintwell ]]; then
    _tintwell "$@"
else
    compdef _tintwell tintwell
fi
)";

std::string escaped(const std::string& text) {
    std::string result;
    for (const char letter : text) {
        if (letter == '[' || letter == ']' || letter == ':' || letter == '\\') {
            result += '\\';
        }
        result += letter;
    }
    return result;
}

std::string actionOf(const CLI::Option& option) {
    switch (valueKindOf(option)) {
    case ValueKind::Choice:
        return "(" + joined(choicesOf(option), " ") + ")";
    case ValueKind::File:
        return "_files";
    case ValueKind::Folder:
        return "_files -/";
    case ValueKind::Free:
        break;
    }
    return " "; // only says what is wanted
}

/// One option may have several names, of which one is enough.
std::string specificationOf(const CLI::Option& option, const std::string& name) {
    std::string text = mayRepeat(option) ? "*" : "(" + joined(namesOf(option), " ") + ")";
    text += name;
    if (takesValue(option)) {
        text += name.starts_with("--") ? "=" : "+";
    }
    text += "[" + escaped(shortDescription(option, name)) + "]";
    if (takesValue(option)) {
        text += ":" + escaped(option.get_type_name()) + ":" + actionOf(option);
    }
    return text;
}

void writeOptions(std::ostream& script, const CLI::App& command, const std::string& indent) {
    for (const CLI::Option* option : optionsOf(command)) {
        for (const std::string& name : namesOf(*option)) {
            script << " \\\n" << indent << quoted(specificationOf(*option, name));
        }
    }
}

void writeCommand(std::ostream& script, const CLI::App& command) {
    script << "    " << command.get_name() << ")\n        " << kArguments;
    const std::string indent(12, ' ');
    writeOptions(script, command, indent);
    for (const CLI::Option* argument : argumentsOf(command)) {
        const std::string optional = argument->get_required() ? ":" : "::";
        script << " \\\n"
               << indent
               << quoted(optional + escaped(argument->get_name(true)) + ":" + actionOf(*argument));
    }
    script << "\n        ;;\n";
}

} // namespace

std::string zshCompletion(const CLI::App& program) {
    std::ostringstream script;
    script << kBegin;
    for (const CLI::App* command : commandsOf(program)) {
        script << "        "
               << quoted(command->get_name() + ":" + escaped(command->get_description())) << "\n";
    }
    script << "    )\n    " << kArguments << " -C";
    writeOptions(script, program, std::string(8, ' '));
    script << " \\\n        ':command:{_describe command commands}' '*::argument:->arguments'\n"
           << "    [[ $state == arguments ]] || return\n"
           << "    case $words[1] in\n";
    for (const CLI::App* command : commandsOf(program)) {
        writeCommand(script, *command);
    }
    script << kEnd;
    return script.str();
}

} // namespace tintwell::tool
