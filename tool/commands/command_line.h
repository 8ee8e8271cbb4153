#pragma once

#include "tool/options/command.h"

#include <vector>

namespace tintwell::tool {

/// The program's options and subcommands, as parsing, help and whatever is generated from them see
/// them.
class CommandLine {
public:
    CommandLine();

    /// Parses, runs, and tells failures in one line on standard error. Returns the exit code;
    /// throws only where there is no memory to tell anything.
    int run(int argumentCount, const char* const* arguments);

private:
    int parseAndRun(int argumentCount, const char* const* arguments);
    int wrongUsage(const CLI::ParseError& error) const;

    CLI::App app_;
    std::vector<Command> commands_;
};

/// The whole program, whatever fails in it.
int runProgram(int argumentCount, const char* const* arguments) noexcept;

} // namespace tintwell::tool
