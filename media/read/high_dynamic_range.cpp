#include "media/read/high_dynamic_range.h"

#include "media/media_error.h"

namespace tintwell::media {
namespace {

/// 203 cd/m² of 10,000, and the same in HLG on a display of 1,000.
constexpr double kReferenceWhitePq = 0.5806888810416109;
constexpr double kReferenceWhiteHlg = 0.75;

} // namespace

void handleHighDynamicRange(const std::string& input, HdrHandling handling, ClipInfo& info) {
    const bool isPq = info.tags.transfer == AVCOL_TRC_SMPTE2084;
    if (!isPq && info.tags.transfer != AVCOL_TRC_ARIB_STD_B67) {
        return;
    }
    if (handling == HdrHandling::Refuse) {
        throw MediaError(input + ": is of high dynamic range (" + (isPq ? "PQ" : "HLG") +
                         "), where the correction would lift its whites many times over; --hdr "
                         "keep-peak corrects what lies below reference white, --hdr treat-as-sdr "
                         "the signal as it is");
    }
    if (handling == HdrHandling::KeepPeak) {
        info.referenceWhite = isPq ? kReferenceWhitePq : kReferenceWhiteHlg;
    }
}

} // namespace tintwell::media
