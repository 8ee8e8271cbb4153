#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace tintwell::tool {

namespace fs = std::filesystem;

using Arguments = std::vector<std::string>;

struct Outcome {
    int exitCode = -1;
    std::string out;
    std::string err;
};

inline std::string contentOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// Runs the program in a folder of its own, which also holds what it prints.
class CommandLineTest : public testing::Test {
public:
    CommandLineTest() {
        std::string pattern = (fs::temp_directory_path() / "tintwell-test-XXXXXX").string();
        folder_ = mkdtemp(pattern.data());
        work_ = folder_ / "here";
        fs::create_directory(work_);
        write("clip.y4m", clip(kClipFrames));
    }

    ~CommandLineTest() override { fs::remove_all(folder_); }

protected:
    static constexpr int kClipFrames = 10;

    static std::string clipHeader() { return "YUV4MPEG2 W64 H48 F25:1 Ip A1:1 C420jpeg\n"; }

    /// A ramp of grey that gets lighter from frame to frame.
    static std::string clipFrame(int index) {
        std::string frame = "FRAME\n";
        for (int i = 0; i < 64 * 48; ++i) {
            frame.push_back(static_cast<char>(60 + i % 64 + index % 8));
        }
        return frame + std::string(2 * 32 * 24, '\x78');
    }

    static std::string clip(int frames) {
        std::string text = clipHeader();
        for (int i = 0; i < frames; ++i) {
            text += clipFrame(i);
        }
        return text;
    }

    void write(const std::string& name, const std::string& text) const {
        std::ofstream(work_ / name, std::ios::binary) << text;
    }

    /// Without `output` what it prints goes to a file.
    pid_t start(const Arguments& arguments, int input, int output = -1) const {
        const pid_t child = fork();
        if (child != 0) {
            return child;
        }
        std::vector<const char*> words{TINTWELL_PROGRAM};
        for (const std::string& argument : arguments) {
            words.push_back(argument.c_str());
        }
        words.push_back(nullptr);
        constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC;
        dup2(input, STDIN_FILENO);
        dup2(output < 0 ? open((folder_ / "out").c_str(), kFlags, 0600) : output, STDOUT_FILENO);
        dup2(open((folder_ / "err").c_str(), kFlags, 0600), STDERR_FILENO);
        if (chdir(work_.c_str()) == 0) {
            execv(TINTWELL_PROGRAM, const_cast<char* const*>(words.data()));
        }
        _exit(127);
    }

    Outcome finish(pid_t child) const {
        int status = 0;
        waitpid(child, &status, 0);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status),
                contentOf(folder_ / "out"), contentOf(folder_ / "err")};
    }

    Outcome run(const Arguments& arguments, const fs::path& input = "/dev/null") const {
        const int descriptor = open(input.c_str(), O_RDONLY | O_CLOEXEC);
        Outcome outcome = finish(start(arguments, descriptor));
        close(descriptor);
        return outcome;
    }

    /// Runs ffmpeg in the folder, without its messages.
    void ffmpeg(const std::string& arguments) const {
        const std::string line =
            "cd '" + work_.string() + "' && ffmpeg -nostdin -v error -y " + arguments;
        ASSERT_EQ(std::system(line.c_str()), 0) << arguments;
    }

    /// What a line for the shell prints, run in the folder.
    std::string outputOf(const std::string& line) const {
        const std::string file = (folder_ / "told").string();
        const std::string all = "cd '" + work_.string() + "' && " + line + " > '" + file + "'";
        EXPECT_EQ(std::system(all.c_str()), 0) << line;
        return contentOf(file);
    }

    /// What ffprobe tells of a file, a line for each stream or packet.
    std::string probed(const std::string& file, const std::string& what) const {
        const std::string told = outputOf("ffprobe -v error -of csv=p=0 " + what + " " + file);
        const std::size_t end = told.find("\n\n"); // programs repeat what is told of streams
        return end == std::string::npos ? told : told.substr(0, end + 1);
    }

    std::set<std::string> filesInWork() const {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(work_)) {
            names.insert(entry.path().filename().string());
        }
        return names;
    }

    /// What was said before the work began goes before it.
    static std::string withoutWarnings(std::string text) {
        while (text.starts_with("tintwell: warning: ")) {
            text.erase(0, text.find('\n') + 1);
        }
        return text;
    }

    /// The program must end with this code, say these things in one line, and leave no file.
    void expectRefusal(const Arguments& arguments, int exitCode,
                       const std::vector<std::string>& parts) const {
        const std::set<std::string> before = filesInWork();
        Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitCode, exitCode) << outcome.err;
        EXPECT_EQ(outcome.out, "");
        const std::string error = withoutWarnings(outcome.err);
        EXPECT_EQ(error.rfind("tintwell: error: ", 0), 0U) << outcome.err;
        EXPECT_EQ(std::count(error.begin(), error.end(), '\n'), 1) << outcome.err;
        for (const std::string& part : parts) {
            EXPECT_NE(outcome.err.find(part), std::string::npos)
                << "'" << part << "' is not in: " << outcome.err;
        }
        EXPECT_EQ(filesInWork(), before) << outcome.err;
    }

    fs::path folder_;
    fs::path work_;
};

/// Frames with a cast, the lightest part flickering; other frames from the cut on.
inline std::string picture(int index, int cut) {
    std::string text = "P6\n64 48\n255\n";
    for (int i = 0; i < 64 * 48; ++i) {
        const int x = i % 64;
        const int level =
            index < cut ? 30 + 2 * x + (x > 55 ? index * 7 % 10 : 0) : 90 + x * x / 40;
        for (const int part : {level, level - 10, level - 25}) {
            text.push_back(static_cast<char>(part));
        }
    }
    return text;
}

inline std::string numbered(const char* name, int number) {
    return std::string(name) + std::to_string(number) + ".ppm";
}

} // namespace tintwell::tool
