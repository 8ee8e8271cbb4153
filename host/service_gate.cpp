#include "host/service_gate.h"

namespace tintwell::host {

namespace {

thread_local Services* runningServices = nullptr;

} // namespace

RunningCommand::RunningCommand(Services& services) noexcept : outer_(runningServices) {
    runningServices = &services;
}

RunningCommand::~RunningCommand() {
    runningServices = outer_;
}

Services* RunningCommand::services() noexcept {
    return runningServices;
}

bool worksDespiteHook(Service service) {
    switch (service) {
    case Service::CheckInParameter:
    case Service::ReleaseStringTable:
    case Service::ReleaseSuite:
    case Service::DisposeHandle:
    case Service::CopyString:
        return true;
    default:
        return false;
    }
}

} // namespace tintwell::host
