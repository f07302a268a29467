// The stacks of a dump's threads, frame by frame with module and offset, and what the dump
// holds of the object a C++ exception threw.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/lumo-dump/lib/minidump_file.h"
#include "tools/lumo-dump/lib/module_symbols.h"
#include "tools/lumo-dump/lib/pe_image.h"
#include "tools/lumo-dump/lib/x64_unwind.h"

namespace LumoDump {

struct StackFrame {
    std::uint64_t address;
    std::uint64_t stackPointer;
    const DumpModule* module;          // null when no module holds the address
    bool scanned;                      // found by scanning the stack for a return address
    std::optional<SourcePlace> place;  // of the call before a return address
};

struct ThreadStack {
    std::uint32_t threadId;
    std::vector<StackFrame> frames;  // empty when the dump has no registers of the thread
};

// What the files at hand tell of a module: nothing (nullptr) when its file is not at hand.
class ModuleData {
  public:
    virtual ~ModuleData() = default;
    virtual const PeImage* Image(const DumpModule& module) const = 0;
    virtual const UnwindImage* Unwind(const DumpModule& module) const = 0;
    virtual std::optional<SourcePlace> Place(const DumpModule& module, std::uint32_t rva) const = 0;
};

// The faulting thread's stack (from the registers it had when it raised the exception),
// then, with `allThreads`, the stack of each other thread.
std::vector<ThreadStack> ThreadStacks(const Minidump& dump, const ModuleData& files,
                                      bool allThreads);

// For GCC's C++ exception: the thrown type, demangled, or why the dump does not tell it.
struct ThrownType {
    std::string name;
    std::string whyUnknown;
};
std::optional<ThrownType> CxxThrownType(const Minidump& dump, const ModuleData& files);

}  // namespace LumoDump
