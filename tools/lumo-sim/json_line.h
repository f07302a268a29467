// One flat JSON object on one line: the simulator's output record.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

namespace LumoSim {

class JsonLine {
  public:
    JsonLine& Add(std::string_view key, std::string_view text);
    JsonLine& Add(std::string_view key, const char* text) {
        return Add(key, std::string_view(text));
    }
    JsonLine& Add(std::string_view key, bool value);

    template <std::integral T>
    requires(!std::same_as<T, bool>) JsonLine& Add(std::string_view key, T value) {
        return AddRaw(key, std::to_string(value));
    }

    // The object's text, without a line end.
    std::string Text() const { return text_ + "}"; }

  private:
    JsonLine& AddRaw(std::string_view key, std::string_view json);

    std::string text_ = "{";
};

}  // namespace LumoSim
