#include "Compositor/PngFile.h"
#include "Scene/BackgroundImage.h"

#include "Tests/Support/Files.h"

#include <gtest/gtest.h>

#include <fstream>

#include <sys/stat.h>

namespace lumenwhirl {
namespace {

TEST(BackgroundImage, stillPicturesAreDecodedAndAllElseIsNone) {
    const TemporaryFolder folder;
    Image image(41, 31);  // red above; below a blue of half the strength, premultiplied
    for (int y = 0; y < 31; ++y) {
        for (int x = 0; x < 41; ++x) {
            std::uint8_t* pixel = image.row(y) + 4 * x;
            pixel[y < 15 ? 0 : 2] = pixel[3] = y < 15 ? 255 : 128;
        }
    }
    writePng(image, folder / "100%d.png");  // no pattern for numbered pictures
    const auto decoded = loadBackgroundImage(folder / "100%d.png");
    ASSERT_TRUE(decoded);
    EXPECT_EQ(*decoded, image);

    // What a file is, is seen in its content: a drawing or text is no picture whatever its name says.
    std::filesystem::rename(folder / "100%d.png", folder / "picture.svg");
    EXPECT_TRUE(loadBackgroundImage(folder / "picture.svg"));
    std::ofstream(folder / "drawing.png")
        << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"9\" height=\"9\"/>";
    EXPECT_FALSE(loadBackgroundImage(folder / "drawing.png"));
    std::ofstream(folder / "huge.ppm") << "P6 16000 16000 255\n" << std::string(1000, 'x');
    EXPECT_FALSE(loadBackgroundImage(folder / "huge.ppm"));

    std::ofstream(folder / "text.png") << "not a picture";
    EXPECT_FALSE(loadBackgroundImage(folder / "text.png"));
    EXPECT_FALSE(loadBackgroundImage(folder / "missing.png"));
    EXPECT_FALSE(loadBackgroundImage(folder.path()));
    ASSERT_EQ(::mkfifo((folder / "pipe.png").c_str(), 0600), 0);  // nobody will ever write to it
    EXPECT_FALSE(loadBackgroundImage(folder / "pipe.png"));
}

}  // namespace
}  // namespace lumenwhirl
