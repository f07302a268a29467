// One JSON object on one line: the output record of the tools, kept in the order its
// fields were added. Texts are UTF-8; bytes that are not well-formed UTF-8 come out as
// U+FFFD.
#pragma once

#include <cmath>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <nlohmann/json.hpp>

namespace LumoTools {

class JsonLine {
  public:
    // Texts, booleans, numbers (a double that is not finite becomes null), lists of them,
    // and nested lines.
    template <class T>
    JsonLine& Add(std::string_view key, const T& value) {
        m_object[std::string(key)] = Value(value);
        return *this;
    }

    // The object's text, without a line end.
    std::string Text() const;

  private:
    template <class T>
    static nlohmann::ordered_json Value(const T& value) {
        if constexpr (std::same_as<T, JsonLine>) {
            return value.m_object;
        } else if constexpr (std::floating_point<T>) {
            return std::isfinite(value) ? nlohmann::ordered_json(value) : nullptr;
        } else if constexpr (std::is_enum_v<T>) {
            return static_cast<std::underlying_type_t<T>>(value);
        } else {
            return value;
        }
    }

    nlohmann::ordered_json m_object = nlohmann::ordered_json::object();
};

}  // namespace LumoTools
