#include "host/host_error.h"

namespace tintwell::host {

std::string describeError(ErrorCode code) {
    switch (code) {
    case error::kNone:
        return "no error";
    case error::kOutOfMemory:
        return "there is not enough memory";
    case error::kMissingRecord:
        return "something the effect needs is missing (a record, handle, suite or pixel data)";
    case error::kStateUnavailable:
        return "the state of the controls is not available";
    case error::kInterrupted:
        return "the render was interrupted";
    case error::kNoSuiteProvider:
        return "the host offers no suites";
    case error::kNothingFound:
        return "no keyframe was found";
    case error::kUnsupportedChannelOrder:
        return "the pixels are in an order other than A,R,G,B and B,G,R,A";
    case error::kUnsupportedBitDepth:
        return "the samples have a depth other than 8 and 16 bits";
    case host_error::kWrongReference:
        return "the effect used a callback outside of its command";
    case host_error::kBadArgument:
        return "the effect asked for something the host does not know";
    case host_error::kFrameOutsideClip:
        return "the effect asked for a frame outside the clip";
    case host_error::kFrameUnavailable:
        return "a frame the effect asked for could not be read";
    case host_error::kNoSuchSuite:
        return "the effect asked for a suite the host does not have";
    case host_error::kNotTaken:
        return "the effect gave back something it had not taken";
    case host_error::kHostFailure:
        return "the host itself failed";
    default:
        return "an error that the host does not know";
    }
}

} // namespace tintwell::host
