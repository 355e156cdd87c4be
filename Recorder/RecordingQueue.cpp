#include "Recorder/RecordingQueue.h"

#include <utility>

namespace lumenwhirl {

RecordingQueue::Audio::Audio(double start, const AudioBlock& block, int channels)
    : time(start), samples(block.frames * static_cast<std::size_t>(channels)) {
    std::transform(block.samples, block.samples + samples.size(), samples.begin(), audible);
}

bool RecordingQueue::hasRoom() const {
    const std::lock_guard lock(mutex_);
    return !isClosed_ && frames_.size() < mostFrames_;
}

bool RecordingQueue::push(Frame frame) {
    {
        const std::lock_guard lock(mutex_);
        if (isClosed_ || frames_.size() >= mostFrames_) return false;
        frames_.push_back(std::move(frame));
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
    changed_.wait_until(lock, deadline, [this] { return isClosed_ || !frames_.empty(); });
    if (!frames_.empty()) {
        work.frame = std::move(frames_.front());
        frames_.pop_front();
    }
    work.audio = std::exchange(audio_, {});
    samples_ = 0;
    work.isOver = isClosed_ && frames_.empty();
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
