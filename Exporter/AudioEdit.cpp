#include "Exporter/AudioEdit.h"

#include "Exporter/AudioNormalizer.h"
#include "Exporter/TimeStretcher.h"
#include "Media/AudioReader.h"
#include "Media/AudioWriter.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumenwhirl::AudioEdit {
namespace {

constexpr std::int64_t blockFrames = 16384;
constexpr double fadeSeconds = 0.003;  // long enough not to click, too short to be heard as a gap
// Samples before and after a stretched part that the stretcher gets as well, more than its longest window: without
// them it takes the part's ends for transients.
constexpr std::int64_t context = 8192;
constexpr double fastestHeard = 128;  // above this the stretcher fails, and nothing could be understood

using Segment = EditTimeline::Segment;

bool isUnchanged(double rate) {
    return std::abs(rate - 1) <= 1e-6;
}

/// The recording's audio as a stream of samples, read once from front to back; silence after its end. The most
/// recent samples can be read again.
class SourceAudio {
public:
    SourceAudio(AudioReader& reader, float gain) : reader_(reader), gain_(gain) {
        kept_.channels.resize(channels());
    }

    [[nodiscard]] int sampleRate() const noexcept { return reader_.sampleRate(); }
    [[nodiscard]] std::size_t channels() const noexcept { return static_cast<std::size_t>(reader_.channels()); }

    /// `position` must be at most `reach` before the end of what has been read.
    void read(AudioBuffer& buffer, std::int64_t position, std::size_t frames) {
        const std::int64_t end = position + static_cast<std::int64_t>(frames);
        while (end_ < end) {
            // Skips to the position in blocks.
            const std::int64_t next = end_ < position ? std::min<std::int64_t>(position, end_ + blockFrames) : end;
            readOn(static_cast<std::size_t>(next - end_));
        }
        const std::ptrdiff_t first = static_cast<std::ptrdiff_t>(kept_.frames()) - (end_ - position);
        assert(first >= 0);
        buffer.channels.resize(channels());
        for (std::size_t c = 0; c < channels(); ++c) {
            const auto from = kept_.channels[c].begin() + first;
            buffer.channels[c].assign(from, from + static_cast<std::ptrdiff_t>(frames));
        }
    }

private:
    static constexpr std::size_t reach = 2 * context;

    void readOn(std::size_t frames) {
        // A read at the end of the file gives fewer samples; silence makes up for them, so that the lengths are
        // right.
        if (isAtEnd_ || !reader_.read(block_, frames)) block_.channels.assign(channels(), {});
        isAtEnd_ = isAtEnd_ || block_.frames() < frames;
        if (gain_ != 1)
            for (auto& channel : block_.channels) AudioNormalizer::applyGain(channel, gain_);
        const std::size_t known = kept_.frames(), forgotten = known - std::min(known, reach);
        for (std::size_t c = 0; c < channels(); ++c) {
            std::vector<float>& kept = kept_.channels[c];
            kept.erase(kept.begin(), kept.begin() + static_cast<std::ptrdiff_t>(forgotten));
            kept.insert(kept.end(), block_.channels[c].begin(), block_.channels[c].end());
            kept.resize(known - forgotten + frames);
        }
        end_ += static_cast<std::int64_t>(frames);
    }

