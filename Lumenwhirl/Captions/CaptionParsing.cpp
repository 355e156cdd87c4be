#include "Engine/Overlays/CaptionsModel.h"
#include "Engine/Overlays/UpperCase.h"
#include "Lumenwhirl/Captions/CaptionFile.h"
#include "Lumenwhirl/Captions/Markup.h"

#include <simdjson.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <utility>

namespace lumenwhirl::CaptionFile {
namespace {

constexpr std::string_view blanks = " \t";
constexpr std::string_view arrow = "-->";

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

bool isNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// Lines without their endings, which are LF, CR LF or CR.
std::vector<std::string_view> splitLines(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
        lines.push_back(text.substr(0, end));
        text.remove_prefix(end);
        text.remove_prefix(text.starts_with("\r\n") ? 2 : std::min<std::size_t>(text.size(), 1));
    }
    return lines;
}

/// Takes digits from the front of `text`, at most nine, so that the value fits.
std::optional<int> takeNumber(std::string_view& text) {
    int value = 0;
    const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    if (digits == 0 || digits > 9) return std::nullopt;
    std::from_chars(text.data(), text.data() + digits, value);
    text.remove_prefix(digits);
    return value;
}

/// UTF-8 of UTF-16, whose byte order mark is the first of its units. Units that make no character become U+FFFD.
std::string utf8OfUtf16(std::string_view bytes) {
    const std::size_t high = bytes.starts_with("\xFE\xFF") ? 0 : 1;  // where a unit's higher byte is
    const auto unitAt = [&](std::size_t i) {
        return static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[i + high]) << 8 |
                                          static_cast<unsigned char>(bytes[i + 1 - high]));
    };
    std::string text;
    for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
        std::uint32_t code = unitAt(i);
        if (code >= 0xD800 && code < 0xDC00 && i + 3 < bytes.size() && (unitAt(i + 2) & 0xFC00U) == 0xDC00) {
            code = 0x10000 + ((code & 0x3FFU) << 10) + (unitAt(i + 2) & 0x3FFU);
            i += 2;
        }
        appendUtf8(text, code);
    }
    return text;
}

/// "1:02:03,456", "02:03.4" or "02:03" at the front of `text`, in seconds. Translating programs put blanks into
/// times.
std::optional<double> takeTime(std::string_view& text) {
    const auto takeSign = [&text](std::string_view signs) {
        const std::size_t at = text.find_first_not_of(blanks);
        if (at == std::string_view::npos || signs.find(text[at]) == std::string_view::npos) return false;
        text = trimmed(text.substr(at + 1));
        return true;
    };
    std::array<int, 3> parts{};  // hours, minutes, seconds; or only the last two
    std::size_t count = 0;
    while (count < parts.size()) {
        const std::optional<int> part = takeNumber(text);
        if (!part) return std::nullopt;
        parts[count++] = *part;
        if (!takeSign(":")) break;
    }
    if (count < 2) return std::nullopt;
    const int hours = count == 3 ? parts[0] : 0;
    const int minutes = parts[count - 2], seconds = parts[count - 1];
    if (minutes > 59 || seconds > 59) return std::nullopt;
    double fraction = 0;
    if (takeSign(",.")) {
        const std::size_t digits = text.size();
        const std::optional<int> numerator = takeNumber(text);
        if (!numerator) return std::nullopt;
        double denominator = 1;
        for (std::size_t i = text.size(); i < digits; ++i) denominator *= 10;
        fraction = *numerator / denominator;
    }
    return hours * 3600.0 + minutes * 60.0 + seconds + fraction;
}

void checkLength(const std::string& text, const std::string& place) {
    if (text.size() > CaptionsModel::longestText)
        throw Error(place + ": the caption is longer than " + std::to_string(CaptionsModel::longestText) +
                    " bytes");
}

/// Reads SubRip and WebVTT, which share their structure: blocks of a time line and text lines, separated by blank
/// lines. Tolerates what files in the wild do (missing numbers, missing blank lines, comma or point), but does not
/// guess where a guess could misplace a caption. Used once.
class CueParser {
public:
    /// Borrows `text`.
    CueParser(std::string_view text, Format format);
    /// Throws Error with the number of the line.
    [[nodiscard]] Captions parse();

private:
    [[nodiscard]] bool atEnd() const noexcept { return line_ >= lines_.size(); }
    [[nodiscard]] bool isTimeLine(std::size_t line) const;
    [[nodiscard]] bool beginsOtherBlock(std::string_view line) const;
    [[noreturn]] void fail(std::size_t line, const std::string& problem) const;
    void skipHeader();
    void skipBlock();
    [[nodiscard]] bool beginsCue(std::size_t line) const;
    [[nodiscard]] std::size_t nextWithText(std::size_t line) const;
    [[nodiscard]] bool endsCue(std::size_t line, std::size_t next) const;
    [[nodiscard]] CaptionCue parseTimes(std::size_t line) const;
    [[nodiscard]] std::optional<CaptionCue> parseCue();

