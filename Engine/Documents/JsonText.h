#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// What the fast parser leaves open about a text that it refuses. For small and rare cases; one pass.
namespace lumenwhirl::JsonText {

struct Fault {
    std::size_t offset = 0;  // bytes
    std::string_view problem;
};

/// Where `text` first breaks the grammar (RFC 8259); empty when it does not. Nesting may be as deep as it likes.
[[nodiscard]] std::optional<Fault> findFault(std::string_view text);

/// Such as `line 3, column 7`, both from 1, columns in characters.
[[nodiscard]] std::string describePosition(std::string_view text, std::size_t offset);

/// The same document with ".0" after every integer of 19 digits or more: such numbers are allowed, but a parser
/// that keeps integers in 64 bits refuses them.
[[nodiscard]] std::string withLongIntegersAsReals(std::string_view text);

}  // namespace lumenwhirl::JsonText
