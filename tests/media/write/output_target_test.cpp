#include "media/media_error.h"
#include "media/write/output_target.h"
#include "media/write/temporary_name.h"
#include "test_clip.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tintwell::media {
namespace {

namespace fs = std::filesystem;

void writeText(const fs::path& path, const std::string& text) {
    std::ofstream(path) << text;
}

void writeText(int descriptor, const std::string& text) {
    ASSERT_EQ(::write(descriptor, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

std::string textOf(const fs::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

class OutputTargetTest : public testing::Test {
protected:
    std::string path(const std::string& name) const { return (folder_.path() / name).string(); }

    OutputTarget target(const std::string& output, bool overwrite,
                        const std::string& input = "in.mp4") const {
        return {output, std::make_shared<InputFiles>(input), overwrite};
    }

    void write(OutputTarget& target, const std::string& text) const {
        writeText(target.open(interruption_), text);
    }

    /// Three pictures, 8 to 10.
    static void writeSequence(OutputTarget& target) {
        for (int number = 8; number < 11; ++number) {
            writeText(target.openNumber(number), "picture");
        }
    }

    /// Names in the folder, hidden ones included.
    std::size_t fileCount() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(folder_.path()), fs::directory_iterator()));
    }

    TemporaryFolder folder_;
    Interruption interruption_;
};

TEST_F(OutputTargetTest, AppearsOnlyWhenCommitted) {
    writeText(path("clip.mp4"), "old");
    {
        OutputTarget abandoned = target(path("clip.mp4"), true);
        write(abandoned, "half");
        EXPECT_EQ(textOf(path("clip.mp4")), "old");
    }
    EXPECT_EQ(fileCount(), 1U);
    OutputTarget whole = target(path("clip.mp4"), true);
    write(whole, "whole");
    whole.commit();
    EXPECT_EQ(textOf(path("clip.mp4")), "whole");
    EXPECT_EQ(fileCount(), 1U);
}

TEST_F(OutputTargetTest, AnyNameCanBeWritten) {
    fs::create_directory(path("50%d"));
    for (const std::string& name :
         {std::string(251, 'n') + ".mp4", "\u00e4" + std::string(247, 'n') + ".mp4",
          std::string("50%d/a%%.mp4"), std::string("new\nline")}) {
        OutputTarget output = target(path(name), false);
        write(output, "whole");
        output.commit();
        EXPECT_EQ(textOf(path(name)), "whole") << name;
    }
}

TEST_F(OutputTargetTest, NeverReplacesWhatItMayNot) {
    {
        OutputTarget output = target(path("clip.mp4"), false);
        write(output, "new");
        writeText(path("clip.mp4"), "someone else's");
        EXPECT_THROW(output.commit(), MediaError);
    }
    EXPECT_EQ(textOf(path("clip.mp4")), "someone else's");
    EXPECT_EQ(fileCount(), 1U);
    fs::create_symlink("clip.mp4", path("link.mp4"));
    fs::create_hard_link(path("clip.mp4"), path("hard.mp4"));
    fs::create_symlink("nowhere", path("dangling.mp4"));
    writeText(path("list.ffconcat"), "ffconcat version 1.0\nfile 'c'lip.mp4\n");
    writeText(path("list.m3u8"), "#EXTM3U\n#EXT-X-MAP:URI=\"clip.mp4\"\n");
    EXPECT_THROW(target(path("clip.mp4"), false), MediaError);
    EXPECT_THROW(target(path("dangling.mp4"), false), MediaError);
    EXPECT_THROW(target(path("none/clip.mp4"), true), MediaError);
    EXPECT_THROW(target(folder_.path().string(), true), MediaError);
    for (const std::string& input :
         {path("clip.mp4"), path("link.mp4"), path("hard.mp4"), "file://" + path("clip.mp4"),
          path("list.ffconcat"), path("list.m3u8")}) {
        for (const char* output : {"clip.mp4", "link.mp4", "hard.mp4"}) {
            EXPECT_THROW(target(path(output), true, input), MediaError) << input << output;
        }
    }
}

TEST_F(OutputTargetTest, WhatTurnsOutToBeReadIsNotReplaced) {
    writeText(path("clip.mp4"), "old");
    const auto inputs = std::make_shared<InputFiles>("in.mp4");
    OutputTarget output(path("clip.mp4"), inputs, true);
    write(output, "new");
    const Descriptor opened(::open(path("clip.mp4").c_str(), O_RDONLY));
    inputs->addOpened();
    EXPECT_THROW(output.commit(), MediaError);
    EXPECT_EQ(textOf(path("clip.mp4")), "old");
}

TEST_F(OutputTargetTest, WhatIsReplacedKeepsItsRights) {
    for (const mode_t mode : {0600U, 0640U, 0755U}) {
        writeText(path("f1.png"), "old");
        ASSERT_EQ(::chmod(path("f1.png").c_str(), mode), 0);
        OutputTarget single = target(path("f1.png"), true);
        write(single, "new");
        single.commit();
        OutputTarget sequence = target(path("f%d.png"), true);
        writeText(sequence.openNumber(1), "newer");
        sequence.commit();

        struct stat status {};

        ASSERT_EQ(::stat(path("f1.png").c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, mode);
        EXPECT_EQ(textOf(path("f1.png")), "newer");
    }
}

TEST_F(OutputTargetTest, SequencesAppearWholeOrNotAtAll) {
    {
        OutputTarget abandoned = target(path("f.%02d.png"), false);
        writeSequence(abandoned);
    }
    EXPECT_EQ(fileCount(), 0U);
    {
        OutputTarget output = target(path("f.%02d.png"), false);
        writeSequence(output);
        writeText(path("f.09.png"), "someone else's");
        EXPECT_THROW(output.commit(), MediaError);
    }
    EXPECT_EQ(fileCount(), 1U);
    fs::remove(path("f.09.png"));
    OutputTarget output = target(path("f.%02d.png"), false);
    writeSequence(output);
    output.commit();
    const SequenceFiles files = findSequence(*parseSequence(path("f.%02d.png")));
    EXPECT_EQ(files.numbers, (std::vector<std::int64_t>{8, 9, 10}));
    EXPECT_EQ(fileCount(), 3U);
    fs::create_symlink("f.09.png", path("g.01.png"));
    for (const auto& [name, input, overwrite] :
         std::vector<std::tuple<const char*, const char*, bool>>{
             {"f.%02d.png", "in.mp4", false},
             {"f.%02d.png", "f.%02d.png", true},
             {"f.09.png", "f.%02d.png", true},
             {"f.%02d.png", "f.09.png", true},
             {"f.%02d.png", "g.%02d.png", true},
             {"f.%d.png", "f.%02d.png", true},
             {"g.%02d.png", "f.%02d.png", true}}) {
        EXPECT_THROW(target(path(name), overwrite, path(input)), MediaError) << name << input;
    }
}

/// The third file cannot be replaced, as it is a folder by then.
TEST_F(OutputTargetTest, AFailedCommitLeavesTheOldSequence) {
    for (const int number : {8, 9}) {
        writeText(path("f" + std::to_string(number) + ".png"), "old");
    }
    OutputTarget output = target(path("f%d.png"), true);
    writeSequence(output);
    fs::create_directories(path("f10.png/inner"));
    EXPECT_THROW(output.commit(), MediaError);
    EXPECT_EQ(textOf(path("f8.png")) + textOf(path("f9.png")), "oldold");
    EXPECT_TRUE(fs::exists(path("f10.png/inner")));
}

// What a killed process leaves is made here as it leaves it, with the marks in its names.

class LeftoverTest : public OutputTargetTest {
protected:
    std::string left(const std::string& name) const { return path(name_.text() + name); }

    TemporaryName name_{"f%d.png"};
};

TEST_F(LeftoverTest, AnAttemptThatWasKilledIsUndone) {
    writeText(left(""), "");
    // 1 was replaced, 2 is about to be, 3 was new, 4 was not reached; 5 is somebody else's now.
    writeText(left(".1"), "new");
    fs::create_hard_link(left(".1"), path("f1.png"));
    writeText(left(".1.old"), "old1");
    writeText(path("f2.png"), "old2");
    fs::create_hard_link(path("f2.png"), left(".2.old"));
    writeText(left(".2"), "new");
    fs::create_hard_link(left(".2"), left(".2.new"));
    writeText(left(".3"), "new");
    fs::create_hard_link(left(".3"), path("f3.png"));
    writeText(left(".4"), "new");
    writeText(path("f5.png"), "someone else's");
    writeText(left(".5"), "new");
    writeText(left(".5.old"), "old5");
    {
        const Descriptor living(::open(left("").c_str(), O_RDWR));
        ASSERT_EQ(::flock(living.get(), LOCK_EX), 0);
        target(path("f%d.png"), true);
        EXPECT_EQ(fileCount(), 14U); // a living process's files are its own
    }
    target(path("f%d.png"), true);
    EXPECT_EQ(textOf(path("f1.png")), "old1");
    EXPECT_EQ(textOf(path("f2.png")), "old2");
    EXPECT_EQ(textOf(path("f5.png")), "someone else's");
    EXPECT_EQ(textOf(left(".5.old")), "old5");
    EXPECT_EQ(fileCount(), 5U); // and the new picture 5, which tells of the old one
}

TEST_F(LeftoverTest, AnAttemptThatWasDoneIsTidiedUp) {
    writeText(left(".done"), "");
    writeText(path("f1.png"), "new");
    fs::create_hard_link(path("f1.png"), left(".1"));
    writeText(left(".1.old"), "old");
    writeText(path(".f%d.png.partial-0123456789abcdef01234567"), "not ours");
    target(path("f%d.png"), true);
    EXPECT_EQ(textOf(path("f1.png")), "new");
    EXPECT_EQ(fileCount(), 2U);
}

TEST_F(LeftoverTest, SingleFilesAreRemovedUnlessTheyAreSomebodys) {
    const std::string dead = path(TemporaryName("clip.mp4").text());
    const std::string living = path(TemporaryName("clip.mp4").text());
    const std::string other = path(TemporaryName("other.mp4").text());
    for (const std::string& file : {dead, living, other, path(".clip.mp4.partial-1")}) {
        writeText(file, "text");
    }
    const Descriptor held(::open(living.c_str(), O_RDWR));
    ASSERT_EQ(::flock(held.get(), LOCK_EX), 0);
    target(path("clip.mp4"), false);
    EXPECT_FALSE(fs::exists(dead));
    EXPECT_EQ(fileCount(), 3U);
}

// Streams.

TEST_F(OutputTargetTest, PipesAndOpenFilesAreWrittenToAsTheyAre) {
    ASSERT_EQ(::mkfifo(path("pipe.mkv").c_str(), 0600), 0);
    const Descriptor reader(::open(path("pipe.mkv").c_str(), O_RDONLY | O_NONBLOCK));
    OutputTarget pipe = target(path("pipe.mkv"), false);
    EXPECT_FALSE(pipe.isSeekable());
    write(pipe, "whole");
    pipe.commit();
    EXPECT_TRUE(fs::is_fifo(path("pipe.mkv")));

    writeText(path("log"), "first ");
    const Descriptor log(::open(path("log").c_str(), O_WRONLY | O_APPEND));
    const std::string name = "/dev/fd/" + std::to_string(log.get());
    fs::create_symlink(name, path("link"));
    for (const std::string& output : {name, path("link")}) {
        OutputTarget file = target(output, false);
        write(file, "more ");
        file.commit();
    }
    EXPECT_EQ(textOf(path("log")), "first more more ");
    EXPECT_THROW(target(name, true, path("log")), MediaError);

    interruption_.set();
    ASSERT_EQ(::mkfifo(path("unread").c_str(), 0600), 0);
    EXPECT_THROW(target(path("unread"), false).open(interruption_), Interrupted);
}

} // namespace
} // namespace tintwell::media
