#include "Recorder/Backends/X11/Monitors.h"

#include "Recorder/Backends/X11/Properties.h"

#include <xcb/randr.h>

#include <algorithm>
#include <charconv>
#include <string_view>

namespace lumenwhirl {
namespace {

/// The part of a monitor that is on a screen of that size; the rest cannot be read.
PixelRect clipped(const xcb_randr_monitor_info_t& monitor, int screenWidth, int screenHeight) {
    const int left = std::max<int>(monitor.x, 0), top = std::max<int>(monitor.y, 0);
    return {left, top, std::min(monitor.x + monitor.width, screenWidth) - left,
            std::min(monitor.y + monitor.height, screenHeight) - top};
}

}  // namespace

std::vector<X11Monitor> monitorsOf(const X11Connection& connection, const X11Extensions& extensions) {
    // The screen's size in the connection's setup may be outdated.
    const auto geometry = xcb_get_geometry(connection, connection.root());
    xcb_randr_get_monitors_cookie_t list{};
    const bool hasMonitors = extensions.randrEvent != 0;
    if (hasMonitors) list = xcb_randr_get_monitors(connection, connection.root(), 1);
    const auto screen = connection.reply(&xcb_get_geometry_reply, geometry);
    const int width = screen ? screen->width : 0, height = screen ? screen->height : 0;

    std::vector<X11Monitor> monitors;
    std::vector<xcb_get_atom_name_cookie_t> names;
    if (hasMonitors) {
        if (const auto reply = connection.reply(&xcb_randr_get_monitors_reply, list))
            for (auto at = xcb_randr_get_monitors_monitors_iterator(reply.get()); at.rem > 0;
                 xcb_randr_monitor_info_next(&at)) {
                if (listIn(*reply, at.data, 1).empty()) break;
                const PixelRect area = clipped(*at.data, width, height);
                if (area.width <= 0 || area.height <= 0) continue;
                monitors.push_back({at.data->name, {}, area, at.data->primary != 0});
                names.push_back(xcb_get_atom_name(connection, at.data->name));
            }
    }
    for (std::size_t i = 0; i < names.size(); ++i)
        if (const auto name = connection.reply(&xcb_get_atom_name_reply, names[i]))
            monitors[i].name = cleanUtf8(
                textIn(*name, xcb_get_atom_name_name(name.get()), xcb_get_atom_name_name_length(name.get())));
    if (monitors.empty() && width > 0) monitors.push_back({0, "screen", {0, 0, width, height}, true});
    return monitors;
}

bool isInWaylandSession(const X11Extensions& extensions, const std::vector<X11Monitor>& monitors) {
    // Older ones lack the extension, but give all monitors such names.
    return extensions.isXwayland || std::any_of(monitors.begin(), monitors.end(), [](const X11Monitor& monitor) {
               return monitor.name.starts_with("XWAYLAND");
           });
}

double scaleOf(const X11Connection& connection) {
    const auto resources =
        askForProperty(connection, connection.root(), XCB_ATOM_RESOURCE_MANAGER, XCB_ATOM_STRING, 1 << 18);
    const std::string text = textIn(connection, resources);
    constexpr std::string_view key = "Xft.dpi:";
    for (std::size_t line = 0; line < text.size(); line = std::min(text.find('\n', line), text.size() - 1) + 1) {
        std::string_view rest = std::string_view(text).substr(line);
        if (!rest.starts_with(key)) continue;
        rest.remove_prefix(key.size());
        rest.remove_prefix(std::min(rest.find_first_not_of(" \t"), rest.size()));
        double dpi = 0;
        std::from_chars(rest.data(), rest.data() + rest.size(), dpi);
        if (dpi >= 24 && dpi <= 960) return dpi / 96;  // 96 is no scale; outside this range it is not meant as one
    }
    return 1;
}

}  // namespace lumenwhirl