    std::vector<std::string_view> lines_;
    std::size_t line_ = 0;
    Format format_;
    std::vector<std::string> notices_;
};

CueParser::CueParser(std::string_view text, Format format) : lines_(splitLines(text)), format_(format) {}

Captions CueParser::parse() {
    for (std::size_t i = 0; i < lines_.size(); ++i)
        if (!simdjson::validate_utf8(lines_[i].data(), lines_[i].size()) ||
            lines_[i].find('\0') != std::string_view::npos)
            fail(i, "is not UTF-8 text; save the file as UTF-8");
    if (format_ == Format::webVtt) skipHeader();
    std::vector<CaptionCue> cues;
    while (!atEnd()) {
        const std::string_view line = trimmed(lines_[line_]);
        if (line.empty()) {
            ++line_;
        } else if (beginsOtherBlock(line)) {
            skipBlock();
        } else if (std::optional<CaptionCue> cue = parseCue()) {
            cues.push_back(std::move(*cue));
        }
    }
    return {std::move(cues), std::move(notices_)};
}

bool CueParser::isTimeLine(std::size_t line) const {
    if (line >= lines_.size() || lines_[line].find(arrow) == std::string_view::npos) return false;
    const std::string_view text = trimmed(lines_[line]);
    return text.front() >= '0' && text.front() <= '9';  // a spoken "a --> b" is text
}

bool CueParser::beginsOtherBlock(std::string_view line) const {
    if (format_ != Format::webVtt) return false;
    constexpr std::array<std::string_view, 3> words{"NOTE", "STYLE", "REGION"};
    return std::any_of(words.begin(), words.end(), [&](std::string_view word) {
        return line.starts_with(word) &&
               (line.size() == word.size() || blanks.find(line[word.size()]) != std::string_view::npos);
    });
}

void CueParser::fail(std::size_t line, const std::string& problem) const {
    throw Error("line " + std::to_string(line + 1) + ": " + problem);
}

void CueParser::skipHeader() {
    constexpr std::string_view mark = "WEBVTT";
    const std::string_view first = lines_.empty() ? std::string_view() : lines_.front();
    if (!first.starts_with(mark) ||
        (first.size() > mark.size() && blanks.find(first[mark.size()]) == std::string_view::npos))
        fail(0, "a WebVTT file must begin with WEBVTT");
    skipBlock();
}

void CueParser::skipBlock() {
    while (!atEnd() && !trimmed(lines_[line_]).empty()) ++line_;
}

/// Whether a cue's times stand here, or one line further on: SubRip's number, or any name in WebVTT, may precede
/// them.
bool CueParser::beginsCue(std::size_t line) const {
    return isTimeLine(line) ||
           (isTimeLine(line + 1) && (format_ == Format::webVtt || isNumber(trimmed(lines_[line]))));
}

/// The first line from `line` on that is not blank, or the end.
std::size_t CueParser::nextWithText(std::size_t line) const {
    while (line < lines_.size() && trimmed(lines_[line]).empty()) ++line;
    return line;
}

/// Whether blank lines that go on to `next` end a cue's text. In WebVTT an empty line ends it; lines of blanks do
/// only before another cue. In SubRip both do so only there: some files have empty lines inside a text.
bool CueParser::endsCue(std::size_t line, std::size_t next) const {
    if (next >= lines_.size() || beginsCue(next)) return true;
    if (format_ == Format::subRip && isNumber(trimmed(lines_[next])) && isTimeLine(nextWithText(next + 1)))
        return true;
    return format_ == Format::webVtt && std::any_of(lines_.begin() + static_cast<std::ptrdiff_t>(line),
                                                    lines_.begin() + static_cast<std::ptrdiff_t>(next),
                                                    [](std::string_view blank) { return blank.empty(); });
}

