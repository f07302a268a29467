/// @file
/// The device parameters the service reports, by id: the name to show, how the value is
/// typed, and the parameter's category.
#pragma once

#include <cstdint>
#include <map>

namespace Quorvel::Lumo::Api {

/// What the library knows of one device parameter.
struct ParameterDescriptor {
    const wchar_t* name;  ///< the English name to show; constant text, never freed
    /// How its value is typed: 1 text, 2 number or on/off, 3 scanning mode, 4 keystone
    /// pair, 5 list of available choices, 6 keystone V2 pair.
    std::int32_t valueType;
    std::int32_t category;  ///< 1 or 2
};

/// The parameters of this API version by id, in the order of their ids
/// (Client::GetParameterNames).
using ParameterNames = std::map<std::int32_t, ParameterDescriptor>;

}  // namespace Quorvel::Lumo::Api
