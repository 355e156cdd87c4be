#pragma once

#include "Media/MediaError.h"
#include "Media/MediaLog.h"
#include "Tests/Fuzz/Require.h"

extern "C" {
#include <libavutil/mem.h>
}

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace lumenwhirl::fuzz {

/// libavformat gives one allocation up to 2 GB and fills it: a fragment of 20 bytes may claim 80 million samples
/// that take no data. This keeps several such tables within the fuzzer's limit of memory.
inline constexpr std::size_t mostBytes = std::size_t{64} << 20;

/// Bytes as a named file in memory.
class FileInMemory {
public:
    FileInMemory(const std::uint8_t* data, std::size_t size) : descriptor_(::memfd_create("media", MFD_CLOEXEC)) {
        silenceMediaLibraries();
        av_max_alloc(mostBytes);
        require(descriptor_ >= 0, "there is a file in memory");
        require(::write(descriptor_, data, size) == static_cast<ssize_t>(size), "it can be filled");
    }
    ~FileInMemory() { ::close(descriptor_); }
    FileInMemory(const FileInMemory&) = delete;
    FileInMemory& operator=(const FileInMemory&) = delete;

    [[nodiscard]] std::string name() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

private:
    int descriptor_;
};

template <class Work>
void allowingMediaErrors(Work work) {
    try {
        work();
    } catch (const MediaError& error) {
        require(std::string(error.what()).find('\n') == std::string::npos, "an error is one line");
    }
}

}  // namespace lumenwhirl::fuzz
