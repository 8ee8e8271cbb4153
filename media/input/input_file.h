#pragma once

#include "media/clip_info.h"
#include "media/ffmpeg_objects.h"
#include "media/files/input_files.h"
#include "media/files/interruption.h"
#include "media/input/image_files.h"
#include "media/input/input_source.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tintwell::media {

struct InputOptions {
    std::string format;                    ///< demuxer's name; empty: find out
    std::string frameRate;                 ///< of an image sequence or raw stream; empty: as stored
    NamedValues others = {};               ///< of the demuxer, as FFmpeg names them
    std::int64_t maxPixels = kUsualPixels; ///< of a picture; at most kMaximumPixels
    std::int64_t memory = 0;   ///< of a whole rendering, bytes, to be planned with; 0: usualMemory
    bool allowNetwork = false; ///< addresses, and files that are not beside the input or below
    HdrHandling hdr = HdrHandling::Refuse;
    std::shared_ptr<InputFiles> files = {};          ///< where to note what is read; may be null
    std::shared_ptr<Interruption> interruption = {}; ///< may be null
    ColorTags declared = {}; ///< what pictures are, whatever their tags say, as far as it is said
};

/// An opened container and the stream in it that is the video.
struct InputFile {
    std::unique_ptr<InputSource> source; ///< outlives the container
    InputPtr container;
    AVStream* video = nullptr;
    std::int64_t maxPixels = kUsualPixels; ///< of a picture
    ColorTags declared;                    ///< see InputOptions
    std::int64_t memory = 0;               ///< as in InputOptions
    std::optional<ImageFiles> images;      ///< of an image sequence: to be read, not the container
    std::vector<std::string> warnings;
};

/// Opens a file, an image sequence ("frame.%04d.png"), a single image or standard input ("-") and
/// finds its video stream; cover pictures do not count as video. Throws MediaError where there is
/// nothing to open or to see, Interrupted once the interruption is set.
InputFile openInput(const std::string& input, const InputOptions& options);

/// For messages: the name, or "standard input".
std::string inputName(const std::string& input);

/// Throws MediaError where a picture's size is none that can or may be worked on.
void checkPictureSize(const std::string& input, int width, int height, std::int64_t maxPixels);

} // namespace tintwell::media
