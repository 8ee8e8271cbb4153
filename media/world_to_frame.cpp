#include "media/chroma_rows.h"
#include "media/frame_converter.h"
#include "media/picture_samples.h"
#include "media/row_access.h"
#include "media/sample_rows.h"
#include "media/zimg_graph.h"

#include <cstring>
#include <optional>
#include <tuple>
#include <vector>

namespace tintwell::media {
namespace {

void clear(AVFrame& picture) {
    for (AVBufferRef* buffer : picture.buf) {
        if (buffer != nullptr) {
            std::memset(buffer->data, 0, buffer->size);
        }
    }
}

/// Rows that must still be at hand when the last of those that share chroma is finished.
unsigned rowsToKeep(const PixelFormatTraits& traits) {
    return static_cast<unsigned>(ChromaRows{0, traits.chromaShiftY, true}.span());
}

} // namespace

class WorldToFrame::Implementation {
public:
    Implementation(host::SampleDepth depth, const PictureFormat& to)
        : format_(directVersion(to)), traits_(traitsOf(format_.pixelFormat)),
          worldIsByte_(depth == host::SampleDepth::Bits8), rows_(format_.pixelFormat),
          graph_(worldSamples(format_, depth), pictureSamples(format_, true), rowsToKeep(traits_)),
          unchanged_(rowsToKeep(traits_), static_cast<std::size_t>(to.width)) {
        if (format_ != to) {
            repacker_.emplace(format_, to);
            direct_ = makePicture(format_);
        }
    }

    void convert(const host::FrameBuffer& world, AVFrame& picture, const Original* original) {
        AVFrame& direct = repacker_ ? *direct_ : picture;
        if (rows_.mergesSamples()) {
            clear(direct);
        }
        original_ = repacker_ ? nullptr : original;
        chroma_ = {format_.height, traits_.chromaShiftY, picture.interlaced_frame != 0};
        withSampleType(traits_.depth <= 8, [&](auto sample) {
            graph_.run([&](unsigned row, unsigned left,
                           unsigned right) { unpack(world, row, left, right); },
                       [&](unsigned row, unsigned left, unsigned right) {
                           compareWithOriginal(world, row, left, right);
                           pack<decltype(sample)>(direct, static_cast<int>(row),
                                                  static_cast<int>(left), static_cast<int>(right));
                       });
        });
        if (repacker_) {
            repacker_->repack(direct, picture);
        }
    }

private:
    void unpack(const host::FrameBuffer& world, unsigned row, std::size_t left, std::size_t right) {
        const std::byte* worldRow = world.row(static_cast<std::int32_t>(row));
        withSampleType(worldIsByte_, [&](auto sample) {
            deinterleave<decltype(sample)>(worldRow, left, right, graph_.input(), row);
        });
    }

    void compareWithOriginal(const host::FrameBuffer& world, unsigned row, std::size_t left,
                             std::size_t right) {
        if (original_ == nullptr) {
            return;
        }
        const auto y = static_cast<std::int32_t>(row);
        withSampleType(worldIsByte_, [&](auto sample) {
            comparePixels<decltype(sample)>(world.row(y), original_->world.row(y), left, right,
                                            unchanged_.row<std::uint8_t>(0, row));
        });
    }

    template <class Sample>
    void pack(AVFrame& picture, int y, int left, int right) {
        writeFull<Sample>(picture, 0, 0, y, left, right);
        if (traits_.model != ColorModel::Grey) {
            if (traits_.chromaShiftX == 0 && traits_.chromaShiftY == 0) {
                writeFull<Sample>(picture, 1, 1, y, left, right);
                writeFull<Sample>(picture, 2, 2, y, left, right);
            } else if (isLastOfItsChroma(y)) {
                writeChroma<Sample>(picture, 1, y, left, right);
                writeChroma<Sample>(picture, 2, y, left, right);
            }
        }
        if (traits_.alpha) {
            const int component = traits_.model == ColorModel::Grey ? 1 : kAlphaPlane;
            writeFull<Sample>(picture, component, kAlphaPlane, y, left, right);
        }
    }

