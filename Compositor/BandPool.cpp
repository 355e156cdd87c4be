#include "Compositor/BandPool.h"

#include <utility>

namespace lumenwhirl {

BandPool::BandPool(int threads) {
    for (int i = 1; i < threads; ++i) workers_.emplace_back([this](const std::stop_token& stop) { work(stop); });
}

BandPool::~BandPool() {
    for (std::jthread& worker : workers_) worker.request_stop();
}

void BandPool::run(int bands, const std::function<void(int band)>& draw) {
    if (workers_.empty()) {
        for (int band = 0; band < bands; ++band) draw(band);
        return;
    }
    std::unique_lock lock(mutex_);
    draw_ = &draw;
    next_ = 0;
    bands_ = unfinished_ = bands;
    changed_.notify_all();
    drawBands(lock);
    changed_.wait(lock, [this] { return unfinished_ == 0; });
    draw_ = nullptr;
    if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
}

void BandPool::work(const std::stop_token& stop) {
    std::unique_lock lock(mutex_);
    while (changed_.wait(lock, stop, [this] { return draw_ != nullptr && next_ < bands_; })) drawBands(lock);
}

/// Takes bands until none is left.
void BandPool::drawBands(std::unique_lock<std::mutex>& lock) {
    while (next_ < bands_) {
        const int band = next_++;
        const auto& draw = *draw_;
        lock.unlock();
        std::exception_ptr failure;
        try {
            draw(band);
        } catch (...) {
            failure = std::current_exception();
        }
        lock.lock();
        if (failure) failure_ = std::move(failure);
        if (--unfinished_ == 0) changed_.notify_all();
    }
}

}  // namespace lumenwhirl
