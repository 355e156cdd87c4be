#pragma once

#include "Engine/Documents/ProjectSettings.h"
#include "Engine/Geometry/Shapes.h"
#include "Pixels/Image.h"

#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace lumenwhirl {

/// Draws the pieces laid over the video: arrow, click ring, keystroke pills, caption plates. Lengths are
/// recorded-frame pixels; images have `detail` pixels to each, so that they are as sharp as the place they are
/// for. Not thread-safe (text layout is shared).
class Artwork {
public:
    static constexpr double ringBaseRadius = 120;
    static constexpr double ringImageSize = 256;

    Artwork();
    ~Artwork();
    Artwork(Artwork&&) noexcept;
    Artwork& operator=(Artwork&&) noexcept;

    struct Arrow {
        int key = 0;     // the height asked for, whole pixels
        int detail = 1;  // image pixels a frame pixel
        Image image;
        double margin = 0;  // from the image's left and top edges to the tip
    };
    /// The pointer's arrow; the last one drawn is kept. Valid until the next call.
    [[nodiscard]] const Arrow& arrow(double height, int detail);
    /// A white circle of radius 120 about the middle of a 256-pixel square, drawn 2^halvings times smaller.
    [[nodiscard]] static Image ring(int halvings);

    /// How wide a pill is, including its round ends.
    [[nodiscard]] double pillWidth(const std::string& text, double height);
    /// The plate round a wrapped caption, whole pixels.
    [[nodiscard]] Size captionSize(const std::string& text, double frameWidth, double shortSide,
                                   const CaptionStyle& style);

    /// Where a plate is drawn: its top-left corner at (x, y) image pixels of a width * height image.
    struct Placement {
        double x = 0, y = 0, detail = 1;
        int width = 0, height = 0;
    };
    [[nodiscard]] Image pill(const std::string& text, double height, const Placement& placement);
    [[nodiscard]] Image caption(const std::string& text, double frameWidth, double shortSide,
                                const CaptionStyle& style, const Placement& placement);

private:
    struct Text;
    std::unique_ptr<Text> text_;
    Arrow arrow_;
};

}  // namespace lumenwhirl