    /// A row of a component that has a sample for every pixel.
    template <class Sample>
    void writeFull(AVFrame& picture, int component, int plane, int y, int left, int right) {
        Sample* samples = graph_.output().row<Sample>(plane, static_cast<unsigned>(y)) + left;
        const std::uint8_t* unchanged =
            unchanged_.row<std::uint8_t>(0, static_cast<unsigned>(y)) + left;
        writeRow(picture, component, y, left, right - left, unchanged, 1, samples);
    }

    /// Restores what is unchanged and writes the row.
    template <class Sample, class Count>
    void writeRow(AVFrame& picture, int component, int row, int first, int count,
                  const Count* unchanged, std::uint32_t all, Sample* samples) {
        if (original_ != nullptr) {
            auto& originals = std::get<std::vector<Sample>>(originals_);
            originals.resize(static_cast<std::size_t>(count));
            rows_.read(original_->picture, component, row, first, count, originals.data());
            restore<Sample>(originals, unchanged, all, samples);
        }
        rows_.write(picture, component, row, first, count, samples);
    }

    bool isLastOfItsChroma(int y) const {
        for (int below = y + 1; below < std::min(y + chroma_.span(), chroma_.height); ++below) {
            if (chroma_.rowFor(below) == chroma_.rowFor(y)) {
                return false;
            }
        }
        return true;
    }

    /// The chroma row whose last luma row is y.
    template <class Sample>
    void writeChroma(AVFrame& picture, int plane, int y, int left, int right) {
        const int shift = traits_.chromaShiftX;
        const int first = left >> shift;
        const int last = (right - 1) >> shift;
        const int lastColumns = right - (last << shift);
        sums_.assign(static_cast<std::size_t>(last) - static_cast<std::size_t>(first) + 1, 0);
        unchangedSums_.assign(sums_.size(), 0);
        int rowCount = 0;
        for (int shared = std::max(0, y - chroma_.span() + 1); shared <= y; ++shared) {
            if (chroma_.rowFor(shared) == chroma_.rowFor(y)) {
                const auto row = static_cast<unsigned>(shared);
                addShared(graph_.output().row<Sample>(plane, row), shift, left, right,
                          sums_.data());
                addShared(unchanged_.row<std::uint8_t>(0, row), shift, left, right,
                          unchangedSums_.data());
                ++rowCount;
            }
        }
        // As if the last sample had its full number of columns.
        unchangedSums_.back() +=
            static_cast<std::uint32_t>(rowCount * ((1 << shift) - lastColumns));
        auto& averages = std::get<std::vector<Sample>>(averages_);
        averages.resize(sums_.size());
        averageShared<Sample>(sums_, shift, rowCount, lastColumns, averages.data());
        writeRow(picture, plane, chroma_.rowFor(y), first, last - first + 1, unchangedSums_.data(),
                 static_cast<std::uint32_t>(rowCount << shift), averages.data());
    }

    PictureFormat format_; ///< before repacking
    PixelFormatTraits traits_;
    bool worldIsByte_;
    RowAccess rows_;
    ZimgGraph graph_;
    std::optional<Repacker> repacker_;
    FramePtr direct_;
    RowRing unchanged_; ///< 1 for each pixel that is as in the original, else 0
    std::vector<std::uint32_t> sums_;
    std::vector<std::uint32_t> unchangedSums_;
    std::tuple<std::vector<std::uint8_t>, std::vector<std::uint16_t>> averages_;
    std::tuple<std::vector<std::uint8_t>, std::vector<std::uint16_t>> originals_;
    // Of the picture being converted.
    const Original* original_ = nullptr;
    ChromaRows chroma_;
};

WorldToFrame::WorldToFrame(host::SampleDepth depth, const PictureFormat& to)
    : implementation_(std::make_unique<Implementation>(depth, to)) {}

WorldToFrame::~WorldToFrame() = default;

void WorldToFrame::convert(const host::FrameBuffer& world, AVFrame& picture,
                           const Original* original) {
    implementation_->convert(world, picture, original);
}

} // namespace tintwell::media
