#include "media/color/frame_converter.h"
#include "media/color/picture_pool.h"
#include "media/color/row_access.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace tintwell::media {
namespace {

using host::FrameBuffer;
using host::SampleDepth;

PictureFormat formatOf(const char* name, AVColorSpace matrix, AVColorRange range, int width,
                       int height) {
    const AVPixelFormat format = av_get_pix_fmt(name);
    const ColorTags tags{matrix, range};
    return {width, height, format, resolveColor(format, width, height, tags)};
}

int columnsOf(const PictureFormat& format, int component) {
    const PixelFormatTraits traits = traitsOf(format.pixelFormat);
    const bool chroma = traits.model == ColorModel::Yuv && (component == 1 || component == 2);
    return chroma ? -(-format.width >> traits.chromaShiftX) : format.width;
}

int rowsOf(const PictureFormat& format, int component) {
    const PixelFormatTraits traits = traitsOf(format.pixelFormat);
    const bool chroma = traits.model == ColorModel::Yuv && (component == 1 || component == 2);
    return chroma ? -(-format.height >> traits.chromaShiftY) : format.height;
}

int componentsOf(const PictureFormat& format) {
    return av_pix_fmt_desc_get(format.pixelFormat)->nb_components;
}

/// Calls visit(component, row) for each row of each component.
template <class Visit>
void forEachRow(const PictureFormat& format, Visit visit) {
    for (int component = 0; component < componentsOf(format); ++component) {
        for (int row = 0; row < rowsOf(format, component); ++row) {
            visit(component, row);
        }
    }
}

FramePtr makePicture(const PictureFormat& format) {
    FramePtr picture = PicturePool(format).take();
    std::fill_n(picture->buf[0]->data, picture->buf[0]->size, std::uint8_t{0});
    return picture;
}

using Row = std::vector<std::uint16_t>;

/// Rows of up to 16 bits, also of 8-bit formats.
Row readRow(const PictureFormat& format, const AVFrame& picture, int component, int row) {
    Row samples(static_cast<std::size_t>(columnsOf(format, component)));
    const std::uint8_t* data[4] = {picture.data[0], picture.data[1], picture.data[2],
                                   picture.data[3]};
    av_read_image_line2(samples.data(), data, picture.linesize,
                        av_pix_fmt_desc_get(format.pixelFormat), 0, row, component,
                        static_cast<int>(samples.size()), 0, 2);
    return samples;
}

void writeRow(const PictureFormat& format, AVFrame& picture, int component, int row,
              const Row& samples) {
    std::uint8_t* data[4] = {picture.data[0], picture.data[1], picture.data[2], picture.data[3]};
    av_write_image_line2(samples.data(), data, picture.linesize,
                         av_pix_fmt_desc_get(format.pixelFormat), 0, row, component,
                         static_cast<int>(samples.size()), 2);
}

enum class Content { WithinRgb, AnyCode };

/// Blocks of changing colour with noise. Within R,G,B: luma in the middle and little chroma, so
/// that no combination leaves the cube; otherwise any code the format has.
FramePtr makeContent(const PictureFormat& format, Content content) {
    FramePtr picture = makePicture(format);
    const int white = (1 << traitsOf(format.pixelFormat).depth) - 1;
    std::mt19937 random(7);
    forEachRow(format, [&](int component, int row) {
        Row samples(static_cast<std::size_t>(columnsOf(format, component)));
        for (std::size_t x = 0; x < samples.size(); ++x) {
            const double block = ((static_cast<int>(x) / 5 + row / 3) % 4) / 3.0;
            const double noise = static_cast<double>(random() % 1000) / 1000.0;
            const bool chroma = columnsOf(format, component) != format.width || component % 3 != 0;
            const double inside =
                chroma ? 0.42 + 0.12 * block + 0.04 * noise : 0.35 + 0.25 * block + 0.05 * noise;
            samples[x] = static_cast<std::uint16_t>(
                std::lround(white * (content == Content::WithinRgb ? inside : noise)));
        }
        writeRow(format, *picture, component, row, samples);
    });
    return picture;
}

/// Of the component that came back worst; infinite where nothing has changed.
double worstPsnr(const PictureFormat& format, const AVFrame& before, const AVFrame& after) {
    const double white = (1 << traitsOf(format.pixelFormat).depth) - 1;
    std::vector<double> error(static_cast<std::size_t>(componentsOf(format)));
    forEachRow(format, [&](int component, int row) {
        const Row expected = readRow(format, before, component, row);
        const Row actual = readRow(format, after, component, row);
        for (std::size_t x = 0; x < expected.size(); ++x) {
            error[static_cast<std::size_t>(component)] +=
                std::pow(expected[x] - actual[x], 2) /
                (static_cast<double>(expected.size()) * rowsOf(format, component));
        }
    });
    return 10.0 * std::log10(white * white / *std::ranges::max_element(error));
}

struct RoundTrip {
    const char* pixelFormat;
    AVColorSpace matrix;
    AVColorRange range;
};

constexpr RoundTrip kRoundTrips[] = {
    {"yuv420p", AVCOL_SPC_BT709, AVCOL_RANGE_MPEG},
    {"yuv420p", AVCOL_SPC_SMPTE170M, AVCOL_RANGE_JPEG},
    {"yuv420p", AVCOL_SPC_UNSPECIFIED, AVCOL_RANGE_UNSPECIFIED},
    {"yuvj420p", AVCOL_SPC_UNSPECIFIED, AVCOL_RANGE_UNSPECIFIED},
    {"yuv422p", AVCOL_SPC_BT709, AVCOL_RANGE_JPEG},
    {"yuv444p", AVCOL_SPC_SMPTE170M, AVCOL_RANGE_MPEG},
    {"yuv440p", AVCOL_SPC_BT709, AVCOL_RANGE_MPEG},
    {"yuv410p", AVCOL_SPC_SMPTE170M, AVCOL_RANGE_MPEG},
    {"yuva420p", AVCOL_SPC_BT709, AVCOL_RANGE_MPEG},
    {"yuv420p10le", AVCOL_SPC_BT2020_NCL, AVCOL_RANGE_MPEG},
    {"yuv422p10le", AVCOL_SPC_BT709, AVCOL_RANGE_JPEG},
    {"yuv444p10be", AVCOL_SPC_SMPTE170M, AVCOL_RANGE_MPEG},
    {"yuva444p12le", AVCOL_SPC_BT709, AVCOL_RANGE_MPEG},
    {"nv12", AVCOL_SPC_BT709, AVCOL_RANGE_MPEG},
    {"p010le", AVCOL_SPC_BT709, AVCOL_RANGE_MPEG},
    {"yuyv422", AVCOL_SPC_SMPTE170M, AVCOL_RANGE_MPEG},
    {"gray", AVCOL_SPC_UNSPECIFIED, AVCOL_RANGE_UNSPECIFIED},
    {"gray10le", AVCOL_SPC_UNSPECIFIED, AVCOL_RANGE_MPEG},
    {"ya16be", AVCOL_SPC_UNSPECIFIED, AVCOL_RANGE_UNSPECIFIED},
    {"rgb24", AVCOL_SPC_RGB, AVCOL_RANGE_UNSPECIFIED},
    {"bgra", AVCOL_SPC_UNSPECIFIED, AVCOL_RANGE_JPEG},
    {"rgb48be", AVCOL_SPC_UNSPECIFIED, AVCOL_RANGE_UNSPECIFIED},
    {"x2rgb10le", AVCOL_SPC_UNSPECIFIED, AVCOL_RANGE_UNSPECIFIED},
    {"gbrap12le", AVCOL_SPC_UNSPECIFIED, AVCOL_RANGE_UNSPECIFIED},
};

class RoundTripTest : public testing::TestWithParam<RoundTrip> {};

TEST_P(RoundTripTest, IsWithinRoundingAndExactForUntouchedPixels) {
    const auto& [name, matrix, range] = GetParam();
    // Odd sizes: the last chroma column and row belong to fewer pixels.
    const PictureFormat format = formatOf(name, matrix, range, 101, 51);
    for (const SampleDepth depth : {SampleDepth::Bits8, SampleDepth::Bits16}) {
        for (const int interlaced : {0, 1}) {
            SCOPED_TRACE(std::to_string(static_cast<int>(depth)) + " bits, interlaced " +
                         std::to_string(interlaced));
            FrameBuffer world(format.width, format.height, depth);
            FrameToWorld in(format, depth);
            WorldToFrame out(depth, format);
            FramePtr returned = makePicture(format);
            returned->interlaced_frame = interlaced;

            const FramePtr calm = makeContent(format, Content::WithinRgb);
            calm->interlaced_frame = interlaced;
            in.convert(*calm, world);
            out.convert(world, *returned);
            EXPECT_GE(worstPsnr(format, *calm, *returned), 50.0);

            const FramePtr wild = makeContent(format, Content::AnyCode);
            wild->interlaced_frame = interlaced;
            in.convert(*wild, world);
            const Original original{*wild, world};
            out.convert(world, *returned, &original);
            EXPECT_TRUE(std::isinf(worstPsnr(format, *wild, *returned)));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, RoundTripTest, testing::ValuesIn(kRoundTrips),
                         [](const auto& info) {
                             return std::string(info.param.pixelFormat) + "_" +
                                    std::to_string(info.index);
                         });

/// The formula of the standards, in real numbers, for a sample of 8 or more bits.
std::array<double, 3> toRgb(double y, double u, double v, int depth, bool full, double kr,
                            double kb) {
    const double scale = std::ldexp(1.0, depth - 8);
    const double luma = full ? y / (255.0 * scale + scale - 1.0) : (y / scale - 16.0) / 219.0;
    const double white = std::ldexp(1.0, depth) - 1.0;
    const double center = 128.0 * scale;
    const double cb = full ? (u - center) / white : (u - center) / (224.0 * scale);
    const double cr = full ? (v - center) / white : (v - center) / (224.0 * scale);
    const double red = luma + 2.0 * (1.0 - kr) * cr;
    const double blue = luma + 2.0 * (1.0 - kb) * cb;
    return {red, (luma - kr * red - kb * blue) / (1.0 - kr - kb), blue};
}

TEST(ColorConversion, FollowsTheMatrixOfTheStandard) {
    struct Case {
        const char* pixelFormat;
        AVColorSpace matrix;
        AVColorRange range;
        double kr;
        double kb;
    };

    const Case cases[] = {
        {"yuv444p", AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, 0.2126, 0.0722},
        {"yuv444p", AVCOL_SPC_UNSPECIFIED, AVCOL_RANGE_UNSPECIFIED, 0.299, 0.114}, // small: BT.601
        {"yuv444p", AVCOL_SPC_BT470BG, AVCOL_RANGE_JPEG, 0.299, 0.114},
        {"yuv444p10le", AVCOL_SPC_BT2020_NCL, AVCOL_RANGE_MPEG, 0.2627, 0.0593},
    };
    for (const Case& c : cases) {
        const PictureFormat format = formatOf(c.pixelFormat, c.matrix, c.range, 4, 1);
        const int depth = traitsOf(format.pixelFormat).depth;
        const std::array<Row, 3> samples{Row{60, 120, 180, 90}, Row{110, 140, 128, 120},
                                         Row{150, 120, 128, 100}};
        FramePtr picture = makePicture(format);
        for (int component = 0; component < 3; ++component) {
            Row scaled = samples[static_cast<std::size_t>(component)];
            std::ranges::for_each(scaled, [&](std::uint16_t& s) {
                s = static_cast<std::uint16_t>(s << (depth - 8));
            });
            writeRow(format, *picture, component, 0, scaled);
        }
        FrameBuffer world(4, 1, SampleDepth::Bits16);
        FrameToWorld(format, SampleDepth::Bits16).convert(*picture, world);
        const auto* pixels = reinterpret_cast<const std::uint16_t*>(world.row(0));
        for (std::size_t x = 0; x < 4; ++x) {
            const double scale = std::ldexp(1.0, depth - 8);
            const auto expected =
                toRgb(samples[0][x] * scale, samples[1][x] * scale, samples[2][x] * scale, depth,
                      c.range == AVCOL_RANGE_JPEG, c.kr, c.kb);
            EXPECT_EQ(pixels[4 * x], 32768);
            for (std::size_t channel = 0; channel < 3; ++channel) {
                EXPECT_NEAR(pixels[4 * x + 1 + channel], 32768.0 * expected[channel], 1.5)
                    << c.pixelFormat << " pixel " << x << " channel " << channel;
            }
        }
    }
}

TEST(ColorConversion, OnlySamplesOfUntouchedPixelsComeFromTheOriginal) {
    const PictureFormat format = formatOf("yuv420p", AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, 4, 2);
    FramePtr picture = makePicture(format);
    for (int row = 0; row < 2; ++row) {
        writeRow(format, *picture, 0, row, Row(4, 250)); // above white: lost in R,G,B
    }
    writeRow(format, *picture, 1, 0, Row{90, 90});
    writeRow(format, *picture, 2, 0, Row{90, 90});
    FrameBuffer before(4, 2, SampleDepth::Bits8);
    FrameBuffer after(4, 2, SampleDepth::Bits8);
    FrameToWorld in(format, SampleDepth::Bits8);
    in.convert(*picture, before);
    in.convert(*picture, after);
    after.row(0)[1] ^= std::byte{8}; // the red of the first pixel

    FramePtr returned = makePicture(format);
    const Original original{*picture, before};
    WorldToFrame(SampleDepth::Bits8, format).convert(after, *returned, &original);
    EXPECT_NE(readRow(format, *returned, 0, 0)[0], 250);
    EXPECT_EQ(readRow(format, *returned, 0, 0)[1], 250);
    EXPECT_NE(readRow(format, *returned, 1, 0)[0], 90);
    EXPECT_EQ(readRow(format, *returned, 1, 0)[1], 90);
}

TEST(ColorConversion, InterlacedRowsShareChromaWithinTheirField) {
    const PictureFormat format = formatOf("yuv420p", AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, 2, 4);
    FramePtr picture = makePicture(format);
    for (int row = 0; row < 4; ++row) {
        writeRow(format, *picture, 0, row, Row(2, 126));
    }
    for (int row = 0; row < 2; ++row) {
        writeRow(format, *picture, 1, row, Row{128});
        writeRow(format, *picture, 2, row, Row{static_cast<std::uint16_t>(row == 0 ? 128 : 168)});
    }
    FrameBuffer world(2, 4, SampleDepth::Bits8);
    FrameToWorld in(format, SampleDepth::Bits8);
    const auto redOf = [&](int row) { return world.row(row)[1]; };
    in.convert(*picture, world);
    EXPECT_TRUE(redOf(0) == redOf(1) && redOf(1) != redOf(2) && redOf(2) == redOf(3));
    picture->interlaced_frame = 1;
    in.convert(*picture, world);
    EXPECT_TRUE(redOf(0) == redOf(2) && redOf(0) != redOf(1) && redOf(1) == redOf(3));
}

/// The A,R,G,B samples of a picture of one row.
std::vector<int> convertRow(const PictureFormat& format, const AVFrame& picture) {
    FrameBuffer world(format.width, 1, SampleDepth::Bits8);
    FrameToWorld(format, SampleDepth::Bits8).convert(picture, world);
    std::vector<int> samples(static_cast<std::size_t>(format.width) * 4);
    std::transform(world.row(0), world.row(0) + samples.size(), samples.begin(),
                   [](std::byte sample) { return static_cast<int>(sample); });
    return samples;
}

TEST(ColorConversion, PalettesAndBitFieldsAreUnpackedWithoutLoss) {
    const PictureFormat palette =
        formatOf("pal8", AVCOL_SPC_UNSPECIFIED, AVCOL_RANGE_UNSPECIFIED, 256, 1);
    FramePtr picture = makePicture(palette);
    std::vector<int> expected;
    for (int i = 0; i < 256; ++i) {
        picture->data[0][i] = static_cast<std::uint8_t>(i);
        const std::array argb{255 - i, i, i ^ 85, i * 7 & 255};
        std::uint32_t color = 0;
        for (const int sample : argb) {
            color = color << 8U | static_cast<std::uint32_t>(sample);
            expected.push_back(sample);
        }
        std::memcpy(picture->data[1] + 4 * std::ptrdiff_t{i}, &color, 4);
    }
    EXPECT_EQ(convertRow(palette, *picture), expected);

    const PictureFormat bits =
        formatOf("monob", AVCOL_SPC_UNSPECIFIED, AVCOL_RANGE_UNSPECIFIED, 8, 1);
    picture = makePicture(bits);
    picture->data[0][0] = 0b10100110;
    const std::vector<int> grey = convertRow(bits, *picture);
    for (std::size_t x = 0; x < 8; ++x) {
        const int value = (0b10100110 >> (7 - x) & 1) * 255;
        for (std::size_t channel = 1; channel < 4; ++channel) {
            EXPECT_EQ(grey[4 * x + channel], value) << x;
        }
    }
}

/// Of each 8 by 8 samples of a component, in steps of the deeper format: by how much their mean
/// differs from that of the source's, at most.
double worstBlock(const PictureFormat& from, const AVFrame& before, const PictureFormat& to,
                  const AVFrame& after, int component) {
    const double white = (1 << traitsOf(to.pixelFormat).depth) - 1;
    const int shift = traitsOf(from.pixelFormat).depth - traitsOf(to.pixelFormat).depth;
    const double step =
        to.color.fullRange ? ((1 << traitsOf(from.pixelFormat).depth) - 1) / white : 1 << shift;
    const bool chroma = traitsOf(to.pixelFormat).model == ColorModel::Yuv && component > 0;
    const double center = chroma ? 1 << (traitsOf(to.pixelFormat).depth - 1) : 0;
    double worst = 0.0;
    for (int top = 0; top + 8 <= rowsOf(from, component); top += 8) {
        std::vector<double> differences(static_cast<std::size_t>(columnsOf(from, component)) / 8);
        for (int row = top; row < top + 8; ++row) {
            const Row expected = readRow(from, before, component, row);
            const Row actual = readRow(to, after, component, row);
            for (std::size_t x = 0; x < 8 * differences.size(); ++x) {
                const double exact = (expected[x] - center * (1 << shift)) / step + center;
                differences[x / 8] += (actual[x] - exact) / 64.0;
            }
        }
        for (const double difference : differences) {
            worst = std::max(worst, std::abs(difference));
        }
    }
    return worst;
}

/// A slow ramp whose levels lie between those of fewer bits.
FramePtr makeRamp(const PictureFormat& format) {
    FramePtr picture = makePicture(format);
    const int middle = 1 << (traitsOf(format.pixelFormat).depth - 1);
    forEachRow(format, [&](int component, int row) {
        Row samples(static_cast<std::size_t>(columnsOf(format, component)));
        const bool chroma = traitsOf(format.pixelFormat).model == ColorModel::Yuv && component > 0;
        for (std::size_t x = 0; x < samples.size(); ++x) {
            const auto block = static_cast<int>(x / 8) + row / 8;
            samples[x] = static_cast<std::uint16_t>(middle + (chroma ? block % 11 - 5 : 3 * block));
        }
        writeRow(format, *picture, component, row, samples);
    });
    return picture;
}

TEST(ColorConversion, FewerBitsAreDitheredAroundTheSameMean) {
    struct Case {
        const char* from;
        const char* to;
        AVColorRange range;
    };

    for (const auto& [fromName, toName, range] :
         {Case{"yuv420p10le", "yuv420p", AVCOL_RANGE_MPEG},
          Case{"yuv444p12le", "yuv444p10le", AVCOL_RANGE_MPEG},
          Case{"yuv422p10le", "nv16", AVCOL_RANGE_JPEG},
          Case{"gbrp10le", "rgb24", AVCOL_RANGE_JPEG},
          Case{"gray12le", "gray", AVCOL_RANGE_JPEG}}) {
        SCOPED_TRACE(toName);
        const AVColorSpace matrix =
            toName[0] == 'r' ? AVCOL_SPC_RGB : AVCOL_SPC_BT709; // no other can be for R,G,B
        const PictureFormat from = formatOf(fromName, matrix, range, 160, 48);
        const PictureFormat to = formatOf(toName, matrix, range, 160, 48);
        const FramePtr before = makeRamp(from);
        FrameBuffer world(from.width, from.height, SampleDepth::Bits16);
        FrameToWorld(from, SampleDepth::Bits16).convert(*before, world);

        WorldToFrame dithering(SampleDepth::Bits16, to, Rounding::Dithered);
        const FramePtr after = makePicture(to);
        const FramePtr rounded = makePicture(to);
        dithering.convert(world, *after);
        WorldToFrame(SampleDepth::Bits16, to).convert(world, *rounded);
        for (int component = 0; component < componentsOf(to); ++component) {
            EXPECT_LT(worstBlock(from, *before, to, *after, component), 0.05) << component;
            EXPECT_GT(worstBlock(from, *before, to, *rounded, component), 0.2) << component;
        }
        const FramePtr again = makePicture(to); // with the same converter, after another picture
        dithering.convert(FrameBuffer(from.width, from.height, SampleDepth::Bits16), *again);
        dithering.convert(world, *again);
        EXPECT_TRUE(std::isinf(worstPsnr(to, *after, *again)));
    }
}

TEST(ColorEncoding, GuessesAsPlayersDoAndKeepsTags) {
    const auto matrixFor = [](int width, int height) {
        return resolveColor(AV_PIX_FMT_YUV420P, width, height, {}).matrix;
    };
    EXPECT_EQ(matrixFor(720, 576), AVCOL_SPC_SMPTE170M);
    EXPECT_EQ(matrixFor(1280, 534), AVCOL_SPC_BT709);
    EXPECT_EQ(matrixFor(768, 577), AVCOL_SPC_BT709);
    EXPECT_FALSE(resolveColor(AV_PIX_FMT_YUV420P, 64, 64, {}).fullRange);
    EXPECT_TRUE(resolveColor(AV_PIX_FMT_YUVJ420P, 64, 64, {}).fullRange);
    EXPECT_TRUE(resolveColor(AV_PIX_FMT_GRAY8, 64, 64, {}).fullRange);

    const OutputColor same = outputColor(AV_PIX_FMT_YUV420P, {}, AV_PIX_FMT_YUV422P, 64, 64);
    EXPECT_EQ(same.tags.matrix, AVCOL_SPC_UNSPECIFIED);
    EXPECT_EQ(same.tags.range, AVCOL_RANGE_UNSPECIFIED);
    const OutputColor fromRgb =
        outputColor(AV_PIX_FMT_RGB24, {AVCOL_SPC_RGB}, AV_PIX_FMT_YUV420P, 1920, 1080);
    EXPECT_EQ(fromRgb.tags.matrix, AVCOL_SPC_BT709);
    EXPECT_EQ(fromRgb.tags.range, AVCOL_RANGE_MPEG);
}

} // namespace
} // namespace tintwell::media
