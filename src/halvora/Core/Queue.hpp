#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>

namespace halvora {

/// A blocking FIFO that hands received frames from the Bluetooth queue to a driver's worker.
///
/// Any number of producers and consumers may use it at once. `enqueue` ignores nothing (an empty optional,
/// or a null value for pointer-like element types); `dequeue` blocks the calling thread until an element
/// is there, so it runs only on a worker of its own. `tryDequeueFor` waits at most a given time, so that a
/// worker can stop and tests never hang.
template <typename T>
class Queue {
public:
    Queue() = default;
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;

    /// Appends `item` at the end; nothing (and a null pointer-like value) is ignored.
    void enqueue(std::optional<T> item) {
        if (!item || isNull(*item)) return;
        {
            std::lock_guard lock(mutex_);
            items_.push_back(std::move(*item));
        }
        available_.notify_one();
    }

    /// Removes and returns the first element, waiting without limit until there is one.
    T dequeue() {
        std::unique_lock lock(mutex_);
        available_.wait(lock, [this] { return !items_.empty(); });
        return takeFirst();
    }

    /// Removes and returns the first element, waiting at most `timeout` for one; nothing when none came.
    template <typename Rep, typename Period>
    std::optional<T> tryDequeueFor(std::chrono::duration<Rep, Period> timeout) {
        std::unique_lock lock(mutex_);
        if (!available_.wait_for(lock, timeout, [this] { return !items_.empty(); })) return std::nullopt;
        return takeFirst();
    }

    /// The number of elements waiting.
    std::size_t size() const {
        std::lock_guard lock(mutex_);
        return items_.size();
    }

private:
    static bool isNull(const T& item) {
        if constexpr (requires(const T& value) { value == nullptr; }) {
            return item == nullptr;
        } else {
            return false;
        }
    }

    /// The caller holds the lock and the queue is not empty.
    T takeFirst() {
        T item = std::move(items_.front());
        items_.pop_front();
        return item;
    }

    mutable std::mutex mutex_;
    std::condition_variable available_;
    std::deque<T> items_;
};

}  // namespace halvora
