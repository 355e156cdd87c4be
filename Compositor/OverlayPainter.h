#pragma once

#include "Compositor/Artwork.h"
#include "Compositor/OverlayTile.h"
#include "Compositor/RowPairs.h"
#include "Compositor/StyledCanvas.h"
#include "Engine/Documents/ProjectSettings.h"
#include "Engine/Geometry/Shapes.h"
#include "Engine/Motion/CursorState.h"
#include "Engine/Overlays/KeystrokeModel.h"
#include "Pixels/AxisMap.h"
#include "Pixels/ImageResampler.h"
#include "Pixels/Kernels/Kernels.h"

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <variant>
#include <vector>

namespace lumenwhirl {

/// Draws what lies over the video: ripples and arrow, caption and pills. What there is to draw is planned first,
/// so that it can be compared with what an earlier frame shows. Keeps its artwork from frame to frame.
template <class Sample>
class OverlayPainter {
public:
    using Canvas = StyledCanvas<Sample>;

    /// One drawing. Equal ones look the same in the same place, as long as canvas and view do.
    struct Item {
        /// Lies in the recorded frame, moves with the camera.
        struct Moving {
            const Image* image = nullptr;
            std::int64_t look = 0;  // tells images apart that come to lie in the same memory
            Point corner;           // of the image, recorded pixels
            double scale = 1;       // recorded pixels an image pixel
            bool operator==(const Moving&) const = default;
        };
        /// Lies on the canvas.
        struct Plate {
            const OverlayTile<Sample>* tile = nullptr;
            std::int64_t look = 0;
            bool operator==(const Plate&) const = default;
        };
        std::variant<Moving, Plate> what;
        double opacity = 1;
        Span columns, rows;  // of the canvas, even, not empty
        bool operator==(const Item&) const = default;
    };

    /// Discards the plan.
    void begin();
    void planCursor(const Canvas& canvas, const CursorState& cursor, double size, const CameraView& view);
    /// An empty caption is none; pills lie above it.
    void planCaptionAndPills(const Canvas& canvas, const std::string& caption, const CaptionStyle& style,
                             const std::vector<KeyPill>& pills);
    /// In drawing order. Valid until the next planning.
    [[nodiscard]] const std::vector<Item>& plan() const noexcept { return items_; }
    /// Draws the plan on those rows alone.
    void draw(const Canvas& canvas, const CameraView& view, const Kernels& kernels, const RowPairs& rows,
              const Planes<Sample>& out);
    /// Drops artwork made for another canvas.
    void forget();

private:
    /// A pill or caption where it lies on the canvas. Two plates are the same when text, look, size and place
    /// within the pixel grid are.
    using PlateKey = std::tuple<std::string, int, int, int, int>;
    struct CachedPlate {
        OverlayTile<Sample> tile;
        std::int64_t look = 0;
        std::int64_t lastPlanned = 0;
    };

    void planMoving(const Canvas& canvas, const Image& image, std::int64_t look, Point corner, double scale,
                    double opacity, const CameraView& view);
    template <class Draw>
    void planPlate(const Canvas& canvas, const std::string& key, Point corner, Size size, double opacity,
                   Draw&& draw);

    Artwork artwork_;
    std::array<Image, 4> rings_{Artwork::ring(0), Artwork::ring(1), Artwork::ring(2), Artwork::ring(3)};
    std::map<PlateKey, CachedPlate> plates_;
    std::int64_t looks_ = 0;  // how many plates were ever drawn
    std::int64_t plans_ = 0;
    struct {
        std::string text;
        CaptionStyle style;
        Size size;
    } measuredCaption_;  // the caption last drawn
    std::vector<Item> items_;
    ImageResampler resampler_;
    AxisMap columns_, rows_;
    OverlayTile<Sample> moving_;
};

}  // namespace lumenwhirl
