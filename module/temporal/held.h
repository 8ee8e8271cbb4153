#pragma once

#include <memory>
#include <utility>

namespace tintwell {

/// A record that is either owned here or lent by its owner, who outlives this object. So a record
/// has one owner at any time, and what was gathered but not handed on is freed on every path.
template <class T>
class Held {
public:
    Held() = default;

    static Held lent(T* record) {
        Held held;
        held.record_ = record;
        return held;
    }

    static Held owned(std::unique_ptr<T> record) {
        Held held;
        held.record_ = record.get();
        held.owner_ = std::move(record);
        return held;
    }

    T* get() const { return record_; }

    T* operator->() const { return record_; }

    T& operator*() const { return *record_; }

    explicit operator bool() const { return record_ != nullptr; }

    bool isOwned() const { return owner_ != nullptr; }

    /// Hands an owned record to the caller, who lends it from then on; null when it was lent.
    std::unique_ptr<T> handOver() { return std::move(owner_); }

private:
    T* record_ = nullptr;
    std::unique_ptr<T> owner_;
};

} // namespace tintwell
