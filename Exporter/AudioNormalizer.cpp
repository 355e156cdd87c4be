#include "Exporter/AudioNormalizer.h"

#include "Files/AtomicFile.h"
#include "Files/FileError.h"
#include "Media/AudioReader.h"
#include "Media/AudioWriter.h"
#include "Media/MediaError.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <new>
#include <random>
#include <string>
#include <system_error>
#include <vector>

namespace lumenwhirl::AudioNormalizer {
namespace {

constexpr double blockSeconds = 0.02;
constexpr std::size_t readFrames = 65'536;
constexpr double speechPercentile = 0.85;
constexpr float limiterKnee = 0.82F;
constexpr float limiterRange = 0.13F;

/// Peak and block levels of mono samples that come in pieces of any length.
class LevelMeter {
public:
    explicit LevelMeter(int sampleRate)
        : blockLength_(std::max<std::size_t>(1, static_cast<std::size_t>(sampleRate * blockSeconds))) {}

    void add(std::span<const float> mono) {
        while (!mono.empty()) {
            const auto piece = mono.first(std::min(mono.size(), blockLength_ - inBlock_));
            addToBlock(piece);
            if (inBlock_ == blockLength_) endBlock();
            mono = mono.subspan(piece.size());
        }
    }

    /// Ends the measurement; a short last block counts like a full one.
    [[nodiscard]] Levels levels() {
        if (inBlock_ > 0) endBlock();
        Levels levels;
        levels.peak = peak_;
        if (blockLevels_.empty()) return levels;
        const auto index =
            std::min(static_cast<std::size_t>(static_cast<double>(blockLevels_.size()) * speechPercentile),
                     blockLevels_.size() - 1);
        const auto at = blockLevels_.begin() + static_cast<std::ptrdiff_t>(index);
        std::nth_element(blockLevels_.begin(), at, blockLevels_.end());
        levels.speechLevel = *at;
        return levels;
    }

private:
    static constexpr std::size_t lanes = 16;

    // Sixteen sums side by side can be vectorised. Each adds up a sixteenth of the terms, so they round less than
    // one running sum of the block would.
    void addToBlock(std::span<const float> mono) {
        std::array<float, lanes> squares{}, peaks{};
        std::size_t i = 0;
        for (; i + lanes <= mono.size(); i += lanes) {
            for (std::size_t lane = 0; lane < lanes; ++lane) {
                const float sample = mono[i + lane];
                const float magnitude = std::fabs(sample);
                squares[lane] += sample * sample;
                peaks[lane] = magnitude > peaks[lane] ? magnitude : peaks[lane];
            }
        }
        for (std::size_t lane = 0; i < mono.size(); ++i, ++lane) {
            squares[lane] += mono[i] * mono[i];
            peaks[lane] = std::max(peaks[lane], std::fabs(mono[i]));
        }
        for (const float sum : squares) blockSquares_ += static_cast<double>(sum);
        peak_ = std::max(peak_, *std::max_element(peaks.begin(), peaks.end()));
        inBlock_ += mono.size();
    }

    void endBlock() {
        const auto level = static_cast<float>(std::sqrt(blockSquares_ / static_cast<double>(inBlock_)));
        // A block with NaN has no level; counted as silence, it keeps the levels sortable.
        blockLevels_.push_back(std::isnan(level) ? 0.0F : level);
        blockSquares_ = 0;
        inBlock_ = 0;
    }

