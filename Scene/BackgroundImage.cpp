#include "Scene/BackgroundImage.h"

#include "Media/MediaError.h"
#include "Media/StillReader.h"

#include <cstddef>
#include <utility>

namespace lumenwhirl {

std::optional<Image> loadBackgroundImage(const std::filesystem::path& file) {
    try {
        StillPicture picture = readStill(file);
        Image image;
        image.width = picture.width;
        image.height = picture.height;
        image.pixels = std::move(picture.pixels);
        for (std::size_t i = 0; i < image.pixels.size(); i += 4) {
            const int alpha = image.pixels[i + 3];
            for (std::size_t c = i; c < i + 3; ++c)
                image.pixels[c] = static_cast<std::uint8_t>((image.pixels[c] * alpha + 127) / 255);
        }
        return image;
    } catch (const MediaError&) {
        return std::nullopt;  // a background that cannot be read must not keep a recording from being seen
    }
}

}  // namespace lumenwhirl
