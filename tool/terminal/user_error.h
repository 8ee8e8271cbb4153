#pragma once

#include <stdexcept>
#include <string>

namespace tintwell::tool {

/// Incomplete: the output is there, but frames of the input are missing in it.
enum class ExitCode : int { Done = 0, Failed = 1, Usage = 2, Incomplete = 3, Interrupted = 130 };

/// A failure told as the user should read it: what is wrong with which file or option, and what to
/// do about it.
class UserError : public std::runtime_error {
public:
    explicit UserError(const std::string& message, ExitCode exitCode = ExitCode::Failed)
        : std::runtime_error(message), exitCode_(exitCode) {}

    ExitCode exitCode() const { return exitCode_; }

private:
    ExitCode exitCode_;
};

} // namespace tintwell::tool
