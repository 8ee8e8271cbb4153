#include "media/color/chroma_rows.h"
#include "media/color/dither.h"
#include "media/color/frame_converter.h"
#include "media/color/picture_samples.h"
#include "media/color/row_access.h"
#include "media/color/row_loop.h"
#include "media/color/sample_rows.h"
#include "media/color/zimg_graph.h"

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

/// Rounded averages of `number` samples each, of which the sums are given.
template <class Sample>
void averageShared(const std::vector<SampleSum<Sample>>& sums, std::uint32_t number,
                   Sample* averages) {
    const auto divide = [&](auto constantNumber) {
        runRowLoop<average<Sample, decltype(constantNumber)>>(sums.data(), sums.size(),
                                                              constantNumber, averages);
    };
    switch (number) {
    case 2:
        divide(std::integral_constant<std::uint32_t, 2>{});
        break;
    case 4:
        divide(std::integral_constant<std::uint32_t, 4>{});
        break;
    default:
        divide(number);
    }
}

/// Where samples are to be dithered, zimg leaves all their bits: those of chroma are averaged
/// first.
std::optional<Dither> ditherFor(const PictureFormat& format, host::SampleDepth depth,
                                Rounding rounding) {
    const int bits = traitsOf(format.pixelFormat).depth;
    const bool loses = depth == host::SampleDepth::Bits16 && bits < 16;
    return loses && rounding == Rounding::Dithered ? std::optional<Dither>(bits) : std::nullopt;
}

zimg_image_format convertedSamples(const PictureFormat& format, bool dithered) {
    zimg_image_format samples = pictureSamples(format, true);
    if (dithered) {
        samples.pixel_type = ZIMG_PIXEL_WORD;
        samples.depth = 16;
    }
    return samples;
}

/// Rows that must still be at hand when the last of those that share chroma is finished.
unsigned rowsToKeep(const PixelFormatTraits& traits) {
    return static_cast<unsigned>(ChromaRows{0, traits.chromaShiftY, true}.span());
}

} // namespace

class WorldToFrame::Implementation {
public:
    Implementation(host::SampleDepth depth, const PictureFormat& to, Rounding rounding)
        : format_(directVersion(to)), traits_(traitsOf(format_.pixelFormat)),
          worldIsByte_(depth == host::SampleDepth::Bits8), rows_(format_.pixelFormat),
          dither_(ditherFor(format_, depth, rounding)),
          graph_(worldSamples(format_, depth), convertedSamples(format_, dither_.has_value()),
                 rowsToKeep(traits_)),
          changed_(rowsToKeep(traits_), static_cast<std::size_t>(to.width)) {
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
        original_ = repacker_ || dither_ ? nullptr : original;
        chroma_ = {format_.height, traits_.chromaShiftY, picture.interlaced_frame != 0};
        withSampleType(traits_.depth <= 8 && !dither_, [&](auto sample) {
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
            using Sample = decltype(sample);
            if (traits_.alpha) {
                unpack<Sample, true>(worldRow, row, left, right);
            } else {
                unpack<Sample, false>(worldRow, row, left, right);
            }
        });
    }

    template <class Sample, bool kAlpha>
    void unpack(const std::byte* worldRow, unsigned row, std::size_t left, std::size_t right) {
        const auto plane = [&](int index) { return graph_.input().row<Sample>(index, row) + left; };
        runRowLoop<deinterleave<Sample, kAlpha>>(
            reinterpret_cast<const Sample*>(worldRow) + 4 * left, plane(kAlphaPlane), plane(0),
            plane(1), plane(2), right - left);
    }

