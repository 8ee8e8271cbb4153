#include "tool/terminal/text_output.h"

#include "media/clip_info.h"
#include "media/files/descriptor.h"
#include "media/media_error.h"
#include "tool/terminal/stop_signal.h"
#include "tool/terminal/terminal.h"
#include "tool/terminal/user_error.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <iostream>
#include <system_error>
#include <utility>

namespace tintwell::tool {

std::error_code reasonOfFailure(const std::ostream& stream) {
    const auto* const buffer = dynamic_cast<const DescriptorBuffer*>(stream.rdbuf());
    const int error = buffer != nullptr ? buffer->error() : 0;
    return {error != 0 ? error : EIO, std::generic_category()};
}

std::string extensionOf(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::ranges::transform(extension, extension.begin(), [](unsigned char letter) {
        return static_cast<char>(std::tolower(letter));
    });
    return extension;
}

TextOutput::TextOutput(const std::string& path, std::shared_ptr<const media::InputFiles> inputs,
                       bool overwrite)
    : interruption_(stopRequested()),
      target_(path.empty() ? media::kStandardStream : path, std::move(inputs), overwrite),
      stream_(nullptr) {
    if (target_.isSequence()) {
        throw UserError(path + ": a numbered name is for an image sequence; name one file",
                        ExitCode::Usage);
    }
    if (isStandardOutput()) {
        stream_.rdbuf(std::cout.rdbuf()); // what else is printed keeps its place
    } else {
        buffer_.emplace(target_.open(interruption_), interruption_);
        stream_.rdbuf(&*buffer_);
    }
}

bool TextOutput::isColored() const {
    return isStandardOutput() && standardOutputIsTerminal() && colorsAreWelcome();
}

void TextOutput::requireReader() const {
    if (media::readerIsGone(target_.descriptor())) {
        throw ReaderGone();
    }
}

void TextOutput::commit() {
    stream_.flush();
    if (!stream_) {
        const std::error_code reason = reasonOfFailure(stream_);
        if (isStandardOutput() && reason == std::errc::broken_pipe) {
            throw ReaderGone();
        }
        if (interruption_.isSet()) {
            throw media::Interrupted();
        }
        throw UserError(target_.name() + ": cannot be written (" + reason.message() + ")");
    }
    target_.commit();
}

} // namespace tintwell::tool
