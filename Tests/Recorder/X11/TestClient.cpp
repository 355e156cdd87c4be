#include "Tests/Recorder/X11/TestClient.h"

#include <poll.h>
#include <sys/uio.h>
#include <xcb/randr.h>
#include <xcb/xtest.h>

#include <array>
#include <chrono>

namespace lumenwhirl::test {
namespace {

XcbHandle<xcb_randr_get_screen_resources_current_reply_t> resourcesOf(const TestClient& client) {
    return client.reply(&xcb_randr_get_screen_resources_current_reply,
                        xcb_randr_get_screen_resources_current(client.connection(), client.root()));
}

/// A visual of the screen with that depth; 0 if there is none.
xcb_visualid_t visualOfDepth(const xcb_screen_t& screen, int depth) {
    for (auto depths = xcb_screen_allowed_depths_iterator(&screen); depths.rem > 0; xcb_depth_next(&depths))
        if (depths.data->depth == depth && depths.data->visuals_len > 0)
            return xcb_depth_visuals_iterator(depths.data).data->visual_id;
    return 0;
}

}  // namespace

void TestClient::waitUntil(const std::string& what, const std::function<bool()>& condition) const {
    using Clock = std::chrono::steady_clock;
    for (const auto end = Clock::now() + std::chrono::seconds(20); !condition();) {
        if (Clock::now() > end) throw std::runtime_error("waited in vain until " + what);
        poll(nullptr, 0, 5);
    }
}

void TestClient::fakeInput(std::uint8_t type, int detail, int x, int y) const {
    constexpr std::uint32_t delayMs = 2;  // the server's: hands take longer than the unit of its time stamps
    xcb_test_fake_input(connection_, type, static_cast<std::uint8_t>(detail), delayMs, root(),
                        static_cast<std::int16_t>(x), static_cast<std::int16_t>(y), 0);
    finish();
}

void TestClient::type(const std::vector<int>& keyCodes) const {
    for (const int keyCode : keyCodes) setKey(keyCode, true);
    for (auto keyCode = keyCodes.rbegin(); keyCode != keyCodes.rend(); ++keyCode) setKey(*keyCode, false);
}

void TestClient::setProperty(std::uint32_t window, const std::string& property, const std::string& type,
                             std::uint8_t bits, std::size_t count, const void* values) const {
    xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window, atom(property), atom(type), bits,
                        static_cast<std::uint32_t>(count), values);
    finish();
}

void TestClient::setMonitor(const std::string& name, int x, int y, int width, int height, bool hasOutput) const {
    struct {
        xcb_randr_set_monitor_request_t head;
        xcb_randr_monitor_info_t monitor;
        xcb_randr_output_t output;
    } request{};
    request.head.window = root();
    request.monitor.name = atom(name);
    request.monitor.nOutput = hasOutput ? 1 : 0;
    request.monitor.x = static_cast<std::int16_t>(x);
    request.monitor.y = static_cast<std::int16_t>(y);
    request.monitor.width = static_cast<std::uint16_t>(width);
    request.monitor.height = static_cast<std::uint16_t>(height);
    request.monitor.width_in_millimeters = static_cast<std::uint32_t>(width / 4);
    request.monitor.height_in_millimeters = static_cast<std::uint32_t>(height / 4);
    request.output = xcb_randr_get_screen_resources_current_outputs(resourcesOf(*this).get())[0];
    // By hand: xcb_randr_set_monitor() of libxcb 1.15 sends a wrong length, which ends the connection. libxcb uses
    // the two vectors in front itself.
    std::array<iovec, 3> parts{};
    parts[2].iov_base = &request;
    parts[2].iov_len = sizeof request - (hasOutput ? 0 : sizeof request.output);
    const xcb_protocol_request_t description{1, &xcb_randr_id, XCB_RANDR_SET_MONITOR, 1};
    xcb_void_cookie_t sent{};
    sent.sequence = xcb_send_request(connection_, XCB_REQUEST_CHECKED, &parts[2], &description);
    if (connection_.errorOf(sent) != 0) throw std::runtime_error("the X server refused a monitor");
}

