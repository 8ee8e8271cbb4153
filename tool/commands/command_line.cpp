#include "tool/commands/command_line.h"

#include "media/clip_info.h"
#include "media/media_error.h"
#include "tool/commands/analyze_command.h"
#include "tool/commands/completion_command.h"
#include "tool/commands/controls_command.h"
#include "tool/commands/declaration_command.h"
#include "tool/commands/lut_command.h"
#include "tool/commands/manual_command.h"
#include "tool/commands/memory_watch.h"
#include "tool/commands/preview_command.h"
#include "tool/commands/render_command.h"
#include "tool/commands/report_command.h"
#include "tool/help/help_format.h"
#include "tool/options/module_path.h"
#include "tool/render/render_pipeline.h"
#include "tool/terminal/messages.h"
#include "tool/terminal/printable.h"
#include "tool/terminal/stop_signal.h"
#include "tool/terminal/text_output.h"
#include "tool/terminal/user_error.h"

#include <array>
#include <cerrno>
#include <exception>
#include <filesystem>
#include <iostream>
#include <new>
#include <regex>
#include <string>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tintwell::tool {
namespace {

int codeOf(ExitCode code) {
    return static_cast<int>(code);
}

int failure(const std::string& message, ExitCode code = ExitCode::Failed) {
    printError(message);
    return codeOf(code);
}

/// A reader that has seen enough (as in `tintwell --help | head`) is no failure, a full disk is.
int flushStandardOutput() {
    if (std::cout.flush()) {
        return codeOf(ExitCode::Done);
    }
    const std::error_code reason = reasonOfFailure(std::cout);
    if (reason == std::errc::operation_canceled) {
        throw media::Interrupted();
    }
    return reason == std::errc::broken_pipe
               ? codeOf(ExitCode::Done)
               : failure("standard output: cannot be written (" + reason.message() + ")");
}

/// What the parser could not place, in the words of the command it was given to.
std::string describeUnexpected(const CLI::App& command, const std::string& name) {
    const std::vector<std::string> unexpected = command.remaining();
    const std::string first = unexpected.empty() ? std::string() : unexpected.front();
    if (first.size() > 1 && first.front() == '-') {
        return "'" + name + "' has no option " + first;
    }
    return command.get_parent() == nullptr ? "there is no command '" + first + "'"
                                           : "the argument '" + first + "' is one too many";
}

/// What the parser remarks on options and values that do not fit, in our words.
std::string describeMismatch(std::string remark) {
    static const std::array<std::pair<std::regex, const char*>, 3> kWords{{
        {std::regex("^(.*): 1 required (.*) missing$"), "$1 needs a value: $2"},
        {std::regex("^(.*) was given a disallowed flag override$"), "--$1 takes no value"},
        {std::regex("^(.*) excludes (.*)$"), "$1 and $2 exclude each other; leave one out"},
    }};
    for (const auto& [theirs, ours] : kWords) {
        remark = std::regex_replace(remark, theirs, ours);
    }
    return remark;
}

std::string versionText() {
    std::string text = std::string("tintwell ") + TINTWELL_VERSION;
    try {
        text += "\nmodule: " + printable(describeModule(findModule(std::string())));
    } catch (const std::exception& error) {
        text += "\nmodule: none (" + printable(error.what()) + ")";
    }
    return text;
}

/// What the command was to read, as part of a sentence.
std::string subjectOf(const CLI::App& command) {
    const CLI::Option* input = command.get_option_no_throw("INPUT");
    if (input == nullptr || input->empty()) {
        return command.get_name();
    }
    const std::string name = input->results().front();
    return name == media::kStandardStream ? "standard input" : name;
}

void runCommand(const Command& command) {
    try {
        command.run(stopRequested());
    } catch (const std::bad_alloc&) {
        throw UserError(subjectOf(*command.app) + ": there is not enough memory for it");
    } catch (const std::filesystem::filesystem_error&) {
        throw; // names the file
    } catch (const std::system_error& error) {
        throw UserError(subjectOf(*command.app) + ": the system gives no means to work on it (" +
                        error.code().message() + ")");
    }
    if (memoryRanOut()) {
        throw UserError(subjectOf(*command.app) + ": memory ran out meanwhile; parts of it may be "
                                                  "missing or damaged in what was written",
                        ExitCode::Incomplete);
    }
}

/// Takes no memory.
int tellOfNoMemory() {
    constexpr std::string_view kText =
        "tintwell: error: there is not enough memory to run this command\n";
    while (::write(STDERR_FILENO, kText.data(), kText.size()) < 0 && errno == EINTR) {
    }
    return codeOf(ExitCode::Failed);
}

} // namespace

