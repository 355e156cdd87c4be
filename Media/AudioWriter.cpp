#include "Media/AudioWriter.h"

#include "Media/OutputFile.h"
#include "Media/SoundEncoder.h"

#include <cassert>
#include <cstdint>
#include <optional>
#include <vector>

namespace lumenwhirl {

struct AudioWriter::State {
    State(const std::filesystem::path& file, int sampleRate, int channels) {
        output.emplace(file, "ipod");
        encoder.emplace(*output, SoundSettings{.sampleRate = sampleRate,
                                               .channels = channels,
                                               .bitRate = std::int64_t{96'000} * (channels + 1)});
        // How long the track plays is told in these units: in samples, so that its end is exact.
        Dictionary options{{"movie_timescale", std::to_string(sampleRate)}};
        output->start(options);
    }

    std::optional<OutputFile> output;
    std::optional<SoundEncoder> encoder;
    std::vector<const float*> planes;
};

AudioWriter::AudioWriter(const std::filesystem::path& file, int sampleRate, int channels)
    : state_(std::make_unique<State>(file, sampleRate, channels)) {
    state_->planes.resize(static_cast<std::size_t>(channels));
}
AudioWriter::~AudioWriter() = default;
AudioWriter::AudioWriter(AudioWriter&&) noexcept = default;
AudioWriter& AudioWriter::operator=(AudioWriter&&) noexcept = default;

void AudioWriter::write(const AudioBuffer& buffer) {
    assert(buffer.channels.size() == state_->planes.size());
    for (std::size_t c = 0; c < state_->planes.size(); ++c) state_->planes[c] = buffer.channels[c].data();
    state_->encoder->write(state_->planes.data(), buffer.frames());
}

void AudioWriter::finish() {
    try {
        state_->encoder->finish();
        state_->output->finish();
    } catch (...) {
        state_->encoder.reset();
        state_->output.reset();  // removes the file
        throw;
    }
}

}  // namespace lumenwhirl
