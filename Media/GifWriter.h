#pragma once

#include "Pixels/Picture.h"

#include <filesystem>
#include <memory>

namespace lumenwhirl {

struct GifSettings {
    int width = 0, height = 0;  // of the frames given to learn() and write(), which are yuv420p8
    int frameRate = 15;         // frames a second, 1...50: viewers slow down faster ones
    int widest = 720;           // pixels; wider frames are scaled down to this, others keep their size
};

/// Writes frames as an animated GIF that repeats for ever. One palette serves the whole file. Frames are shown at
/// their times to the nearest hundredth of a second, GIF's unit, without drift; frames that do not change cost
/// nothing. Memory does not grow with the length. One thread at a time. Destroyed unfinished, it removes the file.
/// Does not print.
class GifWriter {
public:
    /// Replaces an existing file. Throws MediaError: cannotWrite, unsupported, encoderFailed.
    GifWriter(const std::filesystem::path& file, const GifSettings& settings);
    ~GifWriter();
    GifWriter(GifWriter&&) noexcept;
    GifWriter& operator=(GifWriter&&) noexcept;

    /// The size of the GIF: in the proportions of the frames, rounded to whole pixels.
    [[nodiscard]] int width() const noexcept;
    [[nodiscard]] int height() const noexcept;

    /// Takes a sample of the colours to come, before the first write(). A few dozen frames, spread evenly over the
    /// whole, make a good palette; without any it is made for the first frame. Memory does not grow with their
    /// number.
    void learn(const Picture& frame);
    /// The next frame; frame i is shown from i / frameRate seconds on. A copy of the frame written last costs next
    /// to nothing. The pixels must not change while they are shared (Picture::isUnshared).
    void write(const Picture& frame);
    /// Completes the file, after at least one frame. Throws MediaError, like everything here; then the file is
    /// removed.
    void finish();

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace lumenwhirl
