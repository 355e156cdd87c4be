#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace lumenwhirl {

/// What encodes H.264 and HEVC: the processor, or a graphics card by one of the interfaces to it.
enum class EncoderChoice { automatic, software, vaapi, nvenc, qsv };

inline constexpr std::array allEncoderChoices{EncoderChoice::automatic, EncoderChoice::software,
                                              EncoderChoice::vaapi, EncoderChoice::nvenc, EncoderChoice::qsv};

/// As users write them: "auto", "software", "vaapi", "nvenc", "qsv"; empty for any other name.
[[nodiscard]] std::string_view nameOf(EncoderChoice choice) noexcept;
[[nodiscard]] std::optional<EncoderChoice> encoderChoiceFromName(std::string_view name) noexcept;

}  // namespace lumenwhirl
