#include "media/ffmpeg_log.h"

#include "media/ffmpeg_objects.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <utility>

extern "C" {
#include <libavutil/log.h>
}

namespace tintwell::media {
namespace {

// The libraries' log is one for the whole process, so what is kept of it is too.
struct KeptMessage {
    std::mutex mutex;
    std::string text;
    std::pair<int, int> refusedSize;
};

KeptMessage& keptMessage() {
    static KeptMessage message;
    return message;
}

void keepMessage(void* source, int level, const char* format, va_list arguments) {
    if (level > AV_LOG_ERROR) {
        return;
    }
    std::array<char, 512> line{};
    int startsLine = 1;
    av_log_format_line2(source, level, format, arguments, line.data(), line.size(), &startsLine);
    std::string text = line.data();
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) {
        text.pop_back();
    }
    // "[mov,mp4 @ 0x5581...] what happened": the address says nothing to anybody.
    while (text.starts_with('[') && text.find("] ") != std::string::npos) {
        text.erase(0, text.find("] ") + 2);
    }
    if (!text.empty()) {
        KeptMessage& kept = keptMessage();
        const std::lock_guard lock(kept.mutex);
        std::pair<int, int> size;
        if (std::sscanf(text.c_str(), "Picture size %dx%d", &size.first, &size.second) == 2) {
            kept.refusedSize = size;
        }
        kept.text = std::move(text);
    }
}

} // namespace

void silenceFfmpeg() {
    keptMessage();
    av_log_set_callback(keepMessage);
    // This encoder's log goes its own way: errors only, where the user does not want more.
    static const int kSet = ::setenv("SVT_LOG", "1", 0);
    static_cast<void>(kSet);
}

std::string takeFfmpegMessage() {
    KeptMessage& kept = keptMessage();
    const std::lock_guard lock(kept.mutex);
    return std::exchange(kept.text, {});
}

std::pair<int, int> takeRefusedSize() {
    KeptMessage& kept = keptMessage();
    const std::lock_guard lock(kept.mutex);
    return std::exchange(kept.refusedSize, {});
}

std::string explainFailure(int code) {
    const std::string message = takeFfmpegMessage();
    return message.empty() ? errorText(code) : errorText(code) + ": " + message;
}

} // namespace tintwell::media
