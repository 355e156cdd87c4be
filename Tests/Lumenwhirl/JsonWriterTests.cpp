#include "Lumenwhirl/Commands/JsonWriter.h"

#include <gtest/gtest.h>
#include <simdjson.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>

namespace lumenwhirl {
namespace {

TEST(JsonWriter, nestsAndKeepsTheOrderOfKeys) {
    const auto write = [](JsonWriter::Layout layout) {
        JsonWriter json(layout);
        json.beginObject().member("b", 1).member("a", true).key("list").beginArray();
        json.value("x").beginObject().endObject().value(std::nullopt).endArray();
        json.key("none").beginArray().endArray().member("gap", std::optional<double>()).endObject();
        return json.text();
    };
    EXPECT_EQ(write(JsonWriter::Layout::compact), R"({"b":1,"a":true,"list":["x",{},null],"none":[],"gap":null})");
    EXPECT_EQ(write(JsonWriter::Layout::indented),
              "{\n  \"b\": 1,\n  \"a\": true,\n  \"list\": [\n    \"x\",\n    {},\n    null\n  ],\n"
              "  \"none\": [],\n  \"gap\": null\n}");
}

TEST(JsonWriter, numbersReadBackToTheSameDouble) {
    std::mt19937_64 random(3);
    simdjson::dom::parser parser;
    for (int i = 0; i < 5000; ++i) {
        const double number = i == 0   ? std::numeric_limits<double>::denorm_min()
                              : i == 1 ? std::numeric_limits<double>::max()
                                       : std::bit_cast<double>(random());
        const std::string text = JsonWriter(JsonWriter::Layout::compact).value(number).text();
        if (!std::isfinite(number)) {
            EXPECT_EQ(text, "null");
            continue;
        }
        double back = 0;
        ASSERT_FALSE(parser.parse("[" + text + "]").at(0).get(back)) << text;
        EXPECT_EQ(back, number) << text;
    }
}

TEST(JsonWriter, everyStringReadsBackAndBadBytesBecomeReplacements) {
    simdjson::dom::parser parser;
    for (const std::string_view text : {"plain", "⇧⌘S", "\"quoted\" \\ and\nlines\t\x01\x1F", "",
                                        "\x7F é \u0085\u009F\u00A0 \u202Eright\u2066"}) {
        const std::string json = JsonWriter(JsonWriter::Layout::compact).value(text).text();
        std::string_view back;
        ASSERT_FALSE(parser.parse("[" + json + "]").at(0).get(back)) << json;
        EXPECT_EQ(back, text);
        // Nothing reaches a terminal that could command it or turn the order of what follows.
        for (const std::string_view unsafe : {"\x7F", "\u0085", "\u009F", "\u202E", "\u2066"})
            EXPECT_EQ(json.find(unsafe), std::string::npos);
    }
    EXPECT_EQ(JsonWriter(JsonWriter::Layout::compact).value("a\xFF").text(), "\"a\uFFFD\"");
}

}  // namespace
}  // namespace lumenwhirl
