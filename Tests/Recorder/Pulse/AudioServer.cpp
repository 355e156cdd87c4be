#include "Tests/Recorder/Pulse/AudioServer.h"

#include "Recorder/Backends/Pulse/PulseConnection.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace lumenwhirl {
namespace {

constexpr const char* socketName = "pulse.sock";

bool accepts(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    const int end = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool isConnected = connect(end, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    close(end);
    return isConnected;
}

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

void setIndex(pa_context*, std::uint32_t index, void* data) {
    auto& result = *static_cast<Result*>(data);
    result.index = index;
    result.hasWorked = index != PA_INVALID_INDEX;
    result.connection.signal();
}

}  // namespace

AudioServer::AudioServer() {
    set("PULSE_SERVER", "unix:" + (folder_ / socketName).string());
    set("PULSE_COOKIE", folder_ / "cookie");  // otherwise libpulse makes one in the home folder
    spawn();
    try {
        waitForSocket();
        connection_ = std::make_unique<PulseConnection>();
        // Without norewinds an output without hardware plays in leaps of up to 2 s.
        load("speakers", "module-null-sink",
             "norewinds=1 sink_name=speakers rate=48000 sink_properties=device.description=Speakers");
        load("micfeed", "module-null-sink", "norewinds=1 sink_name=micfeed rate=48000 channels=1");
        load("mic", "module-remap-source",
             "source_name=mic master=micfeed.monitor source_properties=\"device.description='Test Microphone'\"");
        setDefaultOutput("speakers");
    } catch (...) {
        kill();
        throw;
    }
}

AudioServer::~AudioServer() {
    kill();
    for (const auto& [variable, value] : formerVariables_)
        if (value.empty())
            unsetenv(variable.c_str());
        else
            setenv(variable.c_str(), value.c_str(), 1);
}

void AudioServer::set(const char* variable, const std::string& value) {
    const char* former = std::getenv(variable);
    formerVariables_[variable] = former ? former : "";
    setenv(variable, value.c_str(), 1);
}

void AudioServer::spawn() {
    const std::string script = folder_ / "server.pa", log = folder_ / "log";
    std::ofstream(script)
        << "load-module module-native-protocol-unix auth-anonymous=1 auth-cookie-enabled=0 socket="
        << (folder_ / socketName).string() << "\n";
    const pid_t parent = getpid();
    process_ = fork();
    if (process_ < 0) throw std::runtime_error("cannot start a process");
    if (process_ > 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test that crashes takes it along
    if (getppid() != parent) _exit(126);
    const int output = open(log.c_str(), O_WRONLY | O_CREAT, 0600);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    setenv("HOME", folder_.path().c_str(), 1);
    setenv("XDG_RUNTIME_DIR", folder_.path().c_str(), 1);
    unsetenv("PULSE_SERVER");
    execlp("pulseaudio", "pulseaudio", "-n", "-F", script.c_str(), "--daemonize=no", "--exit-idle-time=-1",
           "--use-pid-file=no", "--disable-shm=yes", "--log-level=warn", "--realtime=no", "--high-priority=no",
           static_cast<char*>(nullptr));
    _exit(127);
}

void AudioServer::waitForSocket() {
    // Nothing tells that it listens, so it is asked again and again.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!accepts(folder_ / socketName)) {
        const bool isGone = waitpid(process_, nullptr, WNOHANG) == process_;
        if (isGone) process_ = -1;
        if (isGone || std::chrono::steady_clock::now() > deadline) {
            std::ostringstream log;
            log << std::ifstream(folder_ / "log").rdbuf();
            throw std::runtime_error("pulseaudio does not start: " + log.str());
        }
        poll(nullptr, 0, 5);
    }
}

void AudioServer::load(const std::string& device, const std::string& module, const std::string& arguments) {
    Result result{.connection = *connection_};
    const PulseConnection::Lock lock(*connection_);
    connection_->waitFor(
        pa_context_load_module(connection_->context(), module.c_str(), arguments.c_str(), &setIndex, &result));
    if (!result.hasWorked) throw std::runtime_error(module + ": " + connection_->reason());
    modules_[device] = result.index;
}

void AudioServer::addOutput(const std::string& name) {
    load(name, "module-null-sink", "norewinds=1 rate=48000 sink_name=" + name);
}

void AudioServer::addStereoMicrophone(const std::string& name) {
    load(name + "feed", "module-null-sink", "norewinds=1 rate=44100 channels=2 sink_name=" + name + "feed");
    load(name, "module-remap-source",
         "master=" + name + "feed.monitor source_name=" + name +
             " source_properties=\"device.description='Stereo Microphone'\"");
}

void AudioServer::unplug(const std::string& device) {
    Result result{.connection = *connection_};
    const PulseConnection::Lock lock(*connection_);
    connection_->waitFor(
        pa_context_unload_module(connection_->context(), modules_.at(device), &setWorked, &result));
    if (!result.hasWorked) throw std::runtime_error(device + ": " + connection_->reason());
    modules_.erase(device);
}

void AudioServer::setDefaultOutput(const std::string& name) {
    Result result{.connection = *connection_};
    const PulseConnection::Lock lock(*connection_);
    connection_->waitFor(pa_context_set_default_sink(connection_->context(), name.c_str(), &setWorked, &result));
    if (!result.hasWorked) throw std::runtime_error(name + ": " + connection_->reason());
}

void AudioServer::kill() {
    if (process_ > 0) {
        ::kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
        process_ = -1;
    }
    connection_.reset();
}

}  // namespace lumenwhirl
