// A function that looks at the word before the cursor: behind an option that takes a value it
// offers the values, elsewhere the command's options or arguments. Files are left to the shell's
// own completion, which knows how to quote them.

#include "tool/help/command_outline.h"
#include "tool/help/shell_completion.h"

#include <sstream>

namespace tintwell::tool {
namespace {

constexpr const char* kBegin = R"(# bash completion for tintwell
_tintwell() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    # The shell takes --option=value for three words.
    if [[ $current == = ]]; then
        current=
    elif [[ $previous == = ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    local word command= words= instead=
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        if [[ $word != -* ]]; then
            command=$word
            break
        fi
    done
    case $command,$previous in
)";

constexpr const char* kOtherwise = R"(    *)
        case $command,$current in
)";

constexpr const char* kEnd = R"(        esac
        ;;
    esac
    COMPREPLY=()
    if [[ $instead ]]; then
        compopt -o "$instead"
    fi
    if [[ $words ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
    fi
}
complete -F _tintwell tintwell
)";

/// What is offered for a value, as assignments in the script.
std::string offerOf(const CLI::Option& option) {
    switch (valueKindOf(option)) {
    case ValueKind::Choice:
        return "words=" + quoted(joined(choicesOf(option), " "));
    case ValueKind::File:
        return "instead=default";
    case ValueKind::Folder:
        return "instead=dirnames";
    case ValueKind::Free:
        break;
    }
    return ":";
}

void writeValues(std::ostream& script, const CLI::App& command, const std::string& commandName) {
    for (const CLI::Option* option : optionsOf(command)) {
        if (takesValue(*option)) {
            script << "    " << commandName << ","
                   << joined(namesOf(*option), " | " + commandName + ",") << ") "
                   << offerOf(*option) << " ;;\n";
        }
    }
}

void writeOptions(std::ostream& script, const CLI::App& command, const std::string& commandName) {
    std::vector<std::string> names;
    for (const CLI::Option* option : optionsOf(command)) {
        for (const std::string& name : namesOf(*option)) {
            names.push_back(name);
        }
    }
    script << "        " << commandName << ",-*) words=" << quoted(joined(names, " ")) << " ;;\n";
}

/// What is offered for the first argument is for the others, too.
void writeArguments(std::ostream& script, const CLI::App& command) {
    const auto arguments = argumentsOf(command);
    if (!arguments.empty()) {
        script << "        " << command.get_name() << ",*) " << offerOf(*arguments.front())
               << " ;;\n";
    }
}

} // namespace

std::string bashCompletion(const CLI::App& program) {
    std::ostringstream script;
    script << kBegin;
    writeValues(script, program, "");
    std::vector<std::string> names;
    for (const CLI::App* command : commandsOf(program)) {
        names.push_back(command->get_name());
        writeValues(script, *command, command->get_name());
    }
    script << kOtherwise;
    writeOptions(script, program, "");
    script << "        ,*) words=" << quoted(joined(names, " ")) << " ;;\n";
    for (const CLI::App* command : commandsOf(program)) {
        writeOptions(script, *command, command->get_name());
        writeArguments(script, *command);
    }
    script << kEnd;
    return script.str();
}

} // namespace tintwell::tool
