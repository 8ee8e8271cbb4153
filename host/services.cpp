#include "host/services.h"

#include "host/host_error.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace tintwell::host {

void Services::setCurrentFrame(std::int32_t frame, const FrameBuffer* pixels) {
    currentFrame_ = frame;
    currentPixels_ = pixels;
}

ErrorCode Services::checkOut(std::int32_t index, std::int32_t time, std::uint32_t timeScale,
                             ParamDef& record) {
    if (timeScale == 0) {
        return host_error::kBadArgument;
    }
    const std::int64_t frame = timing_.frameAt(timing_.clipTime(time, timeScale));
    if (index == 0) {
        return checkOutLayer(frame, record);
    }
    if (!parameters_.isControl(index)) {
        return host_error::kBadArgument;
    }
    // Controls have values outside the clip too: those of their first and last keyframes.
    using Limits = std::numeric_limits<std::int32_t>;
    const auto held = std::clamp<std::int64_t>(frame, Limits::min(), Limits::max());
    checkOuts_.push_back({&record, nullptr});
    record = parameters_.recordAt(index, static_cast<std::int32_t>(held));
    return error::kNone;
}

ErrorCode Services::checkOutLayer(std::int64_t frame, ParamDef& record) {
    if (frame < timing_.firstFrame || frame >= timing_.frameCount) {
        return host_error::kFrameOutsideClip;
    }
    const auto index = static_cast<std::int32_t>(frame);
    countLayerCheckOut(index);
    std::shared_ptr<const FrameBuffer> pixels;
    const FrameBuffer* found = index == currentFrame_ ? currentPixels_ : nullptr;
    if (found == nullptr && frames_ != nullptr) {
        try {
            pixels = frames_->frame(index);
        } catch (...) {
            keepFailure();
        }
        found = pixels.get();
    }
    if (found == nullptr) {
        return host_error::kFrameUnavailable;
    }
    checkOuts_.push_back({&record, std::move(pixels)});
    record = layerRecord(found->inputWorld());
    return error::kNone;
}

void Services::countLayerCheckOut(std::int32_t frame) {
    const auto slot = static_cast<std::size_t>(frame);
    if (slot >= layerCheckOuts_.size()) {
        layerCheckOuts_.resize(slot + 1);
    }
    ++layerCheckOuts_[slot];
}

ErrorCode Services::checkIn(const ParamDef* record) {
    const auto found = std::find_if(checkOuts_.begin(), checkOuts_.end(),
                                    [&](const CheckOut& out) { return out.record == record; });
    if (found == checkOuts_.end()) {
        return misused("a parameter was checked in that was not checked out");
    }
    checkOuts_.erase(found);
    return error::kNone;
}

ErrorCode Services::suiteReleased(const SuiteId& suite) {
    const auto found = suites_.find(suite);
    if (found == suites_.end()) {
        return misused("suite '" + suite.name + "' " + std::to_string(suite.version) +
                       " was released without having been acquired");
    }
    if (--found->second == 0) {
        suites_.erase(found);
    }
    return error::kNone;
}

ErrorCode Services::misused(std::string sentence) {
    misuses_.push_back(std::move(sentence));
    return host_error::kNotTaken;
}

ErrorCode Services::begin(Service service) {
    ++calls_[static_cast<std::size_t>(service)];
    return hook_ ? hook_(service) : error::kNone;
}

std::string Services::takeFailure() {
    const std::exception_ptr failure = std::exchange(failure_, nullptr);
    try {
        if (failure) {
            std::rethrow_exception(failure);
        }
    } catch (const std::exception& exception) {
        return exception.what();
    } catch (...) {
        return "unknown exception";
    }
    return {};
}

Ledger Services::ledger() const {
    Ledger ledger;
    ledger.checkedOut = checkOuts_.size();
    ledger.suites = suites_;
    ledger.handles = handles_.count();
    ledger.handleBytes = handles_.bytes();
    ledger.stringTables = strings_.count();
    ledger.misuses = misuses_;
    ledger.calls = calls_;
    ledger.layerCheckOuts = layerCheckOuts_;
    return ledger;
}

} // namespace tintwell::host
