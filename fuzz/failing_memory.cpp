#include "failing_memory.h"

#include <new>

namespace tintwell::fuzz {
namespace {

constexpr std::size_t kMostBytes = std::size_t{64} << 20U;

bool armed = false;
std::uint32_t countdown = 0;

void refuseIfAsked(std::size_t bytes) {
    if (armed && (bytes > kMostBytes || (countdown > 0 && --countdown == 0))) {
        throw std::bad_alloc();
    }
}

} // namespace

FailingMemory::FailingMemory(std::uint32_t failAt) {
    countdown = failAt;
    armed = true;
}

FailingMemory::~FailingMemory() {
    armed = false;
}

} // namespace tintwell::fuzz

// The linker leads `new` and `new[]` here, and the sanitizer's own to the names that begin with
// real.

extern "C" {
void* __real__Znwm(std::size_t bytes);
void* __real__Znam(std::size_t bytes);

void* __wrap__Znwm(std::size_t bytes) {
    tintwell::fuzz::refuseIfAsked(bytes);
    return __real__Znwm(bytes);
}

void* __wrap__Znam(std::size_t bytes) {
    tintwell::fuzz::refuseIfAsked(bytes);
    return __real__Znam(bytes);
}
}
