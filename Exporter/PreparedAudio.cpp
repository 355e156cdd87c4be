#include "Exporter/PreparedAudio.h"

#include "Exporter/AudioEdit.h"
#include "Exporter/AudioNormalizer.h"
#include "Files/FileError.h"
#include "Media/Remuxer.h"

#include <utility>

namespace lumenwhirl {

PreparedAudio::PreparedAudio(const std::filesystem::path& recording, const EditTimeline& timeline,
                             const std::filesystem::path& destination)
    : recording_(recording), destination_(destination), timeline_(timeline), worker_([this](std::stop_token stop) {
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
        edited_.emplace(destination_, AtomicFile::Access::owner);
        AudioEdit::write(recording_, gain, timeline_, edited_->path(), stop);
        return;
    }
    if (makeLouder(stop)) return;
    if (!Remuxer::canCopyAudio(recording_)) {
        edited_.emplace(destination_, AtomicFile::Access::owner);
        AudioEdit::encode(recording_, edited_->path(), stop);
    }
}

/// False where the audio is to be used as it is: it is loud enough, or the copy failed, for whatever reason.
bool PreparedAudio::makeLouder(const std::stop_token& stop) {
    const float gain = AudioNormalizer::copyGain(recording_, stop);
    if (!(gain > AudioNormalizer::minimumUsefulGain)) return false;
    try {
        edited_.emplace(destination_, AtomicFile::Access::owner);
        static_cast<void>(AudioNormalizer::writeCopy(recording_, edited_->path(), gain, stop));
        return true;
    } catch (const FileError& error) {
        notice_ = std::string("quiet speech was left as it was recorded: ") + error.problem();
    }
    edited_.reset();
    return false;
}

PreparedAudio::~PreparedAudio() {
    worker_.request_stop();
    if (worker_.joinable()) worker_.join();
}

const std::filesystem::path& PreparedAudio::file(std::stop_token stop) {
    if (worker_.joinable()) {
        const std::stop_callback relay(std::move(stop), [this] { worker_.request_stop(); });
        worker_.join();
    }
    if (failure_) std::rethrow_exception(failure_);
    return edited_ ? edited_->path() : recording_;
}

}  // namespace lumenwhirl
