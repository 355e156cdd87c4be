#include "Tests/Recorder/X11/VirtualDisplay.h"

#include "Tests/Recorder/X11/TestClient.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace lumenwhirl::test {
namespace {

constexpr int limitMs = 20'000;  // for what takes a tenth of a second on an idle machine

/// Starts a program without output. `kept`: a descriptor it inherits, or -1.
pid_t startProgram(const std::vector<std::string>& words, int kept, const std::string& display) {
    std::vector<char*> pointers;
    for (const std::string& word : words)
        pointers.push_back(const_cast<char*>(word.c_str()));  // execvp changes nothing
    pointers.push_back(nullptr);
    const pid_t parent = getpid();
    const pid_t process = fork();
    if (process < 0) throw std::runtime_error(std::strerror(errno));
    if (process > 0) return process;
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(127);  // the parent ended before the line above
    if (kept >= 0) fcntl(kept, F_SETFD, 0);
    const int nothing = open("/dev/null", O_RDWR);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(nothing, stream);
    if (!display.empty()) setenv("DISPLAY", display.c_str(), 1);
    setenv("XDG_CACHE_HOME", "/dev/null", 1);  // openbox keeps a log there
    execvp(pointers[0], pointers.data());
    _exit(127);
}

void endProgram(pid_t& process) noexcept {
    if (process <= 0) return;
    kill(process, SIGTERM);
    while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
    }
    process = -1;
}

}  // namespace

VirtualDisplay::VirtualDisplay(const Options& options) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error(std::strerror(errno));
    const std::string mode =
        std::to_string(options.width) + "x" + std::to_string(options.height) + "x" + std::to_string(options.depth);
    // Without -noreset it would forget resources and keyboard map when its last client leaves.
    std::vector<std::string> words{
        "Xvfb", "-displayfd", std::to_string(ends[1]), "-screen", "0", mode, "-nolisten", "tcp", "-noreset"};
    for (const std::string& extension : options.missing) words.insert(words.end(), {"-extension", extension});
    server_ = startProgram(words, ends[1], {});
    close(ends[1]);
    // When ready, it writes its number and a newline, in one write or two.
    std::string number;
    pollfd waiting{ends[0], POLLIN, 0};
    for (char byte = 0; byte != '\n' && poll(&waiting, 1, limitMs) > 0 && read(ends[0], &byte, 1) == 1;)
        number += byte;
    close(ends[0]);
    if (number.empty() || number.back() != '\n') {
        end();
        throw std::runtime_error("Xvfb did not start; is it installed?");
    }
    number.pop_back();
    name_ = ":" + number;
}

VirtualDisplay::~VirtualDisplay() {
    endProgram(manager_);
    end();
}

void VirtualDisplay::startWindowManager() {
    // Stays connected: the next client would get the same window numbers, which openbox would take for those of
    // this one until it has heard of their end.
    firstClient_ = std::make_unique<TestClient>(name_);
    const TestClient& client = *firstClient_;
    manager_ = startProgram({"openbox", "--sm-disable"}, -1, name_);
    client.waitUntil("openbox runs", [&] { return client.hasWindowManager(); });
    const TestWindow first(client, {});  // is there when it has managed it
}

void VirtualDisplay::end() noexcept {
    endProgram(server_);
}

}  // namespace lumenwhirl::test