    std::size_t blockLength_, inBlock_ = 0;
    double blockSquares_ = 0;
    float peak_ = 0;
    std::vector<float> blockLevels_;
};

/// (sum of the channels) / count, sample by sample; `first`: the position in the buffer.
void mixDown(const AudioBuffer& buffer, std::size_t first, std::span<float> mono) {
    std::copy_n(buffer.channels.front().data() + first, mono.size(), mono.data());
    for (std::size_t c = 1; c < buffer.channels.size(); ++c) {
        const float* plane = buffer.channels[c].data() + first;
        for (std::size_t i = 0; i < mono.size(); ++i) mono[i] += plane[i];
    }
    const auto count = static_cast<float>(buffer.channels.size());
    for (float& sample : mono) sample /= count;
}

void meterMix(LevelMeter& meter, const AudioBuffer& buffer) {
    if (buffer.channels.size() == 1) {
        meter.add(buffer.channels.front());
        return;
    }
    std::array<float, 4096> mono;  // stays in the first cache
    for (std::size_t first = 0; first < buffer.frames(); first += mono.size()) {
        const auto piece = std::span(mono).first(std::min(mono.size(), buffer.frames() - first));
        mixDown(buffer, first, piece);
        meter.add(piece);
    }
}

/// Like AudioReader::read, but a failure counts as the end: a damaged file is used as far as it can be read.
bool readOn(AudioReader& reader, AudioBuffer& buffer) {
    try {
        return reader.read(buffer, readFrames);
    } catch (const MediaError&) {
        return false;
    }
}

/// Empty when stopped.
std::optional<Levels> measureUntil(const std::filesystem::path& file, const std::stop_token& stop) {
    AudioReader reader(file);
    LevelMeter meter(reader.sampleRate());
    AudioBuffer buffer;
    while (readOn(reader, buffer)) {
        if (stop.stop_requested()) return std::nullopt;
        meterMix(meter, buffer);
    }
    Levels levels = meter.levels();
    levels.sampleRate = reader.sampleRate();
    levels.channels = reader.channels();
    return levels;
}

float limited(float sample) {
    const float magnitude = std::fabs(sample);
    if (!(magnitude > limiterKnee)) return sample;
    return std::copysign(limiterKnee + limiterRange * std::tanh((magnitude - limiterKnee) / limiterRange), sample);
}

/// A random UUID (RFC 9562, version 4) in upper case.
std::string makeUuid() {
    std::random_device random;
    std::array<std::uint8_t, 16> bytes{};
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
    constexpr const char* digits = "0123456789ABCDEF";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 0x0F];
    }
    return text;
}

}  // namespace

Levels measure(const std::filesystem::path& file) {
    return *measureUntil(file, {});
}

float copyGain(const std::filesystem::path& file, std::stop_token stop) {
    try {
        const auto levels = measureUntil(file, stop);
        const float gain = levels ? gainFor(*levels) : 1;
        return gain > minimumUsefulGain ? gain : 1;
    } catch (const MediaError&) {
        return 1;
    }
}

bool writeCopy(const std::filesystem::path& file, const std::filesystem::path& copy, float gain,
               std::stop_token stop) {
    AudioReader reader(file);
    AudioWriter writer(copy, {.sampleRate = reader.sampleRate(), .channels = reader.channels()});
    AudioBuffer buffer;
    while (readOn(reader, buffer)) {
        if (stop.stop_requested()) return false;
        for (auto& plane : buffer.channels) applyGain(plane, gain);
        writer.write(buffer);
    }
    writer.finish();
    return true;
}

std::optional<std::filesystem::path> normalizedCopy(const std::filesystem::path& file, std::optional<float> gain,
                                                    std::stop_token stop) {
    // Without a copy the audio is used as it was recorded: no reason for the caller to fail.
    try {
        if (!gain) gain = copyGain(file, stop);
        if (!(*gain > minimumUsefulGain)) return std::nullopt;
        const auto path = std::filesystem::temp_directory_path() / ("lwnorm-" + makeUuid() + ".m4a");
        AtomicFile copy(path, AtomicFile::Access::owner);  // what was said into a microphone is private
        if (!writeCopy(file, copy.path(), *gain, stop)) return std::nullopt;
        copy.commit(AtomicFile::Durability::none);
        return path;
    } catch (const FileError&) {
    } catch (const std::filesystem::filesystem_error&) {
    } catch (const std::bad_alloc&) {
    }
    return std::nullopt;
}

float gainFor(const Levels& levels) {
    if (levels.speechLevel <= silenceFloor) return 1;
    return std::clamp(targetSpeechLevel / levels.speechLevel, 1.0F, maximumGain);
}

void applyGain(std::span<float> samples, float gain) {
    // Few samples reach the knee, so a whole run is multiplied and tested at once, and only runs that reach it are
    // limited sample by sample.
    constexpr std::size_t run = 16;
    const auto whole = samples.size() - samples.size() % run;
    for (std::size_t start = 0; start < whole; start += run) {
        float* sample = samples.data() + start;
        int above = 0;
        for (std::size_t i = 0; i < run; ++i) {
            sample[i] *= gain;
            above |= std::fabs(sample[i]) > limiterKnee ? 1 : 0;
        }
        if (above == 0) continue;
        for (std::size_t i = 0; i < run; ++i) sample[i] = limited(sample[i]);
    }
    for (float& sample : samples.subspan(whole)) sample = limited(sample * gain);
}

}  // namespace lumenwhirl::AudioNormalizer
