#include "tool/options/stream_options.h"

#include "tool/options/command.h"
#include "tool/values/option_values.h"

#include <string>
#include <utility>
#include <vector>

namespace tintwell::tool {

void addStreamOptions(CLI::App& app, media::StreamWishes& wishes) {
    constexpr const char* kGroup = "Sound and subtitles";
    using Wish = media::StreamWish;
    const std::vector<std::pair<std::string, Wish>> choices{{"auto", Wish::Automatic},
                                                            {"copy", Wish::Copy},
                                                            {"convert", Wish::Convert},
                                                            {"none", Wish::None}};
    addChoiceOption<Wish>(
        app, "--audio", choices, wishes.audio,
        "Sound: auto keeps what plays from the output and converts the rest, copy "
        "keeps it in any case, convert codes it anew, none leaves it out")
        ->group(kGroup);
    app.add_option("--audio-codec", wishes.audioCodec,
                   "FFmpeg's name of the encoder that the sound is converted with; otherwise the "
                   "usual one of the format")
        ->type_name("NAME")
        ->group(kGroup);
    addChoiceOption<Wish>(app, "--subtitles", choices, wishes.subtitles,
                          "Subtitles, in the same words")
        ->group(kGroup);
    addValueOption(app, "--streams", "NUMBERS",
                   "Only these of the input's streams beside the corrected video, as ffprobe "
                   "counts them, for example 1,3",
                   [&wishes](const std::string& text) { wishes.streams = parseNumbers(text); })
        ->group(kGroup);
}

} // namespace tintwell::tool
