#include "Tests/Recorder/X11/TestClient.h"

#include <poll.h>
#include <sys/uio.h>
#include <xcb/randr.h>
#include <xcb/xcb.h>
#include <xcb/xcbext.h>
#include <xcb/xtest.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <stdexcept>

namespace lumenwhirl::test {
namespace {

struct Freed {
    void operator()(void* memory) const noexcept { std::free(memory); }
};
template <class T>
using Owned = std::unique_ptr<T, Freed>;

template <class T>
Owned<T> orThrow(T* reply, const char* what) {
    if (reply == nullptr) throw std::runtime_error(std::string("the X server refused: ") + what);
    return Owned<T>(reply);
}

}  // namespace

TestClient::TestClient(const std::string& display) : connection_(xcb_connect(display.c_str(), nullptr)) {
    if (xcb_connection_has_error(connection_) != 0) {
        xcb_disconnect(connection_);
        throw std::runtime_error("no X server at " + display);
    }
    root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
}

TestClient::~TestClient() {
    xcb_disconnect(connection_);
}

std::uint32_t TestClient::atom(const std::string& name) const {
    const auto cookie = xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(name.size()), name.data());
    return orThrow(xcb_intern_atom_reply(connection_, cookie, nullptr), "an atom")->atom;
}

void TestClient::finish() const {
    orThrow(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr), "a round trip");
}

void TestClient::waitUntil(const std::string& what, const std::function<bool()>& condition) const {
    using Clock = std::chrono::steady_clock;
    for (const auto end = Clock::now() + std::chrono::seconds(20); !condition();) {
        if (Clock::now() > end) throw std::runtime_error("waited in vain until " + what);
        poll(nullptr, 0, 5);
    }
}

bool TestClient::hasWindowManager() const {
    const auto cookie =
        xcb_get_property(connection_, 0, root_, atom("_NET_SUPPORTING_WM_CHECK"), XCB_ATOM_WINDOW, 0, 1);
    const Owned<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection_, cookie, nullptr));
    return reply && xcb_get_property_value_length(reply.get()) == 4;
}

void TestClient::fakeInput(std::uint8_t type, std::uint8_t detail, int x, int y) const {
    constexpr std::uint32_t delayMs = 2;  // the server's: hands take longer than the unit of its time stamps
    xcb_test_fake_input(connection_, type, detail, delayMs, root_, static_cast<std::int16_t>(x),
                        static_cast<std::int16_t>(y), 0);
    finish();
}

void TestClient::movePointer(int x, int y) const {
    fakeInput(XCB_MOTION_NOTIFY, 0, x, y);
}

void TestClient::setButton(int button, bool isDown) const {
    fakeInput(isDown ? XCB_BUTTON_PRESS : XCB_BUTTON_RELEASE, static_cast<std::uint8_t>(button), 0, 0);
}

void TestClient::setKey(int keyCode, bool isDown) const {
    fakeInput(isDown ? XCB_KEY_PRESS : XCB_KEY_RELEASE, static_cast<std::uint8_t>(keyCode), 0, 0);
}

void TestClient::setText(std::uint32_t window, const std::string& property, const std::string& type,
                         const std::string& text) const {
    xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window, atom(property), atom(type), 8,
                        static_cast<std::uint32_t>(text.size()), text.data());
    finish();
}

void TestClient::setNumbers(std::uint32_t window, const std::string& property, const std::string& type,
                            const std::vector<std::uint32_t>& numbers) const {
    xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window, atom(property), atom(type), 32,
                        static_cast<std::uint32_t>(numbers.size()), numbers.data());
    finish();
}

void TestClient::setResources(const std::string& resources) const {
    setText(root_, "RESOURCE_MANAGER", "STRING", resources);
}

