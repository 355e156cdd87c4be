#include "Media/AudioReader.h"
#include "Media/Remuxer.h"
#include "Media/VideoReader.h"
#include "Tests/Fuzz/MediaInput.h"

#include <cmath>
#include <cstdint>
#include <optional>
#include <string>

namespace {

using namespace lumenwhirl;
using fuzz::allowingMediaErrors;
using fuzz::FileInMemory;
using fuzz::require;

/// Reads the first and last pixel of every plane, which the address sanitizer watches.
unsigned cornersOf(const Picture& frame) {
    unsigned sum = 0;
    for (int plane = 0; plane < 3; ++plane) {
        const int width = plane == 0 ? frame.width() : frame.width() / 2;
        const int height = plane == 0 ? frame.height() : frame.height() / 2;
        const std::uint8_t* pixels = frame.plane(plane);
        sum += pixels[0] + pixels[(height - 1) * frame.stride(plane) + width - 1];
    }
    return sum;
}

/// Reads at most `count` frames and checks that their times ascend.
void readPictures(VideoReader& reader, int count) {
    [[maybe_unused]] volatile unsigned corners = 0;
    std::optional<std::int64_t> latest;
    for (int i = 0; i < count; ++i) {
        const auto frame = reader.next();
        if (!frame) return;
        require(frame->width() == reader.info().width && frame->height() == reader.info().height,
                "a frame has the size the file says");
        require(!latest || frame->pts() > *latest, "times ascend");
        require(std::isfinite(frame->time()), "a time is a number");
        latest = frame->pts();
        corners = cornersOf(*frame);
    }
}

void readAudio(const std::string& file) {
    AudioReader reader(file);
    AudioBuffer buffer;
    for (int i = 0; i < 20 && reader.read(buffer, 1000); ++i) {
        require(buffer.channels.size() == static_cast<std::size_t>(reader.channels()), "no channel gets lost");
        for (const auto& channel : buffer.channels)
            require(channel.size() == buffer.frames() && channel.size() <= 1000, "channels are of one length");
    }
}

/// Copies the tracks into another file, as an export does with unedited audio.
void copyTracks(const std::string& file) {
    const FileInMemory copy(nullptr, 0);
    Remuxer::mux(file, file, copy.name());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const FileInMemory file(data, size);
    allowingMediaErrors([&] {
        VideoReader reader(file.name());
        allowingMediaErrors([&] { readPictures(reader, 12); });
        for (const double time : {0.3, 0.0, 1e9})
            allowingMediaErrors([&] {
                reader.seek(time);
                readPictures(reader, 3);
            });
    });
    allowingMediaErrors([&] { readAudio(file.name()); });
    allowingMediaErrors([&] { copyTracks(file.name()); });
    return 0;
}
