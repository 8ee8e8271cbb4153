#include "plugins/openfx/effect.h"

#include "plugins/openfx/description.h"

#include <string_view>

namespace tintwell::openfx {
namespace {

double timeOf(const Properties& arguments) {
    return arguments.getDouble(property::kTime).value_or(0.0);
}

bool isInteractive(const Properties& arguments) {
    return arguments.getInt(property::kIsInteractive).value_or(0) != 0 ||
           arguments.getInt(property::kInteractiveRender).value_or(0) != 0;
}

Status answerIdentity(const Instance& instance, const Properties& in, const Properties& out) {
    if (!instance.isIdentity(timeOf(in))) {
        return status::kReplyDefault;
    }
    out.set(property::kName, value::kSourceClip);
    out.set(property::kTime, timeOf(in));
    return status::kOk;
}

} // namespace

std::shared_ptr<Instance> Effect::instanceOf(EffectHandle handle) {
    const std::scoped_lock lock(mutex_);
    const auto found = instances_.find(handle);
    if (found == instances_.end()) {
        throw Failure(status::kBadHandle, "");
    }
    return found->second;
}

void Effect::createInstance(EffectHandle handle) {
    auto instance = std::make_shared<Instance>(host_, store_, handle);
    const std::scoped_lock lock(mutex_);
    instances_[handle] = std::move(instance);
}

void Effect::destroyInstance(EffectHandle handle) {
    const std::scoped_lock lock(mutex_);
    if (instances_.erase(handle) == 0) {
        throw Failure(status::kBadHandle, "");
    }
}

Status Effect::act(std::string_view name, const void* handle, const Properties& in,
                   const Properties& out) {
    // The interface hands out handles as constant; they are the host's own.
    const auto effect = static_cast<EffectHandle>(const_cast<void*>(handle));
    if (name == action::kDescribe) {
        describe(host_, effect);
    } else if (name == action::kDescribeInContext) {
        describeInContext(host_, effect);
    } else if (name == action::kCreateInstance) {
        createInstance(effect);
    } else if (name == action::kDestroyInstance) {
        destroyInstance(effect);
    } else if (name == action::kRender) {
        instanceOf(effect)->render(in);
    } else if (name == action::kIsIdentity) {
        return answerIdentity(*instanceOf(effect), in, out);
    } else if (name == action::kGetFramesNeeded) {
        instanceOf(effect)->tellFramesNeeded(timeOf(in), out);
    } else if (name == action::kGetRegionsOfInterest) {
        return instanceOf(effect)->tellRegionOfInterest(timeOf(in), out) ? status::kOk
                                                                         : status::kReplyDefault;
    } else if (name == action::kPurgeCaches) {
        instanceOf(effect)->forgetFrames();
        store_.clear();
    } else if ((name == action::kInstanceChanged &&
                in.getString(property::kType) == value::kTypeClip) ||
               (name == action::kBeginSequenceRender && !isInteractive(in))) {
        instanceOf(effect)->forgetFrames();
    } else {
        return status::kReplyDefault;
    }
    return status::kOk;
}

} // namespace tintwell::openfx
