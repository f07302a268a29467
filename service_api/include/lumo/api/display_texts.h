/// @file
/// Texts of the display: who owns it, and numbers fitted to one of its fields.
#pragma once

#include <cstdint>
#include <string>

namespace Quorvel::Lumo::Api::Display {

/// Who owns the display that the service manages.
enum XeLUMODisplayOwnership : std::int32_t {
    OwnedByNobody = 0,                      ///< "OwnedByNobody"
    OwnedByLUMO = 1,                        ///< "OwnedByLUMO": the service itself
    OwnedByYou = 2,                         ///< "OwnedByYou": this application
    OwnedByAnotherApplicationSoftware = 3,  ///< "OwnedByAnotherApplicationSoftware"
};

/// The enumerator's name as text; "XeLUMODisplayOwnership invalid value" for any other
/// value.
/// @return a constant text that lives for the whole run.
/// @lumo_pure
const wchar_t* OwnershipText(XeLUMODisplayOwnership ownership);

/// `value` with as many decimals (4 down to 0) as fit a field `widthUnits` wide, at six
/// units a character, a remainder of three or more counting as one more; "XXX" when even
/// the whole number does not fit. The width is the fourth byte of a field's descriptor.
/// @lumo_pure
std::wstring FormatForField(double value, std::uint8_t widthUnits);

}  // namespace Quorvel::Lumo::Api::Display
