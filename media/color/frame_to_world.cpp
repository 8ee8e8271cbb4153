#include "media/color/chroma_rows.h"
#include "media/color/frame_converter.h"
#include "media/color/picture_samples.h"
#include "media/color/row_access.h"
#include "media/color/row_loop.h"
#include "media/color/sample_rows.h"
#include "media/color/zimg_graph.h"

#include <optional>
#include <tuple>
#include <vector>

namespace tintwell::media {

class FrameToWorld::Implementation {
public:
    Implementation(const PictureFormat& from, host::SampleDepth depth)
        : format_(directVersion(from)), traits_(traitsOf(format_.pixelFormat)),
          worldIsByte_(depth == host::SampleDepth::Bits8), rows_(format_.pixelFormat),
          graph_(pictureSamples(format_, false), worldSamples(format_, depth), 1) {
        if (format_ != from) {
            repacker_.emplace(from, format_);
            repacked_ = makePicture(format_);
        }
    }

    void convert(const AVFrame& picture, host::FrameBuffer& world) {
        if (repacker_) {
            repacker_->repack(picture, *repacked_);
        }
        const AVFrame& direct = repacker_ ? *repacked_ : picture;
        const ChromaRows chroma{format_.height, traits_.chromaShiftY,
                                picture.interlaced_frame != 0};
        withSampleType(traits_.depth <= 8, [&](auto sample) {
            graph_.run(
                [&](unsigned row, unsigned left, unsigned right) {
                    unpack<decltype(sample)>(direct, chroma, row, static_cast<int>(left),
                                             static_cast<int>(right));
                },
                [&](unsigned row, unsigned left, unsigned right) {
                    pack(row, left, right, world);
                });
        });
    }

private:
    template <class Sample>
    void unpack(const AVFrame& picture, const ChromaRows& chroma, unsigned row, int left,
                int right) {
        const auto plane = [&](int index) { return graph_.input().row<Sample>(index, row); };
        const auto read = [&](int component, int index) {
            rows_.read(picture, component, static_cast<int>(row), left, right - left,
                       plane(index) + left);
        };
        read(0, 0);
        if (traits_.model == ColorModel::Grey) {
            std::copy(plane(0) + left, plane(0) + right, plane(1) + left);
            std::copy(plane(0) + left, plane(0) + right, plane(2) + left);
        } else if (traits_.chromaShiftX == 0 && traits_.chromaShiftY == 0) {
            read(1, 1);
            read(2, 2);
        } else {
            const int chromaRow = chroma.rowFor(static_cast<int>(row));
            readChroma(picture, 1, chromaRow, left, right, plane(1));
            readChroma(picture, 2, chromaRow, left, right, plane(2));
        }
        if (traits_.alpha) {
            read(traits_.model == ColorModel::Grey ? 1 : kAlphaPlane, kAlphaPlane);
        }
    }

    template <class Sample>
    void readChroma(const AVFrame& picture, int component, int chromaRow, int left, int right,
                    Sample* fullRow) {
        const int shift = traits_.chromaShiftX;
        const int first = left >> shift;
        const int count = ((right - 1) >> shift) - first + 1;
        auto& samples = std::get<std::vector<Sample>>(chroma_);
        samples.resize(static_cast<std::size_t>(count));
        rows_.read(picture, component, chromaRow, first, count, samples.data());
        runRowLoop<replicate<Sample>>(static_cast<const Sample*>(samples.data()), shift,
                                      static_cast<std::size_t>(right - left), fullRow + left);
    }

    void pack(unsigned row, std::size_t left, std::size_t right, host::FrameBuffer& world) {
        std::byte* worldRow = world.row(static_cast<std::int32_t>(row));
        withSampleType(worldIsByte_, [&](auto sample) {
            using Sample = decltype(sample);
            if (traits_.alpha) {
                pack<Sample, true>(row, left, right, worldRow);
            } else {
                pack<Sample, false>(row, left, right, worldRow);
            }
        });
    }

    template <class Sample, bool kAlpha>
    void pack(unsigned row, std::size_t left, std::size_t right, std::byte* worldRow) {
        const auto plane = [&](int index) -> const Sample* {
            return graph_.output().row<Sample>(index, row) + left;
        };
        runRowLoop<interleave<Sample, kAlpha>>(plane(kAlphaPlane), plane(0), plane(1), plane(2),
                                               reinterpret_cast<Sample*>(worldRow) + 4 * left,
                                               right - left);
    }

    PictureFormat format_; ///< after repacking
    PixelFormatTraits traits_;
    bool worldIsByte_;
    RowAccess rows_;
    ZimgGraph graph_;
    std::optional<Repacker> repacker_;
    FramePtr repacked_;
    std::tuple<std::vector<std::uint8_t>, std::vector<std::uint16_t>> chroma_;
};

FrameToWorld::FrameToWorld(const PictureFormat& from, host::SampleDepth depth)
    : implementation_(std::make_unique<Implementation>(from, depth)) {}

FrameToWorld::~FrameToWorld() = default;

void FrameToWorld::convert(const AVFrame& picture, host::FrameBuffer& world) {
    implementation_->convert(picture, world);
}

} // namespace tintwell::media
