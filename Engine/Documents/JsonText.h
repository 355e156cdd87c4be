#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// What the fast parser does not say about a text that it rejects. Used only for errors and for long integers.
namespace lumenwhirl::JsonText {

struct Fault {
    std::size_t offset = 0;  // bytes
    std::string_view problem;
};

/// Where `text` first breaks the grammar (RFC 8259); empty when it does not. Nesting may have any depth.
[[nodiscard]] std::optional<Fault> findFault(std::string_view text);

/// Such as `line 3, column 7`: both count from 1, columns in characters.
[[nodiscard]] std::string describePosition(std::string_view text, std::size_t offset);

/// The same document with ".0" after every integer of 19 digits or more: such numbers are allowed, but a parser
/// with 64-bit integers rejects them.
[[nodiscard]] std::string withLongIntegersAsReals(std::string_view text);

}  // namespace lumenwhirl::JsonText
