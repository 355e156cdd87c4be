#pragma once

#include <cstdint>
#include <filesystem>

namespace lumenwhirl {

/// What the boxes of an MP4 (ISO/IEC 14496-12) tell without reading what is in them; of other files, nothing.
struct Fragments {
    bool hasIndex = false;        // a complete one
    bool isFragmented = false;    // its index says that fragments follow, which there may be none of yet
    std::int64_t wholeBytes = 0;  // of a fragmented one, up to the end of the last fragment that is complete
    std::int64_t packets = 0;     // of all tracks, in complete fragments
};

/// Of a file that may end anywhere. A file that cannot be read is none.
[[nodiscard]] Fragments fragmentsOf(const std::filesystem::path& file);

}  // namespace lumenwhirl
