#include "Recorder/Backends/X11/X11Connection.h"

#include <sys/socket.h>
#include <xcb/composite.h>
#include <xcb/damage.h>
#include <xcb/randr.h>
#include <xcb/res.h>
#include <xcb/screensaver.h>
#include <xcb/shm.h>
#include <xcb/xfixes.h>
#include <xcb/xinput.h>

#include <array>
#include <ctime>

namespace lumenwhirl {
namespace {

[[noreturn]] void failToReach(const std::string& displayName) {
    const char* display = std::getenv("DISPLAY");
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    std::string problem;
    if (!displayName.empty() || (display != nullptr && *display != '\0'))
        problem = "no X11 display: \"" + (displayName.empty() ? std::string(display) : displayName) +
                  "\" does not answer; check that its X server runs and lets this user in";
    else if (wayland != nullptr && *wayland != '\0')
        problem =
            "no X11 display: DISPLAY is not set; this is a Wayland session, log in to an Xorg session instead";
    else
        problem = "no X11 display: DISPLAY is not set; run this inside a graphical X11 session";
    throw PlatformError(PlatformError::Kind::notReachable, problem);
}

/// Whether a reply's version is at least that.
template <class Reply>
bool isAtLeast(const XcbHandle<Reply>& version, std::uint32_t major, std::uint32_t minor) {
    if (!version) return false;
    const std::uint32_t theirs = version->major_version;
    return theirs > major || (theirs == major && version->minor_version >= minor);
}

}  // namespace

X11Connection::X11Connection(const std::string& displayName) {
    const BrokenPipeGuard guard;
    int screenNumber = 0;
    connection_ = xcb_connect(displayName.empty() ? nullptr : displayName.c_str(), &screenNumber);
    if (xcb_connection_has_error(connection_) == 0) {
        auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection_));
        for (; screenNumber > 0 && screens.rem > 0; --screenNumber) xcb_screen_next(&screens);
        if (screens.rem > 0) screen_ = screens.data;
    }
    if (screen_ == nullptr) {
        xcb_disconnect(connection_);  // needed even for a connection that failed
        failToReach(displayName);
    }
}

X11Connection::~X11Connection() {
    const BrokenPipeGuard guard;
    xcb_disconnect(connection_);
}

bool X11Connection::isLocal() const {
    int domain = 0;
    socklen_t size = sizeof domain;
    return getsockopt(descriptor(), SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 && domain == AF_UNIX;
}

std::uint8_t X11Connection::errorOf(xcb_void_cookie_t cookie) const {
    const XcbHandle<xcb_generic_error_t> error(xcb_request_check(connection_, cookie));
    if (!error) checkAlive();
    return error ? error->error_code : std::uint8_t{0};
}

void X11Connection::flush() const {
    xcb_flush(connection_);
    checkAlive();
}

void X11Connection::checkAlive() const {
    if (xcb_connection_has_error(connection_) != 0)
        throw PlatformError(PlatformError::Kind::notReachable, "the X server has ended the connection");
}

std::vector<xcb_atom_t> X11Connection::atoms(std::initializer_list<std::string_view> names) const {
    std::vector<xcb_intern_atom_cookie_t> cookies;
    for (const std::string_view name : names)
        cookies.push_back(xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(name.size()), name.data()));
    std::vector<xcb_atom_t> atoms;
    for (const auto cookie : cookies) {
        const auto answer = reply(&xcb_intern_atom_reply, cookie);
        atoms.push_back(answer ? answer->atom : xcb_atom_t{XCB_ATOM_NONE});
    }
    return atoms;
}

