#include "lumo/api/display_texts.h"

#include <cstdio>

namespace Quorvel::Lumo::Api::Display {

const wchar_t* OwnershipText(XeLUMODisplayOwnership ownership) {
    static constexpr struct {
        XeLUMODisplayOwnership value;
        const wchar_t* text;
    } kTexts[] = {
        {OwnedByNobody, L"OwnedByNobody"},
        {OwnedByLUMO, L"OwnedByLUMO"},
        {OwnedByYou, L"OwnedByYou"},
        {OwnedByAnotherApplicationSoftware, L"OwnedByAnotherApplicationSoftware"},
    };
    for (const auto& entry : kTexts) {
        if (entry.value == ownership) {
            return entry.text;
        }
    }
    return L"XeLUMODisplayOwnership invalid value";
}

std::wstring FormatForField(double value, std::uint8_t widthUnits) {
    constexpr int kUnitsPerCharacter = 6;
    const int fitting =
        widthUnits / kUnitsPerCharacter + (widthUnits % kUnitsPerCharacter >= 3 ? 1 : 0);
    static constexpr const char* kFormats[] = {"%.4lf", "%.3lf", "%.2lf", "%.1lf", "%.0lf"};
    for (const char* format : kFormats) {
        char text[32];
        // The full length, not what fitted the buffer: a cut number is no number.
        const int length = std::snprintf(text, sizeof text, format, value);
        if (length >= 0 && length <= fitting && static_cast<std::size_t>(length) < sizeof text) {
            return std::wstring(text, text + length);
        }
    }
    return L"XXX";
}

}  // namespace Quorvel::Lumo::Api::Display
