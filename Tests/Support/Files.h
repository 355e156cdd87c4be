#pragma once

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lumenwhirl {

/// A fresh folder, removed with everything in it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "lumenwhirl-test-XXXXXX").string();
        if (!::mkdtemp(pattern.data())) throw std::runtime_error("cannot create " + pattern);
        path_ = pattern;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
    [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }
    [[nodiscard]] bool isEmpty() const { return std::filesystem::is_empty(path_); }

private:
    std::filesystem::path path_;
};

/// Of everything in a folder, hidden files too.
[[nodiscard]] inline std::set<std::string> namesIn(const std::filesystem::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.insert(entry.path().filename().string());
    return names;
}

[[nodiscard]] inline std::string contentsOf(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

inline void writeFile(const std::filesystem::path& file, const std::string& contents) {
    std::ofstream out(file, std::ios::binary);
    out << contents;
    if (!out.flush()) throw std::runtime_error("cannot write " + file.string());
}

/// Runs `work` in a child process in which no file can grow beyond `sizeBytes`, so that writing fails as on a full
/// disk (with EFBIG instead of ENOSPC). Returns what `work` returned; false if it threw.
[[nodiscard]] inline bool holdsOnFullDisk(rlim_t sizeBytes, const std::function<bool()>& work) {
    const pid_t child = ::fork();
    if (child == 0) {
        const rlimit limit{sizeBytes, sizeBytes};
        ::signal(SIGXFSZ, SIG_IGN);  // otherwise the process ends instead of the write
        bool holds = false;
        try {
            holds = ::setrlimit(RLIMIT_FSIZE, &limit) == 0 && work();
        } catch (...) {  // reported by the exit status
        }
        ::_exit(holds ? 0 : 1);
    }
    int status = 1;
    return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace lumenwhirl
