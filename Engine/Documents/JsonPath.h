#pragma once

#include "Engine/Documents/LumenwhirlJSON.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace lumenwhirl {

/// The current place in a document: a chain along the call stack, turned into text only for an error.
struct JsonPath {
    const JsonPath* parent = nullptr;
    std::string_view key = {};  // of an object's member; empty for an array's element and the whole document
    std::size_t index = 0;      // of an array's element

    /// Such as `clicks[3].button`; empty for the whole document.
    [[nodiscard]] std::string text() const {
        if (!parent) return {};
        std::string path = parent->text();
        if (key.empty()) return path + '[' + std::to_string(index) + ']';
        if (!path.empty()) path += '.';
        return path.append(key);
    }

    [[noreturn]] void fail(const std::string& problem) const {
        const std::string path = text();
        throw LumenwhirlJSON::Error(path.empty() ? problem : path + ": " + problem);
    }
};

}  // namespace lumenwhirl
