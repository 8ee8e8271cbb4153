#include "test_clip.h"

#include "media/ffmpeg_log.h"
#include "media/ffmpeg_objects.h"

#include <cstring>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/display.h>
#include <libavutil/mem.h>
}

namespace tintwell::media {
namespace {

constexpr int kSoundRate = 8000;

/// Throws where FFmpeg reports an error.
int require(int code) {
    if (code < 0) {
        throw std::runtime_error(errorText(code));
    }
    return code;
}

CodecContextPtr openEncoder(AVFormatContext& output) {
    const AVCodec* codec = avcodec_find_encoder_by_name("libx264");
    CodecContextPtr encoder(avcodec_alloc_context3(codec));
    encoder->width = kTestWidth;
    encoder->height = kTestHeight;
    encoder->pix_fmt = AV_PIX_FMT_YUV420P;
    encoder->time_base = {1, 600};
    encoder->sample_aspect_ratio = {4, 3};
    encoder->colorspace = AVCOL_SPC_BT709;
    encoder->color_range = AVCOL_RANGE_MPEG;
    encoder->max_b_frames = 2;
    encoder->thread_count = 1;
    encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    Dictionary settings;
    settings.set("x264-params", "b-adapt=0:scenecut=0");
    require(avcodec_open2(encoder.get(), codec, settings.inOut()));
    AVStream* stream = avformat_new_stream(&output, nullptr);
    require(avcodec_parameters_from_context(stream->codecpar, encoder.get()));
    stream->time_base = encoder->time_base;
    stream->sample_aspect_ratio = encoder->sample_aspect_ratio;
    auto* matrix = reinterpret_cast<std::int32_t*>(
        av_stream_new_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, 9 * sizeof(std::int32_t)));
    av_display_rotation_set(matrix, 90);
    return encoder;
}

void addSound(AVFormatContext& output) {
    AVCodecParameters& sound = *avformat_new_stream(&output, nullptr)->codecpar;
    sound.codec_type = AVMEDIA_TYPE_AUDIO;
    sound.codec_id = AV_CODEC_ID_PCM_S16LE;
    sound.sample_rate = kSoundRate;
    sound.format = AV_SAMPLE_FMT_S16;
    sound.bits_per_coded_sample = 16;
    sound.block_align = 2;
    av_channel_layout_default(&sound.ch_layout, 1);
    output.streams[1]->time_base = {1, kSoundRate};
}

void addChapter(AVFormatContext& output) {
    auto* chapter = static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter)));
    chapter->time_base = {1, 1000};
    chapter->start = 0;
    chapter->end = 400;
    av_dict_set(&chapter->metadata, "title", "A chapter", 0);
    int count = 0;
    av_dynarray_add(&output.chapters, &count, chapter);
    output.nb_chapters = 1;
}

void drain(AVCodecContext& encoder, AVFormatContext& output) {
    const PacketPtr packet = makePacket();
    while (avcodec_receive_packet(&encoder, packet.get()) == 0) {
        av_packet_rescale_ts(packet.get(), encoder.time_base, output.streams[0]->time_base);
        packet->stream_index = 0;
        require(av_interleaved_write_frame(&output, packet.get()));
    }
}

/// A tenth of a second of sound, whose samples count up from `index` * 1000.
void writeSound(AVFormatContext& output, int index) {
    const PacketPtr packet = makePacket();
    constexpr int kSamples = kSoundRate / 10;
    require(av_new_packet(packet.get(), kSamples * 2));
    for (int i = 0; i < kSamples; ++i) {
        const auto sample = static_cast<std::int16_t>(index * 1000 + i);
        std::memcpy(packet->data + 2 * i, &sample, 2);
    }
    packet->stream_index = 1;
    packet->pts = packet->dts = std::int64_t{kSamples} * index;
    packet->duration = kSamples;
    av_packet_rescale_ts(packet.get(), {1, kSoundRate}, output.streams[1]->time_base);
    require(av_interleaved_write_frame(&output, packet.get()));
}

FramePtr makeFrameAt(std::size_t index) {
    FramePtr frame = makeFrame();
    frame->width = kTestWidth;
    frame->height = kTestHeight;
    frame->format = AV_PIX_FMT_YUV420P;
    frame->pts = kFrameTimes[index];
    require(av_frame_get_buffer(frame.get(), 0));
    for (int plane = 0; plane < 3; ++plane) {
        const int height = plane == 0 ? kTestHeight : kTestHeight / 2;
        std::memset(frame->data[plane], plane == 0 ? 16 + 20 * static_cast<int>(index) : 128,
                    static_cast<std::size_t>(frame->linesize[plane]) *
                        static_cast<std::size_t>(height));
    }
    return frame;
}

} // namespace

TemporaryFolder::TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "clips-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category());
    }
    path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
}

void writeTestClip(const std::filesystem::path& path) {
    silenceFfmpeg();
    AVFormatContext* context = nullptr;
    require(avformat_alloc_output_context2(&context, nullptr, nullptr, path.c_str()));
    const OutputPtr output(context);
    const CodecContextPtr encoder = openEncoder(*output);
    addSound(*output);
    addChapter(*output);
    av_dict_set(&output->metadata, "title", "A title", 0);
    require(avio_open(&output->pb, path.c_str(), AVIO_FLAG_WRITE));
    require(avformat_write_header(output.get(), nullptr));
    for (int tenth = 0; tenth < 5; ++tenth) {
        writeSound(*output, tenth);
    }
    for (std::size_t i = 0; i < kFrameTimes.size(); ++i) {
        require(avcodec_send_frame(encoder.get(), makeFrameAt(i).get()));
        drain(*encoder, *output);
    }
    require(avcodec_send_frame(encoder.get(), nullptr));
    drain(*encoder, *output);
    require(av_write_trailer(output.get()));
    require(avio_closep(&output->pb));
}

} // namespace tintwell::media
