#pragma once

#include "Engine/Documents/EventLog.h"
#include "Engine/Documents/LumenwhirlJSON.h"
#include "Engine/Documents/ProjectSettings.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

/// Describes each document once: its keys in the order in which they are written, the member behind each, and what
/// a missing key means. Decoding and encoding both follow from this.
namespace lumenwhirl::fields {

enum class Absence {
    isError,
    leavesEmpty,   // a std::optional, not written while empty
    keepsDefault,  // the member's own initial value
};

template <class Document, class Member>
struct Field {
    std::string_view key;
    Member Document::*member;
    Absence absence;
};

template <class>
inline constexpr bool isOptional = false;
template <class Value>
inline constexpr bool isOptional<std::optional<Value>> = true;

/// Required, unless the member is a std::optional.
template <class Document, class Member>
constexpr Field<Document, Member> field(std::string_view key, Member Document::*member) {
    return {key, member, isOptional<Member> ? Absence::leavesEmpty : Absence::isError};
}

template <class Document, class Member>
constexpr Field<Document, Member> fieldOrDefault(std::string_view key, Member Document::*member) {
    static_assert(!isOptional<Member>);
    return {key, member, Absence::keepsDefault};
}

/// Specialised below for every document type.
template <class Document>
inline constexpr std::nullptr_t of = nullptr;

template <>
inline constexpr auto of<DisplayInfo> = std::tuple{field("globalOriginX", &DisplayInfo::globalOriginX),
                                                   field("globalOriginY", &DisplayInfo::globalOriginY),
                                                   field("id", &DisplayInfo::id),
                                                   field("pixelHeight", &DisplayInfo::pixelHeight),
                                                   field("pixelWidth", &DisplayInfo::pixelWidth),
                                                   field("pointHeight", &DisplayInfo::pointHeight),
                                                   field("pointWidth", &DisplayInfo::pointWidth),
                                                   field("scaleFactor", &DisplayInfo::scaleFactor)};

template <>
inline constexpr auto of<RecordingInfo> =
    std::tuple{field("display", &RecordingInfo::display), field("fps", &RecordingInfo::fps),
               field("startHostTime", &RecordingInfo::startHostTime)};

template <>
inline constexpr auto of<CursorSample> =
    std::tuple{field("t", &CursorSample::t), field("x", &CursorSample::x), field("y", &CursorSample::y)};

template <>
inline constexpr auto of<ClickEvent> =
    std::tuple{field("button", &ClickEvent::button), field("phase", &ClickEvent::phase),
               field("t", &ClickEvent::t), field("x", &ClickEvent::x), field("y", &ClickEvent::y)};

template <>
inline constexpr auto of<ScrollEvent> =
    std::tuple{field("dx", &ScrollEvent::dx), field("dy", &ScrollEvent::dy), field("t", &ScrollEvent::t),
               field("x", &ScrollEvent::x), field("y", &ScrollEvent::y)};

template <>
inline constexpr auto of<KeyEvent> = std::tuple{
    field("chars", &KeyEvent::chars), field("isRepeat", &KeyEvent::isRepeat), field("keyCode", &KeyEvent::keyCode),
    field("modifiers", &KeyEvent::modifiers), field("t", &KeyEvent::t)};

template <>
inline constexpr auto of<EventLog> =
    std::tuple{field("clicks", &EventLog::clicks), field("cursor", &EventLog::cursor),
               field("keys", &EventLog::keys),     field("recording", &EventLog::recording),
               field("scroll", &EventLog::scroll), field("version", &EventLog::version)};

template <>
inline constexpr auto of<Assets> = std::tuple{field("events", &Assets::events), field("mic", &Assets::mic),
                                              field("recording", &Assets::recording),
                                              field("system", &Assets::system), field("webcam", &Assets::webcam)};

template <>
inline constexpr auto of<TimeRange> = std::tuple{field("end", &TimeRange::end), field("start", &TimeRange::start)};

template <>
inline constexpr auto of<SpeedRange> = std::tuple{field("end", &SpeedRange::end), field("rate", &SpeedRange::rate),
                                                  field("start", &SpeedRange::start)};

template <>
inline constexpr auto of<Timeline> =
    std::tuple{field("cuts", &Timeline::cuts), field("duration", &Timeline::duration),
               field("speedRanges", &Timeline::speedRanges), field("trimEnd", &Timeline::trimEnd),
               field("trimStart", &Timeline::trimStart)};

template <>
inline constexpr auto of<CursorStyle> = std::tuple{
    field("autoHideIdle", &CursorStyle::autoHideIdle), field("clickRipples", &CursorStyle::clickRipples),
    field("size", &CursorStyle::size), field("smoothing", &CursorStyle::smoothing)};

template <>
inline constexpr auto of<ZoomSegment> =
    std::tuple{field("end", &ZoomSegment::end), field("id", &ZoomSegment::id), field("level", &ZoomSegment::level),
               field("manual", &ZoomSegment::manual), field("start", &ZoomSegment::start)};

template <>
inline constexpr auto of<ZoomSettings> =
    std::tuple{field("auto", &ZoomSettings::automatic), field("defaultLevel", &ZoomSettings::defaultLevel),
               field("segments", &ZoomSettings::segments)};

template <>
inline constexpr auto of<Background> =
    std::tuple{field("color", &Background::color), field("path", &Background::path),
               field("preset", &Background::preset), field("type", &Background::type)};

template <>
inline constexpr auto of<Style> =
    std::tuple{field("aspect", &Style::aspect),   field("background", &Style::background),
               field("border", &Style::border),   field("cornerRadius", &Style::cornerRadius),
               field("padding", &Style::padding), field("shadow", &Style::shadow)};

template <>
inline constexpr auto of<ExportSettings> = std::tuple{field("preset", &ExportSettings::preset)};

template <>
inline constexpr auto of<KeystrokeSettings> = std::tuple{field("enabled", &KeystrokeSettings::enabled),
                                                         field("showAllKeys", &KeystrokeSettings::showAllKeys)};

template <>
inline constexpr auto of<AudioInfo> =
    std::tuple{field("embedded", &AudioInfo::embedded), field("hasMic", &AudioInfo::hasMic),
               field("hasSystem", &AudioInfo::hasSystem)};

template <>
inline constexpr auto of<CaptionCue> = std::tuple{
    field("end", &CaptionCue::end), field("start", &CaptionCue::start), field("text", &CaptionCue::text)};

template <>
inline constexpr auto of<CaptionStyle> =
    std::tuple{fieldOrDefault("backgroundColor", &CaptionStyle::backgroundColor),
               fieldOrDefault("font", &CaptionStyle::font),
               fieldOrDefault("position", &CaptionStyle::position),
               fieldOrDefault("size", &CaptionStyle::size),
               fieldOrDefault("textColor", &CaptionStyle::textColor),
               fieldOrDefault("uppercase", &CaptionStyle::uppercase),
               fieldOrDefault("weight", &CaptionStyle::weight)};

template <>
inline constexpr auto of<CaptionSettings> = std::tuple{fieldOrDefault("cues", &CaptionSettings::cues),
                                                       fieldOrDefault("enabled", &CaptionSettings::enabled),
                                                       fieldOrDefault("style", &CaptionSettings::style)};

template <>
inline constexpr auto of<ProjectSettings> = std::tuple{
    field("assets", &ProjectSettings::assets),         field("audio", &ProjectSettings::audio),
    field("captions", &ProjectSettings::captions),     field("cursor", &ProjectSettings::cursor),
    field("export", &ProjectSettings::exportSettings), field("keystrokes", &ProjectSettings::keystrokes),
    field("style", &ProjectSettings::style),           field("timeline", &ProjectSettings::timeline),
    field("version", &ProjectSettings::version),       field("zoom", &ProjectSettings::zoom)};

template <class Enum>
using EnumName = std::pair<Enum, std::string_view>;

/// Specialised below for every stored enumeration: each case with its text.
template <class Enum>
inline constexpr std::nullptr_t namesOf = nullptr;

template <>
inline constexpr auto namesOf<MouseButton> = std::to_array<EnumName<MouseButton>>({{MouseButton::left, "left"},
                                                                                   {MouseButton::right, "right"},
                                                                                   {MouseButton::other, "other"}});

template <>
inline constexpr auto namesOf<ClickPhase> = std::to_array<EnumName<ClickPhase>>({{ClickPhase::down, "down"},
                                                                                 {ClickPhase::up, "up"}});

template <>
inline constexpr auto namesOf<CursorSmoothing> =
    std::to_array<EnumName<CursorSmoothing>>({{CursorSmoothing::off, "off"},
                                              {CursorSmoothing::subtle, "subtle"},
                                              {CursorSmoothing::smooth, "smooth"},
                                              {CursorSmoothing::ultra, "ultra"}});

template <class Document>
inline constexpr bool isDescribed = !std::is_same_v<std::remove_cv_t<decltype(of<Document>)>, std::nullptr_t>;

template <class Document>
inline constexpr auto keysOf = std::apply(
    [](const auto&... each) { return std::array<std::string_view, sizeof...(each)>{each.key...}; }, of<Document>);

/// Keys are written in the order of the description, which must therefore be sorted.
template <class Document>
constexpr bool areKeysSorted() {
    for (std::size_t index = 1; index < keysOf<Document>.size(); ++index)
        if (!(keysOf<Document>[index - 1] < keysOf<Document>[index])) return false;
    return true;
}

/// Calls `visit` with every field of `Document` and its position among them.
template <class Document, class Visit>
constexpr void forEach(Visit&& visit) {
    [&]<std::size_t... index>(std::index_sequence<index...>) {
        (visit(std::get<index>(of<Document>), index), ...);
    }
    (std::make_index_sequence<keysOf<Document>.size()>());
}

}  // namespace lumenwhirl::fields

namespace lumenwhirl {

/// The current place in a document: a chain along the call stack, turned into text only for an error.
struct JsonPath {
    const JsonPath* parent = nullptr;
    std::string_view key = {};  // of an object's member; empty for an array's element and the whole document
    std::size_t index = 0;      // of an array's element

    /// Such as `clicks[3].button`; empty for the whole document.
    [[nodiscard]] std::string text() const {
        if (!parent) return {};
        std::string path = parent->text();
        if (key.empty()) return path + '[' + std::to_string(index) + ']';
        if (!path.empty()) path += '.';
        return path.append(key);
    }

    [[noreturn]] void fail(const std::string& problem) const {
        const std::string path = text();
        throw LumenwhirlJSON::Error(path.empty() ? problem : path + ": " + problem);
    }
};

}  // namespace lumenwhirl
