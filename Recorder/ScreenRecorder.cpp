#include "Recorder/ScreenRecorder.h"

#include "Recorder/Platform/PlatformError.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace lumenwhirl {

ScreenRecorder::ScreenRecorder(std::unique_ptr<CaptureStream> capture, AudioSource audioSource,
                               std::unique_ptr<SoundStream> sound, std::unique_ptr<RecordingFile> file,
                               HostClock& clock)
    : audioSource_(audioSource),
      clock_(clock),
      file_(std::move(file)),
      sound_(std::move(sound)),
      capture_(std::move(capture)) {}

ScreenRecorder::~ScreenRecorder() {
    capture_->stop();
    if (sound_) sound_->stop();
}

void ScreenRecorder::start() {
    if (sound_) {
        try {
            sound_->start([this](const SoundBlock& block) { handleSound(block); },
                          [this](const std::string& reason) { noteSoundEnd(reason); });
        } catch (const PlatformError& error) {  // better a recording without sound than none
            noteSoundEnd(error.what());
        }
    }
    capture_->start([this](const CapturedFrame& frame) { handleFrame(frame); },
                    [this](const std::string& reason) { noteEnd(reason); });
}

void ScreenRecorder::handleFrame(const CapturedFrame& frame) {
    if (frame.status != FrameStatus::complete) return;
    const double now = clock_.now();
    const std::lock_guard lock(mutex_);
    if (!sessionStarted_ && !begin(frame, now)) return;
    if (file_->appendVideo(frame)) lastPTS_ = frame.time;
    const Area area{frame.origin, frame.width, frame.height};
    if (area == area_) return;
    area_ = area;
    if (areaChanged_) areaChanged_(area);
}

void ScreenRecorder::onAreaChange(AreaHandler handler) {
    const std::lock_guard lock(mutex_);
    areaChanged_ = std::move(handler);
    if (areaChanged_ && area_) areaChanged_(*area_);
}

/// False when this picture is too early: sound is still awaited, or the file could not be begun.
bool ScreenRecorder::begin(const CapturedFrame& frame, double now) {
    if (audioSource_ != AudioSource::none && !soundFormat_ && !soundFailure_) {
        if (firstVideoHostTime_ == 0) firstVideoHostTime_ = now;
        if (now - firstVideoHostTime_ < audioStartGrace) return false;
    }
    if (!file_->begin(frame.time, soundFormat_)) return false;
    hasSoundTrack_ = soundFormat_.has_value();
    firstPTS_ = lastPTS_ = frame.time;
    sessionStarted_ = true;
    startHostTime_ = now;
    return true;
}

void ScreenRecorder::handleSound(const SoundBlock& block) {
    const std::size_t samples = block.frames * static_cast<std::size_t>(sound_->format().channels);
    float peak = 0;
    for (std::size_t i = 0; i < samples; ++i) peak = std::max(peak, std::abs(block.samples[i]));
    soundLevel_ = peak;

    const std::lock_guard lock(mutex_);
    if (!sessionStarted_) {
        soundFormat_ = sound_->format();
        return;
    }
    if (hasSoundTrack_ && file_->appendSound(block)) wroteAudio_ = true;
}

void ScreenRecorder::noteEnd(const std::string& reason) {
    const std::lock_guard lock(mutex_);
    endReason_ = reason;
}

void ScreenRecorder::noteSoundEnd(const std::string& reason) {
    soundLevel_ = 0;
    const std::lock_guard lock(mutex_);
    soundFailure_ = reason;
}

std::optional<std::string> ScreenRecorder::soundFailure() const {
    const std::lock_guard lock(mutex_);
    return soundFailure_;
}

std::optional<std::string> ScreenRecorder::endReason() const {
    const std::lock_guard lock(mutex_);
    return endReason_;
}

ScreenRecorder::Result ScreenRecorder::stop() {
    if (result_) return *result_;
    capture_->stop();
    if (sound_) sound_->stop();
    file_->finish(longestFinish);
    result_ = {.startHostTime = startHostTime_,
               .duration = lastPTS_ - firstPTS_,
               .audioSource = audioSource_,
               .wroteAudio = wroteAudio_};
    return *result_;
}

}  // namespace lumenwhirl
