#include "Media/EncodingSettings.h"

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

bool isGraphicsCard(EncoderChoice choice) noexcept {
    return choice != EncoderChoice::automatic && choice != EncoderChoice::software;
}

std::string cannotMake(EncoderChoice choice, std::string_view what) {
    return std::string("the encoder ").append(nameOf(choice)).append(" cannot make ").append(what) +
           "; choose \"software\" or \"auto\"";
}

}  // namespace lumenwhirl
