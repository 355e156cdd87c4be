#pragma once

#include "Pixels/Picture.h"

#include <filesystem>
#include <memory>

namespace lumenwhirl {

struct GifSettings {
    int width = 0, height = 0;  // of the frames given to learn() and write(), which are yuv420p8
    int frameRate = 15;         // frames a second, 1...50: viewers slow down what is faster
    int widest = 720;           // pixels; wider frames are scaled down to it, others keep their size
};

/// Writes frames as an animated GIF that plays for ever. One palette serves the whole file. A frame shows for its
/// part of the grid to the nearest hundredth of a second, which is all that GIF can say, without drift; pictures
/// that stay cost nothing. Memory does not grow with the length. One thread at a time. Destroyed unfinished, it
/// removes the file. Does not print.
class GifWriter {
public:
    /// Replaces an existing file. Throws MediaError: cannotWrite, unsupported, encoderFailed.
    GifWriter(const std::filesystem::path& file, const GifSettings& settings);
    ~GifWriter();
    GifWriter(GifWriter&&) noexcept;
    GifWriter& operator=(GifWriter&&) noexcept;

    /// The size of the written picture: in the proportions of the frames, rounded to whole pixels.
    [[nodiscard]] int width() const noexcept;
    [[nodiscard]] int height() const noexcept;

    /// A sample of the colours to come, before the first write(). A few dozen, spread evenly over the whole, make
    /// the palette fit; without any it is that of the first frame. Memory does not grow with their number.
    void learn(const Picture& frame);
    /// The next frame; frame i is shown from i / frameRate seconds on. Handing over a copy of the frame written
    /// last costs next to nothing. Its pixels must not change any more while shared (Picture::isUnshared).
    void write(const Picture& frame);
    /// Completes the file, after at least one frame. Throws MediaError, as all here; then the file is removed.
    void finish();

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace lumenwhirl
