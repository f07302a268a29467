// The outcome of every operation of the service client, and of the service's replies:
// one numbering for both, so that a code from either side reads through one table.
#pragma once

#include <cstdint>

namespace Quorvel::Lumo::Api {

enum XeLUMOResult : std::uint32_t {
    LUMO_SUCCESS = 0,
    LUMO_UNEXPECTED_ERROR = 1,
    LUMO_NOT_REGISTERED = 2,
    LUMO_EXECUTION_FAILED = 3,
    LUMO_INVALID_HANDLE = 4,
    LUMO_BAD_PARAMETER = 5,
    LUMO_ALREADY_REGISTERED = 6,
    LUMO_SERVICE_INTERNAL_ERROR = 7,
    LUMO_DEVICE_NOT_CONNECTED = 8,
    LUMO_FEATURE_NOT_AVAILABLE = 9,
    LUMO_NOT_INITIALIZED = 10,
    LUMO_NOT_SUPPORTED_BY_ARM = 11,
    LUMO_VALUE_NOT_SUPPORTED = 12,
    LUMO_VERSION_ISSUE = 13,
    LUMO_NOT_SUPPORTED_BY_PROBE = 14,
    LUMO_DEVICE_NOT_AVAILABLE = 15,
    // There is no code 16.
    LUMO_NO_HARDWARE_ANSWER = 17,
    LUMO_BAD_HARDWARE_ANSWER = 18,
    LUMO_NO_ANSWER = 19,
    LUMO_ACCESS_DENIED = 20,
    LUMO_TOO_MANY_ELEMENTS = 21,
    LUMO_REQUIREMENTS_NOT_MET = 22,
    LUMO_OBSOLETE_COMMAND = 23,
    LUMO_SERVER_NOT_AVAILABLE = 24,
    LUMO_ALREADY_STARTED = 25,
    // Instrument-state conditions.
    LUMO_ACTION_STARTED = 1000,
    LUMO_RECONFIGURATION_ONGOING = 1001,
    LUMO_INSTRUMENT_BUSY = 1002,
    LUMO_PROBE_NOT_ALIGNED = 1003,
    LUMO_PROBE_NOT_LOCKED_ON = 1004,
};

// The fixed English text of a code, or "?" for a code that has none. The text lives for
// the whole run; the caller never frees it.
const wchar_t* GetResultText(XeLUMOResult code);

}  // namespace Quorvel::Lumo::Api
