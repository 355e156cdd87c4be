#include "Scene/BackgroundImage.h"

#include "Media/ImageReader.h"
#include "Media/MediaError.h"

namespace lumenwhirl {

std::optional<Image> loadBackgroundImage(const std::filesystem::path& file) {
    try {
        return readImage(file);
    } catch (const MediaError&) {
        return std::nullopt;  // an unreadable background must not keep a recording from being seen
    }
}

}  // namespace lumenwhirl
