// The device parameters the service reports, by id: the name to show, how the value is
// typed, and the parameter's category.
#pragma once

#include <cstdint>
#include <map>

namespace Quorvel::Lumo::Api {

struct ParameterDescriptor {
    const wchar_t* name;  // constant text, never freed
    // 1 text, 2 number or on/off, 3 scanning mode, 4 keystone pair, 5 list of available
    // choices, 6 keystone V2 pair.
    std::int32_t valueType;
    std::int32_t category;  // 1 or 2
};

using ParameterNames = std::map<std::int32_t, ParameterDescriptor>;

// Inserts the 33 parameters this API version knows.
void FillParameterNames(ParameterNames& names);

// A copy of the descriptor of `id`; std::out_of_range ("invalid map<K, T> key") for an id
// that is not in `names`.
ParameterDescriptor LookUpParameter(const ParameterNames& names, std::int32_t id);

}  // namespace Quorvel::Lumo::Api
