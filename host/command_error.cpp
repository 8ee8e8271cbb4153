#include "host/command_error.h"

#include "host/host_error.h"

namespace tintwell::host {

namespace {

std::string sentence(Command command, ErrorCode code, const std::string& cause) {
    std::string text = "the effect's " + commandName(command) +
                       " command failed: " + describeError(code) + " (code " +
                       std::to_string(code) + ")";
    return cause.empty() ? text : text + ": " + cause;
}

} // namespace

std::string commandName(Command command) {
    switch (command) {
    case Command::About:
        return "About";
    case Command::GlobalSetup:
        return "GlobalSetup";
    case Command::GlobalSetdown:
        return "GlobalSetdown";
    case Command::ParamsSetup:
        return "ParamsSetup";
    case Command::SequenceSetup:
        return "SequenceSetup";
    case Command::SequenceResetup:
        return "SequenceResetup";
    case Command::SequenceSetdown:
        return "SequenceSetdown";
    case Command::FrameSetup:
        return "FrameSetup";
    case Command::Render:
        return "Render";
    case Command::UserChangedParam:
        return "UserChangedParam";
    case Command::UpdateParamsUI:
        return "UpdateParamsUI";
    }
    return "number " + std::to_string(static_cast<std::int32_t>(command));
}

CommandError::CommandError(Command command, ErrorCode code, bool showRequested,
                           const std::string& cause)
    : std::runtime_error(sentence(command, code, cause)), command_(command), code_(code),
      showRequested_(showRequested) {}

} // namespace tintwell::host
