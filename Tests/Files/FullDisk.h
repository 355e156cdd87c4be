#pragma once

#include <csignal>
#include <functional>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lumenwhirl {

/// Runs `work` in a process of its own in which no file can grow beyond `sizeBytes`: writing fails there as on a
/// full disk, with EFBIG for ENOSPC. Whether `work` said true.
[[nodiscard]] inline bool holdsOnFullDisk(rlim_t sizeBytes, const std::function<bool()>& work) {
    const pid_t child = ::fork();
    if (child == 0) {
        const rlimit limit{sizeBytes, sizeBytes};
        ::signal(SIGXFSZ, SIG_IGN);  // otherwise the process ends instead of the write
        bool holds = false;
        try {
            holds = ::setrlimit(RLIMIT_FSIZE, &limit) == 0 && work();
        } catch (...) {  // a failed test, told by the exit status
        }
        ::_exit(holds ? 0 : 1);
    }
    int status = 1;
    return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace lumenwhirl
