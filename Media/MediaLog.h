#pragma once

namespace lumenwhirl {

/// Keeps the media libraries from printing, for the whole process. For main() alone; what fails is reported by
/// MediaError either way.
void silenceMediaLibraries();

}  // namespace lumenwhirl
