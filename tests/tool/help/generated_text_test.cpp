#include "tool/help/manual_page.h"
#include "tool/help/shell_completion.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace tintwell::tool {
namespace {

/// What bash prints for a script in which $tintwell is the program.
std::string outputOf(const std::string& script) {
    const std::string line = "tintwell='" TINTWELL_PROGRAM "' bash -c \"$SCRIPT\"";
    setenv("SCRIPT", script.c_str(), 1);
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(line.c_str(), "r"), pclose);
    std::string text;
    for (int letter = 0; (letter = std::fgetc(pipe.get())) != EOF;) {
        text += static_cast<char>(letter);
    }
    return text;
}

std::set<std::string> matchesIn(const std::string& text, const std::string& pattern) {
    const std::regex expression(pattern, std::regex::multiline);
    const std::sregex_iterator begin(text.begin(), text.end(), expression);
    std::set<std::string> found;
    for (auto match = begin; match != std::sregex_iterator(); ++match) {
        found.insert(match->str(1));
    }
    return found;
}

std::set<std::string> commandsInHelp() {
    const std::string help = outputOf("$tintwell --help");
    return matchesIn(help.substr(help.find("Subcommands:")), "^  ([a-z]+)  ");
}

std::set<std::string> optionsInHelp(const std::string& command) {
    // Only the lines that begin with an option, and of them only the names.
    return matchesIn(outputOf("$tintwell " + command + " --help | grep '^  -' | sed 's/   .*//'"),
                     "(--[a-z-]+)");
}

/// What completing the words offers, in any order; "(default)" where it is left to the shell.
std::set<std::string> bashOffers(const std::string& words) {
    return matchesIn(outputOf("source <($tintwell completion bash)\n"
                              "compopt() { echo \"($2)\"; }\n"
                              "COMP_WORDS=(tintwell " +
                              words + ")\n" +
                              "COMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                              "_tintwell\n"
                              "printf '%s\\n' \"${COMPREPLY[@]}\""),
                     "(.+)");
}

TEST(GeneratedText, HasEveryCommandAndOptionThatTheHelpHas) {
    const std::set<std::string> commands = commandsInHelp();
    ASSERT_TRUE(commands.count("render") == 1 && commands.count("manual") == 1);
    EXPECT_EQ(bashOffers("''"), commands);
    const std::string zsh = outputOf("$tintwell completion zsh");
    const std::string fish = outputOf("$tintwell completion fish");
    for (const std::string& command : commands) {
        SCOPED_TRACE(command);
        const std::set<std::string> options = optionsInHelp(command);
        ASSERT_EQ(options.count("--help"), 1U);
        auto offered = bashOffers(command + " -");
        std::erase_if(offered, [](const std::string& name) { return !name.starts_with("--"); });
        EXPECT_EQ(offered, options);
        EXPECT_EQ(matchesIn(outputOf("$tintwell manual " + command + " | grep -v '^[A-Z]'"),
                            R"(\\fB(\\-\\-[a-z\\-]+))")
                      .size(),
                  options.size());
        const std::size_t section = zsh.find("    " + command + ")\n");
        EXPECT_EQ(matchesIn(zsh.substr(section, zsh.find(";;", section) - section),
                            R"([*)](--[a-z-]+)=?\[)"),
                  options);
        EXPECT_EQ(matchesIn(fish, "command_is " + command + "' -l ([a-z-]+) ").size(),
                  options.size());
    }
}

TEST(GeneratedText, BashCompletesValuesAndArguments) {
    const std::set<std::string> depths{"auto", "8", "16"};
    const std::set<std::string> files{"(default)"};
    EXPECT_EQ(bashOffers("render in.mp4 --depth ''"), depths);
    EXPECT_EQ(bashOffers("render --depth ="), depths);
    EXPECT_EQ(bashOffers("render --depth = 1"), std::set<std::string>{"16"});
    EXPECT_EQ(bashOffers("render --crf ''"), std::set<std::string>{});
    EXPECT_EQ(bashOffers("render --controls ''"), files);
    EXPECT_EQ(bashOffers("render in.mp4 ''"), files);
    EXPECT_EQ(bashOffers("manual --all ''"), std::set<std::string>{"(dirnames)"});
    EXPECT_EQ(bashOffers("manual dec"), std::set<std::string>{"declaration"});
    EXPECT_EQ(bashOffers("completion ''"), (std::set<std::string>{"bash", "zsh", "fish"}));
}

TEST(GeneratedText, DescriptionsDoNotBecomeSyntax) {
    CLI::App program("Does", "tintwell");
    CLI::App& command = *program.add_subcommand("paint", ".sh's back\\slash");
    bool wet = false;
    command.add_flag("--wet,!--no-wet", wet, "[It's] wet: so; or not");
    command.footer("Example:\n  .hidden --wet\n\n'quoted' --wet");
    const std::string page = manualPage(command);
    for (const char* const part :
         {"tintwell\\-paint \\-\n\\&.sh's back\\eslash\n", ".EX\n\\&.hidden \\-\\-wet\n.EE",
          "\n\\&'quoted' \\-\\-wet\n", "\\fB\\-\\-wet\\fR, \\fB\\-\\-no\\-wet\\fR\n[It's]"}) {
        EXPECT_NE(page.find(part), std::string::npos) << part << " is not in:\n" << page;
    }
    EXPECT_NE(zshCompletion(program).find(R"(--no-wet[Off\: \[It'\''s\] wet\: so]')"),
              std::string::npos);
    EXPECT_NE(fishCompletion(program).find(R"(-a paint -d '.sh\'s back\\slash')"),
              std::string::npos);
}

} // namespace
} // namespace tintwell::tool