X11Extensions X11Connection::negotiateExtensions() const {
    const std::array extensions{&xcb_damage_id, &xcb_randr_id,       &xcb_xfixes_id, &xcb_composite_id,
                                &xcb_shm_id,    &xcb_screensaver_id, &xcb_input_id,  &xcb_res_id};
    for (xcb_extension_t* extension : extensions) xcb_prefetch_extension_data(connection_, extension);
    constexpr std::string_view xwayland = "XWAYLAND";
    const auto xwaylandCookie =
        xcb_query_extension(connection_, static_cast<std::uint16_t>(xwayland.size()), xwayland.data());
    const auto firstEventOf = [this](xcb_extension_t& extension) -> std::uint8_t {
        const auto* data = xcb_get_extension_data(connection_, &extension);
        return data != nullptr && data->present != 0 ? data->first_event : std::uint8_t{0};
    };
    const auto has = [this](xcb_extension_t& extension) {
        const auto* data = xcb_get_extension_data(connection_, &extension);
        return data != nullptr && data->present != 0;
    };
    checkAlive();

    // A request to a missing extension would end the connection. DAMAGE requires XFIXES' version to be asked for
    // first.
    xcb_xfixes_query_version_cookie_t fixes{};
    xcb_damage_query_version_cookie_t damage{};
    xcb_randr_query_version_cookie_t randr{};
    xcb_composite_query_version_cookie_t composite{};
    xcb_shm_query_version_cookie_t sharedMemory{};
    xcb_res_query_version_cookie_t resources{};
    xcb_input_xi_query_version_cookie_t input{};
    if (has(xcb_xfixes_id)) fixes = xcb_xfixes_query_version(connection_, 5, 0);
    if (has(xcb_damage_id)) damage = xcb_damage_query_version(connection_, 1, 1);
    if (has(xcb_randr_id)) randr = xcb_randr_query_version(connection_, 1, 5);
    if (has(xcb_composite_id)) composite = xcb_composite_query_version(connection_, 0, 4);
    if (has(xcb_shm_id)) sharedMemory = xcb_shm_query_version(connection_);
    if (has(xcb_input_id)) input = xcb_input_xi_query_version(connection_, 2, 2);
    if (has(xcb_res_id)) resources = xcb_res_query_version(connection_, 1, 2);

    X11Extensions found;
    if (const auto answer = reply(&xcb_query_extension_reply, xwaylandCookie))
        found.isXwayland = answer->present != 0;
    found.hasScreenSaver = has(xcb_screensaver_id);
    if (has(xcb_xfixes_id)) found.hasFixes = isAtLeast(reply(&xcb_xfixes_query_version_reply, fixes), 2, 0);
    if (has(xcb_damage_id) && reply(&xcb_damage_query_version_reply, damage))
        found.damageEvent = firstEventOf(xcb_damage_id);
    if (has(xcb_randr_id) && isAtLeast(reply(&xcb_randr_query_version_reply, randr), 1, 5))
        found.randrEvent = firstEventOf(xcb_randr_id);
    if (has(xcb_composite_id))
        found.hasComposite = isAtLeast(reply(&xcb_composite_query_version_reply, composite), 0, 2);
    if (has(xcb_shm_id))
        found.hasSharedMemory = isAtLeast(reply(&xcb_shm_query_version_reply, sharedMemory), 1, 2);
    if (has(xcb_input_id)) found.hasRawInput = isAtLeast(reply(&xcb_input_xi_query_version_reply, input), 2, 1);
    if (has(xcb_res_id)) {
        const auto version = reply(&xcb_res_query_version_reply, resources);
        found.hasClientProcesses =
            version && (version->server_major > 1 || (version->server_major == 1 && version->server_minor >= 2));
    }
    return found;
}

std::string nameOfX11Error(std::uint8_t code) {
    static constexpr std::array names{"Success",   "BadRequest", "BadValue",         "BadWindow", "BadPixmap",
                                      "BadAtom",   "BadCursor",  "BadFont",          "BadMatch",  "BadDrawable",
                                      "BadAccess", "BadAlloc",   "BadColor",         "BadGC",     "BadIDChoice",
                                      "BadName",   "BadLength",  "BadImplementation"};
    return code < names.size() ? names[code] : "X error " + std::to_string(code);
}

double hostTimeOf(std::uint32_t stamp, double now) {
    constexpr std::int32_t oldest = -60'000;  // ms: a program that grabs the server delays its events
    const auto nowMs = static_cast<std::int64_t>(now * 1000);
    const auto sinceNowMs = static_cast<std::int32_t>(stamp - static_cast<std::uint32_t>(nowMs));
    if (sinceNowMs > 0 || sinceNowMs < oldest) return now;
    return static_cast<double>(nowMs + sinceNowMs) / 1000;
}

BrokenPipeGuard::BrokenPipeGuard() {
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    sigset_t pending;
    wasPending_ = sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &pipe, &former_);
}

BrokenPipeGuard::~BrokenPipeGuard() {
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    const timespec noTime{};
    if (!wasPending_) sigtimedwait(&pipe, nullptr, &noTime);  // ours, if there is one
    pthread_sigmask(SIG_SETMASK, &former_, nullptr);
}

}  // namespace lumenwhirl
