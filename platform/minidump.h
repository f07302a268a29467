// Writing a minidump of the own process into a file of its own.
#pragma once

#include "platform/exception_pointers.h"

#include <cstdint>

namespace Orvane::Platform {

// An open dump file (a system file handle); nullptr when none could be opened.
using DumpFile = void*;

// One extra stream that the dump carries besides the system's own.
struct DumpUserStream {
    std::uint32_t type;
    std::uint32_t size;
    const void* buffer;
};

struct MiniDumpWriter {
    virtual ~MiniDumpWriter() = default;

    // Creates or truncates the file for writing, shared with nobody, written through to the
    // disk. nullptr when it cannot be opened (for example, its folder does not exist).
    virtual DumpFile CreateDumpFile(const wchar_t* path) = 0;
    virtual void CloseDumpFile(DumpFile file) = 0;

    // Writes a dump of the current process of the given type. `exception` (with the id of the
    // thread it happened on) becomes the dump's exception record when given; `userStream`
    // is added when given. Returns the system call's result as it is (1 is success) and the
    // system's last error code right after the call.
    virtual int WriteDump(DumpFile file, std::uint32_t dumpType, std::uint32_t threadId,
                          ExceptionPointers* exception, const DumpUserStream* userStream,
                          std::uint32_t& lastError) = 0;
};

}  // namespace Orvane::Platform
