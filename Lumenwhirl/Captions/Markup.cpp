#include "Lumenwhirl/Captions/Markup.h"

#include "Engine/Overlays/UpperCase.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace lumenwhirl::CaptionFile {
namespace {

constexpr std::string_view wordJoiner = "\u2060";

/// Whether `text`, which follows a "<", is one of the few tags that SubRip files use; other text may contain a
/// "<".
bool beginsSubRipTag(std::string_view text) {
    if (text.starts_with('/')) text.remove_prefix(1);
    text = text.substr(0, 5);  // a name and what ends it
    const std::string_view name = text.substr(0, text.find_first_of(" \t=>"));
    constexpr std::array<std::string_view, 10> names{"b", "i", "u", "s", "font", "B", "I", "U", "S", "FONT"};
    return std::find(names.begin(), names.end(), name) != names.end() && name.size() < text.size();
}

/// "#39;" or "#x27;" at the front of `text`: its code and its length, 0 if there is none.
std::pair<std::uint32_t, std::size_t> takeNumericReference(std::string_view text) {
    if (!text.starts_with('#')) return {};
    const bool isHex = text.size() > 1 && (text[1] == 'x' || text[1] == 'X');
    const std::size_t first = isHex ? 2 : 1;
    std::uint32_t code = 0;
    const char* const end = text.data() + std::min(text.size(), first + 8);
    const auto [next, error] = std::from_chars(std::min(text.data() + first, end), end, code, isHex ? 16 : 10);
    if (error != std::errc() || next == end || *next != ';') return {};
    return {code, static_cast<std::size_t>(next - text.data()) + 1};
}

/// Takes the character reference at the front of `text`, behind its "&", and appends what it stands for. 0 if
/// there is none.
std::size_t takeReference(std::string_view text, std::string& out) {
    constexpr std::array<std::pair<std::string_view, std::string_view>, 8> names{{{"amp;", "&"},
                                                                                  {"lt;", "<"},
                                                                                  {"gt;", ">"},
                                                                                  {"quot;", "\""},
                                                                                  {"apos;", "'"},
                                                                                  {"nbsp;", "\u00A0"},
                                                                                  {"lrm;", "\u200E"},
                                                                                  {"rlm;", "\u200F"}}};
    for (const auto& [name, character] : names) {
        if (!text.starts_with(name)) continue;
        out += character;
        return name.size();
    }
    const auto [code, length] = takeNumericReference(text);
    // A reference to a line end or another control character would break the text.
    if (length > 0 && code >= 0x20) appendUtf8(out, code);
    return length;
}

/// The length of the character at the front of `rest` if in SubRip it would begin markup, and so is written with a
/// word joiner behind it; else 0.
std::size_t partedInSubRip(std::string_view rest) {
    const auto begins = [](std::string_view after, bool isMarkup) {
        return isMarkup || after.starts_with(wordJoiner);
    };
    std::string ignored;
    const std::string_view after = rest.substr(1);
    switch (rest.front()) {
        case '<':
            return begins(after, beginsSubRipTag(after)) ? 1 : 0;
        case '{':
            return begins(after, after.starts_with('\\')) ? 1 : 0;
        case '&':
            return begins(after, takeReference(after, ignored) > 0) ? 1 : 0;
        case '-':
            return rest.starts_with("--") && begins(rest.substr(2), rest.substr(2).starts_with('>')) ? 2 : 0;
        default:
            return 0;
    }
}

}  // namespace

std::string withoutMarkup(std::string_view line, Format format) {
    const bool isWebVtt = format == Format::webVtt;
    // Where no ">" or "}" follows, none does further on either: without looking for it again.
    bool mayCloseTag = true, mayClosePosition = true;
    const auto closing = [&](std::string_view rest, char sign, bool& mayClose) {
        const std::size_t end = mayClose ? rest.find(sign) : std::string_view::npos;
        mayClose = end != std::string_view::npos;
        return mayClose ? end + 1 : 0;
    };
    std::string text;
    for (std::size_t i = 0; i < line.size();) {
        const std::string_view rest = line.substr(i);
        std::size_t length = 0;
        if (rest.front() == '<' && (isWebVtt || beginsSubRipTag(rest.substr(1)))) {
            length = closing(rest, '>', mayCloseTag);
        } else if (!isWebVtt && rest.starts_with("{\\")) {  // "{\an8}": a position on the screen
            length = closing(rest, '}', mayClosePosition);
        } else if (rest.front() == '&') {
            length = takeReference(rest.substr(1), text);
            if (length > 0) ++length;
        }
        if (length == 0) {
            // Behind what was parted from what follows, the word joiner is not the text's own.
            const std::size_t parted = isWebVtt ? 0 : partedInSubRip(rest);
            length = std::max(parted, std::size_t{1});
            text += rest.substr(0, length);
            if (parted > 0 && rest.substr(parted).starts_with(wordJoiner)) length += wordJoiner.size();
        }
        i += length;
    }
    return text;
}

std::string withMarkup(std::string_view line, Format format) {
    std::string text;
    for (std::size_t i = 0; i < line.size();) {
        const std::string_view rest = line.substr(i);
        const std::size_t parted = format == Format::webVtt ? 0 : partedInSubRip(rest);
        if (parted > 0) {
            text += rest.substr(0, parted);
            text += wordJoiner;
        } else if (format == Format::webVtt && rest.front() == '&') {
            text += "&amp;";
        } else if (format == Format::webVtt && rest.front() == '<') {
            text += "&lt;";
        } else if (format == Format::webVtt && rest.front() == '>') {
            text += "&gt;";
        } else {
            text += rest.front();
        }
        i += std::max(parted, std::size_t{1});
    }
    return text;
}

}  // namespace lumenwhirl::CaptionFile
