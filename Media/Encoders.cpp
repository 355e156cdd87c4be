#include "Media/Encoders.h"

#include <algorithm>

namespace lumenwhirl {

std::string_view nameOf(EncoderChoice choice) noexcept {
    switch (choice) {
        case EncoderChoice::automatic:
            return "auto";
        case EncoderChoice::software:
            return "software";
        case EncoderChoice::vaapi:
            return "vaapi";
        case EncoderChoice::nvenc:
            return "nvenc";
        case EncoderChoice::qsv:
            return "qsv";
    }
    return "";
}

std::optional<EncoderChoice> encoderChoiceFromName(std::string_view name) noexcept {
    const auto found = std::ranges::find(allEncoderChoices, name, nameOf);
    return found != allEncoderChoices.end() ? std::optional(*found) : std::nullopt;
}

}  // namespace lumenwhirl
