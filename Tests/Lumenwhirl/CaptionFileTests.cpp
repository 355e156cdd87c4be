#include "Lumenwhirl/Captions/CaptionFile.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace lumenwhirl {
namespace {

using CaptionFile::Format;
using Cues = std::vector<CaptionCue>;

Cues cuesOf(std::string_view text, Format format) {
    return CaptionFile::parse(text, format).cues;
}

std::string problemOf(std::string_view text, Format format) {
    try {
        (void)CaptionFile::parse(text, format);
    } catch (const CaptionFile::Error& error) {
        return error.what();
    }
    return "none";
}

TEST(SubRip, filesOfManyProgramsGiveTheSameCues) {
    const Cues expected{{1, 2.5, "Hello"}, {3600 + 62.25, 3600 + 63, "two\nlines"}};
    for (const std::string_view text : {
             "1\n00:00:01,000 --> 00:00:02,500\nHello\n\n2\n01:01:02,250 --> 01:01:03,000\ntwo\nlines\n",
             // A byte order mark, CR LF, no line ending at the end.
             "\xEF\xBB\xBF"
             "1\r\n00:00:01,000 --> 00:00:02,500\r\nHello\r\n\r\n"
             "2\r\n01:01:02,250 --> 01:01:03,000\r\ntwo\r\nlines",
             // No numbers; points, short fractions and blanks; CR alone.
             "00:00:01.0-->00:00:02.5\rHello\r\r\r 1:01:02.25  -->  1:01:03\r two \rlines\r",
             // No blank line between cues, styling, and a position on the screen.
             "1\n00:01,000 --> 00:02,500 X1:10 Y1:20\n<i>Hello</i>\n2\n01:01:02,250 --> 01:01:03,000\n"
             "{\\an8}<font color=\"#ff0000\">two</font>\nlines\n",
         })
        EXPECT_EQ(cuesOf(text, Format::subRip), expected) << text;
}

TEST(SubRip, textThatOnlyLooksLikeMarkupIsKept) {
    const Cues cues =
        cuesOf("00:01,000 --> 00:02,000\nif a < b && c > d\n\n00:03,000 --> 00:04,000\ngo --> there\n2024\n",
               Format::subRip);
    EXPECT_EQ(cues, (Cues{{1, 2, "if a < b && c > d"}, {3, 4, "go --> there\n2024"}}));
}

TEST(SubRip, errorsNameTheLineAndTheProblem) {
    const std::string times = "expected two times such as 00:01:02,500 --> 00:01:04,000";
    EXPECT_EQ(problemOf("1\n00:00:01,000 --> soon\nHello\n", Format::subRip), "line 2: " + times);
    EXPECT_EQ(problemOf("1\n00:00:01,000 --> 00:61:00,000\nHello\n", Format::subRip), "line 2: " + times);
    EXPECT_EQ(problemOf("\n\nonce upon a time\n", Format::subRip), "line 3: " + times);
    EXPECT_EQ(problemOf("00:00:02,000 --> 00:00:03,000\n" + std::string(5001, 'x'), Format::subRip),
              "line 2: the caption is longer than 5000 bytes");
    EXPECT_EQ(problemOf("00:00:01,000 --> 00:00:02,000\nna\xEFve\n", Format::subRip),
              "line 2: is not UTF-8 text; save the file as UTF-8");
}

TEST(WebVtt, headersNotesStylesAndSettingsAreLeftOut) {
    const std::string_view text =
        "WEBVTT - a talk\nKind: captions\n\nNOTE\nnot --> shown\n\nSTYLE\n::cue { color: red }\n\n"
        "REGION\nid:fred\n\nintro\n00:01.000 --> 00:02.500 line:0 align:start\n<v Ann>Hello <c.loud>there</c>\n\n"
        "100:00:00.500 --> 100:00:01.000\nfish &amp; chips &lt;hot&gt;<00:00:01.000>&nbsp;!\n\n"
        "00:05.000 --> 00:06.000\n<i></i>\n";
    EXPECT_EQ(cuesOf(text, Format::webVtt),
              (Cues{{1, 2.5, "Hello there"}, {360000.5, 360001, "fish & chips <hot>\u00A0!"}}));
    EXPECT_EQ(problemOf("00:01.000 --> 00:02.000\nHello\n", Format::webVtt),
              "line 1: a WebVTT file must begin with WEBVTT");
    EXPECT_EQ(problemOf("", Format::webVtt), "line 1: a WebVTT file must begin with WEBVTT");
}

TEST(TimedWords, areGroupedAndErrorsNameThePath) {
    EXPECT_EQ(cuesOf(R"([{"text":"Hello","start":1,"end":1.1},{"text":"world","start":1.2,"end":2,"p":0.9},
                                     {"text":"again","start":9,"end":9.5}])",
                     Format::timedWords),
              (Cues{{1, 2, "Hello world"}, {9, 9.5, "again"}}));  // a pause of 7 s separates the cues
    EXPECT_EQ(
        problemOf(R"([{"text":"a","start":0,"end":1},{"text":"b","start":"x","end":1}])", Format::timedWords),
        "[1].start: expected a number of seconds");
    EXPECT_EQ(problemOf(R"([{"text":"a","start":0}])", Format::timedWords), "[0].end: missing");
    EXPECT_EQ(problemOf(R"([{"text":7,"start":0,"end":1}])", Format::timedWords), "[0].text: expected a string");
    EXPECT_EQ(problemOf(R"({"words":[]})", Format::timedWords).find("expected an array of words"), 0U);
    EXPECT_EQ(problemOf("[", Format::timedWords).find("not JSON: "), 0U);
}