void TestClient::setScreenSize(int width, int height) const {
    const auto resources = resourcesOf(*this);
    const xcb_randr_output_t output = xcb_randr_get_screen_resources_current_outputs(resources.get())[0];
    const xcb_randr_crtc_t crtc = xcb_randr_get_screen_resources_current_crtcs(resources.get())[0];

    const std::string name = "test" + std::to_string(width) + "x" + std::to_string(height);
    xcb_randr_mode_info_t mode{};
    mode.width = mode.htotal = static_cast<std::uint16_t>(width);
    mode.height = mode.vtotal = static_cast<std::uint16_t>(height);
    mode.name_len = static_cast<std::uint16_t>(name.size());
    mode.id = reply(&xcb_randr_create_mode_reply,
                    xcb_randr_create_mode(connection_, root(), mode, mode.name_len, name.data()))
                  ->mode;
    xcb_randr_add_output_mode(connection_, output, mode.id);

    // Off, resized, on again: no output may ever extend beyond the screen.
    const auto light = [&](std::uint32_t id, std::uint32_t outputs) {
        const auto change = xcb_randr_set_crtc_config(connection_, crtc, XCB_CURRENT_TIME, XCB_CURRENT_TIME, 0, 0,
                                                      id, XCB_RANDR_ROTATION_ROTATE_0, outputs, &output);
        if (reply(&xcb_randr_set_crtc_config_reply, change)->status != 0)
            throw std::runtime_error("the X server does not show the mode " + name);
    };
    xcb_grab_server(connection_);
    light(XCB_NONE, 0);
    xcb_randr_set_screen_size(connection_, root(), mode.width, mode.height, mode.width / 4u, mode.height / 4u);
    light(mode.id, 1);
    xcb_ungrab_server(connection_);
    finish();
}

TestWindow::TestWindow(const TestClient& client, const Options& options) : client_(client) {
    const X11Connection& connection = client.connection();
    const xcb_screen_t& screen = connection.screen();
    window_ = connection.newID();
    context_ = connection.newID();
    colorMap_ = connection.newID();
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
    // The user's own choice (US_POSITION, US_SIZE), or window managers would place it themselves.
    std::vector<std::uint32_t> hints(18);
    hints.front() = 3;
    client.setNumbers(window_, "WM_NORMAL_HINTS", "WM_SIZE_HINTS", hints);
    show();
}

TestWindow::~TestWindow() {
    if (xcb_connection_has_error(client_.connection()) != 0) return;
    xcb_destroy_window(client_.connection(), window_);
    xcb_flush(client_.connection());
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

void TestWindow::configure(std::uint16_t mask, const std::vector<std::int32_t>& values) const {
    xcb_configure_window(client_.connection(), window_, mask, values.data());
    client_.finish();
}

void TestWindow::resize(int width, int height) {
    configure(XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, {width, height});
    client_.waitUntil("the window is resized", [&] {
        const auto size = client_.reply(&xcb_get_geometry_reply, xcb_get_geometry(client_.connection(), window_));
        return size->width == width && size->height == height;
    });
}

void TestWindow::waitForMapState(bool isViewable) const {
    client_.waitUntil(isViewable ? "the window is shown" : "the window is hidden", [&] {
        // Repeatedly: openbox forgets windows that were to be shown while it started.
        if (isViewable) xcb_map_window(client_.connection(), window_);
        const auto attributes = client_.reply(&xcb_get_window_attributes_reply,
                                              xcb_get_window_attributes(client_.connection(), window_));
        return (attributes->map_state == XCB_MAP_STATE_VIEWABLE) == isViewable;
    });
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

}  // namespace lumenwhirl::test
