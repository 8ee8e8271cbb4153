#pragma once

// The gate between a module's C calls and the host's C++: finds the instance that the call is for,
// counts it, lets the hook have its say, and turns exceptions into codes. Nothing thrown in the
// host reaches the module.
//
// Most callbacks carry no effect reference. They, and the others as well, are answered for the
// instance whose command runs on the calling thread; a reference has to be that instance's own.
// Hence a module may call the host only from the thread that called it, and instances on different
// threads do not meet.

#include "host/host_error.h"
#include "host/services.h"

#include <new>

namespace tintwell::host {

/// Makes an instance the one whose command runs on this thread, for the span of a scope. Scopes may
/// nest: a frame source may itself run another instance.
class RunningCommand {
public:
    explicit RunningCommand(Services& services) noexcept;
    ~RunningCommand();

    RunningCommand(const RunningCommand&) = delete;
    RunningCommand& operator=(const RunningCommand&) = delete;

    /// Null when no command runs on this thread.
    static Services* services() noexcept;

private:
    Services* outer_;
};

/// Whether a service does its work although the hook answers with a code.
bool worksDespiteHook(Service service);

/// Runs `work(Services&)`, which gives an ErrorCode.
template <class Work>
ErrorCode serve(Service service, const Work& work) noexcept {
    Services* services = RunningCommand::services();
    if (services == nullptr) {
        return host_error::kWrongReference;
    }
    try {
        const ErrorCode refusal = services->begin(service);
        if (refusal != error::kNone && !worksDespiteHook(service)) {
            return refusal;
        }
        const ErrorCode result = work(*services);
        return refusal != error::kNone ? refusal : result;
    } catch (const std::bad_alloc&) {
        return error::kOutOfMemory;
    } catch (...) {
        services->keepFailure();
        return host_error::kHostFailure;
    }
}

/// The same for callbacks that carry an effect reference.
template <class Work>
ErrorCode serve(Service service, std::uint64_t reference, const Work& work) noexcept {
    return serve(service, [&](Services& services) {
        return reference == services.reference() ? work(services) : host_error::kWrongReference;
    });
}

/// The same for services whose answer is a pointer or a number: `failure` on any failure.
template <class Answer, class Work>
Answer serveAnswer(Service service, Answer failure, const Work& work) noexcept {
    Answer answer = failure;
    serve(service, [&](Services& services) {
        answer = work(services);
        return error::kNone;
    });
    return answer;
}

} // namespace tintwell::host
