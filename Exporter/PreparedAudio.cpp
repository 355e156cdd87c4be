#include "Exporter/PreparedAudio.h"

#include "Exporter/AudioEdit.h"
#include "Exporter/AudioNormalizer.h"
#include "Media/Remuxer.h"

#include <system_error>
#include <utility>

namespace lumenwhirl {

PreparedAudio::PreparedAudio(const std::filesystem::path& recording, const EditTimeline& timeline,
                             const std::filesystem::path& destination)
    : recording_(recording),
      timeline_(timeline),
      edited_(destination, "sound.m4a"),
      worker_([this](std::stop_token stop) {
          try {
              make(stop);
          } catch (...) {
              failure_ = std::current_exception();
          }
          isDone_ = true;
      }) {}

void PreparedAudio::make(const std::stop_token& stop) {
    if (!timeline_.isIdentity()) {  // amplified during the edit: a normalised copy would be encoded twice, and at
                                    // full length
        const float gain = AudioNormalizer::copyGain(recording_, stop);
        AudioEdit::write(recording_, gain, timeline_, edited_.path(), stop);
        isEdited_ = true;
        return;
    }
    louder_ = AudioNormalizer::normalizedCopy(recording_, std::nullopt, stop);
    if (!louder_ && !Remuxer::canCopyAudio(recording_)) {
        AudioEdit::encode(recording_, edited_.path(), stop);
        isEdited_ = true;
    }
}

PreparedAudio::~PreparedAudio() {
    worker_.request_stop();
    if (worker_.joinable()) worker_.join();
    std::error_code ignored;  // a file left in the temporary folder does no harm
    if (louder_) std::filesystem::remove(*louder_, ignored);
}

const std::filesystem::path& PreparedAudio::file(std::stop_token stop) {
    if (worker_.joinable()) {
        const std::stop_callback relay(std::move(stop), [this] { worker_.request_stop(); });
        worker_.join();
    }
    if (failure_) std::rethrow_exception(failure_);
    if (isEdited_) return edited_.path();
    return louder_ ? *louder_ : recording_;
}

}  // namespace lumenwhirl
