#include "Recorder/ScreenRecorder.h"

#include "Recorder/Platform/PlatformError.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace lumenwhirl {

ScreenRecorder::ScreenRecorder(std::unique_ptr<CaptureStream> capture, AudioSource audioSource,
                               std::unique_ptr<AudioStream> audio, std::unique_ptr<RecordingFile> file,
                               HostClock& clock)
    : audioSource_(audioSource),
      clock_(clock),
      file_(std::move(file)),
      audio_(std::move(audio)),
      capture_(std::move(capture)) {}

ScreenRecorder::~ScreenRecorder() {
    capture_->stop();
    if (audio_) audio_->stop();
}

void ScreenRecorder::start() {
    if (audio_) {
        try {
            audio_->start([this](const AudioBlock& block) { handleAudio(block); },
                          [this](const std::string& reason) { noteAudioEnd(reason); });
        } catch (const PlatformError& error) {  // better a recording without audio than none
            noteAudioEnd(error.what());
        }
    }
    capture_->start([this](const CapturedFrame& frame) { handleFrame(frame); },
                    [this](const std::string& reason) { noteEnd(reason); });
}

void ScreenRecorder::handleFrame(const CapturedFrame& frame) {
    if (frame.status != FrameStatus::complete) return;
    {
        const std::lock_guard lock(mutex_);
        if (!sessionStarted_ && !begin(frame, clock_.now())) return;
    }
    // Not under the lock: a picture takes milliseconds, and audio cannot wait for it.
    const bool wasTaken = file_->appendVideo(frame);
    const Area area{frame.origin, frame.width, frame.height};
    const std::lock_guard lock(mutex_);
    if (wasTaken) lastPTS_ = frame.time;
    if (area == area_) return;
    area_ = area;
    if (areaChanged_) areaChanged_(area);
}

void ScreenRecorder::onAreaChange(AreaHandler handler) {
    const std::lock_guard lock(mutex_);
    areaChanged_ = std::move(handler);
    if (areaChanged_ && area_) areaChanged_(*area_);
}

/// False when the recording has not begun with this frame: audio is still awaited, or the file could not be begun.
bool ScreenRecorder::begin(const CapturedFrame& frame, double now) {
    if (audioSource_ != AudioSource::none && !audioFormat_ && !audioFailure_) {
        if (firstVideoHostTime_ == 0) firstVideoHostTime_ = now;
        if (now - firstVideoHostTime_ < audioStartGrace) return false;
    }
    if (!file_->begin(frame.time, audioFormat_)) return false;
    if (audioSource_ != AudioSource::none && !audioFormat_ && !audioFailure_)
        audioFailure_ = "no audio has come in time";
    hasAudioTrack_ = audioFormat_.has_value();
    firstPTS_ = lastPTS_ = frame.time;
    sessionStarted_ = true;
    startHostTime_ = frame.time;
    return true;
}

void ScreenRecorder::handleAudio(const AudioBlock& block) {
    const std::size_t samples = block.frames * static_cast<std::size_t>(audio_->format().channels);
    float peak = 0;
    for (std::size_t i = 0; i < samples; ++i) peak = std::max(peak, std::abs(audible(block.samples[i])));
    audioLevel_ = peak;

    const std::lock_guard lock(mutex_);
    if (!sessionStarted_) {
        audioFormat_ = audio_->format();
        return;
    }
    if (hasAudioTrack_ && file_->appendAudio(block)) wroteAudio_ = true;
}

void ScreenRecorder::noteEnd(const std::string& reason) {
    const std::lock_guard lock(mutex_);
    endReason_ = reason;
}

void ScreenRecorder::noteAudioEnd(const std::string& reason) {
    audioLevel_ = 0;
    const std::lock_guard lock(mutex_);
    audioFailure_ = reason;
}

std::optional<std::string> ScreenRecorder::audioFailure() const {
    const std::lock_guard lock(mutex_);
    return audioFailure_ ? audioFailure_ : file_->audioFailure();
}

std::optional<std::string> ScreenRecorder::endReason() const {
    const std::lock_guard lock(mutex_);
    return endReason_;
}

ScreenRecorder::Result ScreenRecorder::stop() {
    if (result_) return *result_;
    capture_->stop();
    if (audio_) audio_->stop();
    file_->finish(longestFinish);
    result_ = {.startHostTime = startHostTime_,
               .duration = lastPTS_ - firstPTS_,
               .audioSource = audioSource_,
               .wroteAudio = wroteAudio_};
    return *result_;
}

}  // namespace lumenwhirl
