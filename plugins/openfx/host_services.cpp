#include "plugins/openfx/host_services.h"

namespace tintwell::openfx {
namespace {

template <class Suite>
const Suite* fetch(const Host* host, const char* name) {
    return host == nullptr || host->fetchSuite == nullptr
               ? nullptr
               : static_cast<const Suite*>(host->fetchSuite(host->properties, name, 1));
}

template <class Suite>
const Suite& require(const Host* host, const char* name) {
    const auto* suite = fetch<Suite>(host, name);
    if (suite == nullptr) {
        throw Failure(status::kMissingHostFeature, std::string("the host has no ") + name);
    }
    return *suite;
}

} // namespace

HostServices::HostServices(const Host* host)
    : property_(require<PropertySuite>(host, suites::kProperty)),
      effects_(require<ImageEffectSuite>(host, suites::kImageEffect)),
      params_(require<ParameterSuite>(host, suites::kParameter)),
      message_(fetch<MessageSuite>(host, suites::kMessage)),
      hasTemporalAccess_(
          properties(host->properties).getInt(property::kTemporalClipAccess).value_or(0) != 0) {}

void HostServices::tell(EffectHandle effect, const char* type, const std::string& text) const {
    if (message_ != nullptr && message_->message != nullptr && !text.empty()) {
        message_->message(effect, type, "tintwell", "%s", text.c_str());
    }
}

} // namespace tintwell::openfx
