#include "media/write/encoder_memory.h"

#include "media/memory_estimate.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>
#include <string_view>

extern "C" {
#include <libavutil/imgutils.h>
}

namespace tintwell::media {
namespace {

/// Between the conversion and the encoder: being written, waiting, being taken.
constexpr int kWaiting = 3;
/// Code, tables, and packets on their way into the file.
constexpr std::int64_t kOverhead = std::int64_t{16} << 20;
constexpr int kMostThreads = 16;

/// What a picture takes in one form or the other.
struct Sizes {
    explicit Sizes(const PictureFormat& pictures)
        : picture(pictureBytes(pictures.pixelFormat, pictures.width, pictures.height)),
          luma(std::int64_t{pictures.width} * pictures.height *
               (traitsOf(pictures.pixelFormat).depth > 8 ? 2 : 1)),
          samples(
              av_image_get_buffer_size(pictures.pixelFormat, pictures.width, pictures.height, 1)),
          blocks(std::int64_t{pictures.width} * pictures.height / 256) {}

    std::int64_t picture;
    std::int64_t luma;
    std::int64_t samples; ///< of a picture, without border, in bytes
    std::int64_t blocks;  ///< of 16 by 16 pixels
};

/// What a preset of x264 or x265 asks for.
struct Preset {
    std::string_view name;
    int bFrames;
    int references;
    int lookahead; ///< of x265
};

constexpr std::array<Preset, 10> kPresets{{{"ultrafast", 3, 1, 5},
                                           {"superfast", 3, 1, 10},
                                           {"veryfast", 4, 2, 15},
                                           {"faster", 4, 2, 15},
                                           {"fast", 4, 3, 15},
                                           {"medium", 4, 3, 20},
                                           {"slow", 4, 5, 25},
                                           {"slower", 8, 8, 40},
                                           {"veryslow", 8, 16, 40},
                                           {"placebo", 16, 16, 60}}};

const std::string* valueOf(const NamedValues& options, std::string_view key) {
    const auto found =
        std::ranges::find_if(options, [&](const auto& option) { return option.first == key; });
    return found != options.end() ? &found->second : nullptr;
}

Preset presetIn(const NamedValues& options) {
    const std::string* name = valueOf(options, "preset");
    const auto found =
        std::ranges::find(kPresets, name != nullptr ? *name : "medium", &Preset::name);
    return found != kPresets.end() ? *found : kPresets.back();
}

/// What a text begins with as a number; 0 where that is none.
int numberOf(std::string_view text) {
    int number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

/// The value of a key in "key=value:key=value", or `otherwise`.
int numberIn(const std::string* list, const std::string& key, int otherwise) {
    const std::string text = list != nullptr ? ":" + *list : "";
    const auto at = text.find(":" + key + "=");
    return at == std::string::npos ? otherwise
                                   : numberOf(std::string_view(text).substr(at + key.size() + 2));
}

class Planner {
public:
    Planner(const AVCodec& codec, const PictureFormat& pictures, const NamedValues& wanted,
            std::int64_t bytes, int processors)
        : codec_(codec), name_(codec.name), size_(pictures), wanted_(wanted), bytes_(bytes),
          processors_(processors) {}

    EncoderMemory plan() {
        if (name_ == "libx264" || name_ == "libx264rgb") {
            planX264();
        } else if (name_ == "libx265") {
            planX265();
        } else if (name_ == "libvpx" || name_ == "libvpx-vp9" || name_ == "libaom-av1") {
            planLag();
        } else if (name_ == "libsvtav1") {
            planSvt();
        } else if (name_ == "ffv1") {
            constexpr std::int64_t kWorstPacket = 148 * 256; // of a block
            take(kWorstPacket * size_.blocks + 2 * size_.picture);
        } else if ((codec_.capabilities & AV_CODEC_CAP_FRAME_THREADS) != 0) {
            planFrameThreads();
        } else {
            constexpr int kHeld = 6; // what is encoded, and what it is predicted from
            take(kHeld * size_.picture);
        }
        for (const auto& option : wanted_) {
            if (option.first != merged_) {
                plan_.settings.push_back(option);
            }
        }
        return plan_;
    }

private:
    /// A list of settings of the encoder's own, in front of what the user lists.
    void setList(const char* key, const std::string& list) {
        const std::string* own = valueOf(wanted_, key);
        set(key, own != nullptr ? list + ":" + *own : list);
        merged_ = key;
    }

    void set(const char* key, const std::string& value) { plan_.settings.emplace_back(key, value); }

    void set(const char* key, std::int64_t value) { set(key, std::to_string(value)); }

    void take(std::int64_t bytes) { plan_.bytes = kOverhead + kWaiting * size_.picture + bytes; }

    /// How many things of this size fit beside so many bytes.
    std::int64_t fitting(std::int64_t each, std::int64_t beside) const {
        const std::int64_t room = bytes_ - kOverhead - kWaiting * size_.picture - beside;
        return std::max<std::int64_t>(0, room) / std::max<std::int64_t>(1, each);
    }

    int threads() const {
        const std::string* text = valueOf(wanted_, "threads");
        const int number = text != nullptr ? numberOf(*text) : 0;
        return number > 0 ? number : std::min(processors_, kMostThreads);
    }

    /// A picture that is looked ahead at is kept once more at half size in four phases, with what
    /// was found of it; one that others are predicted from, in four phases too.
    void planX264() {
        constexpr std::int64_t kMostLookahead = 130'000'000;
        constexpr std::int64_t kMostOfThreads = 12'600'000; // of one picture each, together
        constexpr std::int64_t kLeastLookahead = 3;
        constexpr std::int64_t kMostFrames = 40;
        const Preset preset = presetIn(wanted_);
        const std::int64_t seen = size_.picture + size_.luma + 200 * size_.blocks;
        const std::int64_t coded = size_.picture + 3 * size_.luma + 200 * size_.blocks;
        const std::int64_t most =
            std::clamp(kMostLookahead / (size_.samples + size_.luma), kLeastLookahead, kMostFrames);
        // Threads that share a picture do not look ahead beside the encoder.
        std::int64_t pictures =
            std::clamp<std::int64_t>(kMostOfThreads / size_.samples, 1, threads());
        const auto fixed = [&] {
            const std::int64_t between = preset.bFrames + (pictures > 1 ? preset.bFrames : 0);
            return (preset.references + pictures + 1) * coded + (between + pictures) * seen;
        };
        while (pictures > 1 && fitting(seen, fixed()) < kLeastLookahead) {
            --pictures;
        }
        std::int64_t lookahead = std::clamp(fitting(seen, fixed()), kLeastLookahead, most);
        if (pictures == 1) {
            set("thread_type", "slice");
        }
        set("threads", pictures > 1 ? pictures : threads());
        set("rc-lookahead", lookahead);
        if (const std::string* own = valueOf(wanted_, "rc-lookahead")) {
            lookahead = numberOf(*own);
        }
        take(fixed() + lookahead * seen);
    }

    /// Its threads work on several pictures, a few more with each doubling of the processors.
    void planX265() {
        constexpr std::int64_t kMostFrameThreads = 4;
        constexpr std::int64_t kOthers = 7; // measured: what is no longer in use is kept
        const Preset preset = presetIn(wanted_);
        const std::string* own = valueOf(wanted_, "x265-params");
        const int bFrames = numberIn(own, "bframes", preset.bFrames);
        const std::int64_t seen = size_.picture + size_.luma * 5 / 4 + 200 * size_.blocks;
        const std::int64_t coded = size_.picture + 1000 * size_.blocks;
        const std::int64_t pool = std::min(processors_, kMostThreads) * (std::int64_t{3} << 20);
        const std::int64_t usual = processors_ >= 16  ? 4
                                   : processors_ >= 8 ? 3
                                   : processors_ >= 4 ? 2
                                                      : 1;
        std::int64_t frameThreads = std::min(usual, kMostFrameThreads);
        const auto fixed = [&] {
            return (preset.references + frameThreads + kOthers) * coded +
                   (bFrames + frameThreads + 2) * seen + pool;
        };
        const std::int64_t least = bFrames + 1;
        while (frameThreads > 1 && fitting(seen, fixed()) < least) {
            --frameThreads;
        }
        const std::int64_t most = std::max<std::int64_t>(least, preset.lookahead);
        std::int64_t lookahead = std::clamp(fitting(seen, fixed()), least, most);
        // Its log does not go through FFmpeg's.
        std::string settings = "log-level=error";
        if (lookahead < preset.lookahead) {
            settings += ":rc-lookahead=" + std::to_string(lookahead);
        }
        settings += ":frame-threads=" + std::to_string(frameThreads) +
                    ":pools=" + std::to_string(std::min(processors_, kMostThreads));
        setList("x265-params", settings);
        lookahead = numberIn(own, "rc-lookahead", static_cast<int>(lookahead));
        take(fixed() + lookahead * seen);
    }

    void planLag() {
        constexpr std::int64_t kLeastLag = 1;
        constexpr std::int64_t kReferences = 16;
        const std::int64_t usual = name_ == "libaom-av1" ? 35 : name_ == "libvpx" ? 0 : 25;
        const std::int64_t seen = size_.picture * 3 / 2; // a wide border
        const std::int64_t fixed = kReferences * seen + threads() * (std::int64_t{8} << 20);
        const std::int64_t lag =
            std::clamp(fitting(seen, fixed), std::min(kLeastLag, usual), usual);
        set("threads", threads());
        if (lag < usual) {
            set("lag-in-frames", lag);
        }
        take(fixed + lag * seen);
    }

    /// It lets nobody choose less.
    void planSvt() {
        constexpr int kHeld = 100;
        setList("svtav1-params", "lp=" + std::to_string(std::min(processors_, 4)));
        take(kHeld * size_.picture);
    }

    /// FFmpeg's own threads: two pictures and a packet for each.
    void planFrameThreads() {
        const std::int64_t each = 3 * size_.picture;
        const std::int64_t most = threads();
        const std::int64_t number = std::clamp<std::int64_t>(fitting(each, each), 1, most);
        const bool sharesPicture =
            number < most && (name_ == "prores_ks" || name_ == "dnxhd"); // with the same bytes
        if (sharesPicture) {
            set("thread_type", "slice");
        }
        set("threads", sharesPicture ? most : number);
        // What each block would cost at each quantiser.
        const std::int64_t tables = name_ == "dnxhd" ? 90 * 256 * size_.blocks : 0;
        take((sharesPicture ? 2 : 1 + number) * each + tables);
    }

    const AVCodec& codec_;
    std::string_view name_;
    Sizes size_;
    const NamedValues& wanted_;
    std::int64_t bytes_;
    int processors_;
    EncoderMemory plan_;
    std::string_view merged_; ///< of what the user sets, already among the settings
};

} // namespace

EncoderMemory EncoderMemory::plan(const AVCodec& codec, const PictureFormat& pictures,
                                  const NamedValues& wanted, std::int64_t bytes, int processors) {
    return Planner(codec, pictures, wanted, bytes, processors).plan();
}

} // namespace tintwell::media
