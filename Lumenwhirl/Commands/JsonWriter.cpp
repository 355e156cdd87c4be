#include "Lumenwhirl/Commands/JsonWriter.h"

#include "Lumenwhirl/Session/Texts.h"

#include <simdjson.h>

#include <charconv>
#include <cmath>

namespace lumenwhirl {

JsonWriter& JsonWriter::key(std::string_view name) {
    startItem();
    appendString(name);
    text_ += layout_ == Layout::indented ? ": " : ":";
    followsKey_ = true;
    return *this;
}

JsonWriter& JsonWriter::value(double number) {
    if (!std::isfinite(number)) return value(std::nullopt);
    startItem();
    char digits[32];
    const std::string_view written(
        digits, static_cast<std::size_t>(std::to_chars(digits, digits + sizeof digits, number).ptr - digits));
    text_ += written;
    // As an integer, a reader would refuse it beyond 64 bits, and lose the sign of -0.
    const bool looksIntegral = written.find_first_of(".e") == std::string_view::npos;
    if (looksIntegral && (std::abs(number) >= 0x1p63 || (number == 0 && std::signbit(number)))) text_ += ".0";
    return *this;
}

JsonWriter& JsonWriter::value(std::int64_t number) {
    startItem();
    text_ += std::to_string(number);
    return *this;
}

JsonWriter& JsonWriter::value(bool truth) {
    startItem();
    text_ += truth ? "true" : "false";
    return *this;
}

JsonWriter& JsonWriter::value(std::string_view text) {
    startItem();
    appendString(text);
    return *this;
}

JsonWriter& JsonWriter::value(std::nullopt_t) {
    startItem();
    text_ += "null";
    return *this;
}

JsonWriter& JsonWriter::begin(char bracket) {
    startItem();
    text_ += bracket;
    levelHasItems_.push_back(false);
    return *this;
}

JsonWriter& JsonWriter::end(char bracket) {
    const bool hadItems = levelHasItems_.back();
    levelHasItems_.pop_back();
    if (hadItems) startLine();
    text_ += bracket;
    return *this;
}

void JsonWriter::startItem() {
    if (followsKey_) {
        followsKey_ = false;
        return;
    }
    if (levelHasItems_.empty()) return;
    if (levelHasItems_.back()) text_ += ',';
    levelHasItems_.back() = true;
    startLine();
}

void JsonWriter::startLine() {
    if (layout_ == Layout::compact) return;
    text_ += '\n';
    text_.append(2 * levelHasItems_.size(), ' ');
}

void JsonWriter::appendString(std::string_view text) {
    const bool isUtf8 = simdjson::validate_utf8(text.data(), text.size());
    text_ += '"';
    while (!text.empty()) {
        const char c = text.front();
        std::size_t length = 1;
        if (c == '"' || c == '\\') {
            text_ += '\\';
            text_ += c;
        } else if (!isUtf8 && static_cast<unsigned char>(c) >= 0x80) {
            text_ += "\uFFFD";
        } else if (const auto [code, bytes] = unsafeCharacter(text); bytes > 0) {
            text_ += formatted("\\u%04x", code);
            length = bytes;
        } else {
            text_ += c;
        }
        text.remove_prefix(length);
    }
    text_ += '"';
}

}  // namespace lumenwhirl
