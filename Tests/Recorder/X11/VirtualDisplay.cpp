#include "Tests/Recorder/X11/VirtualDisplay.h"

#include "Tests/Recorder/ChildProgram.h"
#include "Tests/Recorder/X11/TestClient.h"

#include <poll.h>

#include <array>

namespace lumenwhirl::test {
VirtualDisplay::VirtualDisplay(const Options& options) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error(std::strerror(errno));
    const std::string mode =
        std::to_string(options.width) + "x" + std::to_string(options.height) + "x" + std::to_string(options.depth);
    // Without -noreset it would forget resources and keyboard map when its last client leaves.
    std::vector<std::string> words{
        "Xvfb", "-displayfd", std::to_string(ends[1]), "-screen", "0", mode, "-nolisten", "tcp", "-noreset"};
    for (const std::string& extension : options.missing) words.insert(words.end(), {"-extension", extension});
    server_ = startProgram(words, {}, "/dev/null", ends[1]);
    close(ends[1]);
    // When ready, it writes its number and a newline, in one write or two.
    std::string number;
    pollfd waiting{ends[0], POLLIN, 0};
    constexpr int limitMs = 20'000;  // for what takes a tenth of a second on an idle machine
    for (char byte = 0; byte != '\n' && poll(&waiting, 1, limitMs) > 0 && read(ends[0], &byte, 1) == 1;)
        number += byte;
    close(ends[0]);
    if (number.empty() || number.back() != '\n') {
        end();
        throw std::runtime_error("Xvfb did not start; is it installed?");
    }
    number.pop_back();
    name_ = ":" + number;
}

VirtualDisplay::~VirtualDisplay() {
    endProgram(manager_, SIGTERM);
    end();
}

void VirtualDisplay::startWindowManager() {
    // Stays connected: the next client would get the same window numbers, which openbox would take for those of
    // this one until it has heard of their end.
    firstClient_ = std::make_unique<TestClient>(name_);
    const TestClient& client = *firstClient_;
    // It keeps a log in the cache.
    manager_ = startProgram({"openbox", "--sm-disable"}, {{"DISPLAY", name_}, {"XDG_CACHE_HOME", "/dev/null"}});
    client.waitUntil("openbox runs", [&] {
        const auto check = xcb_get_property(client.connection(), 0, client.root(),
                                            client.atom("_NET_SUPPORTING_WM_CHECK"), XCB_ATOM_WINDOW, 0, 1);
        return xcb_get_property_value_length(client.reply(&xcb_get_property_reply, check).get()) == 4;
    });
    const TestWindow first(client, {});  // is there when it has managed it
}

void VirtualDisplay::end() noexcept {
    endProgram(server_, SIGTERM);
}

}  // namespace lumenwhirl::test
