#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <stop_token>
#include <thread>
#include <vector>

namespace lumenwhirl {

/// A few threads that draw the bands of a picture side by side. Used by one thread at a time, which draws too;
/// with one thread in all there are no others.
class BandPool {
public:
    /// `threads`: in all, at least 1.
    explicit BandPool(int threads);
    ~BandPool();
    BandPool(const BandPool&) = delete;
    BandPool& operator=(const BandPool&) = delete;

    /// Calls draw(band) for every band in 0...bands - 1, each once, on any of the threads, and waits for all. What
    /// `draw` throws comes out here, once no thread draws any more; without other threads it ends the work at
    /// once.
    void run(int bands, const std::function<void(int band)>& draw);

private:
    void work(const std::stop_token& stop);
    void drawBands(std::unique_lock<std::mutex>& lock);

    std::mutex mutex_;  // guards the fields below
    std::condition_variable_any changed_;
    const std::function<void(int)>* draw_ = nullptr;  // null: nothing to do
    int next_ = 0, bands_ = 0, unfinished_ = 0;
    std::exception_ptr failure_;         // of the last band that failed
    std::vector<std::jthread> workers_;  // last: joined before what they use goes away
};

}  // namespace lumenwhirl