CaptionCue CueParser::parseTimes(std::size_t line) const {
    const std::string_view whole = lines_[line];
    const std::size_t arrowAt = whole.find(arrow);
    std::string_view before = trimmed(whole.substr(0, arrowAt));
    std::string_view after = trimmed(whole.substr(arrowAt + arrow.size()));
    const std::optional<double> start = takeTime(before);
    const std::optional<double> end = takeTime(after);
    // What may follow is the cue's position on the screen; here the project's caption style decides that.
    const bool isWord = !after.empty() && blanks.find(after.front()) == std::string_view::npos;
    if (!start || !end || !before.empty() || isWord)
        fail(line, "expected two times such as 00:01:02,500 --> 00:01:04,000");
    return {*start, *end, {}};
}

std::optional<CaptionCue> CueParser::parseCue() {
    const std::size_t times = nextWithText(line_ + 1);
    if (!isTimeLine(line_) && isNumber(trimmed(lines_[line_])) && isTimeLine(times)) {
        line_ = times;
    } else if (!isTimeLine(line_) && beginsCue(line_)) {
        ++line_;
    }
    if (!isTimeLine(line_)) fail(line_, "expected two times such as 00:01:02,500 --> 00:01:04,000");
    const std::size_t timeLine = line_++;
    CaptionCue cue = parseTimes(timeLine);
    std::size_t emptyLines = 0;
    while (!atEnd()) {
        const std::string_view line = trimmed(lines_[line_]);
        if (isTimeLine(line_) || (isTimeLine(line_ + 1) && isNumber(line))) break;
        if (line.empty()) {
            const std::size_t next = nextWithText(line_);
            if (endsCue(line_, next)) break;
            emptyLines += next - line_;
            line_ = next;
            continue;
        }
        const std::string text(trimmed(withoutMarkup(line, format_)));
        ++line_;
        if (text.empty()) continue;  // nothing but markup
        if (!cue.text.empty()) cue.text.append(emptyLines + 1, '\n');
        emptyLines = 0;
        cue.text += text;
        checkLength(cue.text, "line " + std::to_string(line_));
    }
    if (cue.end < cue.start) {
        notices_.push_back("line " + std::to_string(timeLine + 1) +
                           ": the caption ends before it starts and was left out");
        return std::nullopt;
    }
    return cue.text.empty() ? std::nullopt : std::optional(std::move(cue));
}

using Word = CaptionsModel::Word;

double numberOf(simdjson::dom::object word, std::string_view key, const std::string& path) {
    double number = 0;
    const simdjson::error_code error = word[key].get(number);
    if (error == simdjson::NO_SUCH_FIELD) throw Error(path + "." + std::string(key) + ": missing");
    if (error) throw Error(path + "." + std::string(key) + ": expected a number of seconds");
    return number;
}

Word wordOf(simdjson::dom::element element, const std::string& path) {
    simdjson::dom::object object;
    if (element.get(object)) throw Error(path + R"(: expected {"text", "start", "end"})");
    std::string_view text;
    const simdjson::error_code error = object["text"].get(text);
    if (error == simdjson::NO_SUCH_FIELD) throw Error(path + ".text: missing");
    if (error) throw Error(path + ".text: expected a string");
    Word word{std::string(text), numberOf(object, "start", path), numberOf(object, "end", path)};
    if (word.end < word.start) throw Error(path + ": the word ends before it starts");
    return word;
}

Captions parseTimedWords(std::string_view json) {
    simdjson::dom::parser parser;
    simdjson::dom::element root;
    if (const simdjson::error_code error = parser.parse(json.data(), json.size()).get(root))
        throw Error(std::string("not JSON: ") + simdjson::error_message(error));
    simdjson::dom::array elements;
    if (root.get(elements)) throw Error(R"(expected an array of words, [{"text", "start", "end"}, ...])");
    std::vector<Word> words;
    for (const simdjson::dom::element element : elements) {
        Word word = wordOf(element, "[" + std::to_string(words.size()) + "]");
        words.push_back(std::move(word));
    }
    Captions result{CaptionsModel::groupIntoCues(std::move(words)), {}};
    for (std::size_t i = 0; i < result.cues.size(); ++i)
        checkLength(result.cues[i].text, "caption " + std::to_string(i + 1) + " of its words");
    return result;
}

}  // namespace

Captions parse(std::string_view text, Format format) {
    if (text.starts_with("\xFE\xFF") || text.starts_with("\xFF\xFE")) return parse(utf8OfUtf16(text), format);
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    return format == Format::timedWords ? parseTimedWords(text) : CueParser(text, format).parse();
}

}  // namespace lumenwhirl::CaptionFile
