#include "Engine/Documents/LumenwhirlJSON.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <set>

namespace lumenwhirl {
namespace {

using LumenwhirlJSON::decodeEventLog;
using LumenwhirlJSON::decodeProjectSettings;
using LumenwhirlJSON::encode;

/// One of everything, every optional present.
EventLog fullLog() {
    EventLog log;
    log.recording = {1234.5, 60, {3, 2880, 1800, 1440, 900, 2, -10, 0.5}};
    log.cursor = {{0.1, 1, 2}};
    log.clicks = {{0.2, 3, 4, MouseButton::other, ClickPhase::up}};
    log.scroll = {{0.3, 5, 6, -1, 2}};
    log.keys = {{0.4, 36, "a", {"cmd", "shift"}, true}};
    return log;
}

ProjectSettings fullProject() {
    ProjectSettings project = ProjectSettings::makeDefault(12.5, true, true);
    project.assets.webcam = "webcam.mov";
    project.timeline.cuts = {{1, 2}};
    project.timeline.speedRanges = {{3, 4, 2}};
    project.zoom.segments = {{"auto-0", 1, 3, 2, true}};
    project.style.background = {"image", "sunset", "#102030", "/pictures/a.png"};
    project.style.border = "#FFFFFF80";
    project.keystrokes = KeystrokeSettings{true, false};
    project.captions =
        CaptionSettings{true, {{1, 2, "hello"}}, {"serif", "light", 2, "#000", "#FFF", true, "top"}};
    project.audio = AudioInfo{true, true, false};
    return project;
}

std::string replaced(std::string text, std::string_view from, std::string_view to) {
    const auto found = text.find(from);
    EXPECT_NE(found, std::string::npos) << from;
    return found == std::string::npos ? text : text.replace(found, from.size(), to);
}

/// The message with which decoding fails; empty when it does not.
template <class Decode>
std::string errorOf(Decode decode, const std::string& text) {
    try {
        (void)decode(text);
        return {};
    } catch (const LumenwhirlJSON::Error& error) {
        EXPECT_EQ(std::string_view(error.what()).find('\n'), std::string_view::npos) << "one line";
        return error.what();
    }
}

/// The positions of `"key":` in a text written by this program.
std::vector<std::size_t> keyPlaces(const std::string& text) {
    std::vector<std::size_t> places;
    for (std::size_t colon = text.find("\": "); colon != std::string::npos; colon = text.find("\": ", colon + 1))
        places.push_back(text.rfind('"', colon - 1));
    return places;
}

std::string keyAt(const std::string& text, std::size_t place) {
    return text.substr(place + 1, text.find('"', place + 1) - place - 1);
}

/// Any double that JSON can hold, from random bits: subnormal, huge and -0 included.
double anyDouble(std::mt19937_64& random) {
    while (true)
        if (const double value = std::bit_cast<double>(random()); std::isfinite(value))
            return random() % 4 == 0 ? std::trunc(std::fmod(value, 1e21)) : value;
}

std::string anyText(std::mt19937_64& random) {
    static const std::array<std::string, 12> pieces{"a",    "\"",   "\\", "/",  "\n", "\t", std::string(1, '\0'),
                                                    "\x1F", "\x7F", "é",  "漢", "😀"};
    std::string text;
    for (auto left = random() % 6; left > 0; --left) text += pieces[random() % pieces.size()];
    return text;
}

EventLog randomLog(unsigned seed) {
    std::mt19937_64 random(seed);
    const auto number = [&] { return anyDouble(random); };
    const auto integer = [&] { return static_cast<std::int64_t>(random()); };
    EventLog log;
    log.version = integer();
    log.recording = {number(),
                     integer(),
                     {static_cast<std::uint32_t>(random()), integer(), integer(), integer(), integer(), number(),
                      number(), number()}};
    for (auto left = random() % 5; left > 0; --left) {
        log.cursor.push_back({number(), number(), number()});
        log.clicks.push_back({number(), number(), number(), static_cast<MouseButton>(random() % 3),
                              static_cast<ClickPhase>(random() % 2)});
        log.scroll.push_back({number(), number(), number(), number(), number()});
        log.keys.push_back({number(), integer(), anyText(random), {anyText(random), "cmd"}, random() % 2 == 0});
    }
    return log;
}

TEST(Documents, everyDocumentSurvivesTheRoundTrip) {
    EXPECT_EQ(decodeEventLog(encode(fullLog())), fullLog());
    EXPECT_EQ(decodeEventLog(encode(EventLog{})), EventLog{});
    EXPECT_EQ(decodeProjectSettings(encode(fullProject())), fullProject());
    for (unsigned seed = 0; seed < 500; ++seed) {
        SCOPED_TRACE(seed);
        const EventLog log = randomLog(seed);
        const EventLog read = decodeEventLog(encode(log));
        ASSERT_EQ(read, log);
        ASSERT_EQ(std::signbit(read.recording.startHostTime), std::signbit(log.recording.startHostTime));
        ProjectSettings project = fullProject();
        std::mt19937_64 random(seed);
        project.style.border = anyText(random);
        project.timeline.duration = anyDouble(random);
        if (seed % 2 == 0) project.captions.reset();
        if (seed % 3 == 0) project.assets.mic.reset();
        ASSERT_EQ(decodeProjectSettings(encode(project)), project);
    }
    for (const double edge :
         {-0.0, 0x1p63, -0x1p63, 0x1p64, 1e20, 123456789012345680000.0, 5e-324, 1.7976931348623157e308}) {
        EventLog log;
        log.recording.startHostTime = edge;
        const double read = decodeEventLog(encode(log)).recording.startHostTime;
        EXPECT_EQ(read, edge);
        EXPECT_EQ(std::signbit(read), std::signbit(edge));
    }
}

TEST(Documents, storedNamesAndLayoutDoNotChange) {
    const std::string log = encode(fullLog()), project = encode(fullProject());
    std::set<std::string> keys;
    for (const std::string& text : {log, project})
        for (const std::size_t place : keyPlaces(text)) keys.insert(keyAt(text, place));
    std::string names;
    for (const std::string& key : keys) names += key + ' ';
    EXPECT_EQ(names,
              "aspect assets audio auto autoHideIdle background backgroundColor border button captions chars "
              "clickRipples clicks color cornerRadius cues cursor cuts defaultLevel display duration dx dy "
              "embedded enabled end events export font fps globalOriginX globalOriginY hasMic hasSystem id "
              "isRepeat keyCode keys keystrokes level manual mic modifiers padding path phase pixelHeight "
              "pixelWidth pointHeight pointWidth position preset rate recording scaleFactor scroll segments "
              "shadow showAllKeys size smoothing speedRanges start startHostTime style system t text textColor "
              "timeline trimEnd trimStart type uppercase version webcam weight x y zoom ");
    EXPECT_TRUE(
        log.starts_with("{\n  \"clicks\": [\n    {\n      \"button\": \"other\",\n      \"phase\": \"up\",\n"))
        << log;
    EXPECT_TRUE(log.ends_with("  ],\n  \"version\": 1\n}\n")) << log;
}

TEST(Documents, newRecordingsGetTheFactoryProject) {
    const ProjectSettings project = ProjectSettings::makeDefault(12.5, false, true);
    EXPECT_EQ(project.assets, (Assets{"recording.mov", "events.json", {}, "system.m4a", {}}));
    EXPECT_EQ(project.timeline, (Timeline{12.5, 0, 12.5, {}, {}}));
    EXPECT_EQ(project.cursor, (CursorStyle{CursorSmoothing::smooth, 1.5, 1.5, true}));
    EXPECT_EQ(project.zoom, (ZoomSettings{true, 1.75, {}}));
    EXPECT_EQ(project.style, (Style{{"gradient", "sunset", {}, {}}, 48, 16, "subtle", {}, "16:9"}));
    EXPECT_EQ(project.exportSettings.preset, "web");
    const std::string text = encode(project);
    for (const auto* absent : {"mic", "webcam", "keystrokes", "captions", "audio", "border", "color", "path"})
        EXPECT_EQ(text.find('"' + std::string(absent) + '"'), std::string::npos) << absent;
}

/// Renames one key after the other, so that it is missing and an unknown one is there. `mayBeAbsent` holds keys
/// and, for single occurrences, positions.
template <class Decode>
void expectStrict(const std::string& text, Decode decode, const std::set<std::string>& mayBeAbsent) {
    for (const std::size_t place : keyPlaces(text)) {
        const std::string key = keyAt(text, place);
        SCOPED_TRACE(key + " at " + std::to_string(place));
        std::string renamed = text;
        renamed.insert(place + 1, "un");
        const bool isLenient = mayBeAbsent.contains(key) || mayBeAbsent.contains(std::to_string(place));
        const std::string error = errorOf(decode, renamed);
        EXPECT_EQ(error.empty(), isLenient) << error;
        if (!isLenient) {
            EXPECT_TRUE(error.ends_with(key + ": required key is missing")) << error;
        }
    }
}

TEST(Documents, everyRequiredKeyIsRequired) {
    expectStrict(encode(fullLog()), decodeEventLog, {});
    const std::string project = encode(fullProject());
    // Keys of the same name that are required elsewhere are told apart by their place.
    std::set<std::string> lenient{"audio",     "captions",        "keystrokes", "mic",     "system", "webcam",
                                  "border",    "color",           "path",       "cues",    "font",   "weight",
                                  "textColor", "backgroundColor", "uppercase",  "position"};
    const std::size_t captions = project.find("\"captions\"");
    for (const auto* key : {"\"enabled\"", "\"style\"", "\"size\""})
        lenient.insert(std::to_string(project.find(key, captions)));
    lenient.insert(std::to_string(project.find("\"preset\"", project.find("\"background\""))));
    expectStrict(project, decodeProjectSettings, lenient);
}

TEST(Documents, nullIsAbsent) {
    const std::string log = encode(fullLog());
    EXPECT_EQ(errorOf(decodeEventLog, replaced(log, "\"fps\": 60", "\"fps\": null")),
              "recording.fps: required key is missing");
    const std::string project = encode(fullProject());
    const auto read = decodeProjectSettings(replaced(project, "\"border\": \"#FFFFFF80\"", "\"border\": null"));
    EXPECT_EQ(read.style.border, std::nullopt);
    EXPECT_EQ(errorOf(decodeEventLog, replaced(log, "\"cmd\"", "null")),
              "keys[0].modifiers[0]: expected a string, found null");
}

TEST(Documents, errorsSayWhereAndWhat) {
    const std::string log = encode(fullLog());
    const auto error = [&](std::string_view from, std::string_view to) {
        return errorOf(decodeEventLog, replaced(log, from, to));
    };
    EXPECT_EQ(error("\"other\"", "\"middle\""), "clicks[0].button: unknown value \"middle\"");
    EXPECT_EQ(error("\"other\"", "7"), "clicks[0].button: expected a string, found a number");
    EXPECT_EQ(error("0.4", "\"x\""), "keys[0].t: expected a number, found a string");
    EXPECT_EQ(error("0.4", "true"), "keys[0].t: expected a number, found true or false");
    EXPECT_EQ(error("\"a\"", "[]"), "keys[0].chars: expected a string, found an array");
    EXPECT_EQ(error("\"fps\": 60", "\"fps\": 60.5"), "recording.fps: expected a whole number");
    EXPECT_EQ(error("\"id\": 3", "\"id\": 4294967296"),
              "recording.display.id: the number is out of range, which is 0 to 4294967295");
    EXPECT_NE(error("\"id\": 3", "\"id\": -1"), "");
    EXPECT_NE(error("\"fps\": 60", "\"fps\": 9223372036854775808"), "");
    EXPECT_NE(error("\"fps\": 60", "\"fps\": 1e300"), "");
    EXPECT_NE(error("0.4", "1e400"), "");
    EXPECT_EQ(errorOf(decodeEventLog, "[]"), "expected an object, found an array");
    const std::string longName = "\n" + std::string(38, 'x') + "éé";
    EXPECT_EQ(error("\"other\"", '"' + replaced(longName, "\n", "\\n") + '"'),
              "clicks[0].button: unknown value \"?" + std::string(38, 'x') + "…\"");
}

TEST(Documents, captionsHaveDefaultsForAbsentKeys) {
    const std::string text = encode(fullProject());
    const std::size_t start = text.find("\"captions\": ") + 12;
    const std::size_t end = text.find("\"cursor\"");
    const auto captions = [&](const std::string& value) {
        return decodeProjectSettings(text.substr(0, start) + value + ", " + text.substr(end)).captions;
    };
    EXPECT_EQ(captions("{}"), CaptionSettings{});
    EXPECT_EQ(captions("null"), std::nullopt);
    const CaptionSettings half = *captions(R"({"enabled": true, "style": {"size": 2, "font": null}})");
    EXPECT_TRUE(half.enabled);
    EXPECT_EQ(half.style, (CaptionStyle{"system", "bold", 2, "#FFFFFF", "#0000009E", false, "bottom"}));
    EXPECT_THROW((void)captions(R"({"cues": [{"start": 1, "end": 2}]})"), LumenwhirlJSON::Error) << "no text";
    EXPECT_THROW((void)captions(R"({"enabled": 1})"), LumenwhirlJSON::Error) << "lenient about absence only";
}

TEST(Documents, numbersMayBeWrittenInAnyWay) {
    const std::string text = encode(fullLog());
    const auto withFps = [&](std::string_view number) {
        return decodeEventLog(replaced(text, "\"fps\": 60", "\"fps\": " + std::string(number))).recording.fps;
    };
    EXPECT_EQ(withFps("1e2"), 100);
    EXPECT_EQ(withFps("-1E+0"), -1);
    const auto withTime = [&](std::string_view number) {
        return decodeEventLog(replaced(text, "0.4", number)).keys[0].t;
    };
    EXPECT_EQ(withTime("18446744073709551615"), 0x1p64);
    EXPECT_EQ(withTime("100000000000000000000000000000"), 1e29) << "beyond every integer type";
}

TEST(Documents, foreignTextIsUnderstood) {
    const EventLog log = fullLog();
    const std::string text = encode(log);
    EXPECT_EQ(decodeEventLog(replaced(text, "{", "{\"future\": {\"a\": [1, {\"version\": 2}]}, ")), log)
        << "unknown keys";
    EXPECT_EQ(decodeEventLog("\xEF\xBB\xBF \r\n" + text + "\t"), log) << "byte order mark and spaces";
    EXPECT_EQ(decodeEventLog(replaced(text, "{", "{\"version\": \"no\", \"cursor\": [], ")), log)
        << "the last one counts";
    EXPECT_EQ(decodeEventLog(replaced(text, "\"a\"", "\"\\u0061\"")), log);
    EXPECT_EQ(decodeEventLog(replaced(text, "\"a\"", "\"\\/\"")).keys[0].chars, "/");
    std::string oneLine = text;
    std::erase_if(oneLine, [](char character) { return character == '\n' || character == ' '; });
    EXPECT_EQ(decodeEventLog(oneLine), log);
    for (const std::size_t spare :
         {std::size_t{0}, LumenwhirlJSON::spareCapacity}) {  // parsed as a copy, and in place
        std::string marked;
        marked.reserve(text.size() + 3 + spare);
        marked = "\xEF\xBB\xBF" + text;
        EXPECT_EQ(LumenwhirlJSON::decode<EventLog>(marked), log);
    }
}

TEST(Documents, malformedTextIsRefusedWithThePosition) {
    const auto error = [](const std::string& text) { return errorOf(decodeEventLog, text); };
    EXPECT_EQ(error(""), "the text is empty");
    EXPECT_EQ(error("{\n  \"é\": 1,\n  \"é\" 2\n}"), "malformed JSON at line 3, column 7: expected \":\"");
    EXPECT_EQ(error("{\"a\": [1, 2"), "malformed JSON at line 1, column 12: the text ends too early");
    EXPECT_EQ(error("{} x"), "malformed JSON at line 1, column 4: there is more after the end");
    EXPECT_EQ(error("{\"a\": [1 2]}"), "malformed JSON at line 1, column 10: expected \",\" or \"]\"");
    EXPECT_EQ(error("{\"a\": 01}"), "malformed JSON at line 1, column 8: expected \",\" or \"}\"");
    for (const auto* broken :
         {"{\"a\": 1,}", "{a: 1}", "{\"a\": 'x'}", "{\"a\": tru}", "{\"a\": \"\\x\"}", "{\"a\": 1.}",
          "{\"a\": \"\t\"}", "{\"a\": NaN}", "{,}", "[1,]", "]", "{\"a\": -}", "\"\\u12g4\""})
        EXPECT_TRUE(error(broken).starts_with("malformed JSON at line 1, column "))
            << broken << ": " << error(broken);
    EXPECT_NE(error("{\"a\": \"\xFF\"}"), "");
    // A truncated document is malformed, wherever it ends.
    const std::string text = encode(fullLog());
    for (std::size_t length = 0; length + 2 < text.size(); ++length) EXPECT_NE(error(text.substr(0, length)), "");
    for (const char* nested : {"[", "{\"a\":", "{\"a\":[{\"b\":"}) {
        std::string deep = "{\"unknown\": ";
        for (int level = 0; level < 200'000; ++level) deep += nested;
        EXPECT_NE(error(deep), "");
    }
}

TEST(Documents, damagedTextNeverCrashesTheReader) {
    const std::string text = encode(fullProject());
    std::mt19937_64 random(7);
    constexpr std::string_view bytes = "{}[]\",:\\0123456789eE.-+truefalsnl \x01\xC3\xFF";
    for (int round = 0; round < 20'000; ++round) {
        std::string damaged = text;
        for (auto left = 1 + random() % 4; left > 0; --left)
            damaged[random() % damaged.size()] = bytes[random() % bytes.size()];
        (void)errorOf(decodeProjectSettings, damaged);
    }
}

TEST(Documents, whatJsonCannotHoldIsNotWritten) {
    EventLog log = fullLog();
    log.cursor.push_back({1, std::numeric_limits<double>::quiet_NaN(), 0});
    const auto error = [](const auto& document) {
        return errorOf([&](const std::string&) { return encode(document); }, "");
    };
    EXPECT_EQ(error(log), "cursor[1].x: the value is not a finite number");
    log = fullLog();
    log.keys[0].modifiers[1] = "\xC3";
    EXPECT_EQ(error(log), "keys[0].modifiers[1]: the text is not UTF-8");
    ProjectSettings project = fullProject();
    project.captions->cues[0].end = -std::numeric_limits<double>::infinity();
    EXPECT_EQ(error(project), "captions.cues[0].end: the value is not a finite number");
}

}  // namespace
}  // namespace lumenwhirl
