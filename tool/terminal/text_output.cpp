#include "tool/terminal/text_output.h"

#include "media/clip_info.h"
#include "tool/terminal/terminal.h"
#include "tool/terminal/user_error.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <iostream>
#include <string_view>
#include <system_error>

namespace tintwell::tool {

std::error_code reasonOfFailure(std::ostream& stream) {
    stream.clear();
    errno = 0;
    stream.put('\n').flush();
    return {errno != 0 ? errno : EIO, std::generic_category()};
}

std::string extensionOf(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::ranges::transform(extension, extension.begin(), [](unsigned char letter) {
        return static_cast<char>(std::tolower(letter));
    });
    return extension;
}

TextOutput::TextOutput(const std::string& path, const std::string& input, bool overwrite)
    : stream_(&std::cout) {
    if (path.empty() || path == media::kStandardStream) {
        return;
    }
    target_.emplace(path, input, overwrite);
    if (target_->isSequence()) {
        throw UserError(path + ": a numbered name is for an image sequence; name one file",
                        ExitCode::Usage);
    }
    constexpr std::string_view kScheme = "file:";
    file_.open(target_->url().substr(kScheme.size()), std::ios::binary);
    if (!file_) {
        throw UserError(path + ": cannot be created (" + std::generic_category().message(errno) +
                        ")");
    }
    stream_ = &file_;
}

bool TextOutput::isColored() const {
    return isStandardOutput() && standardOutputIsTerminal() && colorsAreWelcome();
}

void TextOutput::commit() {
    if (!target_) {
        return;
    }
    file_.flush();
    if (!file_) {
        throw UserError(target_->name() + ": cannot be written (" +
                        reasonOfFailure(file_).message() + ")");
    }
    file_.close();
    target_->commit();
}

} // namespace tintwell::tool
