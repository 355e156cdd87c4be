#include "Recorder/Backends/X11/WindowList.h"

#include "Recorder/Backends/X11/Properties.h"

#include <xcb/res.h>

#include <algorithm>
#include <cstddef>

namespace lumenwhirl {
namespace {

enum Atom : std::size_t {
    supportingCheck,
    clientListStacking,
    clientList,
    currentDesktop,
    netName,
    utf8String,
    processID,
    desktop,
    state,
    stateHidden,
    type,
    typeDesktop,
    typeDock,
    frameExtents,
};

constexpr std::uint32_t allDesktops = 0xffffffff;
constexpr int deepest = 4;  // levels of windows without a name to search
constexpr std::size_t mostWindows = 4096;

bool contains(const std::vector<std::uint32_t>& values, std::uint32_t value) {
    return std::find(values.begin(), values.end(), value) != values.end();
}

/// The class, which follows the instance in WM_CLASS; both end with a zero.
std::string applicationIn(const std::string& property) {
    const std::size_t end = property.find('\0');
    if (end == std::string::npos) return utf8FromLatin1(property);
    const std::string name = property.substr(end + 1, property.find('\0', end + 1) - end - 1);
    return utf8FromLatin1(name.empty() ? property.substr(0, end) : name);
}

std::string processIn(const X11Connection& connection, xcb_res_query_client_ids_cookie_t cookie) {
    if (const auto reply = connection.reply(&xcb_res_query_client_ids_reply, cookie))
        for (auto at = xcb_res_query_client_ids_ids_iterator(reply.get()); at.rem > 0;
             xcb_res_client_id_value_next(&at)) {
            if (listIn(*reply, at.data, 1).empty() ||
                listIn(*reply, xcb_res_client_id_value_value(at.data), 1).empty())
                break;
            if ((at.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID) != 0 && at.data->length >= 4)
                return std::to_string(*xcb_res_client_id_value_value(at.data));
        }
    return {};
}

}  // namespace

WindowInsets WindowInsets::from(const std::vector<std::uint32_t>& values, int width, int height) {
    if (values.size() != 4) return {};
    const auto side = [&values](std::size_t i) { return static_cast<int>(std::min(values[i], 0x4000u)); };
    const WindowInsets insets{side(0), side(1), side(2), side(3)};
    const bool leavesSome = insets.left + insets.right < width && insets.top + insets.bottom < height;
    return leavesSome ? insets : WindowInsets{};
}

/// The requests about one window.
struct WindowList::Questions {
    xcb_window_t window = 0;
    xcb_get_geometry_cookie_t geometry{};
    xcb_get_window_attributes_cookie_t attributes{};
    xcb_translate_coordinates_cookie_t position{};
    xcb_get_property_cookie_t title{}, oldTitle{}, application{}, process{}, desktop{}, state{}, type{}, extents{};
    xcb_res_query_client_ids_cookie_t client{};
};

WindowList::WindowList(const X11Connection& connection, const X11Extensions& extensions)
    : connection_(connection),
      knowsProcesses_(extensions.hasClientProcesses),
      atoms_(connection.atoms({"_NET_SUPPORTING_WM_CHECK", "_NET_CLIENT_LIST_STACKING", "_NET_CLIENT_LIST",
                               "_NET_CURRENT_DESKTOP", "_NET_WM_NAME", "UTF8_STRING", "_NET_WM_PID",
                               "_NET_WM_DESKTOP", "_NET_WM_STATE", "_NET_WM_STATE_HIDDEN", "_NET_WM_WINDOW_TYPE",
                               "_NET_WM_WINDOW_TYPE_DESKTOP", "_NET_WM_WINDOW_TYPE_DOCK", "_GTK_FRAME_EXTENTS"})) {
}

std::vector<SystemWindow> WindowList::list(double scale) const {
    const auto ofRoot = [this](Atom property, xcb_atom_t kind) {
        return askForProperty(connection_, connection_.root(), atoms_[property], kind);
    };
    const auto check = ofRoot(supportingCheck, XCB_ATOM_WINDOW);
    const auto stacking = ofRoot(clientListStacking, XCB_ATOM_WINDOW);
    const auto unordered = ofRoot(clientList, XCB_ATOM_WINDOW);
    const auto current = ofRoot(currentDesktop, XCB_ATOM_CARDINAL);
    const bool hasManager = isManaged(numbersIn(connection_, check));
    std::vector<xcb_window_t> windows = numbersIn(connection_, stacking);
    const std::vector<xcb_window_t> others = numbersIn(connection_, unordered);
    const std::vector<std::uint32_t> desktopNumber = numbersIn(connection_, current);
    if (windows.empty()) windows = others;
    if (!hasManager) {
        windows.clear();
        findApplications(connection_.root(), 0, windows);
    }
    std::optional<std::uint32_t> shownDesktop;
    if (hasManager && !desktopNumber.empty()) shownDesktop = desktopNumber.front();

    std::vector<Questions> questions;
    questions.reserve(windows.size());
    for (const xcb_window_t window : windows) questions.push_back(ask(window));
    std::vector<SystemWindow> list;
    for (const Questions& each : questions)
        if (auto window = take(each, scale, shownDesktop)) list.push_back(std::move(*window));
    return list;
}

/// Whether the window manager that set the property still runs: then its window has the same property. The list
/// that a crashed one has left behind would be of windows long gone.
bool WindowList::isManaged(const std::vector<std::uint32_t>& check) const {
    if (check.empty()) return false;
    const auto own = askForProperty(connection_, check.front(), atoms_[supportingCheck], XCB_ATOM_WINDOW);
    return numbersIn(connection_, own) == check;
}

/// Finds the visible windows with a WM_CLASS, in their order, also those inside frames, which have none.
void WindowList::findApplications(xcb_window_t parent, int depth, std::vector<xcb_window_t>& found) const {
    const auto tree = connection_.reply(&xcb_query_tree_reply, xcb_query_tree(connection_, parent));
    if (!tree || depth >= deepest) return;
    struct Child {
        xcb_window_t window;
        xcb_get_window_attributes_cookie_t attributes;
        xcb_get_property_cookie_t application;
    };
    std::vector<Child> children;
    const auto windows = listIn(*tree, xcb_query_tree_children(tree.get()), tree->children_len);
    for (const xcb_window_t window : windows.first(std::min(windows.size(), mostWindows - found.size())))
        children.push_back({window, xcb_get_window_attributes(connection_, window),
                            askForProperty(connection_, window, XCB_ATOM_WM_CLASS, XCB_ATOM_ANY)});
    std::vector<xcb_window_t> nameless;
    std::vector<std::pair<xcb_window_t, bool>> shown;  // and whether it has a name
    for (const Child& child : children) {
        const auto attributes = connection_.reply(&xcb_get_window_attributes_reply, child.attributes);
        const bool hasName = !textIn(connection_, child.application).empty();
        if (!attributes || attributes->map_state != XCB_MAP_STATE_VIEWABLE) continue;
        // Menus and tooltips have names, too, but bypass the window manager (override-redirect).
        if (!hasName || attributes->override_redirect == 0) shown.emplace_back(child.window, hasName);
    }
    for (const auto& [window, hasName] : shown) {
        if (found.size() == mostWindows) break;
        if (hasName)
            found.push_back(window);
        else
            findApplications(window, depth + 1, found);
    }
}

WindowList::Questions WindowList::ask(xcb_window_t window) const {
    const auto property = [&](Atom name, xcb_atom_t kind) {
        return askForProperty(connection_, window, atoms_[name], kind);
    };
    Questions questions;
    questions.window = window;
    questions.geometry = xcb_get_geometry(connection_, window);
    questions.attributes = xcb_get_window_attributes(connection_, window);
    questions.position = xcb_translate_coordinates(connection_, window, connection_.root(), 0, 0);
    questions.title = property(netName, atoms_[utf8String]);
    questions.oldTitle = askForProperty(connection_, window, XCB_ATOM_WM_NAME, XCB_ATOM_ANY);
    questions.application = askForProperty(connection_, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING);
    questions.process = property(processID, XCB_ATOM_CARDINAL);
    questions.desktop = property(desktop, XCB_ATOM_CARDINAL);
    questions.state = property(state, XCB_ATOM_ATOM);
    questions.type = property(type, XCB_ATOM_ATOM);
    questions.extents = property(frameExtents, XCB_ATOM_CARDINAL);
    if (knowsProcesses_) {
        const xcb_res_client_id_spec_t client{window, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
        questions.client = xcb_res_query_client_ids(connection_, 1, &client);
    }
    return questions;
}

std::optional<SystemWindow> WindowList::take(const Questions& questions, double scale,
                                             std::optional<std::uint32_t> shownDesktop) const {
    // All replies are read, as XCB would keep the others for ever.
    const auto geometry = connection_.reply(&xcb_get_geometry_reply, questions.geometry);
    const auto attributes = connection_.reply(&xcb_get_window_attributes_reply, questions.attributes);
    const auto position = connection_.reply(&xcb_translate_coordinates_reply, questions.position);
    const std::string title = textIn(connection_, questions.title);
    const auto oldTitle = connection_.reply(&xcb_get_property_reply, questions.oldTitle);
    const std::string application = textIn(connection_, questions.application);
    const std::vector<std::uint32_t> process = numbersIn(connection_, questions.process);
    const std::vector<std::uint32_t> itsDesktop = numbersIn(connection_, questions.desktop);
    const std::vector<std::uint32_t> states = numbersIn(connection_, questions.state);
    const std::vector<std::uint32_t> types = numbersIn(connection_, questions.type);
    const std::vector<std::uint32_t> extents = numbersIn(connection_, questions.extents);
    std::string client;
    if (knowsProcesses_) client = processIn(connection_, questions.client);

    if (!geometry || !attributes || !position || attributes->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT ||
        contains(types, atoms_[typeDesktop]) || contains(types, atoms_[typeDock]))
        return std::nullopt;
    SystemWindow window;
    window.id = questions.window;
    const WindowInsets insets = WindowInsets::from(extents, geometry->width, geometry->height);
    window.frame = {(position->dst_x + insets.left) / scale, (position->dst_y + insets.top) / scale,
                    (geometry->width - insets.left - insets.right) / scale,
                    (geometry->height - insets.top - insets.bottom) / scale};
    const bool isOnDesktop = !shownDesktop || itsDesktop.empty() || itsDesktop.front() == *shownDesktop ||
                             itsDesktop.front() == allDesktops;
    window.isOnScreen =
        attributes->map_state == XCB_MAP_STATE_VIEWABLE && isOnDesktop && !contains(states, atoms_[stateHidden]);
    window.applicationName = cleanUtf8(applicationIn(application));
    if (!client.empty())
        window.applicationID = client;
    else if (!process.empty())
        window.applicationID = std::to_string(process.front());
    window.title = cleanUtf8(title);
    if (title.empty() && oldTitle && oldTitle->format == 8) {
        const std::string text = textIn(*oldTitle, xcb_get_property_value(oldTitle.get()),
                                        xcb_get_property_value_length(oldTitle.get()));
        window.title = cleanUtf8(oldTitle->type == atoms_[utf8String] ? text : utf8FromLatin1(text));
    }
    return window;
}

}  // namespace lumenwhirl
