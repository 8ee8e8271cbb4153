// FFmpeg's normalize filter on the frames that the renders work on, as a peer to be measured by. It
// runs on one thread, looks at one frame at a time as an unsmoothed render does, and is handed its
// frames in a pixel format it takes as it is: neither decoding nor conversion is part of its time.

#include "content.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <stdexcept>

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

namespace tintwell::bench {
namespace {

using host::SampleDepth;

struct FreeFrame {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};

struct FreeGraph {
    void operator()(AVFilterGraph* graph) const { avfilter_graph_free(&graph); }
};

using Frame = std::unique_ptr<AVFrame, FreeFrame>;

void check(int code, const char* what) {
    if (code < 0) {
        throw std::runtime_error(std::string("libavfilter: ") + what);
    }
}

AVPixelFormat formatOf(SampleDepth depth) {
    return depth == SampleDepth::Bits8 ? AV_PIX_FMT_ARGB : AV_PIX_FMT_RGBA64;
}

/// The pixels of a frame; at 16 bits alpha goes last, and the scale up to 32768 stays.
Frame toFilterFrame(const host::FrameBuffer& from, SampleDepth depth) {
    Frame frame(av_frame_alloc());
    frame->format = formatOf(depth);
    frame->width = from.width();
    frame->height = from.height();
    check(av_frame_get_buffer(frame.get(), 0), "no memory");
    const std::size_t pixelBytes = depth == SampleDepth::Bits8 ? 4 : 8;
    for (std::int32_t y = 0; y < from.height(); ++y) {
        std::uint8_t* row = frame->data[0] + std::ptrdiff_t{y} * frame->linesize[0];
        std::memcpy(row, from.row(y), pixelBytes * static_cast<std::size_t>(from.width()));
    }
    return frame;
}

class NormalizeFilter {
public:
    NormalizeFilter(const FrameSize& size, SampleDepth depth) : graph_(avfilter_graph_alloc()) {
        graph_->nb_threads = 1;
        const std::string source =
            "video_size=" + std::to_string(size.width) + "x" + std::to_string(size.height) +
            ":pix_fmt=" + av_get_pix_fmt_name(formatOf(depth)) + ":time_base=1/25";
        AVFilterContext* normalize = nullptr;
        add(source_, "buffer", source.c_str());
        add(normalize, "normalize", "smoothing=0");
        add(sink_, "buffersink", nullptr);
        check(avfilter_link(source_, 0, normalize, 0), "cannot link");
        check(avfilter_link(normalize, 0, sink_, 0), "cannot link");
        check(avfilter_graph_config(graph_.get(), nullptr), "cannot configure");
        for (unsigned i = 0; i < graph_->nb_filters; ++i) {
            if (std::strcmp(graph_->filters[i]->filter->name, "scale") == 0) {
                throw std::runtime_error("the filter does not take this pixel format as it is");
            }
        }
    }

    void run(AVFrame& frame) {
        check(av_buffersrc_add_frame_flags(source_, &frame, AV_BUFFERSRC_FLAG_KEEP_REF), "input");
        check(av_buffersink_get_frame(sink_, output_.get()), "output");
        av_frame_unref(output_.get());
    }

private:
    void add(AVFilterContext*& context, const char* name, const char* options) {
        check(avfilter_graph_create_filter(&context, avfilter_get_by_name(name), name, options,
                                           nullptr, graph_.get()),
              name);
    }

    std::unique_ptr<AVFilterGraph, FreeGraph> graph_;
    AVFilterContext* source_ = nullptr;
    AVFilterContext* sink_ = nullptr;
    Frame output_{av_frame_alloc()};
};

void normalize(benchmark::State& state, const FrameSize& size, SampleDepth depth) {
    std::vector<Frame> frames;
    for (const auto& frame : makeFrames(size, depth, Content::Natural)) {
        frames.push_back(toFilterFrame(*frame, depth));
    }
    NormalizeFilter filter(size, depth);
    std::int64_t time = 0;
    for ([[maybe_unused]] auto iteration : state) {
        AVFrame& frame = *frames[static_cast<std::size_t>(time) % frames.size()];
        frame.pts = time++;
        filter.run(frame);
    }
}

[[maybe_unused]] const bool kRegistered = [] {
    for (const FrameSize& size : kSizes) {
        for (const SampleDepth depth : {SampleDepth::Bits8, SampleDepth::Bits16}) {
            const std::string id = "normalize/" + std::string(size.name) + "/" +
                                   std::to_string(static_cast<int>(depth)) + "/natural/plain";
            benchmark::RegisterBenchmark(id.c_str(), [=](benchmark::State& state) {
                normalize(state, size, depth);
            })->Unit(benchmark::kMillisecond);
        }
    }
    return true;
}();

} // namespace
} // namespace tintwell::bench
