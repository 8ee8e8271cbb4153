#include "media/encoding/encoding_plan.h"

#include "media/encoding/codec_choice.h"
#include "media/encoding/container_video.h"
#include "media/encoding/format_choice.h"
#include "media/encoding/losses.h"
#include "media/media_error.h"

#include <string_view>

namespace tintwell::media {
namespace {

/// By their tags players tell what they can play. Left to itself FFmpeg takes H.264 of 10 bits for
/// a camera's own kind, and marks HEVC in the way that only some players know.
std::uint32_t tagFor(const SourceVideo& source, const AVOutputFormat& container, AVCodecID codec) {
    if (!isQuickTimeFamily(container)) {
        return 0;
    }
    constexpr std::uint32_t kHev1 = MKTAG('h', 'e', 'v', '1');
    if (codec == AV_CODEC_ID_H264) {
        return MKTAG('a', 'v', 'c', '1');
    }
    if (codec == AV_CODEC_ID_HEVC) {
        return source.parameters.codec_tag == kHev1 ? kHev1 : MKTAG('h', 'v', 'c', '1');
    }
    return 0;
}

/// The effect knows levels from 0 to 1 only. In a file that is expected to hold more, their absence
/// would not be noticed.
void refuseFloats(const SourceVideo& source, AVPixelFormat format, const std::string& output) {
    if (isFloat(source.info.pixelFormat) && isFloat(format)) {
        throw MediaError(output + ": the input is floating point, of which the correction would "
                                  "cut off what lies outside of 0 to 1; write it with integers, as "
                                  ".dpx, .tif or .png, if that is meant");
    }
}

} // namespace

EncodingPlan planEncoding(const SourceVideo& source, const AVOutputFormat& container,
                          const std::string& url, const std::string& output,
                          const EncoderOptions& wanted) {
    EncodingPlan plan;
    plan.codec = &chooseCodec(source, container, url, output, wanted);
    plan.pixelFormat = choosePixelFormat(source.info, *plan.codec, container, output, wanted);
    refuseFloats(source, plan.pixelFormat, output);
    plan.settings =
        settingsFor(*plan.codec, source.info, source.parameters, plan.pixelFormat, wanted.options);
    plan.isLossless = materialOf(plan.codec->id) == Material::Lossless ||
                      plan.settings.front().rate == "lossless";
    plan.asFields = source.info.hasFields() && canCodeFields(*plan.codec);
    plan.tag = tagFor(source, container, plan.codec->id);
    plan.losses = lossesOf(source, plan, container, wanted);
    return plan;
}

} // namespace tintwell::media
