#pragma once

#include "Exporter/Preset.h"
#include "Lumenwhirl/Commands/Command.h"
#include "Media/Encoders.h"

#include <optional>
#include <string>

namespace lumenwhirl {

/// `lumenwhirl export`: a package into a finished video.
class ExportCommand final : public Command {
public:
    explicit ExportCommand(CLI::App& parser);
    void run() override;

private:
    std::string package_, output_, progress_;
    std::optional<Preset> preset_;  // the project's if left out
    EncoderChoice encoder_ = EncoderChoice::automatic;
    bool noZoom_ = false;
};

}  // namespace lumenwhirl
