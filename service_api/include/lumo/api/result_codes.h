/// @file
/// The outcome of every operation of the service client, and of the service's replies:
/// one numbering for both, so that a code from either side reads through one table.
#pragma once

#include <cstdint>

namespace Quorvel::Lumo::Api {

/// A result code. 0 is success; 1000 is an action that the service started and goes on
/// with; every other code is a failure. The library itself returns only 0, 2, 3, 4, 5, 7,
/// 10, 21, 24 and 25 (each function says which); the others come from the service.
enum XeLUMOResult : std::uint32_t {
    LUMO_SUCCESS = 0,                 ///< "Success"
    LUMO_UNEXPECTED_ERROR = 1,        ///< "Unexpected error"
    LUMO_NOT_REGISTERED = 2,          ///< "Client must be registered before executing a request"
    LUMO_EXECUTION_FAILED = 3,        ///< "Execution failed"
    LUMO_INVALID_HANDLE = 4,          ///< "An invalid handle has been provided"
    LUMO_BAD_PARAMETER = 5,           ///< "A provided parameter has a bad value"
    LUMO_ALREADY_REGISTERED = 6,      ///< "Client is already registered"
    LUMO_SERVICE_INTERNAL_ERROR = 7,  ///< "LUMO Service internal error"
    /// "An arm/tracker must be connected in order to execute this request"
    LUMO_DEVICE_NOT_CONNECTED = 8,
    /// "This feature is not available on this version of LUMO"
    LUMO_FEATURE_NOT_AVAILABLE = 9,
    LUMO_NOT_INITIALIZED = 10,         ///< "Something is not correctly initialized"
    LUMO_NOT_SUPPORTED_BY_ARM = 11,    ///< "This request is not supported by the arm"
    LUMO_VALUE_NOT_SUPPORTED = 12,     ///< "Given value is not supported"
    LUMO_VERSION_ISSUE = 13,           ///< "Version issue"
    LUMO_NOT_SUPPORTED_BY_PROBE = 14,  ///< "This request is not supported by the probe"
    LUMO_DEVICE_NOT_AVAILABLE = 15,    ///< "The device is not available"
    // There is no code 16.
    LUMO_NO_HARDWARE_ANSWER = 17,    ///< "No answer from hardware"
    LUMO_BAD_HARDWARE_ANSWER = 18,   ///< "Bad answer from hardware"
    LUMO_NO_ANSWER = 19,             ///< "No answer"
    LUMO_ACCESS_DENIED = 20,         ///< "Access denied"
    LUMO_TOO_MANY_ELEMENTS = 21,     ///< "Too many elements"
    LUMO_REQUIREMENTS_NOT_MET = 22,  ///< "Requirements not met"
    LUMO_OBSOLETE_COMMAND = 23,      ///< "The requested command is obsolete"
    LUMO_SERVER_NOT_AVAILABLE = 24,  ///< "API server is not available"
    LUMO_ALREADY_STARTED = 25,       ///< "API Client has already been started"
    // Instrument-state conditions.
    /// "The action corresponding to the requested command successfully started"
    LUMO_ACTION_STARTED = 1000,
    /// "Request rejected due to ongoing reconfiguration"
    LUMO_RECONFIGURATION_ONGOING = 1001,
    /// "Instrument is currently busy with an another operation"
    LUMO_INSTRUMENT_BUSY = 1002,
    /// "Probe must be aligned in order to execute this request"
    LUMO_PROBE_NOT_ALIGNED = 1003,
    /// "Probe must be locked on to the tracker in order to execute this request"
    LUMO_PROBE_NOT_LOCKED_ON = 1004,
};

/// The fixed English text of a code, as listed with XeLUMOResult, or "?" for a code that
/// has none (16, for one).
/// @return a text that lives for the whole run; the caller never frees it.
/// @lumo_pure
const wchar_t* GetResultText(XeLUMOResult code);

}  // namespace Quorvel::Lumo::Api