TEST(CaptionFile, filesAsPeopleHaveThemAreUnderstood) {
    // Automatic captions: lines of blanks inside a cue, and words with times of their own.
    EXPECT_EQ(cuesOf("WEBVTT\n\n00:01.000 --> 00:02.000 align:start\n \nso<00:00:01.500><c> it goes</c>\n\n"
                     "00:02.000 --> 00:03.000\nso it goes\n \n",
                     Format::webVtt),
              (Cues{{1, 2, "so it goes"}, {2, 3, "so it goes"}}));
    // Empty lines inside a SubRip cue and behind its number, blanks in times, references, a cue that runs
    // backwards.
    const CaptionFile::Captions read = CaptionFile::parse(
        "1\n\n00: 00: 01, 000 --> 00: 00: 02, 500\nyes\n\n&#39;no&#x27; &quot;&amp;&quot;\n\n"
        "2\n00:00:05,000 --> 00:00:04,000\nnever\n\n3\n00:00:06,000 --> 00:00:07,000\nend\n",
        Format::subRip);
    EXPECT_EQ(read.cues, (Cues{{1, 2.5, "yes\n\n'no' \"&\""}, {6, 7, "end"}}));
    EXPECT_EQ(
        cuesOf(
            "1\r\r\n00:01,000 --> 00:02,000\r\r\nHello\r\r\n\r\r\n2\r\r\n00:03,000 --> 00:04,000\r\r\nyou\r\r\n",
            Format::subRip),
        (Cues{{1, 2, "Hello"}, {3, 4, "you"}}));
    EXPECT_EQ(read.notices,
              std::vector<std::string>{"line 9: the caption ends before it starts and was left out"});
    // UTF-16 with a mark, in both orders; the last character is beyond 16 bits.
    const std::u16string wide = u"\uFEFF00:01,000 --> 00:02,000\nnaïve 😀\n";
    std::string little, big;
    for (const char16_t unit : wide) {
        little += {static_cast<char>(unit & 255), static_cast<char>(unit >> 8)};
        big += {static_cast<char>(unit >> 8), static_cast<char>(unit & 255)};
    }
    for (const std::string& bytes : {little, big})
        EXPECT_EQ(cuesOf(bytes, Format::subRip), (Cues{{1, 2, "naïve 😀"}}));
}

TEST(CaptionFile, hugeTextsAreRefusedHoweverMuchLooksLikeMarkup) {
    const std::string tooLong = ": the caption is longer than 5000 bytes";
    for (const std::string_view piece : {"<", "<b ", "{\\", "&"}) {
        std::string text = "00:01,000 --> 00:02,000\n";
        for (int i = 0; i < 1'000'000; ++i) text += piece;
        EXPECT_EQ(problemOf(text, Format::subRip), "line 2" + tooLong) << piece;
        EXPECT_EQ(problemOf("WEBVTT\n\n" + text, Format::webVtt), "line 4" + tooLong) << piece;
    }
}

TEST(CaptionFile, whatIsWrittenReadsBackTheSame) {
    const std::vector<std::string> texts{"Hello",
                                         "two\nlines",
                                         "a & b < c",
                                         "&amp; <i>it</i>",
                                         "⇧⌘S – naïve",
                                         "12",
                                         "gap\n\n\nbetween",
                                         "{\\an8}up {x}",
                                         "a --> b ->",
                                         "<b\u2060 --\u2060>",
                                         "NOTE this\n\n5",
                                         "&#39; 00:01 --> 00:02"};
    std::mt19937 random(7);
    for (const Format format : {Format::subRip, Format::webVtt}) {
        Cues cues;
        double time = 0;
        for (int i = 0; i < 500; ++i) {
            // Whole milliseconds, which is what the files hold.
            const double start = time + static_cast<double>(random() % 40000) / 1000;
            time = start + static_cast<double>(random() % 5000) / 1000;
            cues.push_back({start, time, texts[random() % texts.size()]});
        }
        const Cues back = cuesOf(CaptionFile::textOf(cues, format), format);
        ASSERT_EQ(back.size(), cues.size());
        for (std::size_t i = 0; i < cues.size(); ++i) {
            ASSERT_EQ(back[i].text, cues[i].text);
            EXPECT_NEAR(back[i].start, cues[i].start, 1e-6);
            EXPECT_NEAR(back[i].end, cues[i].end, 1e-6);
        }
    }
}

TEST(CaptionFile, writesWhatPlayersExpect) {
    // Ordered by start; times rounded; a blank line or an arrow in a text would break the file.
    const Cues cues{{3723.4567, 1e300, "second\n\n\nline --> end\n"}, {-1, 0.9996, "first"}, {5, 6, "\n"}};
    EXPECT_EQ(CaptionFile::textOf(cues, Format::subRip),
              "1\n00:00:00,000 --> 00:00:01,000\nfirst\n\n"
              "2\n01:02:03,457 --> 9999:00:00,000\nsecond\n \n \nline --\u2060> end\n");
    EXPECT_EQ(CaptionFile::textOf(cues, Format::webVtt),
              "WEBVTT\n\n00:00:00.000 --> 00:00:01.000\nfirst\n\n"
              "01:02:03.457 --> 9999:00:00.000\nsecond\n \n \nline --&gt; end\n");
    EXPECT_EQ(CaptionFile::textOf({}, Format::webVtt), "WEBVTT\n");
}

}  // namespace
}  // namespace lumenwhirl