void TestClient::setMonitor(const std::string& name, int x, int y, int width, int height, bool hasOutput) const {
    const auto cookie = xcb_randr_get_screen_resources_current(connection_, root_);
    const auto resources = orThrow(xcb_randr_get_screen_resources_current_reply(connection_, cookie, nullptr),
                                   "the screen's resources");
    struct {
        xcb_randr_set_monitor_request_t head;
        xcb_randr_monitor_info_t monitor;
        xcb_randr_output_t output;
    } request{};
    request.head.window = root_;
    request.monitor.name = atom(name);
    request.monitor.nOutput = hasOutput ? 1 : 0;
    request.monitor.x = static_cast<std::int16_t>(x);
    request.monitor.y = static_cast<std::int16_t>(y);
    request.monitor.width = static_cast<std::uint16_t>(width);
    request.monitor.height = static_cast<std::uint16_t>(height);
    request.monitor.width_in_millimeters = static_cast<std::uint32_t>(width / 4);
    request.monitor.height_in_millimeters = static_cast<std::uint32_t>(height / 4);
    request.output = xcb_randr_get_screen_resources_current_outputs(resources.get())[0];
    // By hand: xcb_randr_set_monitor() of libxcb 1.15 sends a wrong length, at which the connection ends. Two
    // vectors in front belong to libxcb.
    std::array<iovec, 3> parts{};
    parts[2].iov_base = &request;
    parts[2].iov_len = sizeof request - (hasOutput ? 0 : sizeof request.output);
    const xcb_protocol_request_t description{1, &xcb_randr_id, XCB_RANDR_SET_MONITOR, 1};
    xcb_void_cookie_t sent{};
    sent.sequence = xcb_send_request(connection_, XCB_REQUEST_CHECKED, &parts[2], &description);
    const Owned<xcb_generic_error_t> error(xcb_request_check(connection_, sent));
    if (error || xcb_connection_has_error(connection_) != 0)
        throw std::runtime_error("the X server refused a monitor");
}

void TestClient::setScreenSize(int width, int height) const {
    const auto cookie = xcb_randr_get_screen_resources_current(connection_, root_);
    const auto resources = orThrow(xcb_randr_get_screen_resources_current_reply(connection_, cookie, nullptr),
                                   "the screen's resources");
    const xcb_randr_output_t output = xcb_randr_get_screen_resources_current_outputs(resources.get())[0];
    const xcb_randr_crtc_t crtc = xcb_randr_get_screen_resources_current_crtcs(resources.get())[0];

    const std::string name = "test" + std::to_string(width) + "x" + std::to_string(height);
    xcb_randr_mode_info_t mode{};
    mode.width = mode.htotal = static_cast<std::uint16_t>(width);
    mode.height = mode.vtotal = static_cast<std::uint16_t>(height);
    mode.name_len = static_cast<std::uint16_t>(name.size());
    const auto creation = xcb_randr_create_mode(connection_, root_, mode, mode.name_len, name.data());
    mode.id = orThrow(xcb_randr_create_mode_reply(connection_, creation, nullptr), "a mode")->mode;
    xcb_randr_add_output_mode(connection_, output, mode.id);

    // Off, resized, on again: a lit part may never reach out of the screen.
    const auto light = [&](std::uint32_t id, std::uint32_t outputs) {
        const auto change = xcb_randr_set_crtc_config(connection_, crtc, XCB_CURRENT_TIME, XCB_CURRENT_TIME, 0, 0,
                                                      id, XCB_RANDR_ROTATION_ROTATE_0, outputs, &output);
        if (orThrow(xcb_randr_set_crtc_config_reply(connection_, change, nullptr), "a mode")->status != 0)
            throw std::runtime_error("the X server does not show the mode " + name);
    };
    xcb_grab_server(connection_);
    light(XCB_NONE, 0);
    xcb_randr_set_screen_size(connection_, root_, mode.width, mode.height, mode.width / 4u, mode.height / 4u);
    light(mode.id, 1);
    xcb_ungrab_server(connection_);
    finish();
}

}  // namespace lumenwhirl::test
