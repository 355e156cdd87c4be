#include "Engine/Overlays/CaptionsModel.h"
#include "Engine/Overlays/KeystrokeModel.h"
#include "Engine/Overlays/UpperCase.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

namespace lumenwhirl {
namespace {

using Modifiers = std::vector<std::string>;

/// The pill of one key press, empty for none.
std::string pillOf(std::int64_t keyCode, const std::string& chars, const Modifiers& modifiers,
                   bool showAllKeys = false, bool isRepeat = false) {
    EventLog log;
    log.keys = {{1, keyCode, chars, modifiers, isRepeat}};
    const auto pills = KeystrokeModel(log, showAllKeys, 1.2, 0.4, 4).pills(1);
    return pills.empty() ? "" : pills.front().text;
}

KeystrokeModel shortcutsAt(const std::vector<double>& times, int maxVisible = 4) {
    EventLog log;
    for (const double t : times) log.keys.push_back({t, 0, std::to_string(log.keys.size()), {"cmd"}, false});
    return {log, false, 1.2, 0.4, maxVisible};
}

TEST(KeystrokeModel, showsShortcutsAndSpecialKeysButNoTyping) {
    EXPECT_EQ(pillOf(0, "a", {}), "");
    EXPECT_EQ(pillOf(0, "A", {"shift"}), "") << "shift alone makes no shortcut";
    EXPECT_EQ(pillOf(0, "a", {}, true), "A");
    EXPECT_EQ(pillOf(1, "s", {"shift", "cmd"}), "⇧⌘S");
    EXPECT_EQ(pillOf(123, "", {"option", "control"}), "⌃⌥←");
    EXPECT_EQ(pillOf(36, "\r", {"shift"}), "⇧↩");
    EXPECT_EQ(pillOf(3, "f", {"fn"}), "F") << "fn has no symbol";
    EXPECT_EQ(pillOf(0, "", {"cmd"}), "⌘•");
    EXPECT_EQ(pillOf(0, " ", {"cmd"}), "⌘•");
    EXPECT_EQ(pillOf(1, "s", {"cmd"}, true, true), "") << "repeats of a held key";
    EXPECT_EQ(KeystrokeModel::specialKey(76), "↩");
    EXPECT_EQ(KeystrokeModel::specialKey(0), std::nullopt);
}

TEST(KeystrokeModel, pillsHoldFadeAndGo) {
    const KeystrokeModel model = shortcutsAt({10});
    const auto opacity = [&](double t) { return model.pills(t).empty() ? 0 : model.pills(t).front().opacity; };
    EXPECT_TRUE(model.pills(9.999).empty());
    EXPECT_EQ(opacity(10), 1);
    EXPECT_EQ(opacity(11.19), 1);
    EXPECT_NEAR(opacity(11.4), 0.5, 1e-9);
    EXPECT_TRUE(model.pills(11.61).empty());
    for (double t = 11; t < 12; t += 0.001) EXPECT_NEAR(opacity(t), opacity(t + 0.001), 0.0026);
}

TEST(KeystrokeModel, onlyTheNewestAreShownOldestFirst) {
    const auto texts = [](const std::vector<KeyPill>& pills) {
        std::string all;
        for (const KeyPill& pill : pills) all += pill.text;
        return all;
    };
    const std::vector<double> sixInASecond{1, 1.1, 1.2, 1.3, 1.4, 1.5};
    EXPECT_EQ(texts(shortcutsAt(sixInASecond).pills(1.6)), "⌘2⌘3⌘4⌘5");
    EXPECT_EQ(texts(shortcutsAt(sixInASecond).pills(1.25)), "⌘0⌘1⌘2");
    EXPECT_EQ(texts(shortcutsAt(sixInASecond, 0).pills(1.6)), "");
    EXPECT_EQ(texts(shortcutsAt(sixInASecond, -1).pills(1.6)), "");
}

TEST(KeystrokeModel, pillsAreThoseOfAFullScanInAnyOrder) {
    std::mt19937 random(5);
    std::uniform_int_distribution<int> tenths(0, 300);
    for (const bool inOrder : {true, false}) {
        std::vector<double> times(300);
        for (double& t : times) t = tenths(random) * 0.1;
        if (inOrder) std::sort(times.begin(), times.end());
        const KeystrokeModel model = shortcutsAt(times);
        for (double t = -1; t < 33; t += 0.1) {
            std::vector<KeyPill> expected;
            for (std::size_t index = 0; index < times.size(); ++index) {
                const double age = t - times[index];
                if (age >= 0 && age <= 1.2 + 0.4)
                    expected.push_back(
                        {"⌘" + std::to_string(index), age <= 1.2 ? 1 : std::max(1 - (age - 1.2) / 0.4, 0.0)});
            }
            if (expected.size() > 4) expected.erase(expected.begin(), expected.end() - 4);
            ASSERT_EQ(model.pills(t), expected) << t;
        }
    }
    for (const double odd : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()})
        EXPECT_TRUE(shortcutsAt({1, 2, odd}).pills(odd).empty());
}

TEST(UpperCase, mapsAlphabetsWithoutALocale) {
    EXPECT_EQ(upperCased("straße, ÷ 9 ñandú ÿ µ"), "STRASSE, ÷ 9 ÑANDÚ Ÿ Μ");
    EXPECT_EQ(upperCased("čřžůőłđŋ ıſ ŀ ń ķĸ"), "ČŘŽŮŐŁĐŊ IS Ŀ Ń Ķĸ");
    EXPECT_EQ(upperCased("ὰ άέήίόύώ αβγ ςσ ϊ"), "ὰ ΆΈΉΊΌΎΏ ΑΒΓ ΣΣ Ϊ");
    EXPECT_EQ(upperCased("привет ёђї ґ ӏ ӑ"), "ПРИВЕТ ЁЂЇ Ґ Ӏ Ӑ");
    EXPECT_EQ(upperCased("tiếng ươ"), "TIẾNG ƯƠ");
    EXPECT_EQ(upperCased("oﬃce ﬁle ﬆ ǆ ǅ ǉ ǋ ǳ մﬓ"), "OFFICE FILE ST Ǆ Ǆ Ǉ Ǌ Ǳ ՄՄՆ") << "ligatures and digraphs";
    EXPECT_EQ(upperCased("日本 😀 ÀÉ ŸŽŁ ПΣ"), "日本 😀 ÀÉ ŸŽŁ ПΣ") << "what is upper case or has none stays";
}

TEST(UpperCase, keepsBytesThatAreNotText) {
    for (const std::string broken : {"\xC3", "\xE1\xBA", "\xFF\xFE", "\xC3(", "\xF0\x9F\x98"})
        EXPECT_EQ(upperCased("a" + broken), "A" + broken);
}

TEST(CaptionsModel, overlapsGoToTheEarlierStart) {
    const CaptionsModel captions({{4, 6, "second"}, {1, 5, "first"}, {1, 2, "twin"}, {10, 9, "never"}});
    EXPECT_EQ(captions.text(0.99), std::nullopt);
    EXPECT_EQ(captions.text(1), "first") << "equal starts keep their stored order";
    EXPECT_EQ(captions.text(4.5), "first");
    EXPECT_EQ(captions.text(5), "first") << "both ends belong to a cue";
    EXPECT_EQ(captions.text(5.1), "second");
    EXPECT_EQ(captions.text(9.5), std::nullopt);
}

TEST(CaptionsModel, wordsBecomeReadableCues) {
    using Words = std::vector<CaptionsModel::Word>;
    using Cues = std::vector<CaptionCue>;
    const auto group = CaptionsModel::groupIntoCues;
    EXPECT_TRUE(group({}).empty());
    EXPECT_EQ(group({{"hello", 1.0, 1.1}}), (Cues{{1.0, 1.4, "hello"}})) << "at least 0.4 s";
    EXPECT_EQ(group({{"two", 0.5, 1}, {"one", 0, 0.5}}), (Cues{{0, 1, "one two"}})) << "out of order";
    // A pause of 0.75 s, exact in binary, does not split; 0.81 s does.
    EXPECT_EQ(group({{"a", 0, 1}, {"b", 1.75, 2}}).size(), 1U);
    EXPECT_EQ(group({{"a", 0, 1}, {"b", 1.81, 2}}), (Cues{{0, 1, "a"}, {1.81, 1.81 + 0.4, "b"}}));
    // Up to 3 s from the start of the first word to the end of the last.
    EXPECT_EQ(group({{"a", 0, 1}, {"b", 1, 2}, {"c", 2, 3}, {"d", 3, 3.5}}),
              (Cues{{0, 3, "a b c"}, {3, 3.5, "d"}}));
    EXPECT_EQ(group({{"long", 0, 9}, {"b", 9, 10}}), (Cues{{0, 9, "long"}, {9, 10, "b"}}));
    Words nine;
    for (int index = 0; index < 9; ++index) nine.push_back({"w", index * 0.1, index * 0.1 + 0.1});
    const Cues cues = group(nine);
    ASSERT_EQ(cues.size(), 2U);
    EXPECT_EQ(cues[0].text, "w w w w w w w w");
    EXPECT_EQ(cues[1].text, "w");
}

}  // namespace
}  // namespace lumenwhirl
