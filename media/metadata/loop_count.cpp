#include "media/metadata/loop_count.h"

#include "media/metadata/byte_order.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

namespace tintwell::media {
namespace {

/// Both formats say it before the first picture.
constexpr int kLookedAt = 1 << 16;

std::vector<std::uint8_t> beginningOf(AVIOContext& io) {
    const std::int64_t place = avio_tell(&io);
    if (avio_seek(&io, 0, SEEK_SET) < 0) {
        return {};
    }
    std::vector<std::uint8_t> bytes(kLookedAt);
    bytes.resize(static_cast<std::size_t>(std::max(0, avio_read(&io, bytes.data(), kLookedAt))));
    avio_seek(&io, place, SEEK_SET);
    return bytes;
}

/// The bytes behind this text, `count` of them; empty where there are none.
ByteView behind(ByteView bytes, std::string_view text, std::size_t count) {
    const auto found = std::search(bytes.begin(), bytes.end(), text.begin(), text.end());
    const auto place = static_cast<std::size_t>(found - bytes.begin()) + text.size();
    return place + count <= bytes.size() ? bytes.subspan(place, count) : ByteView();
}

} // namespace

std::optional<std::pair<std::string, std::string>> loopOption(const AVFormatContext& source,
                                                              const AVOutputFormat& output) {
    const std::string_view format = source.iformat->name;
    const bool seekable = source.pb != nullptr && source.pb->seekable != 0;
    if (!seekable || format != output.name || (format != "gif" && format != "apng")) {
        return {};
    }
    const std::vector<std::uint8_t> bytes = beginningOf(*source.pb);
    if (format == "apng") {
        const ByteView control = behind(bytes, "acTL", 8);
        return control.empty() ? std::nullopt
                               : std::optional(std::pair<std::string, std::string>(
                                     "plays", std::to_string(readBig(control, 4, 4))));
    }
    const ByteView loops = behind(bytes, "NETSCAPE2.0\x03\x01", 2);
    return std::pair<std::string, std::string>(
        "loop", loops.empty() ? "-1" : std::to_string(readLittle(loops, 0, 2)));
}

} // namespace tintwell::media
