#include "service_api/client/parameter_table.h"

#include <stdexcept>

namespace Quorvel::Lumo::Api {

void FillParameterNames(ParameterNames& names) {
    static constexpr std::pair<std::int32_t, ParameterDescriptor> kParameters[] = {
        {1, {L"Language", 1, 1}},
        {2, {L"Manage long press on arm buttons", 2, 1}},
        {3, {L"Playback volume", 2, 1}},
        {6, {L"Enable stops", 2, 1}},
        {7, {L"Remote mouse available", 2, 1}},
        {8, {L"Auto suppress remote mouse if no movement", 2, 1}},
        {9, {L"Max capture frequency", 2, 1}},
        {10, {L"Sounds on events enabled", 2, 1}},
        {11, {L"Scanning - capture mode", 2, 1}},
        {12, {L"Scanning - capture mode parameter", 2, 1}},
        {13, {L"Scanning - sound guide enabled", 2, 1}},
        {2000, {L"Scanning - Available modes", 5, 2}},
        {2001, {L"Scanning - Current mode", 2, 2}},
        {2002, {L"Scanning - Available mode parameters", 5, 2}},
        {2003, {L"Scanning - Mode parameter", 3, 2}},
        {2004, {L"Scanning - Available sensitivities", 5, 2}},
        {2005, {L"Scanning - Current sensitivity", 2, 2}},
        {2006, {L"Scanning - Available filter types", 5, 2}},
        {2007, {L"Scanning - Current filter value", 2, 2}},
        {2008, {L"Scanning - Max keystone", 4, 2}},
        {2009, {L"Scanning - Current keystone", 4, 2}},
        {2013, {L"Scanning - Max keystone V2", 6, 2}},
        {2014, {L"Scanning - Current keystone V2", 6, 2}},
        {2015, {L"LUMO version", 1, 2}},
        {2016, {L"Arm calibration date", 1, 2}},
        {2017, {L"Scanning system capabilities", 2, 2}},
        {2019, {L"Sensor width in pixel", 2, 2}},
        {2020, {L"Sensor height in pixel", 2, 2}},
        {2021, {L"Laser color", 2, 2}},
        {2023, {L"Headset volume when available on machine", 2, 1}},
        {2024, {L"DHCP range distributed by Arm Vantor Pack/Control Pack", 1, 2}},
        {2025, {L"Name of Ethernet adapter used to connect to the Arm", 1, 2}},
        {2026, {L"Description of Ethernet adapter used to connect to the Arm", 1, 2}},
    };
    names.insert(std::begin(kParameters), std::end(kParameters));
}

ParameterDescriptor LookUpParameter(const ParameterNames& names, std::int32_t id) {
    const auto found = names.find(id);
    if (found == names.end()) {
        throw std::out_of_range("invalid map<K, T> key");
    }
    return found->second;
}

}  // namespace Quorvel::Lumo::Api
