// A page has the sections readers expect, in the order they expect: NAME, SYNOPSIS, ARGUMENTS, the
// options by the groups of the help, EXIT STATUS, EXAMPLES from the end of the help, SEE ALSO.

#include "tool/help/manual_page.h"

#include "tool/help/command_outline.h"
#include "tool/help/help_format.h"
#include "tool/terminal/user_error.h"

#include <algorithm>
#include <sstream>

namespace tintwell::tool {
namespace {

constexpr std::size_t kLineWidth = 80;

std::string escaped(const std::string& text, const char* hyphen) {
    std::string result;
    for (const char letter : text) {
        if (letter == '\\') {
            result += "\\e";
        } else if (letter == '-') {
            result += hyphen;
        } else {
            result += letter;
        }
    }
    return result;
}

/// Every hyphen becomes a minus sign, which is what can be copied to a command line.
std::string literal(const std::string& text) {
    return escaped(text, "\\-");
}

/// A line of text: what would make it a request to the formatter is kept from it.
std::string textLine(const std::string& line) {
    return line.starts_with('.') || line.starts_with('\'') ? "\\&" + line : line;
}

/// Names of options, also where they are quoted, are literal; other hyphens are hyphens.
std::string prose(const std::string& text) {
    std::istringstream words(text);
    std::vector<std::string> result;
    for (std::string word; words >> word;) {
        const bool isOption = word.find_first_not_of("'\"(") == word.find('-');
        result.push_back(isOption ? literal(word) : escaped(word, "-"));
    }
    std::istringstream lines(wrapped(joined(result, " "), kLineWidth));
    result.clear();
    for (std::string line; std::getline(lines, line);) {
        result.push_back(textLine(line));
    }
    return joined(result, "\n");
}

std::string bold(const std::string& text) {
    return "\\fB" + literal(text) + "\\fR";
}

std::string italic(const std::string& text) {
    return "\\fI" + literal(text) + "\\fR";
}

std::string commandLineOf(const CLI::App& command) {
    const CLI::App* parent = command.get_parent();
    return (parent == nullptr ? "" : parent->get_name() + " ") + command.get_name();
}

std::string valueText(const CLI::Option& option) {
    std::vector<std::string> choices;
    for (const std::string& choice : choicesOf(option)) {
        choices.push_back(bold(choice));
    }
    return choices.empty() ? italic(option.get_type_name()) : joined(choices, " | ");
}

std::string argumentText(const CLI::Option& argument) {
    const std::string name = italic(argument.get_name(true));
    return argument.get_required() ? name : "[" + name + "]";
}

void writeSynopsis(std::ostream& page, const CLI::App& command) {
    page << ".SH SYNOPSIS\n" << bold(commandLineOf(command)) << " [" << italic("OPTION") << "]...";
    for (const CLI::Option* argument : argumentsOf(command)) {
        page << " " << argumentText(*argument);
    }
    if (!commandsOf(command).empty()) {
        page << " " << italic("COMMAND") << " ...";
    }
    page << "\n";
}

void writeEntry(std::ostream& page, const std::string& term, const std::string& description) {
    page << ".TP\n" << term << "\n" << prose(description) << "\n";
}

void writeArguments(std::ostream& page, const CLI::App& command) {
    const auto arguments = argumentsOf(command);
    if (!arguments.empty()) {
        page << ".SH ARGUMENTS\n";
    }
    for (const CLI::Option* argument : arguments) {
        std::string term = italic(argument->get_name(true));
        if (!choicesOf(*argument).empty()) {
            term += ": " + valueText(*argument);
        }
        writeEntry(page, term, argument->get_description());
    }
}

void writeOptions(std::ostream& page, const CLI::App& command) {
    page << ".SH OPTIONS\n";
    std::string group = optionsOf(command).front()->get_group();
    for (const std::string& wanted : command.get_groups()) {
        for (const CLI::Option* option : optionsOf(command)) {
            if (option->get_group() != wanted) {
                continue;
            }
            if (group != wanted) {
                group = wanted;
                page << ".SS " << group << "\n";
            }
            std::vector<std::string> names;
            for (const std::string& name : namesOf(*option)) {
                names.push_back(bold(name));
            }
            const std::string value = takesValue(*option) ? " " + valueText(*option) : "";
            writeEntry(page, joined(names, ", ") + value, option->get_description());
        }
    }
}

void writeCommands(std::ostream& page, const CLI::App& program) {
    const auto commands = commandsOf(program);
    if (!commands.empty()) {
        page << ".SH COMMANDS\n";
    }
    for (const CLI::App* command : commands) {
        writeEntry(page, bold(command->get_name()), command->get_description());
    }
}

void writeExitStatus(std::ostream& page) {
    page << ".SH EXIT STATUS\n";
    const auto write = [&page](ExitCode code, const char* meaning) {
        writeEntry(page, bold(std::to_string(static_cast<int>(code))), meaning);
    };
    write(ExitCode::Done, "Done.");
    write(ExitCode::Failed,
          "Failed; standard error tells why, and nothing was written of the clip that failed.");
    write(ExitCode::Usage, "Wrong usage: an option, an argument or a controls file.");
    write(ExitCode::Incomplete,
          "Done, but parts of the input are missing, could not be read, or may "
          "be damaged for want of memory.");
    write(ExitCode::Interrupted,
          "Interrupted; nothing was written of the clip in work. After another signal 128 and its "
          "number.");
}

/// The end of the help: lines that are indented there are examples.
void writeFooter(std::ostream& page, const std::string& footer) {
    std::istringstream lines(footer);
    bool example = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty()) {
            continue;
        }
        const bool indented = line.starts_with("  ");
        if (indented != example) {
            page << (indented ? ".EX\n" : ".EE\n.PP\n");
            example = indented;
        }
        if (line.starts_with("Example")) {
            page << ".SH EXAMPLES\n";
        } else {
            page << (indented ? textLine(literal(line.substr(2))) : prose(line)) << "\n";
        }
    }
    if (example) {
        page << ".EE\n";
    }
}

void writeSeeAlso(std::ostream& page, const CLI::App& command) {
    std::vector<std::string> pages;
    if (command.get_parent() != nullptr) {
        pages.push_back(bold(manualPageName(*command.get_parent())) + "(1)");
    }
    for (const CLI::App* other : commandsOf(command)) {
        pages.push_back(bold(manualPageName(*other)) + "(1)");
    }
    page << ".SH SEE ALSO\n" << joined(pages, ",\n") << "\n";
}

} // namespace

std::string manualPageName(const CLI::App& command) {
    std::string name = commandLineOf(command);
    std::replace(name.begin(), name.end(), ' ', '-');
    return name;
}

std::string manualPage(const CLI::App& command) {
    std::ostringstream page;
    std::string title = manualPageName(command);
    std::transform(title.begin(), title.end(), title.begin(), [](char letter) {
        return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
    });
    page << ".TH " << title << " 1 " TINTWELL_BUILD_DATE " \"tintwell " TINTWELL_VERSION "\"\n"
         << ".SH NAME\n"
         << literal(manualPageName(command)) << " \\-\n"
         << prose(command.get_description()) << "\n";
    writeSynopsis(page, command);
    writeArguments(page, command);
    writeCommands(page, command);
    writeOptions(page, command);
    writeExitStatus(page);
    writeFooter(page, command.get_footer());
    writeSeeAlso(page, command);
    return page.str();
}

} // namespace tintwell::tool
