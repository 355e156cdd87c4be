#include "Engine/Documents/ProjectSettings.h"

namespace lumenwhirl {

ProjectSettings ProjectSettings::makeDefault(double duration, bool hasMic, bool hasSystemAudio) {
    ProjectSettings settings;
    // Not the name of the video in the package, which is used instead of this; documents have always held this
    // text.
    settings.assets.recording = "recording.mov";
    settings.assets.events = "events.json";
    if (hasMic) settings.assets.mic = "mic.m4a";
    if (hasSystemAudio) settings.assets.system = "system.m4a";
    settings.timeline.duration = duration;
    settings.timeline.trimEnd = duration;
    settings.style.background.preset = "sunset";
    return settings;
}

}  // namespace lumenwhirl
