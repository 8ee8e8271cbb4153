#include "media/check/written_check.h"

#include "media/check/written_video.h"
#include "media/media_error.h"

#include <algorithm>
#include <cstdio>
#include <new>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace tintwell::media {
namespace {

constexpr double kNear = 2.5;
constexpr double kRough = 10.0;
/// So many are decoded to come to the last of them, where there is no other way.
constexpr std::int64_t kFewPictures = 500;

[[noreturn]] void fail(const std::string& name, const std::string& what) {
    throw MediaError(name + ": read back, what was written is not what was encoded: " + what +
                     "; nothing was put in place (--no-check leaves this check out)");
}

void require(const std::string& name, const char* which, const std::string& difference) {
    if (!difference.empty()) {
        fail(name, std::string("its ") + which + " frame " + difference);
    }
}

FramePtr lastFrame(WrittenVideo& video) {
    FramePtr last;
    while (FramePtr frame = video.next()) {
        last = std::move(frame);
    }
    return last;
}

FramePtr reference(const AVFrame& picture) {
    FramePtr copy(av_frame_clone(&picture));
    if (!copy) {
        throw std::bad_alloc();
    }
    return copy;
}

} // namespace

void WrittenCheck::note(const AVFrame& picture, double seconds) {
    ++pictures_;
    lastTime_ = seconds;
    last_ = reference(picture);
    if (!first_) {
        first_ = reference(picture);
    }
}

void WrittenCheck::checkFile(const std::string& name, int descriptor, std::int64_t packets,
                             const Interruption& interruption) {
    WrittenVideo video(name, descriptor, interruption);
    const FramePtr first = video.next();
    require(name, "first", difference(first.get(), *first_));
    compareTags(name, *first, *video.stream().codecpar);
    const std::int64_t told = video.stream().nb_frames;
    if (told > 0 && told < packets) {
        fail(name, "it has " + std::to_string(told) + " frames, not " + std::to_string(packets));
    }
    if (pictures_ > 1) {
        checkLast(name, video, descriptor, interruption);
    }
}

/// Containers without an index lead to somewhere before the frame, which need not be a key frame;
/// then it is tried from further before, and of a short clip all is read.
void WrittenCheck::checkLast(const std::string& name, WrittenVideo& video, int descriptor,
                             const Interruption& interruption) const {
    constexpr double kLongGroup = 20.0;
    std::string found;
    const auto isGood = [&](WrittenVideo& opened) {
        found = difference(lastFrame(opened).get(), *last_);
        if (found.empty() && opened.isDamaged()) {
            found = "follows parts that cannot be decoded";
        }
        return found.empty();
    };
    for (const double before : {0.0, kLongGroup}) {
        if (video.seek(std::max(0.0, lastTime_ - before)) && isGood(video)) {
            return;
        }
    }
    if (pictures_ <= kFewPictures) {
        WrittenVideo whole(name, descriptor, interruption);
        isGood(whole);
    }
    require(name, "last", found);
}

void WrittenCheck::checkImage(const std::string& name, int descriptor, Which which,
                              const Interruption& interruption) {
    WrittenVideo video(name, descriptor, interruption);
    const bool isFirst = which == Which::First;
    require(name, isFirst ? "first" : "last",
            difference(video.next().get(), isFirst ? *first_ : *last_));
}

/// What is different, in words; empty where they are alike.
std::string WrittenCheck::difference(const AVFrame* read, const AVFrame& encoded) const {
    if (read == nullptr) {
        return "cannot be decoded";
    }
    if (read->width != encoded.width || read->height != encoded.height) {
        return "is of another size";
    }
    if (likeness_ == Likeness::Equal) {
        if (const std::optional<bool> equal = areEqual(*read, encoded)) {
            return *equal ? "" : "differs though the codec loses nothing";
        }
    }
    PictureFormat readAs = format_;
    readAs.color = resolveColor(static_cast<AVPixelFormat>(read->format), format_.width,
                                format_.height, tags_);
    const double apart = distance(blockMeans(*read, readAs), blockMeans(encoded, format_));
    char text[64];
    std::snprintf(text, sizeof text, "differs by %.1f levels of 255 on average", apart);
    return apart > (likeness_ == Likeness::Rough ? kRough : kNear) ? text : "";
}

void WrittenCheck::compareTags(const std::string& name, const AVFrame& read,
                               const AVCodecParameters& stream) {
    const ColorTags found = tagsOf(read, stream);
    const auto compareOne = [&](auto wanted, auto read, auto unspecified, const char* what,
                                const char* value) {
        if (wanted != unspecified && wanted != read) {
            warnings_.push_back(name + ": cannot say that its colour " + what + " " +
                                (value != nullptr ? value : "what it is"));
        }
    };
    if (tags_.matrix != AVCOL_SPC_RGB) { // which the samples themselves say
        compareOne(tags_.matrix, found.matrix, AVCOL_SPC_UNSPECIFIED, "matrix is",
                   av_color_space_name(tags_.matrix));
    }
    compareOne(tags_.primaries, found.primaries, AVCOL_PRI_UNSPECIFIED, "primaries are",
               av_color_primaries_name(tags_.primaries));
    compareOne(tags_.transfer, found.transfer, AVCOL_TRC_UNSPECIFIED, "transfer is",
               av_color_transfer_name(tags_.transfer));
}

} // namespace tintwell::media
