#pragma once

#include "host/control_track.h"
#include "host/frame_buffer.h"
#include "media/clip_info.h"
#include "media/encoding/encoding_plan.h"
#include "media/files/input_files.h"
#include "media/files/interruption.h"
#include "media/stream_wishes.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tintwell::tool {

/// An option of FFmpeg's, by its name there.
struct KeyValue {
    std::string key;
    std::string value;
};

/// Which clip a command works on, and with what settings of the effect.
struct ClipOptions {
    std::string input; ///< file, image sequence pattern, or "-" for standard input

    host::ControlTracks controls; ///< values of the six controls over time
    bool highQuality = true;
    std::optional<host::SampleDepth> depth; ///< empty: by the input's
    std::optional<media::FrameSpan> frames;
    media::TimeSpan times; ///< instead of frames; turned into them before the clip is worked on

    std::string inputFormat; ///< demuxer name; empty: find out
    std::string frameRate;   ///< rate of an image sequence or raw stream; empty: as stored
    std::vector<KeyValue> inputOptions;
    media::ColorTags declared; ///< what the input's colour is, whatever its tags say
    bool allowNetwork = false;
    media::HdrHandling hdr = media::HdrHandling::Refuse;
    std::int64_t maxPixels = media::kUsualPixels; ///< of a picture that is unpacked
    std::int64_t memory = 0; ///< of the program, bytes; 0: by the size of the pictures

    // Of all that reads the clip together; null where nothing else has to know.
    std::shared_ptr<media::InputFiles> files;
    std::shared_ptr<media::Interruption> interruption;
};

/// Everything `tintwell render` was asked for, already checked for what can be checked without
/// opening a file.
struct RenderOptions : ClipOptions {
    std::string output; ///< file, image sequence pattern, or "-" for standard output
    std::string modulePath;

    std::string outputFormat; ///< muxer name; empty: from the output's name
    std::string videoCodec;   ///< empty: by the purpose
    std::string pixelFormat;  ///< empty: by the purpose
    std::vector<KeyValue> encoderOptions;
    media::StreamWishes streams;
    std::vector<KeyValue> outputOptions; ///< of the container
    media::Purpose purpose = media::Purpose::Same;
    bool overwrite = false;
    bool check = true; ///< read the output back before it takes its name
};

} // namespace tintwell::tool
