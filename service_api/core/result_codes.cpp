#include "lumo/api/result_codes.h"

namespace Quorvel::Lumo::Api {
namespace {

struct ResultTextEntry {
    std::uint32_t code;
    const wchar_t* text;
};

constexpr ResultTextEntry kResultTexts[] = {
    {LUMO_SUCCESS, L"Success"},
    {LUMO_UNEXPECTED_ERROR, L"Unexpected error"},
    {LUMO_NOT_REGISTERED, L"Client must be registered before executing a request"},
    {LUMO_EXECUTION_FAILED, L"Execution failed"},
    {LUMO_INVALID_HANDLE, L"An invalid handle has been provided"},
    {LUMO_BAD_PARAMETER, L"A provided parameter has a bad value"},
    {LUMO_ALREADY_REGISTERED, L"Client is already registered"},
    {LUMO_SERVICE_INTERNAL_ERROR, L"LUMO Service internal error"},
    {LUMO_DEVICE_NOT_CONNECTED,
     L"An arm/tracker must be connected in order to execute this request"},
    {LUMO_FEATURE_NOT_AVAILABLE, L"This feature is not available on this version of LUMO"},
    {LUMO_NOT_INITIALIZED, L"Something is not correctly initialized"},
    {LUMO_NOT_SUPPORTED_BY_ARM, L"This request is not supported by the arm"},
    {LUMO_VALUE_NOT_SUPPORTED, L"Given value is not supported"},
    {LUMO_VERSION_ISSUE, L"Version issue"},
    {LUMO_NOT_SUPPORTED_BY_PROBE, L"This request is not supported by the probe"},
    {LUMO_DEVICE_NOT_AVAILABLE, L"The device is not available"},
    {LUMO_NO_HARDWARE_ANSWER, L"No answer from hardware"},
    {LUMO_BAD_HARDWARE_ANSWER, L"Bad answer from hardware"},
    {LUMO_NO_ANSWER, L"No answer"},
    {LUMO_ACCESS_DENIED, L"Access denied"},
    {LUMO_TOO_MANY_ELEMENTS, L"Too many elements"},
    {LUMO_REQUIREMENTS_NOT_MET, L"Requirements not met"},
    {LUMO_OBSOLETE_COMMAND, L"The requested command is obsolete"},
    {LUMO_SERVER_NOT_AVAILABLE, L"API server is not available"},
    {LUMO_ALREADY_STARTED, L"API Client has already been started"},
    {LUMO_ACTION_STARTED,
     L"The action corresponding to the requested command successfully started"},
    {LUMO_RECONFIGURATION_ONGOING, L"Request rejected due to ongoing reconfiguration"},
    {LUMO_INSTRUMENT_BUSY, L"Instrument is currently busy with an another operation"},
    {LUMO_PROBE_NOT_ALIGNED, L"Probe must be aligned in order to execute this request"},
    {LUMO_PROBE_NOT_LOCKED_ON,
     L"Probe must be locked on to the tracker in order to execute this request"},
    {0xFFFFFFFFu, nullptr},
};

}  // namespace

const wchar_t* GetResultText(XeLUMOResult code) {
    // The scan ends on the null text, so the terminator's own code never matches.
    for (const ResultTextEntry* entry = kResultTexts; entry->text != nullptr; ++entry) {
        if (entry->code == code) {
            return entry->text;
        }
    }
    return L"?";
}

}  // namespace Quorvel::Lumo::Api
