#include "Recorder/RecordingQueue.h"

#include <utility>

namespace lumenwhirl {

bool RecordingQueue::hasRoom() const {
    const std::lock_guard lock(mutex_);
    return !isClosed_ && pictures_.size() < mostPictures_;
}

bool RecordingQueue::push(Picture picture) {
    {
        const std::lock_guard lock(mutex_);
        if (isClosed_ || pictures_.size() >= mostPictures_) return false;
        pictures_.push_back(std::move(picture));
    }
    changed_.notify_one();
    return true;
}

bool RecordingQueue::push(Audio audio) {
    const std::lock_guard lock(mutex_);
    if (isClosed_ || samples_ + audio.samples.size() > mostSamples_) return false;
    samples_ += audio.samples.size();
    audio_.push_back(std::move(audio));
    return true;
}

RecordingQueue::Work RecordingQueue::take(std::chrono::steady_clock::time_point deadline) {
    Work work;
    std::unique_lock lock(mutex_);
    changed_.wait_until(lock, deadline, [this] { return isClosed_ || !pictures_.empty(); });
    if (!pictures_.empty()) {
        work.picture = std::move(pictures_.front());
        pictures_.pop_front();
    }
    work.audio = std::exchange(audio_, {});
    samples_ = 0;
    work.isOver = isClosed_ && pictures_.empty();
    return work;
}

void RecordingQueue::close() {
    {
        const std::lock_guard lock(mutex_);
        isClosed_ = true;
    }
    changed_.notify_all();
}

}  // namespace lumenwhirl
