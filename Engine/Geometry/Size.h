#pragma once

namespace lumenwhirl {

/// Width and height, in the unit its owner states.
struct Size {
    double width = 0, height = 0;
    bool operator==(const Size&) const = default;
};

}  // namespace lumenwhirl
