#pragma once

#include "Lumenwhirl/Commands/Command.h"
#include "Media/Encoders.h"
#include "Media/VideoWriter.h"
#include "Recorder/RecordingFile.h"
#include "Recorder/ShareableContent.h"

#include <cstdint>
#include <optional>
#include <string>

namespace lumenwhirl {

class Interruption;
class RecordingController;

/// `lumenwhirl record`: a display or a window with its sound and everything the user does, into a package.
class RecordCommand final : public Command {
public:
    explicit RecordCommand(CLI::App& parser);
    void run() override;

private:
    [[nodiscard]] CaptureTarget chooseTarget(ScreenSystem& screen) const;
    [[nodiscard]] std::string adviceFor(const RecordingFile::Progress& progress) const;
    void awaitEnd(const RecordingController& controller, Interruption& interruption) const;

    double seconds_ = 0;  // 0: until stopped
    std::optional<std::uint32_t> display_, window_;
    bool wantsMicrophone_ = false, noSystemAudio_ = false;
    std::string microphone_;  // empty: the default one
    std::string folder_, name_;
    VideoCodec codec_ = VideoCodec::hevc;
    EncoderChoice encoder_ = EncoderChoice::automatic;
};

}  // namespace lumenwhirl
