#pragma once

#include "Demo/DisplayList.h"

#include <string_view>

namespace lumenwhirl::demo {

/// The icon's lines on a grid of 24 by 24, absolute: M x y, L x y, C with six numbers, Z as in SVG; O cx cy r is a
/// circle, R x y w h r a rounded rectangle, D cx cy r a filled dot.
[[nodiscard]] std::string_view iconPath(Icon icon);

}  // namespace lumenwhirl::demo
