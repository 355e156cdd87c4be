#pragma once

#include <stdexcept>
#include <string>

namespace lumenwhirl {

/// The desktop or the audio server cannot do what is asked. what() is one line: what failed, why, what to do.
class PlatformError : public std::runtime_error {
public:
    enum class Kind {
        notReachable,  // no display, no audio server
        unsupported,   // it lacks something needed
        notFound,      // no such display, window or device, or it is gone
        failed,        // anything else
    };
    PlatformError(Kind kind, const std::string& problem) : std::runtime_error(problem), kind_(kind) {}
    [[nodiscard]] Kind kind() const noexcept { return kind_; }

private:
    Kind kind_;
};

}  // namespace lumenwhirl
