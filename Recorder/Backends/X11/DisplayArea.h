#pragma once

#include "Recorder/Backends/X11/CapturedArea.h"

#include <cstdint>

namespace lumenwhirl {

/// A monitor. It is gone when it is unplugged, and also when it gets another size.
class DisplayArea final : public CapturedArea {
public:
    /// `scale`: pixels a point.
    DisplayArea(const X11Connection& connection, const X11Extensions& extensions, std::uint32_t id, double scale);

    [[nodiscard]] xcb_drawable_t damaged() const override { return connection_.root(); }
    void handle(const xcb_generic_event_t& event) override;
    [[nodiscard]] bool settle() override;
    void examine(std::uint8_t error) override;
    [[nodiscard]] std::optional<Source> source() const override {
        return Source{connection_.root(), monitor_.area};
    }
    [[nodiscard]] Point origin() const override { return {monitor_.area.x / scale_, monitor_.area.y / scale_}; }

private:
    const X11Connection& connection_;
    X11Extensions extensions_;
    double scale_;
    X11Monitor monitor_;
    bool mayHaveChanged_ = false;
};

}  // namespace lumenwhirl
