// Texts the display client shows: who owns the display, and numbers fitted to a field.
#pragma once

#include <cstdint>
#include <string>

namespace Quorvel::Lumo::Api::Display {

enum XeLUMODisplayOwnership : std::int32_t {
    OwnedByNobody = 0,
    OwnedByLUMO = 1,
    OwnedByYou = 2,
    OwnedByAnotherApplicationSoftware = 3,
};

// The enumerator's name as text; "XeLUMODisplayOwnership invalid value" for any other value.
const wchar_t* OwnershipText(XeLUMODisplayOwnership ownership);

// `value` with as many decimals (4 down to 0) as fit a field `widthUnits` wide, at six
// units a character, a remainder of three or more counting as one more; "XXX" when even
// the whole number does not fit. The width is the fourth byte of a field's descriptor.
std::wstring FormatForField(double value, std::uint8_t widthUnits);

}  // namespace Quorvel::Lumo::Api::Display
