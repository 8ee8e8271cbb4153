// Lets every allocation, thread, read, write and change of a name fail in turn while the program
// renders: it ends with a whole output, or with a sentence and everything as it was.

#include "commands/command_line_test.h"
#include "faults/fault_record.h"

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <regex>
#include <sstream>
#include <sys/mman.h>
#include <tuple>

namespace tintwell::tool {
namespace {

struct Rendering {
    const char* name;
    Arguments arguments; ///< behind "render", without what all have
    const char* output;
    bool replaces; ///< files of these names are there
};

const std::array kRenderings{
    Rendering{"H264", {"clip.mkv", "out.mkv", "--video-codec", "libx264"}, "out.mkv", true},
    Rendering{"Smoothed",
              {"long.mkv", "out.mkv", "--video-codec", "ffv1", "--temporal-smoothing", "0.2"},
              "out.mkv",
              false},
    Rendering{"Images", {"in%d.ppm", "out%d.png"}, "out1.png", true},
};

struct Fault {
    const char* name;
    FaultKind kind;
    bool lasting;
};

constexpr std::array kFaults{
    Fault{"Memory", FaultKind::Memory, false}, Fault{"NoMemoryLeft", FaultKind::Memory, true},
    Fault{"Thread", FaultKind::Thread, false}, Fault{"Open", FaultKind::Open, false},
    Fault{"Read", FaultKind::Read, false},     Fault{"Write", FaultKind::Write, false},
    Fault{"FullDisk", FaultKind::Write, true}, Fault{"Close", FaultKind::Close, false},
    Fault{"Rename", FaultKind::Rename, false}, Fault{"Sync", FaultKind::Sync, false},
};

/// How many calls of a kind fail in a test, one a run; 0: all that there are.
std::uint64_t wantedRuns() {
    constexpr std::uint64_t kFew = 8;
    const char* text = std::getenv("TINTWELL_FAULT_RUNS");
    return text != nullptr ? std::strtoull(text, nullptr, 10) : kFew;
}

class PipelineFaultTest : public CommandLineTest,
                          public testing::WithParamInterface<std::tuple<Fault, Rendering>> {
protected:
    using Content = std::map<std::string, std::string>;

    PipelineFaultTest() : record_(mapRecord(folder_ / "record")) {
        ffmpeg("-f lavfi -i testsrc2=size=64x48:rate=25 -f lavfi -i sine -frames:v 6 -t 0.24 "
               "-c:v libx264 -g 3 -threads 1 -c:a aac -pix_fmt yuv420p clip.mkv");
        // Read and written in several pieces.
        ffmpeg("-f lavfi -i testsrc2=size=320x180:rate=25,noise=alls=20 -frames:v 8 "
               "-c:v rawvideo -pix_fmt yuv420p long.mkv");
        for (int i = 1; i <= 4; ++i) {
            write(numbered("in", i), picture(i, 3));
        }
        fs::remove(work_ / "clip.y4m");
        if (rendering().replaces) {
            write(rendering().output, "what was there");
        }
        before_ = content();
    }

    ~PipelineFaultTest() override { munmap(record_, sizeof(FaultRecord)); }

    static const Fault& fault() { return std::get<0>(GetParam()); }

    static const Rendering& rendering() { return std::get<1>(GetParam()); }

    /// Runs the program with the call of this number failing.
    Outcome renderWithout(std::uint64_t call) const {
        new (record_) FaultRecord{};
        record_->kind = fault().kind;
        record_->lasting = fault().lasting ? 1 : 0;
        record_->failing = call;
        Arguments arguments{"render"};
        arguments.insert(arguments.end(), rendering().arguments.begin(),
                         rendering().arguments.end());
        // Without what muxers draw at random, two renderings have the same bytes.
        arguments.insert(arguments.end(), {"--quiet", "--overwrite", "--encoder-option",
                                           "fflags=+bitexact", "--encoder-option", "threads=2"});
        setenv(FaultRecord::kVariable, (folder_ / "record").c_str(), 1);
        setenv("LD_PRELOAD", TINTWELL_FAULT_LIBRARY, 1);
        Outcome outcome = run(arguments);
        unsetenv("LD_PRELOAD");
        return outcome;
    }

    void restore() const {
        for (const std::string& name : filesInWork()) {
            if (!before_.contains(name)) {
                fs::remove_all(work_ / name);
            }
        }
        for (const auto& [name, bytes] : before_) {
            write(name, bytes);
        }
    }

    Content content() const {
        Content all;
        for (const std::string& name : filesInWork()) {
            all[name] = contentOf(work_ / name);
        }
        return all;
    }

    void check(const Outcome& outcome, const Content& whole) const {
        if (outcome.exitCode < 0 && isKnownEnd()) {
            for (const auto& [name, bytes] : before_) {
                EXPECT_TRUE(contentOf(work_ / name) == bytes) << name << " has changed";
            }
            return;
        }
        EXPECT_TRUE(outcome.exitCode == 0 || outcome.exitCode == 1 || outcome.exitCode == 3)
            << outcome.exitCode;
        if (outcome.exitCode == 0) {
            EXPECT_EQ(outcome.err, "");
            EXPECT_TRUE(content() == whole) << "what was written is not what it should be";
            return;
        }
        // x264 tells of memory by itself.
        static const std::regex kSentences(
            "(tintwell: warning: [^\n]+\n|x264 .error.: malloc .*\n)*"
            "tintwell: error: [^\n]*[a-z]{3}[^\n]*\n");
        EXPECT_TRUE(std::regex_match(outcome.err, kSentences)) << outcome.err;
        if (outcome.exitCode == 1) {
            EXPECT_TRUE(content() == before_) << "files have changed";
        }
        for (const std::string& name : filesInWork()) {
            EXPECT_TRUE(whole.contains(name)) << name << " is left";
        }
    }

    FaultRecord* record_;
    Content before_;

private:
    /// Where libraries end the process because they find no memory: within these functions, with
    /// nothing of the program further in.
    bool isKnownEnd() const {
        struct KnownEnd {
            const char* within;
            const char* calledBy;
        };

        constexpr std::array kEnds{
            KnownEnd{"avcodec_alloc_context3", ""}, // asserts that it could set its defaults
            KnownEnd{"avcodec_close", ""}, // of H.264 on several threads: asserts about a picture
            KnownEnd{"libavformat", "avformat_find_stream_info"}, // of images: closes no open file
            KnownEnd{"__cxa_thread_atexit", ""}, // cannot fail; zimg's first words on a thread
        };
        const std::string trace = record_->crashed.data();
        const std::string inLibraries = trace.substr(0, trace.find("\ntintwell "));
        return fault().kind == FaultKind::Memory &&
               std::ranges::any_of(kEnds, [&](const KnownEnd& end) {
                   return inLibraries.find(end.within) != std::string::npos &&
                          trace.find(end.calledBy) != std::string::npos;
               });
    }

    static FaultRecord* mapRecord(const fs::path& path) {
        const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        EXPECT_EQ(ftruncate(file, sizeof(FaultRecord)), 0);
        void* memory =
            mmap(nullptr, sizeof(FaultRecord), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        close(file);
        return static_cast<FaultRecord*>(memory);
    }
};

TEST_P(PipelineFaultTest, EndsWithAWholeOutputOrASentence) {
    const Outcome undisturbed = renderWithout(0);
    ASSERT_EQ(undisturbed.exitCode, 0) << undisturbed.err;
    const std::uint64_t calls = record_->calls;
    // Only what replaces a file is written through.
    ASSERT_TRUE(calls > 0 || (fault().kind == FaultKind::Sync && !rendering().replaces));
    const Content whole = content();
    const std::uint64_t wanted = wantedRuns() == 0 ? calls : wantedRuns();
    const std::uint64_t runs = std::min(calls, wanted);
    bool hasFailed = runs == 0;
    for (std::uint64_t i = 0; i < runs; ++i) {
        // Spread evenly; other ones where the number of runs is another.
        const std::uint64_t call = 1 + (2 * i + 1) * calls / (2 * runs);
        restore();
        const Outcome outcome = renderWithout(call);
        hasFailed = hasFailed || record_->failed.front() != '\0';
        check(outcome, whole);
        if (HasFailure()) {
            FAIL() << "call " << call << " of " << calls << " failed; exit " << outcome.exitCode
                   << "\n"
                   << outcome.err << "It was made by\n"
                   << record_->failed.data() << "It ended in\n"
                   << record_->crashed.data();
        }
    }
    EXPECT_TRUE(hasFailed);
}

INSTANTIATE_TEST_SUITE_P(Renderings, PipelineFaultTest,
                         testing::Combine(testing::ValuesIn(kFaults),
                                          testing::ValuesIn(kRenderings)),
                         [](const auto& shot) {
                             return std::string(std::get<0>(shot.param).name) +
                                    std::get<1>(shot.param).name;
                         });

} // namespace
} // namespace tintwell::tool
