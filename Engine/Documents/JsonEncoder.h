#pragma once

#include "Engine/Documents/DocumentFields.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lumenwhirl {

/// Encodes documents as JSON text, as DocumentFields.h describes them: one member per line, indented by two
/// spaces, or everything on one line.
class JsonEncoder {
public:
    template <class Document>
    [[nodiscard]] static std::string encode(const Document& document, std::size_t expectedBytes) {
        JsonEncoder encoder;
        encoder.text_.reserve(expectedBytes);
        encoder.write(document, JsonPath{});
        encoder.text_ += '\n';
        return std::move(encoder.text_);
    }

    /// Without spaces and without a newline.
    template <class Document>
    [[nodiscard]] static std::string encodeLine(const Document& document, std::size_t expectedBytes) {
        JsonEncoder encoder;
        encoder.isOneLine_ = true;
        encoder.text_.reserve(expectedBytes);
        encoder.write(document, JsonPath{});
        return std::move(encoder.text_);
    }

private:
    void write(double value, const JsonPath& path);
    void write(std::int64_t value, const JsonPath& path);
    void write(const std::string& value, const JsonPath& path);
    void write(std::uint32_t value, const JsonPath& path) { write(std::int64_t{value}, path); }

    template <std::same_as<bool> Bool>
    void write(Bool value, const JsonPath&) {
        text_ += value ? "true" : "false";
    }

    template <class Enum>
    requires std::is_enum_v<Enum>
    void write(Enum value, const JsonPath& path) {
        for (const auto& [candidate, name] : fields::namesOf<Enum>)
            if (candidate == value) return writeQuoted(name);
        path.fail("a value without a name");
    }

    template <class Value>
    void write(const std::vector<Value>& values, const JsonPath& path) {
        text_ += '[';
        ++depth_;
        JsonPath elementPath{&path};
        for (const Value& value : values) {
            startLine(elementPath.index == 0);
            write(value, elementPath);
            ++elementPath.index;
        }
        --depth_;
        if (!values.empty()) startLine(true);
        text_ += ']';
    }

    template <class Document>
    requires fields::isDescribed<Document>
    void write(const Document& document, const JsonPath& path) {
        static_assert(fields::areKeysSorted<Document>());
        text_ += '{';
        ++depth_;
        bool isFirst = true;
        fields::forEach<Document>([&](const auto& field, std::size_t) {
            const auto& member = document.*field.member;
            if constexpr (fields::isOptional<std::remove_cvref_t<decltype(member)>>) {
                if (member) writeMember(field.key, *member, path, std::exchange(isFirst, false));
            } else {
                writeMember(field.key, member, path, std::exchange(isFirst, false));
            }
        });
        --depth_;
        startLine(true);
        text_ += '}';
    }

    template <class Value>
    void writeMember(std::string_view key, const Value& value, const JsonPath& path, bool isFirst) {
        startLine(isFirst);
        writeQuoted(key);
        text_ += isOneLine_ ? ":" : ": ";
        write(value, JsonPath{&path, key});
    }

    void startLine(bool isFirst);
    void writeQuoted(std::string_view text);

    std::string text_;
    std::size_t depth_ = 0;
    bool isOneLine_ = false;
};

}  // namespace lumenwhirl
