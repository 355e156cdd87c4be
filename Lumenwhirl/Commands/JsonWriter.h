#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lumenwhirl {

/// Writes JSON from front to back, keys in the order given. Numbers read back to the same double in every locale;
/// a number that JSON cannot represent becomes null. The caller is responsible for correct nesting, with a key in
/// front of each value of an object.
class JsonWriter {
public:
    enum class Layout { compact, indented };
    explicit JsonWriter(Layout layout) : layout_(layout) {}

    JsonWriter& beginObject() { return begin('{'); }
    JsonWriter& endObject() { return end('}'); }
    JsonWriter& beginArray() { return begin('['); }
    JsonWriter& endArray() { return end(']'); }
    JsonWriter& key(std::string_view name);

    JsonWriter& value(double number);
    JsonWriter& value(std::int64_t number);
    JsonWriter& value(int number) { return value(std::int64_t{number}); }
    JsonWriter& value(bool truth);
    /// Bytes that are not UTF-8, which file names may contain, become U+FFFD.
    JsonWriter& value(std::string_view text);
    JsonWriter& value(const char* text) { return value(std::string_view(text)); }
    JsonWriter& value(std::nullopt_t);
    template <class Value>
    JsonWriter& value(const std::optional<Value>& optional) {
        return optional ? value(*optional) : value(std::nullopt);
    }
    template <class Value>
    JsonWriter& member(std::string_view name, const Value& content) {
        return key(name).value(content);
    }

    [[nodiscard]] const std::string& text() const noexcept { return text_; }

private:
    JsonWriter& begin(char bracket);
    JsonWriter& end(char bracket);
    void startItem();
    void startLine();
    void appendString(std::string_view text);

    Layout layout_;
    std::string text_;
    std::vector<bool> levelHasItems_;
    bool followsKey_ = false;
};

}  // namespace lumenwhirl
