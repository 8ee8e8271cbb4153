#include "media/files/named_files.h"

#include "media/clip_info.h"
#include "media/image_sequence.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <string_view>

extern "C" {
#include <libavutil/avstring.h>
#include <libavutil/mem.h>
}

namespace tintwell::media {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kScheme = "file:";
constexpr std::size_t kLongestLine = 64 * 1024;

std::string withoutScheme(const std::string& name) {
    return name.starts_with(kScheme) ? name.substr(kScheme.size()) : name;
}

bool isAddress(const std::string& name) {
    return name.find("://") != std::string::npos && !name.starts_with(kScheme);
}

/// The first word of an edit list's line, as FFmpeg takes its quotes.
std::string unquoted(const std::string& text) {
    const char* rest = text.c_str();
    const std::unique_ptr<char, decltype(&av_free)> word(av_get_token(&rest, " \t\r\n"), av_free);
    return word ? word.get() : std::string();
}

/// What a line of a playlist or an edit list names, if it does.
std::string memberIn(const std::string& line) {
    constexpr std::string_view kKeyword = "file";
    constexpr std::string_view kAttribute = "URI=\"";
    const std::size_t begin = line.find_first_not_of(" \t");
    if (begin == std::string::npos) {
        return {};
    }
    const std::string text = line.substr(begin, line.find_last_not_of(" \t\r") + 1 - begin);
    if (text.starts_with(kKeyword) && text.find_first_of(" \t'\"") == kKeyword.size()) {
        const std::size_t name = text.find_first_not_of(" \t", kKeyword.size());
        return name == std::string::npos ? std::string() : unquoted(text.substr(name));
    }
    if (const std::size_t at = text.find(kAttribute); at != std::string::npos) {
        const std::size_t name = at + kAttribute.size();
        return text.substr(name, text.find('"', name) - name);
    }
    return text.front() == '#' ? std::string() : text;
}

bool isList(std::istream& file) {
    std::string line;
    while (line.find_first_not_of(" \t\r\xef\xbb\xbf") == std::string::npos || line[0] == '#') {
        if (line.starts_with("#EXT")) {
            return true;
        }
        line.resize(kLongestLine);
        file.getline(line.data(), static_cast<std::streamsize>(line.size()));
        if (!file) {
            return false;
        }
        line.resize(static_cast<std::size_t>(file.gcount()) - 1);
    }
    return line.starts_with("ffconcat") || line.starts_with("file");
}

void addMembers(const std::string& list, std::vector<std::string>& files) {
    std::error_code error;
    if (!fs::is_regular_file(list, error)) {
        return; // a pipe can be read only once
    }
    std::ifstream file(list, std::ios::binary);
    if (!isList(file)) {
        return;
    }
    file.seekg(0);
    const fs::path folder = fs::path(list).parent_path();
    for (std::string line; std::getline(file, line);) {
        const std::string member = memberIn(line);
        if (!member.empty() && !isAddress(member)) {
            files.push_back((folder / withoutScheme(member)).string());
        }
    }
}

} // namespace

std::string localPath(const std::string& input) {
    if (input == kStandardStream || isAddress(input)) {
        return {};
    }
    return input.find("://") == std::string::npos ? input : withoutScheme(input);
}

std::vector<std::string> filesNamedBy(const std::string& input) {
    const std::string path = localPath(input);
    std::error_code error;
    const auto pattern = parseSequence(path);
    if (path.empty() || !pattern || fs::exists(path, error)) {
        std::vector<std::string> files;
        if (!path.empty()) {
            files.push_back(path);
            addMembers(path, files);
        }
        return files;
    }
    std::vector<std::string> files;
    for (const std::int64_t number : findSequence(*pattern).numbers) {
        files.push_back(pattern->directory + "/" + pattern->nameOf(number));
    }
    return files;
}

} // namespace tintwell::media
