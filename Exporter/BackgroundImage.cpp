#include "Exporter/BackgroundImage.h"

#include "Exporter/PictureOf.h"
#include "Media/MediaError.h"
#include "Media/VideoReader.h"

namespace lumenwhirl {

std::optional<Image> loadBackgroundImage(const std::filesystem::path& file) {
    try {
        VideoReader reader(file, VideoReader::Contents::still);
        if (reader.info().width > 16384 || reader.info().height > 16384) return std::nullopt;
        const auto frame = reader.next();
        if (!frame) return std::nullopt;
        return imageFromPicture(pictureOf(*frame));
    } catch (const MediaError&) {
        return std::nullopt;  // a background that cannot be read must not keep a recording from being seen
    }
}

}  // namespace lumenwhirl
