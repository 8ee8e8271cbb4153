#include "tool/render/output_names.h"

#include "media/clip_info.h"
#include "media/files/file_identity.h"
#include "media/files/named_files.h"
#include "media/image_sequence.h"
#include "tool/terminal/user_error.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <system_error>

namespace tintwell::tool {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kStem = "{stem}";
constexpr std::string_view kExtension = "{ext}";

/// Nothing that is put in is looked at again: a file's own name may hold "{ext}".
std::string filledIn(std::string_view pattern, const fs::path& input) {
    std::string name;
    while (!pattern.empty()) {
        const bool stem = pattern.starts_with(kStem);
        const bool extension = pattern.starts_with(kExtension);
        if (stem || extension) {
            name += (stem ? input.stem() : input.extension()).string();
            pattern.remove_prefix((stem ? kStem : kExtension).size());
        } else {
            name += pattern.front();
            pattern.remove_prefix(1);
        }
    }
    return name;
}

std::string outputFor(const std::string& input, const std::string& folder,
                      const std::string& pattern) {
    std::string name = filledIn(pattern, fs::path(input).filename());
    std::error_code error;
    // What is one file is not to be taken for a sequence.
    if (fs::exists(input, error) && media::parseSequence(name)) {
        std::ranges::replace(name, '%', '_');
    }
    return (fs::path(folder) / name).string();
}

void requireFolder(const std::string& folder) {
    std::error_code error;
    if (!fs::is_directory(folder, error)) {
        throw UserError(folder + (fs::exists(folder, error)
                                      ? ": is not a folder"
                                      : ": there is no such folder; create it first"));
    }
}

constexpr const char* kAdvice = "; give the outputs other names (--name) or another folder";

void requireDifferent(const std::vector<ClipNames>& clips) {
    std::map<fs::path, const ClipNames*> taken;
    for (const ClipNames& clip : clips) {
        const auto [other, isNew] = taken.emplace(fs::weakly_canonical(clip.output), &clip);
        if (!isNew) {
            throw UserError(clip.output + ": would be the output of both " + other->second->input +
                            " and " + clip.input + kAdvice);
        }
    }
    for (const ClipNames& sequence : clips) {
        const auto pattern = media::parseSequence(sequence.output);
        const auto covered = std::ranges::find_if(
            clips, [&](const ClipNames& clip) { return pattern && pattern->covers(clip.output); });
        if (covered != clips.end()) {
            throw UserError(covered->output + ": would be the output of " + covered->input +
                            " and one of the images of " + sequence.output + kAdvice);
        }
    }
}

void requireNoInputs(const std::vector<ClipNames>& clips) {
    std::map<media::FileIdentity, const ClipNames*> inputs;
    for (const ClipNames& clip : clips) {
        for (const std::string& file : media::filesNamedBy(clip.input)) {
            if (const auto identity = media::identityOf(file)) {
                inputs.emplace(*identity, &clip);
            }
        }
    }
    for (const ClipNames& clip : clips) {
        for (const std::string& file : media::filesNamedBy(clip.output)) {
            const auto identity = media::identityOf(file);
            const auto input = identity ? inputs.find(*identity) : inputs.end();
            if (input != inputs.end()) {
                throw UserError(file + ": is the input " + input->second->input +
                                ", or part of it" + kAdvice);
            }
        }
    }
}

} // namespace

std::string parseNamePattern(std::string_view text) {
    const std::string quoted = "'" + std::string(text) + "' ";
    const std::string rest = filledIn(text, {});
    if (text.find('/') != std::string_view::npos) {
        throw std::invalid_argument(quoted + "names folders; --output-folder names the only one");
    }
    if (text.empty() || rest.find_first_of("{}") != std::string::npos) {
        throw std::invalid_argument(quoted + "is not a name for outputs; {stem} and {ext} stand "
                                             "for parts of the input's, as in "
                                             "{stem}-corrected{ext}");
    }
    return std::string(text);
}

std::vector<ClipNames> nameOutputs(const std::vector<std::string>& inputs,
                                   const std::string& folder, const std::string& pattern) {
    requireFolder(folder);
    std::vector<ClipNames> clips;
    for (const std::string& input : inputs) {
        if (input == media::kStandardStream) {
            throw UserError("standard input has no name to call an output by; render it by itself",
                            ExitCode::Usage);
        }
        clips.push_back({input, outputFor(input, folder, pattern)});
    }
    requireDifferent(clips);
    requireNoInputs(clips);
    return clips;
}

} // namespace tintwell::tool
