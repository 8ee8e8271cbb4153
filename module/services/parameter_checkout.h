#pragma once

#include "module/interface/host_interface.h"

#include <cstdint>

namespace tintwell {

/// A parameter's value at a time, checked out from the host and checked in again at the latest when
/// this object goes.
class ParameterCheckout {
public:
    /// `time` is in the time scale of `inData`, which must outlive the checkout.
    ParameterCheckout(const InData& inData, std::int32_t index, std::int32_t time);
    ParameterCheckout(const ParameterCheckout&) = delete;
    ParameterCheckout& operator=(const ParameterCheckout&) = delete;
    ~ParameterCheckout();

    /// What checking out answered; 512 without the host's callbacks. The value is there when 0.
    ErrorCode code() const { return code_; }

    const ParamDef& param() const { return param_; }

    /// Ends the checkout; the host's code.
    ErrorCode checkIn();

private:
    const InData& inData_;
    ParamDef param_{};
    ErrorCode code_;
    bool isOut_ = false;
};

/// Checks a parameter out, reads it with `read(param)`, which answers a code, and checks it in. The
/// reader's error takes precedence over that of the check-in.
template <class Read>
ErrorCode readParameter(const InData& inData, std::int32_t index, std::int32_t time, Read read) {
    ParameterCheckout checkout(inData, index, time);
    if (checkout.code() != error::kNone) {
        return checkout.code();
    }
    const ErrorCode code = read(checkout.param());
    const ErrorCode checkedIn = checkout.checkIn();
    return code != error::kNone ? code : checkedIn;
}

} // namespace tintwell
