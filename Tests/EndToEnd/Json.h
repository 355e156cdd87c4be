#pragma once

#include <simdjson.h>

#include <stdexcept>
#include <string>
#include <string_view>

namespace lumenwhirl::test {

/// What a command printed. Places are JSON pointers such as "/states/0/cursor/x".
class Json {
public:
    explicit Json(const std::string& text) {
        if (parser_.parse(text).get(root_)) throw std::runtime_error("not JSON: " + text);
    }
    [[nodiscard]] double number(std::string_view place) const { return get<double>(place); }
    [[nodiscard]] bool truth(std::string_view place) const { return get<bool>(place); }
    [[nodiscard]] std::string text(std::string_view place) const {
        return std::string(get<std::string_view>(place));
    }
    [[nodiscard]] bool isNull(std::string_view place) const { return at(place).is_null(); }
    [[nodiscard]] std::size_t count(std::string_view place) const {
        return get<simdjson::dom::array>(place).size();
    }
    /// The value as compact JSON.
    [[nodiscard]] std::string json(std::string_view place) const { return simdjson::minify(at(place)); }

private:
    [[nodiscard]] simdjson::dom::element at(std::string_view place) const {
        simdjson::dom::element value;
        if (root_.at_pointer(place).get(value)) throw std::runtime_error("nothing at " + std::string(place));
        return value;
    }
    template <class Value>
    [[nodiscard]] Value get(std::string_view place) const {
        Value value{};
        if (at(place).get(value)) throw std::runtime_error("another type at " + std::string(place));
        return value;
    }

    simdjson::dom::parser parser_;
    simdjson::dom::element root_;
};

}  // namespace lumenwhirl::test
