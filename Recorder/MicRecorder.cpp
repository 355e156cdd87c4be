#include "Recorder/MicRecorder.h"

#include "Media/AudioTimeline.h"
#include "Media/AudioWriter.h"
#include "Recorder/Platform/PlatformError.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <exception>
#include <utility>

namespace lumenwhirl {
namespace {

constexpr AudioFormat format{.sampleRate = 48000, .channels = 1};
constexpr std::int64_t bitRate = 128'000;
constexpr double levelSpan = 0.1;  // seconds
// The encoder holds 0.07 s back, so at worst half a second is lost.
constexpr std::chrono::milliseconds flushInterval{400};
constexpr std::size_t flushFrames = 400 * 48000 / 1000;
// While the disk is busy. Beyond 10 s (2 MB) audio is dropped and becomes silence in the file.
constexpr std::size_t queuedFrames = 10 * 48000;

}  // namespace

namespace AudioDevices {

std::vector<MicDevice> inputs(AudioSystem& audio) {
    return audio.inputs();
}

std::optional<std::string> defaultInputID(AudioSystem& audio) {
    return audio.defaultInputID();
}

std::optional<std::string> inputIDFor(const std::optional<std::string>& wanted, AudioSystem& audio) {
    const bool isConnected = wanted && std::ranges::count(inputs(audio), *wanted, &MicDevice::id) > 0;
    return isConnected ? wanted : defaultInputID(audio);
}

}  // namespace AudioDevices

MicRecorder::MicRecorder(std::optional<std::string> deviceID, std::filesystem::path outputURL, AudioSystem& audio,
                         double startHostTime)
    : deviceID_(std::move(deviceID)),
      outputURL_(std::move(outputURL)),
      audio_(audio),
      startHostTime_(startHostTime),
      queue_(0, queuedFrames) {}

MicRecorder::~MicRecorder() {
    finish();
}

bool MicRecorder::start() {
    try {
        open();
        return true;
    } catch (const std::exception& error) {
        // A recording without a microphone is better than none: the caller goes on and reports failure().
        if (stream_) stream_->stop();
        close(error.what());
        return false;
    }
}

void MicRecorder::open() {
    deviceID_ = AudioDevices::inputIDFor(deviceID_, audio_);
    if (!deviceID_)
        throw PlatformError(PlatformError::Kind::notFound,
                            "there is no microphone; connect one, or record without it");
    stream_ = audio_.microphone(*deviceID_);
    stream_->start([this](const AudioBlock& block) { take(block); },
                   [this](const std::string& reason) {
                       level_ = 0;
                       close(reason);
                   });
    // The file comes last, so that there is none without a microphone. Meanwhile audio waits in the queue.
    auto writer = std::make_unique<AudioWriter>(
        outputURL_,
        AudioSettings{.sampleRate = format.sampleRate, .channels = format.channels, .bitRate = bitRate},
        FileLayout::fragmented);
    encoder_ = std::thread([this, writer = std::move(writer)] { encode(*writer); });
}

void MicRecorder::finish() noexcept {
    if (stream_) stream_->stop();
    close(std::nullopt);
    if (encoder_.joinable()) encoder_.join();
    level_ = 0;
}

std::optional<std::string> MicRecorder::failure() const {
    const std::lock_guard lock(mutex_);
    return failure_;
}

void MicRecorder::take(const AudioBlock& block) {
    measureLevel(block);
    queue_.push(RecordingQueue::Audio(block.time - startHostTime_, block, format.channels));
}

void MicRecorder::measureLevel(const AudioBlock& block) {
    Peak peak{.end = block.time + static_cast<double>(block.frames) / format.sampleRate};
    for (std::size_t i = 0; i < block.frames; ++i)
        peak.magnitude = std::max(peak.magnitude, std::abs(audible(block.samples[i])));
    peaks_.push_back(peak);
    while (peaks_.front().end <= peak.end - levelSpan) peaks_.pop_front();
    level_ = std::ranges::max_element(peaks_, {}, &Peak::magnitude)->magnitude;
}

/// Takes no more audio; the first problem is kept.
void MicRecorder::close(const std::optional<std::string>& problem) noexcept {
    queue_.close();
    const std::lock_guard lock(mutex_);
    if (!failure_) failure_ = problem;
}

void MicRecorder::encode(AudioWriter& writer) {
    try {
        std::size_t unflushed = 0;
        const auto flush = [&] {
            if (unflushed > 0) writer.flush();
            unflushed = 0;
        };
        AudioBuffer buffer{.channels = {{}}};
        AudioTimeline timeline(format.sampleRate, format.channels,
                               [&](const float* const* channels, std::size_t frames) {
                                   buffer.channels[0].assign(channels[0], channels[0] + frames);
                                   writer.write(buffer);
                                   unflushed += frames;
                                   if (unflushed >= flushFrames) flush();
                               });
        for (bool isOver = false; !isOver; flush()) {
            const RecordingQueue::Work work = queue_.take(std::chrono::steady_clock::now() + flushInterval);
            for (const RecordingQueue::Audio& audio : work.audio)
                timeline.add(audio.time, audio.samples.data(), audio.samples.size());
            isOver = work.isOver;
        }
        timeline.finish();
        writer.finish();
    } catch (const std::exception& error) {
        // What was flushed stays and plays; the screen's recording goes on.
        close(error.what());
    }
}

}  // namespace lumenwhirl
