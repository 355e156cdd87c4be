#pragma once

#include "Engine/Documents/EventLog.h"
#include "Engine/Documents/ProjectSettings.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

/// Encodes and decodes documents: pretty-printed with sorted keys, one member per line; strict when reading.
/// Stateless; callable from any thread.
namespace lumenwhirl::LumenwhirlJSON {

/// What is wrong and where, as a path of keys: `clicks[3].button: unknown value "middle"`. Does not name the file.
class Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Throws Error for a number that JSON cannot hold (NaN, infinity) or text that is not UTF-8.
[[nodiscard]] std::string encode(const EventLog& log);
[[nodiscard]] std::string encode(const ProjectSettings& settings);

/// Throws Error when the text is malformed, a required key is absent, or a value has the wrong type.
/// Unknown keys are ignored; null counts as absent.
[[nodiscard]] EventLog decodeEventLog(std::string_view text);
[[nodiscard]] ProjectSettings decodeProjectSettings(std::string_view text);

/// The same for an EventLog or ProjectSettings. If the string's capacity exceeds its size by this many bytes, it
/// is parsed in place instead of being copied.
constexpr std::size_t spareCapacity = 64;
template <class Document>
[[nodiscard]] Document decode(const std::string& text);
template <>
[[nodiscard]] EventLog decode(const std::string& text);
template <>
[[nodiscard]] ProjectSettings decode(const std::string& text);

/// One part of an event log on a single line, for logs that are still growing: RecordingInfo, CursorSample,
/// ClickEvent, ScrollEvent or KeyEvent, without spaces and without a newline. Both throw Error, as above.
template <class Part>
[[nodiscard]] std::string encodeLine(const Part& part);
template <class Part>
[[nodiscard]] Part decodeLine(std::string_view text);

}  // namespace lumenwhirl::LumenwhirlJSON
