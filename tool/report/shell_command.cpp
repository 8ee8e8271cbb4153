#include "tool/report/shell_command.h"

#include "media/clip_info.h"
#include "media/image_sequence.h"
#include "tool/options/color_options.h"
#include "tool/values/control_catalog.h"
#include "tool/values/option_values.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <string_view>
#include <vector>

extern "C" {
#include <libavformat/avformat.h>
}

namespace tintwell::tool {
namespace {

bool needsNoQuotes(unsigned char letter) {
    return std::isalnum(letter) != 0 ||
           std::string_view("_-./:=,+%@").find(static_cast<char>(letter)) != std::string::npos;
}

/// A relative name that would be taken for an option is not one with its folder before it.
std::string fileArgument(const std::string& name) {
    return name.size() > 1 && name.front() == '-' ? "./" + name : name;
}

/// "films/corrected-holiday.mp4"; a Matroska file where the input's kind of file is not written.
std::string outputFor(const ClipOptions& clip) {
    if (clip.input == media::kStandardStream) {
        return "corrected.mkv";
    }
    const std::filesystem::path input = clip.input;
    std::string name = "corrected-" + input.filename().string();
    const bool written = av_guess_format(nullptr, name.c_str(), nullptr) != nullptr;
    const bool keepsFormat = written && clip.inputFormat.empty();
    if (!keepsFormat) {
        name += ".mkv";
    }
    // What is one file is not to be taken for a sequence.
    if (media::parseSequence(name) && (!keepsFormat || std::filesystem::exists(input))) {
        std::ranges::replace(name, '%', '_');
    }
    return (input.parent_path() / name).string();
}

void addControls(const EffectOptions& effect, std::vector<std::string>& words) {
    if (!effect.controlsFile.empty()) {
        words.insert(words.end(), {"--controls", effect.controlsFile});
    }
    for (const ControlInfo& info : controlCatalog()) {
        const auto given = effect.values.find(info.control);
        if (given == effect.values.end()) {
            continue;
        }
        const std::string key(info.key);
        if (info.isCheckbox) {
            words.push_back((given->second >= 0.5 ? "--" : "--no-") + key);
        } else {
            words.insert(words.end(), {"--" + key, numberText(given->second)});
        }
    }
}

void addClip(const ClipOptions& clip, std::vector<std::string>& words) {
    if (clip.frames) {
        words.insert(words.end(), {"--frames", frameRangeText(*clip.frames)});
    }
    if (!clip.inputFormat.empty()) {
        words.insert(words.end(), {"--input-format", clip.inputFormat});
    }
    for (const KeyValue& option : clip.inputOptions) {
        words.insert(words.end(), {"--input-option", option.key + "=" + option.value});
    }
    for (const auto& [what, name] : declaredColors(clip.declared)) {
        words.insert(words.end(), {"--input-" + what, name});
    }
    if (clip.allowNetwork) {
        words.emplace_back("--allow-network");
    }
    if (clip.maxPixels != media::kUsualPixels) {
        words.insert(words.end(), {"--max-pixels", std::to_string(clip.maxPixels)});
    }
    if (clip.hdr != media::HdrHandling::Refuse) {
        const bool keepsPeak = clip.hdr == media::HdrHandling::KeepPeak;
        words.insert(words.end(), {"--hdr", keepsPeak ? "keep-peak" : "treat-as-sdr"});
    }
    if (!clip.frameRate.empty()) {
        words.insert(words.end(), {"--frame-rate", clip.frameRate});
    }
    if (clip.depth) {
        words.insert(words.end(), {"--depth", std::to_string(static_cast<int>(*clip.depth))});
    }
    if (!clip.highQuality) {
        words.insert(words.end(), {"--quality", "draft"});
    }
}

} // namespace

std::string shellWord(const std::string& word) {
    if (!word.empty() && std::all_of(word.begin(), word.end(), needsNoQuotes)) {
        return word;
    }
    std::string quoted = "'";
    for (const char letter : word) {
        quoted += letter == '\'' ? "'\\''" : std::string(1, letter);
    }
    return quoted + "'";
}

std::vector<std::string> renderCommand(const ClipOptions& clip, const EffectOptions& effect) {
    std::vector<std::string> words{"tintwell", "render", fileArgument(clip.input),
                                   fileArgument(outputFor(clip))};
    addControls(effect, words);
    addClip(clip, words);
    std::transform(words.begin(), words.end(), words.begin(), shellWord);
    return words;
}

} // namespace tintwell::tool