    AudioReader& reader_;
    float gain_;
    AudioBuffer kept_, block_;
    std::int64_t end_ = 0;  // of what has been read, and of kept_
    bool isAtEnd_ = false;
};

/// Writes one segment of exactly `frames` samples, faded at its joints.
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

/// Half-open, in samples of the recording.
struct Span {
    std::int64_t start = 0, end = 0;
};

void copySegment(SourceAudio& source, Span span, SegmentWriter& out, const std::stop_token& stop) {
    AudioBuffer buffer;
    while (out.missing() > 0 && !stop.stop_requested()) {
        const auto count = std::min<std::int64_t>(out.missing(), blockFrames);
        source.read(buffer, span.start, static_cast<std::size_t>(count));
        span.start += count;
        out.write(buffer);
    }
}

void stretchSegment(SourceAudio& source, Span span, double rate, SegmentWriter& out, const std::stop_token& stop) {
    const std::int64_t before = std::min(span.start, context);
    TimeStretcher stretcher(source.sampleRate(), static_cast<int>(source.channels()), rate,
                            static_cast<std::size_t>(before));
    AudioBuffer buffer, stretched;
    const std::int64_t end = span.end + context;
    for (std::int64_t at = span.start - before; at < end && out.missing() > 0 && !stop.stop_requested();) {
        const auto count = std::min<std::int64_t>(end - at, blockFrames);
        source.read(buffer, at, static_cast<std::size_t>(count));
        at += count;
        stretcher.process(buffer, at == end, stretched);
        out.write(stretched);
    }
}

void writeSilence(std::size_t channels, SegmentWriter& out, const std::stop_token& stop) {
    AudioBuffer silence;
    while (out.missing() > 0 && !stop.stop_requested()) {
        const auto count = static_cast<std::size_t>(std::min<std::int64_t>(out.missing(), blockFrames));
        silence.channels.assign(channels, std::vector<float>(count));
        out.write(silence);
    }
}

/// The timeline's segments; those that continue each other at the same rate are joined.
std::vector<Segment> joinedSegments(const EditTimeline& timeline) {
    std::vector<Segment> joined;
    for (const Segment& segment : timeline.segments()) {
        if (!joined.empty() && joined.back().srcEnd == segment.srcStart && joined.back().rate == segment.rate) {
            joined.back().srcEnd = segment.srcEnd;
            joined.back().outEnd = segment.outEnd;
        } else {
            joined.push_back(segment);
        }
    }
    return joined;
}

}  // namespace

void write(const std::filesystem::path& audio, float gain, const EditTimeline& timeline,
           const std::filesystem::path& destination, std::stop_token stop) {
    AudioReader reader(audio);
    AudioWriter writer(destination, {.sampleRate = reader.sampleRate(), .channels = reader.channels()});
    SourceAudio source(reader, gain);
    const auto sampleAt = [&](double seconds) {
        return static_cast<std::int64_t>(std::llround(seconds * reader.sampleRate()));
    };
    const std::vector<Segment> segments = joinedSegments(timeline);
    // A track needs at least one sample.
    const std::int64_t end = std::max<std::int64_t>(1, sampleAt(timeline.outputDuration()));
    for (std::size_t i = 0; i < segments.size() && !stop.stop_requested(); ++i) {
        const Segment& segment = segments[i];
        const bool isFirst = i == 0, isLast = i + 1 == segments.size();
        const std::int64_t frames = (isLast ? end : sampleAt(segment.outEnd)) - sampleAt(segment.outStart);
        const std::int64_t fade = std::min(sampleAt(fadeSeconds), frames / 2);
        SegmentWriter out(writer, frames, isFirst ? 0 : fade, isLast ? 0 : fade);
        const Span span{sampleAt(segment.srcStart), sampleAt(segment.srcEnd)};
        if (isUnchanged(segment.rate))
            copySegment(source, span, out, stop);
        else if (segment.rate <= fastestHeard)
            stretchSegment(source, span, segment.rate, out, stop);
        // The stretcher may give a few samples too few; the next segment must still begin at its own time.
        writeSilence(source.channels(), out, stop);
    }
    if (!stop.stop_requested()) writer.finish();
}

void encode(const std::filesystem::path& audio, const std::filesystem::path& destination, std::stop_token stop) {
    AudioReader reader(audio);
    AudioWriter writer(destination, {.sampleRate = reader.sampleRate(), .channels = reader.channels()});
    AudioBuffer buffer;
    while (reader.read(buffer, blockFrames)) {
        if (stop.stop_requested()) return;
        writer.write(buffer);
    }
    writer.finish();
}

}  // namespace lumenwhirl::AudioEdit
