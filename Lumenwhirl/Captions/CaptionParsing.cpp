#include "Engine/Overlays/CaptionsModel.h"
#include "Lumenwhirl/Captions/CaptionFile.h"

#include <simdjson.h>

#include <algorithm>
#include <array>
#include <charconv>
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

/// "1:02:03,456", "02:03.4" or "02:03" at the front of `text`, in seconds.
std::optional<double> takeTime(std::string_view& text) {
    std::array<int, 3> parts{};  // hours, minutes, seconds; or only the last two
    std::size_t count = 0;
    while (count < parts.size()) {
        const std::optional<int> part = takeNumber(text);
        if (!part) return std::nullopt;
        parts[count++] = *part;
        if (!text.starts_with(':')) break;
        text.remove_prefix(1);
    }
    if (count < 2 || text.starts_with(':')) return std::nullopt;
    const int hours = count == 3 ? parts[0] : 0;
    const int minutes = parts[count - 2], seconds = parts[count - 1];
    if (minutes > 59 || seconds > 59) return std::nullopt;
    double fraction = 0;
    if (text.starts_with(',') || text.starts_with('.')) {
        text.remove_prefix(1);
        const std::size_t digits = text.size();
        const std::optional<int> numerator = takeNumber(text);
        if (!numerator) return std::nullopt;
        double denominator = 1;
        for (std::size_t i = text.size(); i < digits; ++i) denominator *= 10;
        fraction = *numerator / denominator;
    }
    return hours * 3600.0 + minutes * 60.0 + seconds + fraction;
}

/// Whether `tag`, the text between < and >, is one of the few that SubRip files use; other text may contain a "<".
bool isSubRipTag(std::string_view tag) {
    if (tag.starts_with('/')) tag.remove_prefix(1);
    const std::string_view name = tag.substr(0, std::min(tag.find_first_of(" \t="), tag.size()));
    constexpr std::array<std::string_view, 10> names{"b", "i", "u", "s", "font", "B", "I", "U", "S", "FONT"};
    return std::find(names.begin(), names.end(), name) != names.end();
}

/// The character that a reference at the front of `text` stands for, and the reference's length in bytes; 0 if
/// there is none.
std::pair<std::string_view, std::size_t> takeReference(std::string_view text) {
    constexpr std::array<std::pair<std::string_view, std::string_view>, 6> references{{{"&amp;", "&"},
                                                                                       {"&lt;", "<"},
                                                                                       {"&gt;", ">"},
                                                                                       {"&nbsp;", "\u00A0"},
                                                                                       {"&lrm;", "\u200E"},
                                                                                       {"&rlm;", "\u200F"}}};
    for (const auto& [name, character] : references)
        if (text.starts_with(name)) return {character, name.size()};
    return {{}, 0};
}

/// Reads SubRip and WebVTT, which share their structure: blocks of a time line and text lines, separated by blank
/// lines. Tolerates what files in the wild do (missing numbers, missing blank lines, comma or point), but does not
/// guess where a guess could misplace a caption. Used once.
class CueParser {
public:
    /// Borrows `text`.
    CueParser(std::string_view text, Format format);
    /// Throws Error with the number of the line.
    [[nodiscard]] std::vector<CaptionCue> parse();

private:
    struct Span {
        double start = 0, end = 0;  // seconds
    };
    [[nodiscard]] bool atEnd() const noexcept { return line_ >= lines_.size(); }
    [[nodiscard]] bool isTimeLine(std::size_t line) const;
    [[nodiscard]] bool beginsOtherBlock(std::string_view line) const;
    [[noreturn]] void fail(std::size_t line, const std::string& problem) const;
    void skipHeader();
    void skipBlock();
    [[nodiscard]] Span parseTimes(std::size_t line) const;
    [[nodiscard]] std::optional<CaptionCue> parseCue();
    [[nodiscard]] std::string plainText(std::string_view line) const;

    std::vector<std::string_view> lines_;
    std::size_t line_ = 0;
    Format format_;
};

CueParser::CueParser(std::string_view text, Format format) : lines_(splitLines(text)), format_(format) {}

std::vector<CaptionCue> CueParser::parse() {
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
    return cues;
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

CueParser::Span CueParser::parseTimes(std::size_t line) const {
    const std::string_view whole = lines_[line];
    const std::size_t arrowAt = whole.find(arrow);
    std::string_view before = trimmed(whole.substr(0, arrowAt));
    std::string_view after = trimmed(whole.substr(arrowAt + arrow.size()));
    const std::optional<double> start = takeTime(before);
    const std::optional<double> end = takeTime(after);
    // What may follow is the cue's position on the screen; here the project's caption style decides that.
    if (!start || !end || !before.empty() ||
        (!after.empty() && blanks.find(after.front()) == std::string_view::npos))
        fail(line, "expected two times such as 00:01:02,500 --> 00:01:04,000");
    if (*end < *start) fail(line, "the caption ends before it starts");
    return {*start, *end};
}

std::optional<CaptionCue> CueParser::parseCue() {
    // One line may precede the times: SubRip's number, or any name in WebVTT.
    if (!isTimeLine(line_) && isTimeLine(line_ + 1) &&
        (format_ == Format::webVtt || isNumber(trimmed(lines_[line_]))))
        ++line_;
    if (!isTimeLine(line_)) fail(line_, "expected two times such as 00:01:02,500 --> 00:01:04,000");
    const Span span = parseTimes(line_++);
    CaptionCue cue{span.start, span.end, {}};
    for (; !atEnd() && !trimmed(lines_[line_]).empty(); ++line_) {
        const bool nextCueFollows =
            isTimeLine(line_) || (isTimeLine(line_ + 1) && isNumber(trimmed(lines_[line_])));
        if (nextCueFollows) break;
        const std::string text(trimmed(plainText(lines_[line_])));
        if (text.empty()) continue;
        if (!cue.text.empty()) cue.text += '\n';
        cue.text += text;
    }
    return cue.text.empty() ? std::nullopt : std::optional(std::move(cue));
}

std::string CueParser::plainText(std::string_view line) const {
    const bool isWebVtt = format_ == Format::webVtt;
    std::string text;
    for (std::size_t i = 0; i < line.size();) {
        const std::string_view rest = line.substr(i);
        if (rest.front() == '<') {
            const std::size_t end = rest.find('>');
            if (end != std::string_view::npos && (isWebVtt || isSubRipTag(rest.substr(1, end - 1)))) {
                i += end + 1;
                continue;
            }
        }
        if (!isWebVtt && rest.starts_with("{\\")) {  // "{\an8}": a position on the screen
            if (const std::size_t end = rest.find('}'); end != std::string_view::npos) {
                i += end + 1;
                continue;
            }
        }
        if (const auto [character, length] = takeReference(rest); isWebVtt && length > 0) {
            text += character;
            i += length;
            continue;
        }
        text += rest.front();
        ++i;
    }
    return text;
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

std::vector<CaptionCue> parseTimedWords(std::string_view json) {
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
    return CaptionsModel::groupIntoCues(std::move(words));
}

}  // namespace

std::vector<CaptionCue> parse(std::string_view text, Format format) {
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    return format == Format::timedWords ? parseTimedWords(text) : CueParser(text, format).parse();
}

}  // namespace lumenwhirl::CaptionFile
