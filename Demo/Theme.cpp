#include "Demo/Theme.h"

namespace lumenwhirl::demo {

const Theme& lightTheme() {
    static const Theme theme{
        .isDark = false,
        .bar = rgb(0xF7F8FC, 0.82),
        .barText = rgb(0x1E2233),
        .dock = rgb(0xF7F8FC, 0.62),
        .dockEdge = rgb(0xFFFFFF, 0.65),
        .window = rgb(0xFFFFFF),
        .windowEdge = rgb(0x1B2140, 0.14),
        .titleBar = rgb(0xFBFBFD),
        .sidebar = rgb(0xF5F6FA),
        .text = rgb(0x1B1F2E),
        .textSoft = rgb(0x5A6178),
        .textFaint = rgb(0x8E94A8),
        .hairline = rgb(0x1B2140, 0.09),
        .column = rgb(0xF3F4F9),
        .card = rgb(0xFFFFFF),
        .cardEdge = rgb(0x1B2140, 0.08),
        .field = rgb(0xF4F5F9),
        .hover = rgb(0x1B2140, 0.055),
        .popover = rgb(0xFFFFFF),
        .shadow = 0.30,
    };
    return theme;
}

const Theme& darkTheme() {
    static const Theme theme{
        .isDark = true,
        .bar = rgb(0x12152A, 0.80),
        .barText = rgb(0xEEF0FA),
        .dock = rgb(0x1A1E38, 0.62),
        .dockEdge = rgb(0xFFFFFF, 0.12),
        .window = rgb(0x1B1E2E),
        .windowEdge = rgb(0xFFFFFF, 0.11),
        .titleBar = rgb(0x202436),
        .sidebar = rgb(0x171A28),
        .text = rgb(0xF0F2FA),
        .textSoft = rgb(0xA9B0C8),
        .textFaint = rgb(0x747B94),
        .hairline = rgb(0xFFFFFF, 0.075),
        .column = rgb(0x161926),
        .card = rgb(0x25293C),
        .cardEdge = rgb(0xFFFFFF, 0.06),
        .field = rgb(0x141724),
        .hover = rgb(0xFFFFFF, 0.07),
        .popover = rgb(0x262A3E),
        .shadow = 0.50,
    };
    return theme;
}

}  // namespace lumenwhirl::demo
