#include "tool/render/render_batch.h"

#include "media/media_error.h"
#include "tool/render/render_pipeline.h"
#include "tool/terminal/messages.h"
#include "tool/terminal/printable.h"
#include "tool/terminal/user_error.h"

#include <algorithm>
#include <exception>

namespace tintwell::tool {
namespace {

std::ptrdiff_t countOf(const std::vector<ClipOutcome>& outcomes, ClipState state) {
    return std::ranges::count(outcomes, state, &ClipOutcome::state);
}

/// "4 clips: 2 done, 1 failed, 1 not begun"
std::string countsText(const std::vector<ClipOutcome>& outcomes) {
    std::string text =
        std::to_string(outcomes.size()) + (outcomes.size() == 1 ? " clip" : " clips");
    const char* separator = ": ";
    for (const ClipState state : {ClipState::Done, ClipState::Incomplete, ClipState::Failed,
                                  ClipState::Interrupted, ClipState::NotBegun}) {
        if (const std::ptrdiff_t count = countOf(outcomes, state); count > 0) {
            text += separator + std::to_string(count) + " " + nameOf(state);
            separator = ", ";
        }
    }
    return text;
}

ClipOutcome outcomeOf(const ClipNames& clip, const ProgressJob& job, const ClipWork& work,
                      const std::atomic<bool>& stop) {
    try {
        return work(clip, job);
    } catch (const RenderStopped&) {
        return {clip, ClipState::Interrupted, {}};
    } catch (const media::Interrupted&) {
        return {clip, ClipState::Interrupted, {}};
    } catch (const std::exception& error) {
        printError(error.what());
        return {clip, stop ? ClipState::Interrupted : ClipState::Failed, error.what()};
    }
}

} // namespace

const char* nameOf(ClipState state) {
    switch (state) {
    case ClipState::Done:
        return "done";
    case ClipState::Incomplete:
        return "incomplete";
    case ClipState::Failed:
        return "failed";
    case ClipState::Interrupted:
        return "interrupted";
    case ClipState::NotBegun:
        break;
    }
    return "not begun";
}

std::vector<ClipOutcome> renderEach(const std::vector<ClipNames>& clips, const ClipWork& work,
                                    const std::atomic<bool>& stop) {
    std::vector<ClipOutcome> outcomes;
    for (const ClipNames& clip : clips) {
        const ProgressJob job{clip.input, outcomes.size() + 1, clips.size()};
        outcomes.push_back(stop ? ClipOutcome{clip, ClipState::NotBegun, {}}
                                : outcomeOf(clip, job, work, stop));
    }
    return outcomes;
}

void printOutcomes(const std::vector<ClipOutcome>& outcomes) {
    std::size_t inputWidth = 0;
    std::size_t outputWidth = 0;
    for (const ClipOutcome& outcome : outcomes) {
        inputWidth = std::max(inputWidth, printable(outcome.names.input).size());
        outputWidth = std::max(outputWidth, printable(outcome.names.output).size());
    }
    printNote(countsText(outcomes));
    for (const ClipOutcome& outcome : outcomes) {
        std::string input = printable(outcome.names.input);
        std::string output = printable(outcome.names.output);
        input.resize(inputWidth, ' ');
        output.resize(outputWidth, ' ');
        printNote("  " + input + "  " + output + "  " + nameOf(outcome.state) +
                  (outcome.text.empty() ? "" : ": " + outcome.text));
    }
}

void requireAllDone(const std::vector<ClipOutcome>& outcomes) {
    if (countOf(outcomes, ClipState::Interrupted) + countOf(outcomes, ClipState::NotBegun) > 0) {
        throw RenderStopped(("interrupted; " + countsText(outcomes)).c_str());
    }
    if (countOf(outcomes, ClipState::Failed) > 0) {
        throw UserError("not all is done; " + countsText(outcomes));
    }
    if (countOf(outcomes, ClipState::Incomplete) > 0) {
        throw UserError("not all is complete; " + countsText(outcomes), ExitCode::Incomplete);
    }
}

} // namespace tintwell::tool
