// One `complete` line per command, option and argument, each under the condition that its command
// was given.

#include "tool/help/command_outline.h"
#include "tool/help/shell_completion.h"

#include <set>
#include <sstream>

namespace tintwell::tool {
namespace {

constexpr const char* kBegin = R"(# fish completion for tintwell
function __tintwell_command_is
    set -l words (commandline -opc)
    set -e words[1]
    for word in $words
        if not string match -q -- '-*' $word
            test "$word" = "$argv[1]"
            return
        end
    end
    test -z "$argv[1]"
end

complete -c tintwell -f
)";

/// Unlike other shells' single quotes, fish's know the backslash.
std::string fishQuoted(const std::string& text) {
    std::string result = "'";
    for (const char letter : text) {
        if (letter == '\'' || letter == '\\') {
            result += '\\';
        }
        result += letter;
    }
    return result + "'";
}

std::string offerOf(const CLI::Option& option) {
    switch (valueKindOf(option)) {
    case ValueKind::Choice:
        return " -a " + fishQuoted(joined(choicesOf(option), " "));
    case ValueKind::File:
        return " -F";
    case ValueKind::Folder:
        return " -a '(__fish_complete_directories)'";
    case ValueKind::Free:
        break;
    }
    return "";
}

/// An option's value; -x keeps away the files that the command's arguments may be.
std::string valueOf(const CLI::Option& option) {
    return (valueKindOf(option) == ValueKind::File ? " -r" : " -x") + offerOf(option);
}

void writeOptions(std::ostream& script, const CLI::App& command, const std::string& begin) {
    for (const CLI::Option* option : optionsOf(command)) {
        for (const std::string& name : namesOf(*option)) {
            const bool isLong = name.starts_with("--");
            script << begin << (isLong ? " -l " + name.substr(2) : " -s " + name.substr(1))
                   << (takesValue(*option) ? valueOf(*option) : "") << " -d "
                   << fishQuoted(shortDescription(*option, name)) << "\n";
        }
    }
}

} // namespace

std::string fishCompletion(const CLI::App& program) {
    const std::string line = "complete -c tintwell -n '__tintwell_command_is";
    std::ostringstream script;
    script << kBegin;
    writeOptions(script, program, line + "'");
    for (const CLI::App* command : commandsOf(program)) {
        script << line << "' -a " << command->get_name() << " -d "
               << fishQuoted(command->get_description()) << "\n";
    }
    for (const CLI::App* command : commandsOf(program)) {
        const std::string begin = line + " " + command->get_name() + "'";
        writeOptions(script, *command, begin);
        std::set<std::string> offers;
        for (const CLI::Option* argument : argumentsOf(*command)) {
            offers.insert(begin + offerOf(*argument) + "\n");
        }
        script << joined({offers.begin(), offers.end()}, "");
    }
    return script.str();
}

} // namespace tintwell::tool
