#include "tool/commands/manual_command.h"

#include "tool/help/command_outline.h"
#include "tool/help/manual_page.h"
#include "tool/terminal/printable.h"
#include "tool/terminal/text_output.h"

#include <filesystem>
#include <iostream>
#include <memory>

namespace tintwell::tool {
namespace {

struct ManualRequest {
    const CLI::App* about;
    std::string folder; ///< empty: print the one page
};

void writePage(const CLI::App& command, const std::filesystem::path& folder) {
    const std::filesystem::path path = folder / (manualPageName(command) + ".1");
    TextOutput page(path.string(), std::make_shared<media::InputFiles>(std::string()), true);
    page.stream() << manualPage(command);
    page.commit();
    std::cout << printable(path.string()) << "\n";
}

void runManual(const ManualRequest& request, const CLI::App& program) {
    if (request.folder.empty()) {
        std::cout << manualPage(*request.about);
        return;
    }
    writePage(program, request.folder);
    for (const CLI::App* command : commandsOf(program)) {
        writePage(*command, request.folder);
    }
}

} // namespace

Command addManualCommand(CLI::App& parent) {
    CLI::App& app = *parent.add_subcommand("manual", "Print the manual page of a command");
    const auto request = std::make_shared<ManualRequest>(ManualRequest{&parent, {}});
    std::vector<std::pair<std::string, const CLI::App*>> commands;
    for (const CLI::App* command : commandsOf(parent)) {
        commands.emplace_back(command->get_name(), command);
    }
    addChoiceOption(app, "COMMAND", commands, request->about,
                    "The command; if none is given the page is about tintwell as a whole");
    app.add_option("--all", request->folder, "Write the pages of all commands into this folder")
        ->type_name("FOLDER");
    app.footer("Example:\n  tintwell manual render | man -l -");
    return {&app, [request, &parent](const std::atomic<bool>&) { runManual(*request, parent); }};
}

} // namespace tintwell::tool
