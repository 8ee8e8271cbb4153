#include "media/input/input_file.h"

#include "media/ffmpeg_log.h"
#include "media/files/named_files.h"
#include "media/image_sequence.h"
#include "media/media_error.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace tintwell::media {
namespace {

/// A file's name as a path that is not taken for a protocol ("take:2.mov").
std::string asUrl(const std::string& input) {
    if (input == kStandardStream) {
        return "pipe:0";
    }
    return input.find("://") != std::string::npos ? input : "file:" + input;
}

const AVInputFormat* findFormat(const std::string& name) {
    const AVInputFormat* format = av_find_input_format(name.c_str());
    if (format == nullptr) {
        throw MediaError("unknown input format '" + name + "'");
    }
    return format;
}

void checkIsThere(const std::string& input) {
    std::error_code error;
    const auto status = std::filesystem::status(input, error);
    if (status.type() == std::filesystem::file_type::not_found) {
        throw MediaError(input + ": there is no such file");
    }
    if (std::filesystem::is_directory(status)) {
        throw MediaError(input + ": is a directory; for an image sequence name its files, as in " +
                         input + "/frame.%04d.png");
    }
}

/// What the user sets of FFmpeg's reader of sequences that ours does not know.
bool wantsFfmpegsReader(const InputOptions& options) {
    constexpr std::array<std::string_view, 4> kNames{"start_number", "pattern_type", "loop",
                                                     "ts_from_file"};
    const bool otherFormat = !options.format.empty() && options.format != "image2";
    return otherFormat || std::ranges::any_of(options.others, [&](const auto& option) {
               return std::ranges::find(kNames, option.first) != kNames.end();
           });
}

/// Prepares the opening of an image sequence, where the input is one.
bool prepareSequence(const std::string& input, const InputOptions& options, InputFile& file,
                     Dictionary& settings) {
    if (std::filesystem::exists(input)) {
        settings.set("pattern_type", "none"); // the name of a single image, whatever it looks like
        return false;
    }
    const auto pattern = parseSequence(input);
    if (!pattern) {
        return false;
    }
    const SequenceFiles files = findSequence(*pattern);
    // FFmpeg wants to see a picture first.
    const auto readable = std::ranges::find_if(files.numbers, [&](std::int64_t number) {
        return ImageFiles::holdsBytes(*pattern, number);
    });
    if (readable == files.numbers.end()) {
        throw MediaError(input + (files.numbers.empty()
                                      ? ": there are no files of this image sequence"
                                      : ": no file of this image sequence can be read"));
    }
    settings.set("pattern_type", "sequence");
    settings.set("start_number", std::to_string(*readable));
    if (wantsFfmpegsReader(options)) {
        return true;
    }
    if (files.behind > 0) {
        file.warnings.push_back(
            input + ": " + pattern->nameOf(files.last() + 1) + " is missing, and more than " +
            std::to_string(SequenceFiles::kLongestGap) + " files behind it; the clip ends there, " +
            std::to_string(files.behind) +
            (files.behind == 1 ? " file further on is" : " files further on are") + " left out");
    }
    file.images.emplace(*pattern, files, file.source->files(), file.source->sharedInterruption());
    return true;
}

/// Whether the demuxer takes names rather than an open file, as that of image sequences does. Such
/// a one may be found by the name alone.
bool opensItself(const AVInputFormat* format, const std::string& url) {
    if (format == nullptr) {
        AVProbeData name{};
        name.filename = url.c_str();
        int score = AVPROBE_SCORE_RETRY;
        format = av_probe_input_format2(&name, 0, &score);
    }
    return format != nullptr && (format->flags & AVFMT_NOFILE) != 0;
}

/// Whether the demuxer opens further files where it cannot be seen.
bool opensUnasked(const AVInputFormat& format) {
    constexpr std::array<std::string_view, 2> kNames{"concat", "vobsub"};
    return std::ranges::find(kNames, format.name) != kNames.end();
}

void throwIfInterrupted(const InputSource& source) {
    if (source.interruption().isSet()) {
        throw Interrupted();
    }
}

/// What the user set must have been of use to the demuxer.
void checkAllTaken(const std::string& name, const AVFormatContext& container,
                   const std::vector<std::string>& left) {
    for (const std::string& key : left) {
        if (key == "framerate") {
            throw MediaError(name + ": a " + container.iformat->name +
                             " file has its own frame rate; leave out the input frame rate");
        }
        if (key != "pattern_type") {
            throw MediaError(name + ": the format " + container.iformat->name +
                             " knows no input option '" + key + "'");
        }
    }
}

/// Looks at the first packets, pictures included, but at none that is too large.
int findStreams(AVFormatContext& container, std::int64_t maxPixels) {
    std::vector<Dictionary> settings(container.nb_streams);
    std::vector<AVDictionary*> entries;
    for (Dictionary& one : settings) {
        one.set("max_pixels", std::to_string(maxPixels));
        entries.push_back(std::exchange(*one.inOut(), nullptr));
    }
    const int code = avformat_find_stream_info(&container, entries.data());
    for (std::size_t i = 0; i < entries.size(); ++i) {
        *settings[i].inOut() = entries[i];
    }
    return code;
}

AVStream* findVideo(const std::string& input, AVFormatContext& container) {
    const int index = av_find_best_stream(&container, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (index < 0 || (container.streams[index]->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0) {
        throw MediaError(inputName(input) + ": holds no video stream");
    }
    return container.streams[index];
}

} // namespace

InputFile openInput(const std::string& input, const InputOptions& options) {
    silenceFfmpeg();
    takeFfmpegMessage(FfmpegPart::Demuxer);
    InputFile file;
    file.source = std::make_unique<InputSource>(
        options.files ? options.files : std::make_shared<InputFiles>(input),
        options.interruption ? options.interruption : std::make_shared<Interruption>(),
        options.allowNetwork);
    Dictionary settings;
    const AVInputFormat* format = options.format.empty() ? nullptr : findFormat(options.format);
    bool isSequence = false;
    if (input != kStandardStream && input.find("://") == std::string::npos) {
        isSequence = prepareSequence(input, options, file, settings);
        if (isSequence) {
            format = format != nullptr ? format : findFormat("image2");
        } else {
            checkIsThere(input);
        }
    }
    if (!options.frameRate.empty()) {
        settings.set("framerate", options.frameRate);
    }
    for (const auto& [key, value] : options.others) {
        settings.set(key, value);
    }
    // image2 takes the pattern for a name of its own, not for a URL.
    const std::string url = isSequence ? parseSequence(input).value().text() : asUrl(input);
    AVFormatContext* container = avformat_alloc_context();
    if (container == nullptr) {
        throw std::bad_alloc();
    }
    file.container.reset(container);
    file.source->attach(*container);
    if (!opensItself(format, url)) {
        file.source->open(*container, input);
    }
    file.container.release(); // freed where it cannot be opened
    const int code = avformat_open_input(&container, url.c_str(), format, settings.inOut());
    if (code < 0) {
        throwIfInterrupted(*file.source);
        file.source->throwIfRefused();
        throw MediaError(inputName(input) +
                         (code == AVERROR_INVALIDDATA ? ": is not a media file that can be read ("
                                                      : ": cannot be opened (") +
                         explainFailure(code, FfmpegPart::Demuxer) + ")");
    }
    file.container.reset(container);
    if (opensUnasked(*container->iformat)) {
        file.source->watchAll();
    }
    checkAllTaken(inputName(input), *container, settings.keys());
    file.maxPixels = options.maxPixels;
    file.declared = options.declared;
    file.memory = options.memory;
    takeRefusedSize(); // of those who tried whether the file is theirs
    const int found = findStreams(*container, options.maxPixels);
    throwIfInterrupted(*file.source);
    file.source->throwIfRefused();
    if (found < 0) {
        throw MediaError(inputName(input) + ": cannot be read (" +
                         explainFailure(found, FfmpegPart::Demuxer) + ")");
    }
    file.video = findVideo(input, *container);
    file.source->takeReadError(); // what was missing until now was not needed
    return file;
}

std::string inputName(const std::string& input) {
    return input == kStandardStream ? "standard input" : input;
}

void checkPictureSize(const std::string& input, int width, int height, std::int64_t maxPixels) {
    // FFmpeg knows no size of pictures that it finds too large, but tells it.
    if (width <= 0 || height <= 0) {
        std::tie(width, height) = takeRefusedSize();
    }
    const std::string size = std::to_string(width) + "x" + std::to_string(height);
    if (width <= 0 || height <= 0) {
        throw MediaError(inputName(input) + ": the video has no picture size (" + size + ")");
    }
    const std::int64_t pixels = std::int64_t{width} * height;
    // FFmpeg surrounds pictures.
    constexpr std::int64_t kBorder = 128;
    if (width > kMaximumSide || height > kMaximumSide ||
        (width + kBorder) * (height + kBorder) >= kMaximumPixels) {
        throw MediaError(inputName(input) + ": pictures of " + size + " are too large; at most " +
                         std::to_string(kMaximumSide) +
                         " columns or rows and, with a border of 128 pixels, 2^28 pixels are "
                         "supported");
    }
    if (pixels > maxPixels) {
        throw MediaError(inputName(input) + ": pictures of " + size + " have " +
                         std::to_string(pixels) + " pixels, more than the " +
                         std::to_string(maxPixels) +
                         " that are unpacked; --max-pixels raises the limit, if there is memory "
                         "for it");
    }
}

} // namespace tintwell::media
