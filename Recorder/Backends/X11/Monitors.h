#pragma once

#include "Recorder/Backends/X11/X11Connection.h"

#include <cstdint>
#include <string>
#include <vector>

namespace lumenwhirl {

/// In pixels of the screen or of a drawable.
struct PixelRect {
    int x = 0, y = 0, width = 0, height = 0;
    bool operator==(const PixelRect&) const = default;
};

struct X11Monitor {
    std::uint32_t id = 0;  // stays the same while the server runs, also across unplugging
    std::string name;
    PixelRect area;  // the part on the screen
    bool isPrimary = false;
};

/// The monitors in use, in the server's order; the whole screen if the server knows of none. Three round trips.
[[nodiscard]] std::vector<X11Monitor> monitorsOf(const X11Connection& connection, const X11Extensions& extensions);

/// Whether the server shows X programs in a Wayland session: then it has pictures of their windows only.
[[nodiscard]] bool isInWaylandSession(const X11Extensions& extensions, const std::vector<X11Monitor>& monitors);

/// Pixels a point: the scale of the desktop, as toolkits read it. One round trip.
[[nodiscard]] double scaleOf(const X11Connection& connection);

}  // namespace lumenwhirl
