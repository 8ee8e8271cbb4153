#include "tool/commands/completion_command.h"

#include "tool/help/shell_completion.h"

#include <iostream>
#include <memory>

namespace tintwell::tool {

Command addCompletionCommand(CLI::App& parent) {
    using Writer = std::string (*)(const CLI::App&);
    CLI::App& app = *parent.add_subcommand(
        "completion", "Print a script that completes tintwell's command lines in a shell");
    const auto writer = std::make_shared<Writer>();
    addChoiceOption<Writer>(
        app, "SHELL", {{"bash", bashCompletion}, {"zsh", zshCompletion}, {"fish", fishCompletion}},
        *writer, "The shell that reads the script")
        ->required();
    app.footer("Examples:\n"
               "  source <(tintwell completion bash)\n"
               "  tintwell completion zsh > ~/.zfunc/_tintwell\n"
               "  tintwell completion fish > ~/.config/fish/completions/tintwell.fish");
    return {&app, [writer, &parent](const std::atomic<bool>&) { std::cout << (*writer)(parent); }};
}

} // namespace tintwell::tool
