#include "Recorder/DiskFlusher.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace lumenwhirl {

DiskFlusher::DiskFlusher(std::vector<std::filesystem::path> files)
    : files_(std::move(files)), thread_([this](const std::stop_token& stop) { run(stop); }) {}

void DiskFlusher::run(const std::stop_token& stop) const {
    std::mutex mutex;
    std::condition_variable_any never;
    std::unique_lock lock(mutex);
    while (!never.wait_for(lock, stop, std::chrono::seconds(1), [&] { return stop.stop_requested(); })) {
        for (const std::filesystem::path& file : files_) {
            const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
            if (descriptor < 0) continue;
            (void)::fdatasync(descriptor);  // where it fails, whoever writes the file meets the fault
            ::close(descriptor);
        }
    }
}

}  // namespace lumenwhirl
