#include "Recorder/RecordingFile.h"

#include "Media/MediaError.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <new>
#include <utility>

namespace lumenwhirl {
namespace {

/// How long encoded packets may wait before they are flushed. A fragment costs some 200 bytes.
constexpr std::chrono::milliseconds longestUnflushed{400};
constexpr std::size_t queuedAudioSeconds = 10;

[[nodiscard]] VideoSettings encoderSettings(const RecordingFile::Settings& settings) {
    constexpr int fps = 60, keyFrameSeconds = 4;
    VideoSettings video;
    video.codec = settings.codec;
    video.encoder = settings.encoder;
    video.width = (settings.width + 1) / 2 * 2;
    video.height = (settings.height + 1) / 2 * 2;
    video.frameRate = {fps, 1};
    video.timeBase = {1, RecordingFile::timescale};
    video.keyFrameInterval = keyFrameSeconds * fps;
    video.realTime = true;
    // The finished video is made from the recording, which must therefore be of higher quality. Time per frame of
    // 1080p on one core of a busy machine; luma against the source, the mean over text that is typed, text that
    // scrolls and a window that moves over text, 120 frames each:
    //     x265 ultrafast 20   20 to 26 ms, key 220 ms   1.7 to  7.0 Mbit/s   SSIM 0.9969   49.8 dB
    //     x265 ultrafast 16   19 to 25 ms, key 220 ms   2.1 to 10.5 Mbit/s   SSIM 0.9985   53.3 dB
    //     x265 superfast 18   19 to 30 ms, key 580 ms   1.1 to  6.9 Mbit/s   SSIM 0.9995   54.7 dB
    //     x264 ultrafast 18    5 to  6 ms, key  20 ms   2.6 to  9.8 Mbit/s   SSIM 0.9996   55.3 dB
    //     x264 superfast 20    5 to  7 ms, key  40 ms   0.9 to  3.6 Mbit/s   SSIM 0.9992   48.6 dB
    // On two idle cores x265 ultrafast takes 12 to 14 ms: 60 frames a second, and the queue rides out its key
    // frames, which it would not with superfast. Gradients come out with errors of 2 codes at most, 61 dB.
    video.software.preset = "ultrafast";
    video.quality = settings.codec == VideoCodec::hevc ? 16 : 18;
    return video;
}

}  // namespace

RecordingFile::RecordingFile(std::filesystem::path file, Settings settings)
    : path_(std::move(file)),
      settings_(std::move(settings)),
      writer_(std::in_place, path_, encoderSettings(settings_)),
      queue_(queuedFrames, queuedAudioSeconds * 48'000 * 2) {}

RecordingFile::~RecordingFile() {
    finishBy_ = Clock::time_point::min();
    queue_.close();
}

bool RecordingFile::begin(double startTime, const std::optional<AudioFormat>& audio) {
    if (hasBegun_) return false;
    try {
        std::optional<AudioSettings> track;
        if (audio) {
            track = {.sampleRate = audio->sampleRate,
                     .channels = audio->channels,
                     .bitRate = audio->channels == 1 ? 96'000 : 160'000};
            timeline_.emplace(audio->sampleRate, audio->channels,
                              [this](const float* const* channels, std::size_t frames) {
                                  writer_->writeAudio(channels, frames);
                                  hasUnflushed_ = true;
                              });
        }
        writer_->start(track);
    } catch (const std::exception& error) {
        const std::lock_guard lock(mutex_);
        failure_ = error.what();
        return false;
    }
    {
        const std::lock_guard lock(mutex_);
        failure_.reset();
    }
    hasBegun_ = true;
    startTime_ = startTime;
    audio_ = audio;
    bytes_ = static_cast<std::uintmax_t>(writer_->bytes());
    flushed_ = Clock::now();
    encoder_ = std::jthread([this] { run(); });
    return true;
}

bool RecordingFile::appendVideo(const CapturedFrame& frame) {
    if (!hasBegun_ || failure()) return false;
    if (lastPts_ >= 0) framesDropped_ += frame.missed;  // before the first one there was no file
    if (!queue_.hasRoom()) {
        ++framesDropped_;
        return false;
    }
    try {
        const VideoSettings video = encoderSettings(settings_);
        Picture picture = pool_.take(video.width, video.height, PixelFormat::yuv420p8);
        converter_.convert(frame, picture);
        const std::int64_t pts = std::llround((frame.time - startTime_) * timescale);
        lastPts_ = std::max({pts, std::int64_t{0}, lastPts_ + 1});
        return queue_.push(RecordingQueue::Frame{picture, lastPts_});
    } catch (const std::bad_alloc&) {  // there may be memory for the next one
        ++framesDropped_;
        return false;
    }
}

bool RecordingFile::appendAudio(const AudioBlock& block) {
    if (!hasBegun_ || !audio_) return false;
    return queue_.push(RecordingQueue::Audio(block.time - startTime_, block, audio_->channels));
}

void RecordingFile::finish(double seconds) {
    if (!encoder_.joinable()) return;
    finishBy_ = Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    queue_.close();
    encoder_.join();
}

RecordingFile::Progress RecordingFile::progress() const {
    return {framesWritten_, framesDropped_, bytes_};
}

std::optional<std::string> RecordingFile::failure() const {
    const std::lock_guard lock(mutex_);
    return failure_;
}

std::optional<std::string> RecordingFile::audioFailure() const {
    const std::lock_guard lock(mutex_);
    return audioFailure_;
}

void RecordingFile::run() {
    try {
        encodeAll();
    } catch (const std::exception& error) {
        fail(error.what());
    }
}

void RecordingFile::encodeAll() {
    for (;;) {
        const RecordingQueue::Work work = queue_.take(flushed_ + longestUnflushed);
        if (Clock::now() >= finishBy_.load()) break;
        encode(work);
        flush();
        if (work.isOver) break;
    }
    encodeAudio([](AudioTimeline& timeline) { timeline.finish(); });
    writer_->finish();
    bytes_ = static_cast<std::uintmax_t>(writer_->bytes());
}

void RecordingFile::encode(const RecordingQueue::Work& work) {
    for (const RecordingQueue::Audio& audio : work.audio)
        encodeAudio([&](AudioTimeline& timeline) {
            timeline.add(audio.time, audio.samples.data(),
                         audio.samples.size() / static_cast<std::size_t>(audio_->channels));
        });
    if (!work.frame) return;
    if (settings_.beforeFrame) settings_.beforeFrame();
    writtenPts_ = work.frame->pts;
    writer_->write(work.frame->picture, writtenPts_);
    ++framesWritten_;
    hasUnflushed_ = true;
}

/// Goes on without audio that cannot be encoded: it must not end the picture.
void RecordingFile::encodeAudio(const std::function<void(AudioTimeline&)>& encode) {
    if (!timeline_) return;
    try {
        encode(*timeline_);
    } catch (const MediaError& error) {
        if (error.kind() != MediaError::Kind::encoderFailed) throw;
        timeline_.reset();
        const std::lock_guard lock(mutex_);
        audioFailure_ = error.what();
    }
}

/// By the clock, as no frame may come for a while, and by the frames' times, as the encoder may be behind.
void RecordingFile::flush() {
    using std::chrono::microseconds;
    static_assert(timescale == microseconds::period::den);
    const auto now = Clock::now();
    if (now - flushed_ < longestUnflushed && microseconds(writtenPts_ - flushedPts_) < longestUnflushed) return;
    flushed_ = now;
    flushedPts_ = writtenPts_;
    if (!hasUnflushed_) return;
    writer_->flush();
    hasUnflushed_ = false;
    bytes_ = static_cast<std::uintmax_t>(writer_->bytes());
}

void RecordingFile::fail(const std::string& problem) {
    queue_.close();
    writer_.reset();  // closes the file; what was flushed stays
    const std::lock_guard lock(mutex_);
    failure_ = problem;
}

}  // namespace lumenwhirl
