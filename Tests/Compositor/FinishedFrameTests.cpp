#include "Compositor/CairoHandles.h"
#include "Compositor/FrameCompositor.h"
#include "Compositor/PngFile.h"
#include "Compositor/StyleResolver.h"
#include "Tests/Compositor/TestPictures.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

namespace lumenwhirl {
namespace {

Image readPng(const std::filesystem::path& file) {
    const CairoSurface surface(cairo_image_surface_create_from_png(file.c_str()));
    Image image(cairo_image_surface_get_width(surface.get()), cairo_image_surface_get_height(surface.get()));
    for (int y = 0; y < image.height; ++y) {
        const unsigned char* in =
            cairo_image_surface_get_data(surface.get()) + y * cairo_image_surface_get_stride(surface.get());
        for (int x = 0; x < image.width; ++x, in += 4) {
            std::uint32_t pixel = 0;
            std::memcpy(&pixel, in, 4);
            std::uint8_t* out = image.row(y) + std::ptrdiff_t{4} * x;
            out[0] = static_cast<std::uint8_t>(pixel >> 16);
            out[1] = static_cast<std::uint8_t>(pixel >> 8);
            out[2] = static_cast<std::uint8_t>(pixel);
            out[3] = 255;
        }
    }
    return image;
}

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
    const auto compositor = FrameCompositor::make(PixelFormat::yuv420p8);
    compositor->prepare(StyleResolver::resolve(style, {480, 270}), {480, 270}, {480, 270});
    const Image got = imageFromPicture(compositor->compose(pictureFromImage(testing::scenery(480, 270)), state));
    const Image expected = readPng(std::filesystem::path(GOLDEN_FOLDER) / "FinishedFrame.png");
    const auto leave = testing::pictureFor("FinishedFrame");
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
