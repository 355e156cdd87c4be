#pragma once

#include "Engine/Documents/EventLog.h"
#include "Engine/Documents/ProjectSettings.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

/// The one way documents become text and text becomes documents: pretty-printed with sorted keys, one member
/// a line; strict on reading. Stateless; callable from any thread.
namespace lumenwhirl::LumenwhirlJSON {

/// What is wrong and where, as a path of keys: `clicks[3].button: unknown value "middle"`. Knows no file.
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

/// The same for an EventLog or ProjectSettings in a string of which nobody needs a copy: with this much capacity
/// to spare behind the text, it is parsed where it is.
constexpr std::size_t spareCapacity = 64;
template <class Document>
[[nodiscard]] Document decode(const std::string& text);
template <>
[[nodiscard]] EventLog decode(const std::string& text);
template <>
[[nodiscard]] ProjectSettings decode(const std::string& text);

/// One part of an event log on a line of its own, for logs that grow: RecordingInfo, CursorSample, ClickEvent,
/// ScrollEvent or KeyEvent, without blanks and without the end of the line. Both throw Error, as above.
template <class Part>
[[nodiscard]] std::string encodeLine(const Part& part);
template <class Part>
[[nodiscard]] Part decodeLine(std::string_view text);

}  // namespace lumenwhirl::LumenwhirlJSON
