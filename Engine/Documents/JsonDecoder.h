#pragma once

#include "Engine/Documents/DocumentFields.h"

#include <simdjson.h>

#include <array>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

/// Decodes parsed JSON into documents, as DocumentFields.h describes them.
namespace lumenwhirl::JsonDecoder {

using Element = simdjson::dom::element;

/// The name of a value's type with its article, for messages.
[[nodiscard]] std::string_view nameOfType(const Element& element);
/// `text` in quotes, shortened and without control characters, for messages.
[[nodiscard]] std::string quoted(std::string_view text);

[[noreturn]] inline void failType(std::string_view expected, const Element& element, const JsonPath& path) {
    path.fail("expected " + std::string(expected) + ", found " + std::string(nameOfType(element)));
}

inline void decode(const Element& element, double& value, const JsonPath& path) {
    if (!element.is_number() || element.get(value) != simdjson::SUCCESS) failType("a number", element, path);
}

/// Accepts any spelling of a whole number in range: 3, 3.0 and 3e0.
template <class Integer>
requires std::integral<Integer> &&
    (!std::same_as<Integer, bool>)void decode(const Element& element, Integer& value, const JsonPath& path) {
    using Limits = std::numeric_limits<Integer>;
    std::int64_t exact = 0;
    if (element.get(exact) != simdjson::SUCCESS) {
        double number = 0;
        decode(element, number, path);
        if (number != std::trunc(number)) path.fail("expected a whole number");
        // 2^63 itself cannot be converted: it is the first double beyond the range of std::int64_t.
        if (!(number >= -0x1p63 && number < 0x1p63)) path.fail("the number is out of range");
        exact = static_cast<std::int64_t>(number);
    }
    if (!std::in_range<Integer>(exact))
        path.fail("the number is out of range, which is " + std::to_string(Limits::min()) + " to " +
                  std::to_string(Limits::max()));
    value = static_cast<Integer>(exact);
}

inline void decode(const Element& element, bool& value, const JsonPath& path) {
    if (element.get(value) != simdjson::SUCCESS) failType("true or false", element, path);
}

inline void decode(const Element& element, std::string& value, const JsonPath& path) {
    std::string_view text;
    if (element.get(text) != simdjson::SUCCESS) failType("a string", element, path);
    value = text;
}

template <class Enum>
requires std::is_enum_v<Enum>
void decode(const Element& element, Enum& value, const JsonPath& path) {
    std::string_view text;
    if (element.get(text) != simdjson::SUCCESS) failType("a string", element, path);
    for (const auto& [candidate, name] : fields::namesOf<Enum>) {
        if (name != text) continue;
        value = candidate;
        return;
    }
    path.fail("unknown value " + quoted(text));
}

template <class Document>
requires fields::isDescribed<Document>
void decode(const Element& element, Document& document, const JsonPath& path);

template <class Value>
void decode(const Element& element, std::vector<Value>& values, const JsonPath& path) {
    simdjson::dom::array array;
    if (element.get(array) != simdjson::SUCCESS) failType("an array", element, path);
    values.clear();
    values.reserve(array.size());
    JsonPath elementPath{&path};
    for (const Element each : array) {
        decode(each, values.emplace_back(), elementPath);
        ++elementPath.index;
    }
}

template <class Value>
void decode(const Element& element, std::optional<Value>& value, const JsonPath& path) {
    decode(element, value.emplace(), path);
}

/// An object's members by their position in the description. The last occurrence of a repeated key counts.
template <class Document>
class Members {
public:
    explicit Members(const simdjson::dom::object& object) {
        std::size_t expected = 0;
        for (const auto& [key, value] : object) {
            const std::size_t position = find(key, expected);
            if (position == count) continue;
            values_[position] = value;
            isPresent_[position] = !value.is_null();
            expected = position + 1;
        }
    }
    /// Null when absent.
    [[nodiscard]] const Element* operator[](std::size_t position) const {
        return isPresent_[position] ? &values_[position] : nullptr;
    }

private:
    static constexpr const auto& keys = fields::keysOf<Document>;
    static constexpr std::size_t count = keys.size();

    /// Documents written by this program have their keys in the expected order, so that one is tried first.
    static std::size_t find(std::string_view key, std::size_t expected) {
        if (expected < count && keys[expected] == key) return expected;
        std::size_t position = 0;
        while (position < count && keys[position] != key) ++position;
        return position;
    }

    std::array<Element, count> values_;
    std::array<bool, count> isPresent_{};
};

template <class Document>
requires fields::isDescribed<Document>
void decode(const Element& element, Document& document, const JsonPath& path) {
    simdjson::dom::object object;
    if (element.get(object) != simdjson::SUCCESS) failType("an object", element, path);
    const Members<Document> members(object);
    fields::forEach<Document>([&](const auto& field, std::size_t position) {
        const JsonPath memberPath{&path, field.key};
        if (const Element* member = members[position])
            decode(*member, document.*field.member, memberPath);
        else if (field.absence == fields::Absence::isError)
            memberPath.fail("required key is missing");
    });
}

}  // namespace lumenwhirl::JsonDecoder
