#pragma once

namespace lumenwhirl {

/// Kinds of movie file: MP4, and QuickTime's, which ProRes is at home in.
enum class Container { mp4, mov };

}  // namespace lumenwhirl
