// Minidumps of the own process, written when a structured exception escapes the program's
// run. Each dump carries the flow log's text as a user stream, so the last recorded steps of
// every operation travel with the crash. Nothing here reports to anyone: a dump that cannot
// be written is simply missing.
#pragma once

#include "platform/exception_pointers.h"
#include "platform/minidump.h"

#include <cstdint>

// MiniDumpScanMemory | MiniDumpWithIndirectlyReferencedMemory.
inline constexpr std::uint32_t kCrashDumpType = 0x50;
// The first stream type after the last one the dump format reserves.
inline constexpr std::uint32_t kFlowLogStreamType = 0x10000;

// For an exception filter: writes "<log folder>LumoDiscoveryHelper_crash_YYYYMMDD_hhmmss.dmp"
// of the failing exception. Never throws.
void WriteCrashDumpOnException(Orvane::Platform::ExceptionPointers* exception) noexcept;

// Writes a dump into `path` (a bare file name goes into the log folder; a path with a
// backslash is used as it is). `exception` may be null. Only one dump is written at a time
// in the process: a request while another is being written returns false and touches
// nothing. `error` (optional) receives the system's error code of a failed write.
bool WriteCrashDump(const wchar_t* path, Orvane::Platform::ExceptionPointers* exception,
                    std::uint32_t* error = nullptr);

// One dump into an open file; a user stream of type 0 means none. True only when the system
// reports exactly 1.
bool WriteMiniDump(Orvane::Platform::DumpFile file, Orvane::Platform::ExceptionPointers* exception,
                   std::uint32_t userStreamType, std::uint32_t userStreamSize,
                   const void* userStreamBuffer, std::uint32_t* error = nullptr);
