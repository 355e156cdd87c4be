#include "Compositor/PngFile.h"
#include "Compositor/StyleResolver.h"
#include "Tests/Compositor/Composing.h"
#include "Tests/Pixels/TestPictures.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

namespace lumenwhirl {
namespace {

// Everything at once, against a picture that was looked at and found right. Text may differ a little between
// versions of the font, so what counts is how many pixels differ visibly.
TEST(FinishedFrame, looksAsItDid) {
    FrameState state;
    state.cursor = {{250, 110}, 0.9, {{{240, 100}, 0.6}}};
    state.cursorSize = 2;
    state.camera = CameraState{{220, 120}, 1.4};
    state.keystrokes = {{"⇧⌘S", 1}, {"↩", 0.5}};
    state.caption = "A finished frame";
    Style style;
    style.background.preset = "ocean";
    style.border = "#FFFFFF66";
    style.shadow = "dramatic";
    const Picture frame = pictureFromImage(testing::scenery(480, 270));
    const Image got =
        imageFromPicture(testing::finished(frame, StyleResolver::resolve(style, {480, 270}), {480, 270}, state));
    const CairoSurface golden(cairo_image_surface_create_from_png(GOLDEN_FOLDER "/FinishedFrame.png"));
    const Image expected = testing::imageOf(golden.get());
    const auto leave = std::filesystem::temp_directory_path() / "lumenwhirl-FinishedFrame.png";
    int different = 0;
    if (got.width == expected.width && got.height == expected.height)
        for (std::size_t i = 0; i < got.pixels.size(); ++i)
            different += std::abs(got.pixels[i] - expected.pixels[i]) > 12 ? 1 : 0;
    else
        different = 1 << 30;
    EXPECT_LT(different, 480 * 270 * 3 / 200) << "see " << (writePng(got, leave), leave);
}

}  // namespace
}  // namespace lumenwhirl
