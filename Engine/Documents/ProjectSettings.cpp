#include "Engine/Documents/ProjectSettings.h"

namespace lumenwhirl {

ProjectSettings ProjectSettings::makeDefault(double duration, bool hasMic, bool hasSystemAudio) {
    ProjectSettings settings;
    // Not the package's name for the video, which everybody goes by; documents have always said this.
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
