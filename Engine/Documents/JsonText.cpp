#include "Engine/Documents/JsonText.h"

#include <algorithm>

namespace lumenwhirl::JsonText {
namespace {

constexpr std::string_view digits = "0123456789";

/// Reads a text token by token. Every `take…` moves past what it accepts, or stops at the fault.
class Scanner {
public:
    explicit Scanner(std::string_view text) : text_(text) {}

    [[nodiscard]] std::size_t offset() const { return offset_; }
    [[nodiscard]] bool isAtEnd() const { return offset_ == text_.size(); }

    void skipSpace() { offset_ = std::min(text_.find_first_not_of(" \t\r\n", offset_), text_.size()); }

    bool take(char character) {
        if (isAtEnd() || text_[offset_] != character) return false;
        ++offset_;
        return true;
    }

    bool takeWord(std::string_view word) {
        if (text_.substr(offset_, word.size()) != word) return false;
        offset_ += word.size();
        return true;
    }

    bool takeDigits() {
        const std::size_t start = offset_;
        offset_ = std::min(text_.find_first_not_of(digits, offset_), text_.size());
        return offset_ > start;
    }

    [[nodiscard]] bool startsNumber() const {
        return !isAtEnd() && (text_[offset_] == '-' || digits.find(text_[offset_]) != std::string_view::npos);
    }

    bool takeNumber() {
        take('-');
        if (!take('0') && !takeDigits()) return false;
        if (take('.') && !takeDigits()) return false;
        if (take('e') || take('E')) {
            if (!take('+')) take('-');
            if (!takeDigits()) return false;
        }
        return true;
    }

    /// From behind the opening quote to behind the closing one. Does not check UTF-8.
    bool takeRestOfString() {
        while (!isAtEnd() && static_cast<unsigned char>(text_[offset_]) >= 0x20) {
            if (take('"')) return true;
            if (take('\\')) {
                if (!takeEscape()) return false;
            } else {
                ++offset_;
            }
        }
        return false;
    }

private:
    bool takeEscape() {
        if (isAtEnd()) return false;
        const char kind = text_[offset_];
        if (std::string_view("\"\\/bfnrtu").find(kind) == std::string_view::npos) return false;
        ++offset_;
        for (int index = 0; kind == 'u' && index < 4; ++index) {
            constexpr std::string_view hexDigits = "0123456789abcdefABCDEF";
            if (isAtEnd() || hexDigits.find(text_[offset_]) == std::string_view::npos) return false;
            ++offset_;
        }
        return true;
    }

    std::string_view text_;
    std::size_t offset_ = 0;
};

/// Checks the grammar with an explicit stack, since a text may nest deeper than the call stack allows.
class Checker {
public:
    explicit Checker(std::string_view text) : scanner_(text) {}

    /// The problem at `offset()`; empty when there is none.
    std::string_view check() {
        while (true) {
            const std::string_view problem = openValue();
            if (!problem.empty()) return problem;
            if (justOpened_) continue;
            const std::string_view ending = closeValues();
            if (!ending.empty() || closers_.empty()) return ending;
        }
    }
    [[nodiscard]] std::size_t offset() const { return scanner_.offset(); }

private:
    /// Moves behind a plain value or an empty container, or inside a container to its first value.
    std::string_view openValue() {
        justOpened_ = false;
        scanner_.skipSpace();
        if (scanner_.take('"')) return scanner_.takeRestOfString() ? "" : "invalid or unfinished string";
        if (scanner_.startsNumber()) return scanner_.takeNumber() ? "" : "invalid number";
        if (scanner_.takeWord("true") || scanner_.takeWord("false") || scanner_.takeWord("null")) return "";
        const bool isObject = scanner_.take('{');
        if (!isObject && !scanner_.take('['))
            return scanner_.isAtEnd() ? "the text ends too early" : "expected a value";
        const char closer = isObject ? '}' : ']';
        scanner_.skipSpace();
        if (scanner_.take(closer)) return "";
        closers_ += closer;
        justOpened_ = true;
        return isObject ? takeKey() : "";
    }

    /// After a value: moves past the ends of containers to the next value, or to the end of the text.
    std::string_view closeValues() {
        while (true) {
            scanner_.skipSpace();
            if (closers_.empty()) return scanner_.isAtEnd() ? "" : "there is more after the end";
            if (scanner_.take(',')) return closers_.back() == '}' ? takeKey() : "";
            if (!scanner_.take(closers_.back())) {
                if (scanner_.isAtEnd()) return "the text ends too early";
                return closers_.back() == '}' ? "expected \",\" or \"}\"" : "expected \",\" or \"]\"";
            }
            closers_.pop_back();
        }
    }

    std::string_view takeKey() {
        scanner_.skipSpace();
        if (!scanner_.take('"')) return "expected a key in double quotes";
        if (!scanner_.takeRestOfString()) return "invalid or unfinished string";
        scanner_.skipSpace();
        return scanner_.take(':') ? "" : "expected \":\"";
    }

    Scanner scanner_;
    std::string closers_;  // of the open containers, innermost last
    bool justOpened_ = false;
};

}  // namespace

std::optional<Fault> findFault(std::string_view text) {
    Checker checker(text);
    const std::string_view problem = checker.check();
    if (problem.empty()) return std::nullopt;
    return Fault{checker.offset(), problem};
}

std::string describePosition(std::string_view text, std::size_t offset) {
    const std::string_view before = text.substr(0, offset);
    const auto lines = std::count(before.begin(), before.end(), '\n');
    const std::string_view line = before.substr(before.rfind('\n') + 1);  // npos + 1 is 0
    const auto characters =
        std::count_if(line.begin(), line.end(), [](char byte) { return (byte & 0xC0) != 0x80; });
    return "line " + std::to_string(lines + 1) + ", column " + std::to_string(characters + 1);
}

std::string withLongIntegersAsReals(std::string_view text) {
    constexpr std::size_t longDigits = 19;
    std::string widened;
    widened.reserve(text.size() + 64);
    Scanner scanner(text);
    while (!scanner.isAtEnd()) {
        const std::size_t start = scanner.offset();
        bool isLongInteger = false;
        if (scanner.take('"')) {
            if (!scanner.takeRestOfString()) return std::string(text);
        } else if (scanner.startsNumber()) {
            if (!scanner.takeNumber()) return std::string(text);
            const std::string_view number = text.substr(start, scanner.offset() - start);
            isLongInteger = number.size() >= longDigits && number.find_first_of(".eE") == std::string_view::npos;
        } else {
            scanner.take(text[start]);
        }
        widened += text.substr(start, scanner.offset() - start);
        if (isLongInteger) widened += ".0";
    }
    return widened;
}

}  // namespace lumenwhirl::JsonText
