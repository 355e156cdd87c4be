#pragma once

namespace lumenwhirl {

/// Keeps the media libraries from printing, for the whole process. Only for main(); failures are reported by
/// MediaError in any case.
void silenceMediaLibraries();

}  // namespace lumenwhirl
