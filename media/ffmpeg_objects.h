#pragma once

// Owners for FFmpeg's objects: what one of these holds is freed with it.

#include <memory>
#include <string>
#include <utility>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/error.h>
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

namespace tintwell::media {

struct FrameDeleter {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};

struct PacketDeleter {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

struct CodecContextDeleter {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};

struct InputDeleter {
    void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
};

/// The output's I/O is closed apart from this: closing reports errors that must not be lost.
struct OutputDeleter {
    void operator()(AVFormatContext* output) const { avformat_free_context(output); }
};

struct ScalerDeleter {
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};

struct CodecParametersDeleter {
    void operator()(AVCodecParameters* parameters) const { avcodec_parameters_free(&parameters); }
};

using FramePtr = std::unique_ptr<AVFrame, FrameDeleter>;
using PacketPtr = std::unique_ptr<AVPacket, PacketDeleter>;
using CodecContextPtr = std::unique_ptr<AVCodecContext, CodecContextDeleter>;
using InputPtr = std::unique_ptr<AVFormatContext, InputDeleter>;
using OutputPtr = std::unique_ptr<AVFormatContext, OutputDeleter>;
using ScalerPtr = std::unique_ptr<SwsContext, ScalerDeleter>;
using CodecParametersPtr = std::unique_ptr<AVCodecParameters, CodecParametersDeleter>;

using NamedValues = std::vector<std::pair<std::string, std::string>>;

/// A dictionary of options or metadata.
class Dictionary {
public:
    Dictionary() = default;
    Dictionary(const Dictionary&) = delete;
    Dictionary& operator=(const Dictionary&) = delete;

    ~Dictionary() { av_dict_free(&entries_); }

    void set(const std::string& key, const std::string& value) {
        av_dict_set(&entries_, key.c_str(), value.c_str(), 0);
    }

    /// For functions that take what they know and leave the rest.
    AVDictionary** inOut() { return &entries_; }

    /// The keys of the entries still there.
    std::vector<std::string> keys() const {
        std::vector<std::string> keys;
        const AVDictionaryEntry* entry = nullptr;
        while ((entry = av_dict_get(entries_, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr) {
            keys.emplace_back(entry->key);
        }
        return keys;
    }

private:
    AVDictionary* entries_ = nullptr;
};

/// These throw std::bad_alloc when there is no memory.
FramePtr makeFrame();
PacketPtr makePacket();

/// The text of an AVERROR code, for example "No such file or directory".
std::string errorText(int code);

} // namespace tintwell::media
