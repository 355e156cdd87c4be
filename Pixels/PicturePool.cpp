#include "Pixels/PicturePool.h"

#include <algorithm>

namespace lumenwhirl {

Picture PicturePool::take(int width, int height, PixelFormat format) {
    const auto isOfAnotherKind = [&](const Picture& picture) {
        return picture.width() != width || picture.height() != height || picture.format() != format;
    };
    if (!pictures_.empty() && isOfAnotherKind(pictures_.front())) pictures_.clear();
    const auto free = std::ranges::find_if(pictures_, [](const Picture& picture) { return picture.isUnshared(); });
    if (free != pictures_.end()) return *free;
    Picture picture(width, height, format);
    if (pictures_.size() < mostKept) pictures_.push_back(picture);
    return picture;
}

}  // namespace lumenwhirl
