// One JSON object on one line: the output record of the tools. Values are texts (UTF-8),
// booleans, numbers, lists and nested objects.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace LumoTools {

class JsonLine {
  public:
    JsonLine& Add(std::string_view key, std::string_view text);
    JsonLine& Add(std::string_view key, const char* text) {
        return Add(key, std::string_view(text));
    }
    JsonLine& Add(std::string_view key, const std::string& text) {
        return Add(key, std::string_view(text));
    }
    JsonLine& Add(std::string_view key, bool value);
    // Shortest text that reads back as the same double; null when it is not finite.
    JsonLine& Add(std::string_view key, double value);
    JsonLine& Add(std::string_view key, const std::vector<std::string>& texts);
    JsonLine& Add(std::string_view key, const JsonLine& object);

    template <std::integral T>
    requires(!std::same_as<T, bool>) JsonLine& Add(std::string_view key, T value) {
        return AddRaw(key, std::to_string(value));
    }
    template <std::integral T>
    requires(!std::same_as<T, bool>) JsonLine& Add(std::string_view key,
                                                   const std::vector<T>& values) {
        std::string list = "[";
        for (const T& value : values) {
            list += (list.size() > 1 ? "," : "") + std::to_string(value);
        }
        return AddRaw(key, list + "]");
    }

    // The object's text, without a line end.
    std::string Text() const { return text_ + "}"; }

  private:
    JsonLine& AddRaw(std::string_view key, std::string_view json);

    std::string text_ = "{";
};

}  // namespace LumoTools
