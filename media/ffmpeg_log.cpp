#include "media/ffmpeg_log.h"

#include "media/ffmpeg_objects.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <new>
#include <optional>
#include <utility>

extern "C" {
#include <libavutil/log.h>
}

namespace tintwell::media {
namespace {

// The libraries' log is one for the whole process, so what is kept of it is too.
struct KeptMessages {
    std::mutex mutex;
    std::array<std::string, 4> texts; ///< by part
    std::pair<int, int> refusedSize;
};

KeptMessages& keptMessages() {
    static KeptMessages messages;
    return messages;
}

using Line = std::array<char, 512>;

/// Of files, filters of packets and other helpers, which work on the thread of who needs them. No
/// string: what is to be destroyed with a thread ends the process where there is no memory to note
/// that.
thread_local Line helpersMessage{};

std::optional<FfmpegPart> partOf(void* source) {
    const AVClass* kind = source != nullptr ? *static_cast<AVClass**>(source) : nullptr;
    if (kind == nullptr) {
        return {};
    }
    switch (kind->get_category != nullptr ? kind->get_category(source) : kind->category) {
    case AV_CLASS_CATEGORY_DEMUXER:
        return FfmpegPart::Demuxer;
    case AV_CLASS_CATEGORY_DECODER:
        return FfmpegPart::Decoder;
    case AV_CLASS_CATEGORY_ENCODER:
        return FfmpegPart::Encoder;
    case AV_CLASS_CATEGORY_MUXER:
        return FfmpegPart::Muxer;
    default:
        return {};
    }
}

/// In one line, without the sources' addresses, which say nothing to anybody:
/// "[mov,mp4 @ 0x5581...] what happened".
std::string lineOf(void* source, int level, const char* format, va_list arguments) {
    Line line{};
    int startsLine = 1;
    av_log_format_line2(source, level, format, arguments, line.data(), line.size(), &startsLine);
    std::string text = line.data();
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) {
        text.pop_back();
    }
    while (text.starts_with('[') && text.find("] ") != std::string::npos) {
        text.erase(0, text.find("] ") + 2);
    }
    return text;
}

void keep(void* source, std::string text) {
    if (text.empty()) {
        return;
    }
    KeptMessages& kept = keptMessages();
    const std::lock_guard lock(kept.mutex);
    std::pair<int, int> size;
    if (std::sscanf(text.c_str(), "Picture size %dx%d", &size.first, &size.second) == 2) {
        kept.refusedSize = size;
    }
    if (const std::optional<FfmpegPart> part = partOf(source)) {
        kept.texts[static_cast<std::size_t>(*part)] = std::move(text);
    } else {
        helpersMessage[text.copy(helpersMessage.data(), helpersMessage.size() - 1)] = '\0';
    }
}

void keepMessage(void* source, int level, const char* format, va_list arguments) {
    if (level > AV_LOG_ERROR) {
        return;
    }
    try {
        keep(source, lineOf(source, level, format, arguments));
    } catch (const std::bad_alloc&) { // it is told of by the library's code, too
    }
}

} // namespace

void silenceFfmpeg() {
    keptMessages();
    av_log_set_callback(keepMessage);
    // This encoder's log goes its own way: errors only, where the user does not want more.
    static const int kSet = ::setenv("SVT_LOG", "1", 0);
    static_cast<void>(kSet);
}

std::string takeFfmpegMessage(FfmpegPart part) {
    KeptMessages& kept = keptMessages();
    const std::string helpers = std::exchange(helpersMessage, {}).data();
    const std::lock_guard lock(kept.mutex);
    const std::string text = std::exchange(kept.texts[static_cast<std::size_t>(part)], {});
    return text.empty() ? helpers : text;
}

std::pair<int, int> takeRefusedSize() {
    KeptMessages& kept = keptMessages();
    const std::lock_guard lock(kept.mutex);
    return std::exchange(kept.refusedSize, {});
}

std::string explainFailure(int code, FfmpegPart part) {
    const std::string message = takeFfmpegMessage(part);
    return message.empty() ? errorText(code) : errorText(code) + ": " + message;
}

} // namespace tintwell::media
