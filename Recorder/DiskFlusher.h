#pragma once

#include <filesystem>
#include <stop_token>
#include <thread>
#include <vector>

namespace lumenwhirl {

/// Sends files that grow to the disk once a second, on a thread of its own, so that a power cut takes no more than
/// that of them. What is not there yet is left alone.
class DiskFlusher {
public:
    explicit DiskFlusher(std::vector<std::filesystem::path> files);

private:
    void run(const std::stop_token& stop) const;

    std::vector<std::filesystem::path> files_;
    std::jthread thread_;  // last, so it is joined before what it uses goes away
};

}  // namespace lumenwhirl
