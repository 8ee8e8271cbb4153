#include "media/encoding/encoder_settings.h"

#include "media/pixel_format.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

namespace tintwell::media {
namespace {

/// docs/encoding.md tells how near to the source these come.
struct EncoderRow {
    std::string_view encoder;
    EncoderSettings settings;
};

const std::vector<EncoderRow>& table() {
    static const std::vector<EncoderRow> rows{
        {"libx264", {{{"crf", "17"}}, "crf 17"}},
        {"libx264rgb", {{{"crf", "17"}}, "crf 17"}},
        {"libx265", {{{"crf", "12"}}, "crf 12"}},
        {"libvpx", {{{"crf", "4"}, {"b", "100M"}, {"cpu-used", "2"}}, "crf 4"}},
        {"libvpx-vp9", {{{"crf", "10"}, {"b", "0"}, {"cpu-used", "3"}, {"row-mt", "1"}}, "crf 10"}},
        {"libaom-av1", {{{"crf", "6"}, {"b", "0"}, {"cpu-used", "6"}, {"row-mt", "1"}}, "crf 6"}},
        {"libsvtav1", {{{"crf", "8"}, {"preset", "7"}}, "crf 8"}},
        {"libtheora", {{}, "quality 10 of 10", 10}},
        {"libwebp", {{{"quality", "95"}}, "quality 95"}},
        {"libwebp_anim", {{{"quality", "95"}}, "quality 95"}},
        {"libopenjpeg", {{}, "lossless"}},
        {"jpegls", {{}, "lossless"}},
        {"exr", {{}, "lossless"}},
        {"cfhd", {{}, "film3+"}},
        {"dvvideo", {{}, "DV"}},
    };
    return rows;
}

/// Encoders that without a word about quality aim at a bit rate fit for thumbnails.
constexpr std::array kQuantised{AV_CODEC_ID_MPEG1VIDEO, AV_CODEC_ID_MPEG2VIDEO, AV_CODEC_ID_MPEG4,
                                AV_CODEC_ID_MSMPEG4V2,  AV_CODEC_ID_MSMPEG4V3,  AV_CODEC_ID_MJPEG,
                                AV_CODEC_ID_FLV1,       AV_CODEC_ID_WMV1,       AV_CODEC_ID_WMV2,
                                AV_CODEC_ID_H263,       AV_CODEC_ID_H263P};
constexpr int kGoodQuantiser = 2;

constexpr std::array<std::string_view, 10> kRateOptions{
    "crf", "qp", "b", "cq", "q", "quality", "global_quality", "lossless", "bits_per_mb", "qscale"};

bool isOf(AVCodecID codec, const AVCodecParameters& source) {
    return source.codec_id == codec;
}

EncoderSettings proresSettings(const AVCodecParameters& source, AVPixelFormat format) {
    constexpr std::array kProfiles{"proxy", "lt", "standard", "hq", "4444", "4444xq"};
    constexpr std::array kNames{"422 Proxy", "422 LT", "422", "422 HQ", "4444", "4444 XQ"};
    constexpr std::size_t kFirst444 = 4;
    const PixelFormatTraits traits = traitsOf(format);
    std::size_t profile = traits.alpha || traits.chromaShiftX == 0 ? kFirst444 : kFirst444 - 1;
    const bool known = isOf(AV_CODEC_ID_PRORES, source) && source.profile >= 0 &&
                       source.profile < static_cast<int>(kProfiles.size());
    if (known && (source.profile >= static_cast<int>(kFirst444)) == (profile == kFirst444)) {
        profile = static_cast<std::size_t>(source.profile);
    }
    // Some programs read only what says that it comes from the format's maker.
    return {{{"profile", kProfiles.at(profile)}, {"vendor", "apl0"}},
            std::string("ProRes ") + kNames.at(profile),
            0,
            static_cast<int>(profile)}; // FFmpeg counts them alike
}

/// DNxHD knows a few sizes, each at a few rates; DNxHR takes all. FFmpeg tells only by refusing.
std::vector<EncoderSettings> dnxSettings(const ClipInfo& info, const AVCodecParameters& source,
                                         AVPixelFormat format) {
    constexpr std::array kMegabits{36,  42,  45,  60,  63,  75,  80,  84,  90,  100, 110, 115,
                                   120, 145, 175, 180, 185, 220, 240, 290, 350, 365, 390, 440};
    constexpr double kUsual = 185.0;
    std::vector<EncoderSettings> settings;
    const bool isDnxhd = isOf(AV_CODEC_ID_DNXHD, source) && source.profile == FF_PROFILE_DNXHD;
    const bool fields = info.hasFields() && info.height == 1080;
    if (isDnxhd || fields) {
        const double near =
            isDnxhd && source.bit_rate > 0 ? static_cast<double>(source.bit_rate) / 1e6 : kUsual;
        std::vector<int> rates(kMegabits.begin(), kMegabits.end());
        std::ranges::stable_sort(rates, {}, [&](int rate) { return std::abs(rate - near); });
        for (const int rate : rates) {
            const std::string megabits = std::to_string(rate);
            settings.push_back(
                {{{"profile", "dnxhd"}, {"b", megabits + "M"}}, "DNxHD " + megabits + " Mbit/s"});
        }
    }
    const PixelFormatTraits traits = traitsOf(format);
    const bool full = traits.chromaShiftX == 0;
    const char* profile = full ? "dnxhr_444" : traits.depth > 8 ? "dnxhr_hqx" : "dnxhr_hq";
    const char* name = full ? "DNxHR 444" : traits.depth > 8 ? "DNxHR HQX" : "DNxHR HQ";
    if (isOf(AV_CODEC_ID_DNXHD, source) && traits.depth == 8) {
        profile = source.profile == FF_PROFILE_DNXHR_LB   ? "dnxhr_lb"
                  : source.profile == FF_PROFILE_DNXHR_SQ ? "dnxhr_sq"
                                                          : profile;
        name = source.profile == FF_PROFILE_DNXHR_LB   ? "DNxHR LB"
               : source.profile == FF_PROFILE_DNXHR_SQ ? "DNxHR SQ"
                                                       : name;
    }
    settings.push_back({{{"profile", profile}}, name});
    return settings;
}

/// With a checksum for each slice, so that damage is noticed and stays small.
std::vector<EncoderSettings> ffv1Settings(const ClipInfo& info) {
    constexpr std::int64_t kPixelsOfHd = 1280 * 720;
    const std::int64_t pixels = std::int64_t{info.width} * info.height;
    const char* slices = pixels > 4 * kPixelsOfHd ? "24" : pixels >= kPixelsOfHd ? "16" : "4";
    const NamedValues common{{"level", "3"}, {"slicecrc", "1"}, {"g", "1"}};
    EncoderSettings sliced{common, "lossless"};
    sliced.options.emplace_back("slices", slices);
    return {sliced, {common, "lossless"}}; // tiny pictures have no slices
}

std::vector<EncoderSettings> usualSettings(const AVCodec& codec, AVPixelFormat format) {
    if (codec.id == AV_CODEC_ID_WEBP && traitsOf(format).model == ColorModel::Rgb) {
        return {{{{"lossless", "1"}}, "lossless"}}; // otherwise it would become 4:2:0 inside
    }
    const auto row = std::ranges::find(table(), std::string_view(codec.name), &EncoderRow::encoder);
    if (row != table().end()) {
        return {row->settings};
    }
    if (std::ranges::find(kQuantised, codec.id) != kQuantised.end()) {
        return {{{}, "quantiser " + std::to_string(kGoodQuantiser), kGoodQuantiser}};
    }
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(codec.id);
    const bool lossless = descriptor != nullptr && (descriptor->props & AV_CODEC_PROP_LOSSY) == 0;
    return {{{}, lossless ? "lossless" : ""}};
}

} // namespace

std::vector<EncoderSettings> settingsFor(const AVCodec& codec, const ClipInfo& source,
                                         const AVCodecParameters& parameters, AVPixelFormat format,
                                         const NamedValues& users) {
    const auto isUsers = [&](const std::string& key) {
        return std::ranges::any_of(users, [&](const auto& option) { return option.first == key; });
    };
    std::string rate;
    for (const auto& [key, value] : users) {
        const bool tells =
            key == "profile" || std::ranges::find(kRateOptions, key) != kRateOptions.end();
        rate += tells ? (rate.empty() ? "" : ", ") + key + " " + value : "";
    }
    if (codec.id == AV_CODEC_ID_DNXHD && isUsers("b") && !isUsers("profile")) {
        return {{{{"profile", "dnxhd"}}, rate}};
    }
    std::vector<EncoderSettings> settings = codec.id == AV_CODEC_ID_DNXHD
                                                ? dnxSettings(source, parameters, format)
                                            : codec.id == AV_CODEC_ID_FFV1 ? ffv1Settings(source)
                                            : std::string_view(codec.name) == "prores_ks"
                                                ? std::vector{proresSettings(parameters, format)}
                                                : usualSettings(codec, format);
    if (rate.empty()) {
        return settings;
    }
    // Another rate beside the user's would be mixed with it, or win.
    for (EncoderSettings& each : settings) {
        std::erase_if(each.options, [&](const auto& option) {
            return option.first == "profile" ||
                   std::ranges::find(kRateOptions, option.first) != kRateOptions.end();
        });
        each.quantiser = 0;
        each.rate = rate;
    }
    return {settings.back()};
}

} // namespace tintwell::media
