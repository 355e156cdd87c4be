#pragma once

namespace lumenwhirl {

/// Kinds of movie file: MP4, and QuickTime's, which ProRes is at home in.
enum class Container { mp4, mov };

/// How a file of either kind lies on disk.
enum class FileLayout {
    indexFirst,  // a player on the network starts at once; the whole file is written twice
    indexLast,   // as good for what is read on this machine
    // An index now and then, for what came since the one before: whatever happens to the writer, all up to its
    // last flush() plays. Only its owner may read the file, and no failure removes what was flushed.
    fragmented,
};

}  // namespace lumenwhirl
