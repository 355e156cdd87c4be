#include "Media/ImageReader.h"
#include "Tests/Fuzz/MediaInput.h"

using namespace lumenwhirl;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const fuzz::FileInMemory file(data, size);
    fuzz::allowingMediaErrors([&] {
        const Image image = readImage(file.name());
        fuzz::require(image.width > 0 && image.height > 0, "an image has a size");
        fuzz::require(image.pixels.size() == image.stride() * static_cast<std::size_t>(image.height),
                      "and its pixels");
    });
    return 0;
}
