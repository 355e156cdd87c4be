#pragma once

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lumenwhirl::test {

/// Starts a program that ends with the calling thread. `output`: the file it writes to. `kept`: a descriptor it
/// inherits, or -1.
[[nodiscard]] inline pid_t startProgram(const std::vector<std::string>& words,
                                        const std::map<std::string, std::string>& environment,
                                        const std::string& output = "/dev/null", int kept = -1) {
    std::vector<char*> pointers;
    for (const std::string& word : words)
        pointers.push_back(const_cast<char*>(word.c_str()));  // execvp changes nothing
    pointers.push_back(nullptr);
    const pid_t parent = getpid(), process = fork();
    if (process < 0) throw std::runtime_error(std::strerror(errno));
    if (process > 0) return process;
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(127);  // the parent ended before the line above
    if (kept >= 0) fcntl(kept, F_SETFD, 0);
    dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
    dup2(open(output.c_str(), O_WRONLY | O_CREAT, 0600), STDOUT_FILENO);
    dup2(STDOUT_FILENO, STDERR_FILENO);
    for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
    execvp(pointers[0], pointers.data());
    _exit(127);
}

inline void endProgram(pid_t& process, int signal) noexcept {
    if (process <= 0) return;
    kill(process, signal);
    while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
    }
    process = -1;
}

}  // namespace lumenwhirl::test
