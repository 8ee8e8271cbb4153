#include "tool/options/color_options.h"

#include "tool/options/command.h"

#include <algorithm>
#include <array>
#include <string_view>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace tintwell::tool {
namespace {

template <class Tag>
using Choices = std::vector<std::pair<std::string, Tag>>;

/// All that have a name which says something.
template <class Tag>
Choices<Tag> namedTags(Tag end, const char* (*nameOf)(Tag)) {
    constexpr std::array<std::string_view, 3> kNothing{"unknown", "unspecified", "reserved"};
    Choices<Tag> choices;
    for (int number = 0; number < static_cast<int>(end); ++number) {
        const auto tag = static_cast<Tag>(number);
        const char* const name = nameOf(tag);
        if (name != nullptr && std::ranges::find(kNothing, name) == kNothing.end()) {
            choices.emplace_back(name, tag);
        }
    }
    return choices;
}

Choices<AVColorSpace> matrices() {
    Choices<AVColorSpace> choices = namedTags(AVCOL_SPC_NB, av_color_space_name);
    std::erase_if(choices, [](const auto& each) { return !media::isPlainMatrix(each.second); });
    choices.emplace_back("bt601", AVCOL_SPC_SMPTE170M);
    return choices;
}

Choices<AVColorRange> ranges() {
    return {{"tv", AVCOL_RANGE_MPEG},
            {"pc", AVCOL_RANGE_JPEG},
            {"limited", AVCOL_RANGE_MPEG},
            {"full", AVCOL_RANGE_JPEG}};
}

} // namespace

void addColorOptions(CLI::App& app, media::ColorTags& declared, const std::string& group) {
    addChoiceOption(app, "--input-matrix", matrices(), declared.matrix,
                    "The matrix of the input's Y,U,V, where its tag is missing or wrong; the "
                    "output is tagged with it")
        ->group(group);
    addChoiceOption(app, "--input-range", ranges(), declared.range,
                    "The range of the input's samples, likewise: tv, or limited, is 16 to 235, pc, "
                    "or full, 0 to 255")
        ->group(group);
    addChoiceOption(app, "--input-primaries", namedTags(AVCOL_PRI_NB, av_color_primaries_name),
                    declared.primaries, "The input's primaries, likewise; they change the tag only")
        ->group(group);
    addChoiceOption(app, "--input-transfer", namedTags(AVCOL_TRC_NB, av_color_transfer_name),
                    declared.transfer,
                    "The input's transfer characteristics, likewise; they change the tag only")
        ->group(group);
}

std::vector<std::pair<std::string, std::string>> declaredColors(const media::ColorTags& declared) {
    std::vector<std::pair<std::string, std::string>> colors;
    const auto add = [&](const char* what, auto tag, auto unspecified, auto nameOf) {
        if (tag != unspecified) {
            colors.emplace_back(what, nameOf(tag));
        }
    };
    add("matrix", declared.matrix, AVCOL_SPC_UNSPECIFIED, av_color_space_name);
    add("range", declared.range, AVCOL_RANGE_UNSPECIFIED, av_color_range_name);
    add("primaries", declared.primaries, AVCOL_PRI_UNSPECIFIED, av_color_primaries_name);
    add("transfer", declared.transfer, AVCOL_TRC_UNSPECIFIED, av_color_transfer_name);
    return colors;
}

std::string declaredText(const media::ColorTags& declared) {
    std::string text;
    for (const auto& [what, name] : declaredColors(declared)) {
        text += (text.empty() ? "" : ", ") + what + " " + name;
    }
    return text;
}

} // namespace tintwell::tool
