#include "media/check/written_check.h"
#include "media/media_error.h"
#include "media/read/clip_reader.h"
#include "test_clip.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <functional>
#include <unistd.h>

namespace tintwell::media {
namespace {

/// Holds the test clip against its own frames, after something has been done to them.
std::string verdict(const std::function<void(AVFrame&)>& change, Likeness likeness) {
    const TemporaryFolder folder;
    const std::string clip = (folder.path() / "clip.mov").string();
    writeTestClip(clip);
    ClipReader reader(clip, {});
    const ClipInfo& info = reader.info();
    WrittenCheck check({info.width, info.height, info.pixelFormat, info.color}, info.tags,
                       likeness);
    std::int64_t frames = 0;
    while (const auto item = reader.read()) {
        if (!item->frame) {
            continue;
        }
        av_frame_make_writable(item->frame.get());
        change(*item->frame);
        check.note(*item->frame, static_cast<double>(item->frame->pts) * av_q2d(info.timeBase));
        ++frames;
    }
    const Descriptor file(open(clip.c_str(), O_RDONLY | O_CLOEXEC));
    const Interruption interruption;
    try {
        check.checkFile("clip", file.get(), frames, interruption);
    } catch (const MediaError& error) {
        return error.what();
    }
    return "";
}

TEST(WrittenCheckTest, TellsWhatIsNotWhatWasEncoded) {
    const auto same = [](AVFrame&) {};
    const auto oneSample = [](AVFrame& frame) { frame.data[0][5] ^= 1; };
    const auto planes = [](AVFrame& frame) {
        // A colour, of which the clip has none.
        for (int i = 0; i < frame.linesize[1] * frame.height / 2; ++i) {
            frame.data[1][i] = 90;
        }
    };
    const auto lastOnly = [frame = 0](AVFrame& picture) mutable { // of ten
        if (++frame == 10) {
            picture.data[0][5] ^= 1;
        }
    };
    const auto size = [](AVFrame& frame) { frame.height /= 2; };
    EXPECT_EQ(verdict(same, Likeness::Equal), "");
    EXPECT_NE(verdict(oneSample, Likeness::Equal).find("first frame differs"), std::string::npos);
    EXPECT_EQ(verdict(oneSample, Likeness::Near), "");
    EXPECT_NE(verdict(planes, Likeness::Near).find("first frame differs by"), std::string::npos);
    EXPECT_NE(verdict(size, Likeness::Rough).find("another size"), std::string::npos);
    EXPECT_NE(verdict(lastOnly, Likeness::Equal).find("last frame differs"), std::string::npos);
}

} // namespace
} // namespace tintwell::media
