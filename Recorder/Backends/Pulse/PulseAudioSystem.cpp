#include "Recorder/Backends/Pulse/PulseAudioSystem.h"

#include "Recorder/Backends/Pulse/PulseConnection.h"
#include "Recorder/Backends/Pulse/PulseStream.h"

#include <algorithm>

namespace lumenwhirl {
namespace {

/// The answer to a pending request; callbacks fill it in.
template <class Answer>
struct Pending {
    const PulseConnection& connection;
    Answer answer{};
};

std::vector<MicDevice> inputsOf(const PulseConnection& connection) {
    Pending<std::vector<MicDevice>> pending{.connection = connection};
    const PulseConnection::Lock lock(connection);
    connection.waitFor(pa_context_get_source_info_list(
        connection.context(),
        [](pa_context*, const pa_source_info* source, int isEnd, void* data) {
            auto& [from, devices] = *static_cast<Pending<std::vector<MicDevice>>*>(data);
            if (isEnd != 0) return from.signal();
            if (source->monitor_of_sink != PA_INVALID_INDEX) return;
            const std::string description = source->description ? source->description : "";
            devices.push_back({.id = source->name, .name = description.empty() ? source->name : description});
        },
        &pending));
    return pending.answer;
}

/// May also be what an output plays.
std::string defaultSourceOf(const PulseConnection& connection) {
    Pending<std::string> pending{.connection = connection};
    const PulseConnection::Lock lock(connection);
    connection.waitFor(pa_context_get_server_info(
        connection.context(),
        [](pa_context*, const pa_server_info* server, void* data) {
            auto& [from, source] = *static_cast<Pending<std::string>*>(data);
            if (server && server->default_source_name) source = server->default_source_name;
            from.signal();
        },
        &pending));
    return pending.answer;
}

class PulseAudioSystem final : public AudioSystem {
public:
    explicit PulseAudioSystem(const std::stop_token& stop) : stop_(stop) {}

    [[nodiscard]] std::vector<MicDevice> inputs() override { return inputsOf(PulseConnection(stop_)); }

    [[nodiscard]] std::optional<std::string> defaultInputID() override {
        const PulseConnection connection(stop_);
        const std::vector<MicDevice> devices = inputsOf(connection);
        if (devices.empty()) return std::nullopt;
        const std::string source = defaultSourceOf(connection);
        const auto found = std::ranges::find(devices, source, &MicDevice::id);
        return found != devices.end() ? found->id : devices.front().id;
    }

    [[nodiscard]] std::unique_ptr<AudioStream> microphone(const std::string& id) override {
        return std::make_unique<PulseStream>(id, AudioFormat{.sampleRate = 48000, .channels = 1}, stop_);
    }

    [[nodiscard]] std::unique_ptr<AudioStream> systemAudio() override {
        return std::make_unique<PulseStream>(std::nullopt, AudioFormat{.sampleRate = 48000, .channels = 2}, stop_);
    }

private:
    const std::stop_token stop_;
};

}  // namespace

std::unique_ptr<AudioSystem> makePulseAudioSystem(const std::stop_token& stop) {
    return std::make_unique<PulseAudioSystem>(stop);
}

}  // namespace lumenwhirl
