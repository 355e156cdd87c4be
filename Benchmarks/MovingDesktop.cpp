// MovingDesktop WIDTH HEIGHT SECONDS: draws a desktop at work on the display, 60 times a second: a page of text
// that scrolls, a line that is typed, a window that moves. For benchmarks to record.

#include <xcb/xcb.h>

#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>

namespace {

constexpr int lineHeight = 16;

/// A line of words that differs from all others.
std::string textOfLine(unsigned line) {
    static constexpr std::array words{"frame",  "while (next)", "the", "picture", "0x7f3a", "of",
                                      "return", "cursor",       "{",   "moves",   "+=",     "window",
                                      "std",    "is",           "for", "}"};
    std::string text = std::to_string(line) + "  ";
    for (unsigned i = 0; text.size() < 120; ++i)
        text += std::string(words[(line * 2654435761U + i * 40503U) >> 12U & 15U]) + " ";
    return text.substr(0, 120);
}

class Desktop {
public:
    Desktop(xcb_connection_t* connection, int width, int height)
        : connection_(connection),
          screen_(*xcb_setup_roots_iterator(xcb_get_setup(connection)).data),
          width_(width),
          height_(height),
          text_(xcb_generate_id(connection)),
          paper_(xcb_generate_id(connection)),
          ink_(xcb_generate_id(connection)),
          page_(makeWindow(0, 0, width, height, 0xF6F6F2)),
          scroll_(xcb_generate_id(connection)),
          box_(makeWindow(100, 100, width / 4, height / 3, 0x3B6EA5)) {
        constexpr std::string_view font = "fixed";
        xcb_open_font(connection_, text_, static_cast<std::uint16_t>(font.size()), font.data());
        makeContext(paper_, 0xF6F6F2);
        makeContext(ink_, 0x202428);
        xcb_create_pixmap(connection_, screen_.root_depth, scroll_, page_, static_cast<std::uint16_t>(width),
                          static_cast<std::uint16_t>(height));
        for (int y = 0; y < height_; y += lineHeight) drawLine(nextLine_++, y);
        xcb_flush(connection_);
    }

    void draw(int frame) {
        // Two pixels a frame, so every eighth frame needs a new line at the bottom.
        constexpr int step = 2;
        const auto w = static_cast<std::uint16_t>(width_), h = static_cast<std::uint16_t>(height_);
        xcb_copy_area(connection_, scroll_, scroll_, ink_, 0, step, 0, 0, w, static_cast<std::uint16_t>(h - step));
        if (frame % (lineHeight / step) == 0) drawLine(nextLine_++, height_ - lineHeight);
        xcb_copy_area(connection_, scroll_, page_, ink_, 0, 0, 0, 0, w, h);
        // Typing, at five characters a second.
        const std::string typed = textOfLine(7).substr(0, static_cast<std::size_t>(frame / 12 % 100) + 1);
        drawText(box_, typed.substr(typed.size() < 40 ? 0 : typed.size() - 40), 10, 30);
        const double angle = frame / 60.0;
        const std::array<std::uint32_t, 2> place{
            static_cast<std::uint32_t>(std::lround(width_ * (0.4 + 0.25 * std::cos(angle)))),
            static_cast<std::uint32_t>(std::lround(height_ * (0.35 + 0.25 * std::sin(angle))))};
        xcb_configure_window(connection_, box_, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, place.data());
        xcb_flush(connection_);
    }

private:
    xcb_window_t makeWindow(int x, int y, int width, int height, std::uint32_t color) {
        const xcb_window_t window = xcb_generate_id(connection_);
        const std::array<std::uint32_t, 2> values{color, 1};
        xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window, screen_.root, static_cast<std::int16_t>(x),
                          static_cast<std::int16_t>(y), static_cast<std::uint16_t>(width),
                          static_cast<std::uint16_t>(height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                          screen_.root_visual, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values.data());
        xcb_map_window(connection_, window);
        return window;
    }
    void makeContext(xcb_gcontext_t context, std::uint32_t color) {
        // Without events about the copies, as nobody reads them.
        const std::array<std::uint32_t, 4> values{color, 0xF6F6F2, text_, 0};
        xcb_create_gc(connection_, context, page_,
                      XCB_GC_FOREGROUND | XCB_GC_BACKGROUND | XCB_GC_FONT | XCB_GC_GRAPHICS_EXPOSURES,
                      values.data());
    }
    void drawLine(unsigned line, int y) {
        const xcb_rectangle_t whole{0, static_cast<std::int16_t>(y), static_cast<std::uint16_t>(width_),
                                    lineHeight};
        xcb_poly_fill_rectangle(connection_, scroll_, paper_, 1, &whole);
        for (int column = 0; column * 740 < width_; ++column)
            drawText(scroll_, textOfLine(line + 1000U * static_cast<unsigned>(column)), 10 + column * 740, y + 12);
    }
    void drawText(xcb_drawable_t target, const std::string& text, int x, int y) {
        xcb_image_text_8(connection_, static_cast<std::uint8_t>(text.size()), target, ink_,
                         static_cast<std::int16_t>(x), static_cast<std::int16_t>(y), text.data());
    }

    xcb_connection_t* connection_;
    const xcb_screen_t& screen_;
    int width_, height_;
    std::uint32_t text_, paper_, ink_;
    xcb_window_t page_;
    xcb_pixmap_t scroll_;  // the page's text: in a window, copying would lose what the box covers
    xcb_window_t box_;
    unsigned nextLine_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "MovingDesktop WIDTH HEIGHT SECONDS\n");
        return 2;
    }
    xcb_connection_t* const connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection) != 0) {
        std::fprintf(stderr, "MovingDesktop: no display\n");
        return 1;
    }
    Desktop desktop(connection, std::atoi(argv[1]), std::atoi(argv[2]));
    const int frames = 60 * std::atoi(argv[3]);
    const auto start = std::chrono::steady_clock::now();
    for (int frame = 0; frame < frames && xcb_connection_has_error(connection) == 0; ++frame) {
        std::this_thread::sleep_until(start + std::chrono::microseconds(16667) * frame);
        desktop.draw(frame);
    }
    xcb_disconnect(connection);
    return 0;
}
