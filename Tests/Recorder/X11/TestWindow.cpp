#include "Tests/Recorder/X11/TestWindow.h"

#include <xcb/xcb.h>

#include <array>
#include <cstdlib>
#include <memory>

namespace lumenwhirl::test {
namespace {

struct Freed {
    void operator()(void* memory) const noexcept { std::free(memory); }
};

/// A visual of the screen with that depth; 0 if there is none.
xcb_visualid_t visualOfDepth(const xcb_screen_t& screen, int depth) {
    for (auto depths = xcb_screen_allowed_depths_iterator(&screen); depths.rem > 0; xcb_depth_next(&depths))
        if (depths.data->depth == depth && depths.data->visuals_len > 0)
            return xcb_depth_visuals_iterator(depths.data).data->visual_id;
    return 0;
}

}  // namespace

TestWindow::TestWindow(const TestClient& client, const Options& options) : client_(client) {
    xcb_connection_t* const connection = client.connection();
    const xcb_screen_t& screen = *xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    window_ = xcb_generate_id(connection);
    context_ = xcb_generate_id(connection);
    colorMap_ = xcb_generate_id(connection);
    const std::uint8_t depth = options.hasAlpha ? 32 : screen.root_depth;
    const xcb_visualid_t visual = options.hasAlpha ? visualOfDepth(screen, 32) : screen.root_visual;
    xcb_create_colormap(connection, XCB_COLORMAP_ALLOC_NONE, colorMap_, screen.root, visual);
    const std::array<std::uint32_t, 4> values{options.color, 0, options.isLeftAlone ? 1u : 0u, colorMap_};
    xcb_create_window(connection, depth, window_, options.parent != 0 ? options.parent : screen.root,
                      static_cast<std::int16_t>(options.x), static_cast<std::int16_t>(options.y),
                      static_cast<std::uint16_t>(options.width), static_cast<std::uint16_t>(options.height),
                      static_cast<std::uint16_t>(options.borderWidth), XCB_WINDOW_CLASS_INPUT_OUTPUT, visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_COLORMAP,
                      values.data());
    xcb_create_gc(connection, context_, window_, 0, nullptr);
    const std::string instance = "test";
    client.setText(window_, "WM_CLASS", "STRING", instance + '\0' + options.application + '\0');
    client.setText(window_, "_NET_WM_NAME", "UTF8_STRING", options.title);
    // Where the user wants it (US_POSITION, US_SIZE), or window managers place it themselves.
    const std::array<std::uint32_t, 18> hints{3};
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window_, XCB_ATOM_WM_NORMAL_HINTS,
                        XCB_ATOM_WM_SIZE_HINTS, 32, hints.size(), hints.data());
    show();
}

TestWindow::~TestWindow() {
    if (xcb_connection_has_error(client_.connection()) == 0) {
        xcb_destroy_window(client_.connection(), window_);
        xcb_flush(client_.connection());
    }
}

void TestWindow::fill(std::uint32_t color) {
    xcb_change_window_attributes(client_.connection(), window_, XCB_CW_BACK_PIXEL, &color);
    xcb_clear_area(client_.connection(), 0, window_, 0, 0, 0, 0);
    client_.finish();
}

void TestWindow::paint(int x, int y, int width, int height, std::uint32_t color) {
    const xcb_rectangle_t area{static_cast<std::int16_t>(x), static_cast<std::int16_t>(y),
                               static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height)};
    xcb_change_gc(client_.connection(), context_, XCB_GC_FOREGROUND, &color);
    xcb_poly_fill_rectangle(client_.connection(), window_, context_, 1, &area);
    client_.finish();
}

void TestWindow::move(int x, int y) {
    const std::array<std::int32_t, 2> values{x, y};
    xcb_configure_window(client_.connection(), window_, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, values.data());
    client_.finish();
}

void TestWindow::resize(int width, int height) {
    const std::array<std::int32_t, 2> values{width, height};
    xcb_configure_window(client_.connection(), window_, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                         values.data());
    client_.waitUntil("the window is resized", [&] {
        const auto cookie = xcb_get_geometry(client_.connection(), window_);
        const std::unique_ptr<xcb_get_geometry_reply_t, Freed> geometry(
            xcb_get_geometry_reply(client_.connection(), cookie, nullptr));
        return geometry && geometry->width == width && geometry->height == height;
    });
}

void TestWindow::raise() {
    const std::uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(client_.connection(), window_, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    client_.finish();
}

void TestWindow::waitForMapState(bool isViewable) const {
    client_.waitUntil(isViewable ? "the window is shown" : "the window is hidden", [&] {
        // Again and again: openbox forgets what was to be shown while it started.
        if (isViewable) xcb_map_window(client_.connection(), window_);
        const auto cookie = xcb_get_window_attributes(client_.connection(), window_);
        const std::unique_ptr<xcb_get_window_attributes_reply_t, Freed> attributes(
            xcb_get_window_attributes_reply(client_.connection(), cookie, nullptr));
        return attributes && (attributes->map_state == XCB_MAP_STATE_VIEWABLE) == isViewable;
    });
}

void TestWindow::hide() {
    xcb_unmap_window(client_.connection(), window_);
    waitForMapState(false);
}

void TestWindow::show() {
    waitForMapState(true);
}

void TestWindow::minimise() {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window_;
    message.type = client_.atom("WM_CHANGE_STATE");
    message.data.data32[0] = 3;  // IconicState
    xcb_send_event(client_.connection(), 0, client_.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    waitForMapState(false);
}

void TestWindow::close() {
    xcb_destroy_window(client_.connection(), window_);
    client_.finish();
}

}  // namespace lumenwhirl::test
