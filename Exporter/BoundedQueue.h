#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>
#include <stop_token>
#include <utility>

namespace lumenwhirl {

/// Hands values from one thread to another, at most `capacity` waiting; a full queue makes the producer wait.
/// Either side may close it with the failure that ended its work, which is rethrown on the other side.
template <class T>
class BoundedQueue {
public:
    explicit BoundedQueue(std::size_t capacity) : capacity_(capacity) {}

    /// False, and the value dropped, when the queue is closed or `stop` asks. Rethrows the consumer's failure.
    bool push(T value, std::stop_token stop) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, stop, [this] { return closed_ || values_.size() < capacity_; });
        if (closed_ && failure_) std::rethrow_exception(failure_);
        if (closed_ || stop.stop_requested()) return false;
        values_.push_back(std::move(value));
        lock.unlock();
        changed_.notify_all();
        return true;
    }

    /// Empty when the queue is closed and drained, or `stop` asks. Rethrows the producer's failure once it is
    /// drained.
    std::optional<T> pop(std::stop_token stop) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, stop, [this] { return closed_ || !values_.empty(); });
        if (stop.stop_requested()) return std::nullopt;
        if (values_.empty()) {
            if (failure_) std::rethrow_exception(failure_);
            return std::nullopt;
        }
        std::optional<T> value(std::move(values_.front()));
        values_.pop_front();
        lock.unlock();
        changed_.notify_all();
        return value;
    }

    /// Accepts no more values; those that wait can still be taken. The first failure given is kept.
    void close(std::exception_ptr failure = nullptr) {
        {
            const std::lock_guard lock(mutex_);
            closed_ = true;
            if (!failure_) failure_ = std::move(failure);
        }
        changed_.notify_all();
    }

private:
    const std::size_t capacity_;
    std::mutex mutex_;  // guards the fields below
    std::deque<T> values_;
    bool closed_ = false;
    std::exception_ptr failure_;
    std::condition_variable_any changed_;
};

}  // namespace lumenwhirl
