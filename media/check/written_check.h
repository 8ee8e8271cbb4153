#pragma once

#include "media/check/picture_likeness.h"
#include "media/clip_info.h"
#include "media/ffmpeg_objects.h"
#include "media/files/interruption.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tintwell::media {

class WrittenVideo;

/// How near what is read back has to come to what was encoded.
enum class Likeness : std::uint8_t {
    Equal, ///< every sample
    Near,  ///< as nobody sees: blocks of pixels differ by at most 2.5 levels of 255 on average
    Rough, ///< at a rate of the user's own: by at most 10
};

/// Keeps the first and the newest of the pictures that are encoded, to hold what was written
/// against them.
class WrittenCheck {
public:
    WrittenCheck(PictureFormat format, ColorTags tags, Likeness likeness)
        : format_(format), tags_(tags), likeness_(likeness) {}

    /// The picture as it goes into the encoder, at this many seconds from the first.
    void note(const AVFrame& picture, double seconds);

    /// Reads the file's first and last frame. Throws MediaError where they are not those that were
    /// encoded, or where the file says that it has another number of frames than `packets`.
    void checkFile(const std::string& name, int descriptor, std::int64_t packets,
                   const Interruption& interruption);

    /// The same for a file with one picture, the first or the last that was encoded.
    enum class Which : std::uint8_t { First, Last };
    void checkImage(const std::string& name, int descriptor, Which which,
                    const Interruption& interruption);

    /// What the file cannot say of its colours, as sentences; after a check.
    const std::vector<std::string>& warnings() const { return warnings_; }

private:
    void checkLast(const std::string& name, WrittenVideo& video, int descriptor,
                   const Interruption& interruption) const;
    std::string difference(const AVFrame* read, const AVFrame& encoded) const;
    void compareTags(const std::string& name, const AVFrame& read, const AVCodecParameters& stream);

    PictureFormat format_;
    ColorTags tags_;
    Likeness likeness_;
    FramePtr first_;
    FramePtr last_;
    double lastTime_ = 0.0;
    std::int64_t pictures_ = 0;
    std::vector<std::string> warnings_;
};

} // namespace tintwell::media
