// The table of the device parameters that this API version knows, which the Client fills
// once and looks up.
#pragma once

#include "lumo/api/parameter_names.h"

#include <cstdint>

namespace Quorvel::Lumo::Api {

// Inserts the 33 parameters this API version knows.
void FillParameterNames(ParameterNames& names);

// A copy of the descriptor of `id`; std::out_of_range ("invalid map<K, T> key") for an id
// that is not in `names`.
ParameterDescriptor LookUpParameter(const ParameterNames& names, std::int32_t id);

}  // namespace Quorvel::Lumo::Api
