#pragma once

#include <cstdint>
#include <filesystem>

namespace lumenwhirl {

/// What the boxes of an MP4 (ISO/IEC 14496-12) tell without reading the media data; nothing of other files.
struct Fragments {
    bool hasIndex = false;        // a complete one
    bool isFragmented = false;    // the index announces fragments, even if there are none yet
    std::int64_t wholeBytes = 0;  // of a fragmented file, up to the end of the last complete fragment
    std::int64_t packets = 0;     // of all tracks, in complete fragments
};

/// The file may end anywhere; one that cannot be read has none.
[[nodiscard]] Fragments fragmentsOf(const std::filesystem::path& file);

}  // namespace lumenwhirl
