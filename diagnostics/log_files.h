// Where and under which names the program leaves its logs and dumps.
#pragma once

#include "platform/local_time.h"

#include <optional>
#include <string>

inline constexpr wchar_t kMakerFolder[] = L"Orvane";
inline constexpr wchar_t kProgramName[] = L"LumoDiscoveryHelper";

// The machine's common application-data folder, a backslash if it has none, the maker's
// folder and "\Logs\"; for example "C:\ProgramData\Orvane\Logs\". Empty when the system names
// no such folder. The folder is not created: where it is missing, nothing is written.
std::optional<std::wstring> MakerLogFolder(const wchar_t* maker);

// "YYYYMMDD_hhmmss" of the given local time.
std::wstring FileTimeStamp(const Orvane::Platform::LocalTime& time);
