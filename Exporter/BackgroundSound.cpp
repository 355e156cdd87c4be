#include "Exporter/BackgroundSound.h"

#include "Exporter/AudioNormalizer.h"

#include <system_error>
#include <utility>

namespace lumenwhirl {

BackgroundSound::BackgroundSound(const std::filesystem::path& recording)
    : recording_(recording), worker_([this](std::stop_token stop) {
          copy_ = AudioNormalizer::normalizedCopy(recording_, std::nullopt, std::move(stop));
      }) {}

BackgroundSound::~BackgroundSound() {
    worker_.request_stop();
    if (worker_.joinable()) worker_.join();
    std::error_code ignored;  // a file left in the temporary folder harms nobody
    if (copy_) std::filesystem::remove(*copy_, ignored);
}

const std::filesystem::path& BackgroundSound::file() {
    if (worker_.joinable()) worker_.join();
    return copy_ ? *copy_ : recording_;
}

}  // namespace lumenwhirl
