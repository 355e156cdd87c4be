#include "Exporter/AudioEdit.h"

#include "Exporter/TimeStretcher.h"
#include "Media/AudioReader.h"
#include "Media/AudioWriter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace lumenwhirl::AudioEdit {
namespace {

constexpr std::size_t blockFrames = 16384;
constexpr double fadeSeconds = 0.003;  // long enough not to click, too short to be heard as a gap

using Segment = EditTimeline::Segment;

bool isUnchanged(double rate) {
    return std::abs(rate - 1) <= 1e-6;
}

/// The recording's sound as a stream of samples read once, front to back; silence after its end.
class SourceSound {
public:
    explicit SourceSound(AudioReader& reader) : reader_(reader) {}

    void skipTo(std::int64_t position) {
        AudioBuffer skipped;
        while (position_ < position) {
            const auto count = std::min<std::int64_t>(position - position_, blockFrames);
            read(skipped, static_cast<std::size_t>(count));
        }
    }

    void read(AudioBuffer& buffer, std::size_t frames) {
        // At the end of the file a read gives fewer; what is missing is silence, so that the lengths hold.
        if (isAtEnd_ || !reader_.read(buffer, frames))
            buffer.channels.assign(static_cast<std::size_t>(reader_.channels()), {});
        isAtEnd_ = isAtEnd_ || buffer.frames() < frames;
        for (auto& channel : buffer.channels) channel.resize(frames);
        position_ += static_cast<std::int64_t>(frames);
    }

private:
    AudioReader& reader_;
    std::int64_t position_ = 0;
    bool isAtEnd_ = false;
};

/// Writes one segment, exactly as many samples as it was promised, faded at its joints.
class SegmentWriter {
public:
    SegmentWriter(AudioWriter& writer, std::int64_t frames, std::int64_t fadeIn, std::int64_t fadeOut)
        : writer_(writer), frames_(frames), fadeIn_(fadeIn), fadeOut_(fadeOut) {}

    [[nodiscard]] std::int64_t missing() const noexcept { return frames_ - written_; }

    void write(AudioBuffer& buffer) {
        const auto count = std::min(missing(), static_cast<std::int64_t>(buffer.frames()));
        if (count <= 0) return;
        for (auto& channel : buffer.channels) {
            channel.resize(static_cast<std::size_t>(count));
            for (std::int64_t i = 0; i < count; ++i) channel[static_cast<std::size_t>(i)] *= gainAt(written_ + i);
        }
        writer_.write(buffer);
        written_ += count;
    }

private:
    [[nodiscard]] float gainAt(std::int64_t position) const {
        float gain = 1;
        if (position < fadeIn_) gain *= (static_cast<float>(position) + 0.5F) / static_cast<float>(fadeIn_);
        const std::int64_t left = frames_ - position;
        if (left <= fadeOut_) gain *= (static_cast<float>(left) - 0.5F) / static_cast<float>(fadeOut_);
        return gain;
    }

    AudioWriter& writer_;
    std::int64_t frames_, fadeIn_, fadeOut_;
    std::int64_t written_ = 0;
};

void copySegment(SourceSound& source, SegmentWriter& out, const std::stop_token& stop) {
    AudioBuffer buffer;
    while (out.missing() > 0 && !stop.stop_requested()) {
        source.read(buffer, static_cast<std::size_t>(std::min<std::int64_t>(out.missing(), blockFrames)));
        out.write(buffer);
    }
}

void stretchSegment(SourceSound& source, const AudioReader& reader, double rate, std::int64_t sourceFrames,
                    SegmentWriter& out, const std::stop_token& stop) {
    TimeStretcher stretcher(reader.sampleRate(), reader.channels(), rate);
    AudioBuffer buffer;
    while (sourceFrames > 0 && !stop.stop_requested()) {
        const auto count = std::min<std::int64_t>(sourceFrames, blockFrames);
        source.read(buffer, static_cast<std::size_t>(count));
        sourceFrames -= count;
        stretcher.feed(buffer, sourceFrames == 0);
        stretcher.take(buffer);
        out.write(buffer);
    }
    // The stretcher may end some samples short; the next segment must begin on its own all the same.
    while (out.missing() > 0 && !stop.stop_requested()) {
        buffer.channels.assign(
            static_cast<std::size_t>(reader.channels()),
            std::vector<float>(static_cast<std::size_t>(std::min<std::int64_t>(out.missing(), blockFrames))));
        out.write(buffer);
    }
}

/// True when the sound runs on from one segment to the next as recorded.
bool runsOn(const Segment& before, const Segment& after) {
    return before.srcEnd == after.srcStart && isUnchanged(before.rate) && isUnchanged(after.rate);
}

}  // namespace

void write(const std::filesystem::path& sound, const EditTimeline& timeline,
           const std::filesystem::path& destination, std::stop_token stop) {
    AudioReader reader(sound);
    AudioWriter writer(destination, reader.sampleRate(), reader.channels());
    SourceSound source(reader);
    const auto sampleAt = [&](double seconds) {
        return static_cast<std::int64_t>(std::llround(seconds * reader.sampleRate()));
    };
    const std::vector<Segment>& segments = timeline.segments();
    for (std::size_t i = 0; i < segments.size() && !stop.stop_requested(); ++i) {
        const Segment& segment = segments[i];
        const std::int64_t frames = sampleAt(segment.outEnd) - sampleAt(segment.outStart);
        const std::int64_t fade = std::min(sampleAt(fadeSeconds), frames / 2);
        const bool joinsBefore = i > 0 && !runsOn(segments[i - 1], segment);
        const bool joinsAfter = i + 1 < segments.size() && !runsOn(segment, segments[i + 1]);
        SegmentWriter out(writer, frames, joinsBefore ? fade : 0, joinsAfter ? fade : 0);
        source.skipTo(sampleAt(segment.srcStart));
        if (isUnchanged(segment.rate))
            copySegment(source, out, stop);
        else
            stretchSegment(source, reader, segment.rate, sampleAt(segment.srcEnd) - sampleAt(segment.srcStart),
                           out, stop);
    }
    if (!stop.stop_requested()) writer.finish();
}

}  // namespace lumenwhirl::AudioEdit
