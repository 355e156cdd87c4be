#pragma once

#include "Lumenwhirl/Commands/Command.h"

#include <cstdint>
#include <string>

namespace lumenwhirl {

/// `lumenwhirl demo`: a synthetic recording, and its finished video if asked.
class DemoCommand final : public Command {
public:
    explicit DemoCommand(CLI::App& parser);
    void run() override;

private:
    std::string folder_ = ".", export_;
    double seconds_ = 12;
    std::int64_t width_ = 1920, height_ = 1080, fps_ = 60, seed_ = 1;
};

}  // namespace lumenwhirl
