#include "Tests/EndToEnd/Program.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace lumenwhirl::test {
namespace {

struct Pipe {
    int reading = -1, writing = -1;
    Pipe() {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error(std::strerror(errno));
        reading = ends[0];
        writing = ends[1];
    }
};

/// Appends what can be read; false at the end.
bool readSome(int descriptor, std::string& text) {
    std::array<char, 4096> block{};
    const ssize_t count = read(descriptor, block.data(), block.size());
    if (count > 0) text.append(block.data(), static_cast<std::size_t>(count));
    return count > 0 || (count < 0 && errno == EINTR);
}

}  // namespace

Program::Program(const Arguments& arguments, const Surroundings& surroundings) {
    const Pipe output, errors;
    // The smallest pipe possible, so that a test can hold the program in the middle of its work.
    fcntl(output.writing, F_SETPIPE_SZ, 4096);
    process_ = fork();
    if (process_ < 0) throw std::runtime_error(std::strerror(errno));
    if (process_ == 0) become(arguments, surroundings, output.writing, errors.writing);
    close(output.writing);
    close(errors.writing);
    output_ = output.reading;
    errors_ = errors.reading;
}

Program::~Program() {
    if (process_ > 0) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    close(output_);
    close(errors_);
}

void Program::become(const Arguments& arguments, const Surroundings& surroundings, int output, int errors) {
    if (surroundings.hasFullOutput) output = open("/dev/full", O_WRONLY);
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    if (!surroundings.folder.empty() && chdir(surroundings.folder.c_str()) != 0) _exit(126);
    for (const auto& [name, value] : surroundings.environment) setenv(name.c_str(), value.c_str(), 1);
    if (surroundings.largestFileSize) {
        const rlimit limit{*surroundings.largestFileSize, *surroundings.largestFileSize};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0) _exit(126);
    }
    std::vector<char*> pointers{const_cast<char*>(LUMENWHIRL_PROGRAM)};  // execv does not change them
    for (const std::string& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);
    execv(LUMENWHIRL_PROGRAM, pointers.data());
    _exit(127);
}

void Program::waitForOutput() const {
    pollfd waiting{output_, POLLIN, 0};
    while (poll(&waiting, 1, -1) < 0 && errno == EINTR) {
    }
}

void Program::send(int signal) const {
    kill(process_, signal);
}

Outcome Program::wait() {
    Outcome outcome;
    bool outputIsOpen = true, errorsAreOpen = true;
    while (outputIsOpen || errorsAreOpen) {
        std::array<pollfd, 2> waiting{
            {{outputIsOpen ? output_ : -1, POLLIN, 0}, {errorsAreOpen ? errors_ : -1, POLLIN, 0}}};
        if (poll(waiting.data(), waiting.size(), -1) < 0) continue;
        if (waiting[0].revents != 0) outputIsOpen = readSome(output_, outcome.output);
        if (waiting[1].revents != 0) errorsAreOpen = readSome(errors_, outcome.errors);
    }
    int status = 0;
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    process_ = -1;
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return outcome;
}

}  // namespace lumenwhirl::test
