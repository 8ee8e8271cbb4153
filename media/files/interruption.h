#pragma once

#include <atomic>

namespace tintwell::media {

/// Tells reading and writing that wait for somebody else to give up. From any thread.
class Interruption {
public:
    Interruption() = default;

    /// Is set also with `stop`, which outlives it.
    explicit Interruption(const std::atomic<bool>& stop) : stop_(&stop) {}

    void set() { set_ = true; }

    bool isSet() const { return set_ || (stop_ != nullptr && *stop_); }

private:
    const std::atomic<bool>* stop_ = nullptr;
    std::atomic<bool> set_ = false;
};

} // namespace tintwell::media
