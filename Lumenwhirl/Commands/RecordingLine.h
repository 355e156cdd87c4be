#pragma once

#include "Lumenwhirl/Commands/ProgressLine.h"
#include "Recorder/RecordingController.h"

#include <string>

namespace lumenwhirl {

/// A running recording as one line of text, at most `columns` wide: time, pictures, those dropped, size, loudness.
/// What matters least is left out first.
[[nodiscard]] std::string recordingLine(const RecordingController::Progress& progress, bool hasAudio,
                                        ProgressLine::Symbols symbols, int columns);

}  // namespace lumenwhirl
