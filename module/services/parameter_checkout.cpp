#include "module/services/parameter_checkout.h"

namespace tintwell {

ParameterCheckout::ParameterCheckout(const InData& inData, std::int32_t index, std::int32_t time)
    : inData_(inData), code_(error::kMissingRecord) {
    if (inData.checkoutParameter == nullptr || inData.checkinParameter == nullptr) {
        return;
    }
    code_ = inData.checkoutParameter(inData.effectReference, index, time, inData.timeStep,
                                     inData.timeScale, &param_);
    isOut_ = code_ == error::kNone;
}

ParameterCheckout::~ParameterCheckout() {
    checkIn();
}

ErrorCode ParameterCheckout::checkIn() {
    if (!isOut_) {
        return error::kNone;
    }
    isOut_ = false;
    return inData_.checkinParameter(inData_.effectReference, &param_);
}

} // namespace tintwell
