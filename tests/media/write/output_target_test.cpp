#include "media/media_error.h"
#include "media/write/output_target.h"
#include "test_clip.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace tintwell::media {
namespace {

namespace fs = std::filesystem;

void writeText(const fs::path& path, const std::string& text) {
    std::ofstream(path) << text;
}

std::string textOf(const fs::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

fs::path fileOf(const OutputTarget& target) {
    return target.url().substr(std::string("file:").size());
}

class OutputTargetTest : public testing::Test {
protected:
    std::string path(const char* name) const { return (folder_.path() / name).string(); }

    /// Names in the folder, hidden ones included.
    std::size_t fileCount() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(folder_.path()), fs::directory_iterator()));
    }

    TemporaryFolder folder_;
};

TEST_F(OutputTargetTest, AppearsOnlyWhenCommitted) {
    writeText(path("clip.mp4"), "old");
    {
        OutputTarget abandoned(path("clip.mp4"), "in.mp4", true);
        writeText(fileOf(abandoned), "half");
        EXPECT_EQ(fileOf(abandoned).extension(), ".mp4");
        EXPECT_EQ(textOf(path("clip.mp4")), "old");
    }
    EXPECT_EQ(fileCount(), 1U);
    OutputTarget target(path("clip.mp4"), "in.mp4", true);
    writeText(fileOf(target), "whole");
    target.commit();
    EXPECT_EQ(textOf(path("clip.mp4")), "whole");
    EXPECT_EQ(fileCount(), 1U);
}

TEST_F(OutputTargetTest, TheLongestNameCanBeWritten) {
    const std::string name = std::string(251, 'n') + ".mp4";
    OutputTarget target(path(name.c_str()), "in.mp4", false);
    writeText(fileOf(target), "whole");
    target.commit();
    EXPECT_EQ(textOf(path(name.c_str())), "whole");
}

TEST_F(OutputTargetTest, NeverReplacesWhatItMayNot) {
    {
        OutputTarget target(path("clip.mp4"), "in.mp4", false);
        writeText(fileOf(target), "new");
        writeText(path("clip.mp4"), "someone else's");
        EXPECT_THROW(target.commit(), MediaError);
    }
    EXPECT_EQ(textOf(path("clip.mp4")), "someone else's");
    EXPECT_EQ(fileCount(), 1U);
    fs::create_symlink("clip.mp4", path("link.mp4"));
    EXPECT_THROW(OutputTarget(path("clip.mp4"), "in.mp4", false), MediaError);
    EXPECT_THROW(OutputTarget(path("link.mp4"), path("clip.mp4"), true), MediaError);
    fs::create_symlink("nowhere", path("dangling.mp4"));
    EXPECT_THROW(OutputTarget(path("dangling.mp4"), "in.mp4", false), MediaError);
    EXPECT_THROW(OutputTarget(path("none/clip.mp4"), "in.mp4", true), MediaError);
    EXPECT_THROW(OutputTarget(folder_.path().string(), "in.mp4", true), MediaError);
}

TEST_F(OutputTargetTest, SequencesAppearWholeOrNotAtAll) {
    const auto begin = [&](OutputTarget& target) {
        for (int number = 8; number < 11; ++number) {
            target.addNumber(number);
            SequencePattern pattern = *parseSequence(target.url());
            writeText(fs::path(pattern.directory) / pattern.nameOf(number), "picture");
        }
    };
    {
        OutputTarget abandoned(path("f.%02d.png"), "in.mp4", false);
        begin(abandoned);
        EXPECT_EQ(fileCount(), 3U);
    }
    EXPECT_EQ(fileCount(), 0U);
    {
        OutputTarget target(path("f.%02d.png"), "in.mp4", false);
        begin(target);
        writeText(path("f.09.png"), "someone else's");
        EXPECT_THROW(target.commit(), MediaError);
    }
    EXPECT_EQ(fileCount(), 1U);
    fs::remove(path("f.09.png"));
    OutputTarget target(path("f.%02d.png"), "in.mp4", false);
    begin(target);
    target.commit();
    const SequenceFiles files = findSequence(*parseSequence(path("f.%02d.png")));
    EXPECT_EQ(files.first, 8);
    EXPECT_EQ(files.run, 3);
    EXPECT_EQ(fileCount(), 3U);
    EXPECT_THROW(OutputTarget(path("f.%02d.png"), "in.mp4", false), MediaError);
    EXPECT_THROW(OutputTarget(path("f.%02d.png"), path("f.%02d.png"), true), MediaError);
    EXPECT_THROW(OutputTarget(path("f.09.png"), path("f.%02d.png"), true), MediaError);
    EXPECT_THROW(OutputTarget(path("f.%02d.png"), path("f.09.png"), true), MediaError);
}

} // namespace
} // namespace tintwell::media
