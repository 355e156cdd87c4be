#include "Tests/Recorder/Pulse/AudioServer.h"

#include "Recorder/Backends/Pulse/PulseConnection.h"
#include "Recorder/Platform/PlatformError.h"
#include "Tests/Recorder/ChildProgram.h"

#include <poll.h>

#include <chrono>

namespace lumenwhirl {
namespace {

/// What a request came to; its callback fills it.
struct Result {
    const PulseConnection& connection;
    bool hasWorked = false;
    std::uint32_t index = PA_INVALID_INDEX;
};

void setWorked(pa_context*, int hasWorked, void* data) {
    auto& result = *static_cast<Result*>(data);
    result.hasWorked = hasWorked != 0;
    result.connection.signal();
}

void setIndex(pa_context* context, std::uint32_t index, void* data) {
    static_cast<Result*>(data)->index = index;
    setWorked(context, index != PA_INVALID_INDEX ? 1 : 0, data);
}

/// Sends a request and waits until it is answered.
template <class Send>
Result ask(const PulseConnection& connection, const std::string& what, Send send) {
    Result result{.connection = connection};
    const PulseConnection::Lock lock(connection);
    connection.waitFor(send(connection.context(), &result));
    if (!result.hasWorked) throw std::runtime_error(what + ": " + connection.reason());
    return result;
}

}  // namespace

AudioServer::AudioServer() {
    const std::string script = folder_ / "server.pa", log = folder_ / "log", socket = folder_ / "socket";
    writeFile(script, "load-module module-native-protocol-unix auth-anonymous=1 auth-cookie-enabled=0 socket=" +
                          socket + "\n");
    process_ = test::startProgram(
        {"pulseaudio", "-n", "-F", script, "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no",
         "--disable-shm=yes", "--log-level=warn", "--realtime=no", "--high-priority=no"},
        {{"HOME", folder_.path()}, {"XDG_RUNTIME_DIR", folder_.path()}}, log);
    setenv("PULSE_SERVER", ("unix:" + socket).c_str(), 1);
    setenv("PULSE_COOKIE", (folder_ / "cookie").c_str(), 1);  // otherwise libpulse makes one in the home folder
    // Nothing tells that it listens, so it is asked again and again.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!connection_) try {
            connection_ = std::make_unique<PulseConnection>();
        } catch (const PlatformError&) {
            if (waitpid(process_, nullptr, WNOHANG) != 0 || std::chrono::steady_clock::now() > deadline)
                throw std::runtime_error("pulseaudio does not start: " + contentsOf(log));
            poll(nullptr, 0, 5);
        }
    addOutput("speakers");
    addMicrophone("mic", "Test Microphone", 48000, 1);
    setDefaultOutput("speakers");
}

AudioServer::~AudioServer() {
    kill();
    unsetenv("PULSE_SERVER");
    unsetenv("PULSE_COOKIE");
}

void AudioServer::load(const std::string& device, const std::string& module, const std::string& arguments) {
    const auto send = [&](pa_context* context, Result* result) {
        return pa_context_load_module(context, module.c_str(), arguments.c_str(), &setIndex, result);
    };
    modules_[device] = ask(*connection_, module, send).index;
}

void AudioServer::addOutput(const std::string& name) {
    // Without norewinds an output without hardware plays in leaps of up to 2 s.
    load(name, "module-null-sink", "norewinds=1 rate=48000 sink_name=" + name);
}

void AudioServer::addMicrophone(const std::string& name, const std::string& description, int rate, int channels) {
    load(name + "feed", "module-null-sink",
         "norewinds=1 sink_name=" + name + "feed rate=" + std::to_string(rate) +
             " channels=" + std::to_string(channels));
    load(name, "module-remap-source",
         "master=" + name + "feed.monitor source_name=" + name + " source_properties=\"device.description='" +
             description + "'\"");
}

void AudioServer::unplug(const std::string& device) {
    ask(*connection_, device, [&](pa_context* context, Result* result) {
        return pa_context_unload_module(context, modules_.at(device), &setWorked, result);
    });
    modules_.erase(device);
}

void AudioServer::setDefaultOutput(const std::string& name) {
    ask(*connection_, name, [&](pa_context* context, Result* result) {
        return pa_context_set_default_sink(context, name.c_str(), &setWorked, result);
    });
}

void AudioServer::kill() {
    test::endProgram(process_, SIGKILL);
    connection_.reset();
}

}  // namespace lumenwhirl