int runProgram(int argumentCount, const char* const* arguments) noexcept {
    try {
        return CommandLine().run(argumentCount, arguments);
    } catch (...) { // all else is told of, and there is none left for telling
        return stopRequested() ? stopExitCode() : tellOfNoMemory();
    }
}

CommandLine::CommandLine() : app_("Automatic colour correction for video", "tintwell") {
    app_.set_version_flag("--version", versionText, "Show the versions of the tool and the module");
    app_.footer("Example:\n"
                "  tintwell render holiday.mp4 corrected.mp4\n\n"
                "'tintwell COMMAND --help' tells about one command.");
    app_.formatter(makeHelpFormatter());
    // Options given twice: the last one counts, so that a script can add to a line it was given.
    app_.option_defaults()->take_last()->disable_flag_override();
    // One command: what follows it is its own, even if it is named as another command is.
    app_.require_subcommand(0, 1);
    commands_.push_back(addRenderCommand(app_));
    commands_.push_back(addAnalyzeCommand(app_));
    commands_.push_back(addPreviewCommand(app_));
    commands_.push_back(addReportCommand(app_));
    commands_.push_back(addLutCommand(app_));
    commands_.push_back(addControlsCommand(app_));
    commands_.push_back(addDeclarationCommand(app_));
    commands_.push_back(addCompletionCommand(app_));
    commands_.push_back(addManualCommand(app_)); // last, to know all commands
}

int CommandLine::run(int argumentCount, const char* const* arguments) {
    try {
        const int code = parseAndRun(argumentCount, arguments);
        return code == codeOf(ExitCode::Done) ? flushStandardOutput() : code;
    } catch (const RenderStopped& stopped) {
        printError(stopped.what());
        return stopExitCode();
    } catch (const media::Interrupted&) {
        printError(RenderStopped().what());
        return stopExitCode();
    } catch (const ReaderGone&) {
        return codeOf(ExitCode::Done);
    } catch (const UserError& error) {
        const int code = failure(error.what(), error.exitCode());
        return stopRequested() ? stopExitCode() : code; // a signal ends waiting for a file, too
    } catch (const std::bad_alloc&) {
        return tellOfNoMemory();
    } catch (const std::exception& error) {
        return failure(error.what());
    } catch (...) {
        return failure("an unknown failure");
    }
}

int CommandLine::parseAndRun(int argumentCount, const char* const* arguments) {
    try {
        app_.parse(argumentCount, arguments);
    } catch (const CLI::Success& request) {
        return app_.exit(request);
    } catch (const CLI::ParseError& error) {
        return wrongUsage(error);
    }
    if (app_.get_subcommands().empty()) {
        return wrongUsage(CLI::RequiredError("a command"));
    }
    for (const Command& command : commands_) {
        if (command.app->parsed()) {
            runCommand(command);
        }
    }
    return codeOf(ExitCode::Done);
}

int CommandLine::wrongUsage(const CLI::ParseError& error) const {
    const auto commands = app_.get_subcommands();
    const CLI::App& command = commands.empty() ? app_ : *commands.front();
    const std::string name = commands.empty() ? "tintwell" : "tintwell " + command.get_name();
    const bool unexpected = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
    const std::string problem =
        unexpected ? describeUnexpected(command, name) : describeMismatch(error.what());
    return failure(problem + " (see '" + name + " --help')", ExitCode::Usage);
}

} // namespace tintwell::tool
