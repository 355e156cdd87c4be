#include "Exporter/BackgroundImage.h"

#include "Tests/Media/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fstream>

namespace lumenwhirl {
namespace {

TEST(BackgroundImage, stillPicturesAreDecodedAndAllElseIsNone) {
    const TemporaryFolder folder;
    Image image(40, 30);  // red above, blue below
    for (int y = 0; y < 30; ++y) {
        for (int x = 0; x < 40; ++x) {
            std::uint8_t* pixel = image.row(y) + 4 * x;
            pixel[y < 15 ? 0 : 2] = pixel[3] = 255;
        }
    }
    writePng(image, folder / "100%d.png");  // no pattern for numbered pictures
    const auto decoded = loadBackgroundImage(folder / "100%d.png");
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->width, 40);
    EXPECT_EQ(decoded->height, 30);
    EXPECT_GT(decoded->row(5)[4 * 20], 240);
    EXPECT_GT(decoded->row(25)[4 * 20 + 2], 240);
    EXPECT_LT(decoded->row(25)[4 * 20], 15);

    std::ofstream(folder / "text.png") << "not a picture";
    EXPECT_FALSE(loadBackgroundImage(folder / "text.png"));
    EXPECT_FALSE(loadBackgroundImage(folder / "missing.png"));
    EXPECT_FALSE(loadBackgroundImage(folder.path()));
}

}  // namespace
}  // namespace lumenwhirl
