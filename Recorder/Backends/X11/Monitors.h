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
    std::uint32_t id = 0;  // the same as long as the server runs, also when it comes back after being unplugged
    std::string name;
    PixelRect area;  // inside the screen
    bool isPrimary = false;
};

/// The lit monitors in the server's order; the whole screen where the server knows of none. Three round trips.
[[nodiscard]] std::vector<X11Monitor> monitorsOf(const X11Connection& connection, const X11Extensions& extensions);

/// Whether the server shows X programs inside of a Wayland session: it has no pictures but of their windows.
[[nodiscard]] bool isInWaylandSession(const X11Extensions& extensions, const std::vector<X11Monitor>& monitors);

/// Pixels a point: how much larger than usual the desktop wants everything, as toolkits read it. One round trip.
[[nodiscard]] double scaleOf(const X11Connection& connection);

}  // namespace lumenwhirl
