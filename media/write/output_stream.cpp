#include "media/write/output_stream.h"

#include "media/media_error.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <string_view>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace tintwell::media {
namespace {

namespace fs = std::filesystem;

constexpr int kMaximumLinks = 40;
constexpr std::chrono::milliseconds kReaderPollInterval{20};

/// Whether these are this process's open files: "/proc/4711/fd", and under the name of a thread.
bool holdsDescriptors(const fs::path& folder) {
    std::error_code error;
    const fs::path self = "/proc" / fs::read_symlink("/proc/self", error);
    const auto [differing, rest] =
        std::mismatch(self.begin(), self.end(), folder.begin(), folder.end());
    return folder == "/dev/fd" || (!error && differing == self.end() && folder.filename() == "fd");
}

std::optional<int> numberIn(const std::string& name) {
    int number = 0;
    const auto [end, code] = std::from_chars(name.data(), name.data() + name.size(), number);
    const bool whole = code == std::errc() && end == name.data() + name.size();
    return whole && number >= 0 ? std::optional(number) : std::nullopt;
}

mode_t kindOf(const std::string& path) {
    struct stat status {};

    return ::stat(path.c_str(), &status) == 0 ? status.st_mode : 0;
}

[[noreturn]] void throwCannotBeWritten(const std::string& name, int error) {
    throw MediaError(name + ": cannot be written to (" + systemMessage(error) + ")");
}

} // namespace

std::optional<int> descriptorNamed(const std::string& path) {
    // Where these are not links they are devices that stand for the same.
    constexpr std::array<std::pair<std::string_view, int>, 3> kStandard{
        {{"/dev/stdin", STDIN_FILENO},
         {"/dev/stdout", STDOUT_FILENO},
         {"/dev/stderr", STDERR_FILENO}}};
    fs::path current = path;
    for (int i = 0; i < kMaximumLinks; ++i) {
        std::error_code error;
        const fs::path folder =
            fs::canonical(current.has_parent_path() ? current.parent_path() : ".", error);
        if (error) {
            return {};
        }
        current = folder / current.filename();
        for (const auto& [name, number] : kStandard) {
            if (current == name) {
                return number;
            }
        }
        if (holdsDescriptors(folder)) {
            return numberIn(current.filename().string());
        }
        const fs::path next = fs::read_symlink(current, error);
        if (error) {
            return {};
        }
        current = folder / next; // as it is where it begins at the root
    }
    return {};
}

bool isStream(const std::string& path) {
    const mode_t mode = kindOf(path);
    return mode != 0 && !S_ISREG(mode) && !S_ISDIR(mode);
}

void requireWritable(int descriptor, const std::string& name) {
    const int flags = ::fcntl(descriptor, F_GETFL);
    if (flags < 0 || (flags & O_ACCMODE) == O_RDONLY) {
        throwCannotBeWritten(name, EBADF);
    }
}

Descriptor reopenPipe(int descriptor) {
    struct stat status {};

    if (::fstat(descriptor, &status) != 0 || !S_ISFIFO(status.st_mode)) {
        return {};
    }
    const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
    return Descriptor(::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
}

Descriptor openStream(const std::string& path, const Interruption& interruption) {
    const bool pipe = S_ISFIFO(kindOf(path));
    const auto open = [&](int access) {
        // Without waiting, so that waiting can be given up.
        return Descriptor(
            ::open(path.c_str(), access | O_CLOEXEC | O_NOCTTY | (pipe ? O_NONBLOCK : 0)));
    };
    // What is sought may also be read again. A pipe that is opened so would have itself as reader.
    Descriptor stream = S_ISBLK(kindOf(path)) ? open(O_RDWR) : Descriptor();
    while (!stream.isOpen()) {
        stream = open(O_WRONLY);
        if (stream.isOpen() || errno == EINTR) {
            continue;
        }
        if (errno != ENXIO || !pipe) {
            throwCannotBeWritten(path, errno);
        }
        if (interruption.isSet()) {
            throw Interrupted();
        }
        std::this_thread::sleep_for(kReaderPollInterval);
    }

    struct stat status {};

    if (::fstat(stream.get(), &status) != 0 || S_ISREG(status.st_mode)) {
        throw MediaError(path + ": has been replaced by a file meanwhile, and is left alone");
    }
    return stream;
}

} // namespace tintwell::media