    void compareWithOriginal(const host::FrameBuffer& world, unsigned row, std::size_t left,
                             std::size_t right) {
        if (original_ == nullptr) {
            return;
        }
        const auto y = static_cast<std::int32_t>(row);
        withSampleType(worldIsByte_, [&](auto sample) {
            const std::size_t begin = left * 4 * sizeof sample;
            runRowLoop<comparePixels<decltype(sample)>>(
                world.row(y) + begin, original_->world.row(y) + begin,
                changed_.row<std::uint8_t>(0, row) + left, right - left);
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
        const std::uint8_t* changed =
            changed_.row<std::uint8_t>(0, static_cast<unsigned>(y)) + left;
        writeRow(picture, component, y, left, right - left, changed, samples);
    }

    /// Restores what is unchanged and writes the row.
    template <class Sample>
    void writeRow(AVFrame& picture, int component, int row, int first, int count,
                  const std::uint8_t* changed, Sample* samples) {
        const auto size = static_cast<std::size_t>(count);
        if (original_ != nullptr && std::memchr(changed, 0, size) != nullptr) {
            auto& originals = std::get<std::vector<Sample>>(originals_);
            originals.resize(size);
            rows_.read(original_->picture, component, row, first, count, originals.data());
            runRowLoop<restore<Sample>>(static_cast<const Sample*>(originals.data()), changed,
                                        samples, size);
        }
        if (dither_) {
            writeDithered(picture, component, row, first, samples, size);
        } else {
            rows_.write(picture, component, row, first, count, samples);
        }
    }

    void writeDithered(AVFrame& picture, int component, int row, int first,
                       const std::uint16_t* samples, std::size_t count) {
        withSampleType(traits_.depth <= 8, [&](auto sample) {
            auto& results = std::get<std::vector<decltype(sample)>>(dithered_);
            results.resize(count);
            dither_->reduce(scaleOf(component), samples, count, row, first, results.data());
            rows_.write(picture, component, row, first, static_cast<int>(count), results.data());
        });
    }

    /// Only zimg's results of 16 bits are dithered.
    void writeDithered(AVFrame&, int, int, int, const std::uint8_t*, std::size_t) {}

    Dither::Scale scaleOf(int component) const {
        const int colors = traits_.model == ColorModel::Grey ? 1 : 3;
        if (component >= colors) {
            return Dither::Scale::Full; // alpha
        }
        if (!format_.color.fullRange) {
            return Dither::Scale::Limited;
        }
        const bool chroma = traits_.model == ColorModel::Yuv && component > 0;
        return chroma ? Dither::Scale::FullChroma : Dither::Scale::Full;
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
        const auto columns = static_cast<std::size_t>(right - left);
        const int count = ((right - left - 1) >> shift) + 1;
        auto& sums = std::get<std::vector<SampleSum<Sample>>>(sums_);
        sums.assign(static_cast<std::size_t>(count), 0);
        changedShared_.assign(sums.size(), 0);
        int rowCount = 0;
        for (int shared = std::max(0, y - chroma_.span() + 1); shared <= y; ++shared) {
            if (chroma_.rowFor(shared) == chroma_.rowFor(y)) {
                const auto row = static_cast<unsigned>(shared);
                const Sample* samples = graph_.output().row<Sample>(plane, row) + left;
                runRowLoop<addShared<Sample>>(samples, shift, columns, sums.data());
                if (original_ != nullptr) {
                    const std::uint8_t* changed = changed_.row<std::uint8_t>(0, row) + left;
                    runRowLoop<markShared>(changed, shift, columns, changedShared_.data());
                }
                ++rowCount;
            }
        }
        auto& averages = std::get<std::vector<Sample>>(averages_);
        averages.resize(sums.size());
        const auto number = static_cast<std::uint32_t>(rowCount);
        averageShared(sums, number << shift, averages.data());
        // The last one has fewer columns where the picture ends.
        const auto lastColumns = static_cast<std::uint32_t>(right - left - ((count - 1) << shift));
        average(&sums.back(), 1, number * lastColumns, &averages.back());
        writeRow(picture, plane, chroma_.rowFor(y), left >> shift, count, changedShared_.data(),
                 averages.data());
    }

    PictureFormat format_; ///< before repacking
    PixelFormatTraits traits_;
    bool worldIsByte_;
    RowAccess rows_;
    std::optional<Dither> dither_;
    ZimgGraph graph_;
    std::optional<Repacker> repacker_;
    FramePtr direct_;
    RowRing changed_; ///< 0 for each pixel that is as in the original, else 1
    std::vector<std::uint8_t> changedShared_;
    std::tuple<std::vector<SampleSum<std::uint8_t>>, std::vector<SampleSum<std::uint16_t>>> sums_;
    std::tuple<std::vector<std::uint8_t>, std::vector<std::uint16_t>> averages_;
    std::tuple<std::vector<std::uint8_t>, std::vector<std::uint16_t>> originals_;
    std::tuple<std::vector<std::uint8_t>, std::vector<std::uint16_t>> dithered_;
    // Of the picture being converted.
    const Original* original_ = nullptr;
    ChromaRows chroma_;
};

WorldToFrame::WorldToFrame(host::SampleDepth depth, const PictureFormat& to, Rounding rounding)
    : implementation_(std::make_unique<Implementation>(depth, to, rounding)) {}

WorldToFrame::~WorldToFrame() = default;

void WorldToFrame::convert(const host::FrameBuffer& world, AVFrame& picture,
                           const Original* original) {
    implementation_->convert(world, picture, original);
}

} // namespace tintwell::media
