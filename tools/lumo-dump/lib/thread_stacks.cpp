#include "tools/lumo-dump/lib/thread_stacks.h"

#include <cxxabi.h>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "tools/lumo-dump/lib/stack_walk.h"

namespace LumoDump {
namespace {

constexpr std::uint32_t kGccCxxException = 0x20474343;
// libgcc raises it with the _Unwind_Exception inside libstdc++'s __cxa_exception, whose
// fields before that header take 80 bytes (the type_info pointer first) and which takes 144
// in all. A rethrown exception_ptr travels in a dependent exception: the same layout, with
// the pointer to the thrown object where the type_info pointer was.
constexpr std::uint64_t kHeaderToType = 80;
constexpr std::uint64_t kCxaExceptionSize = 144;
constexpr std::uint64_t kDependentClass = 0x474E5543432B2B01;  // "GNUCC++\x01"
constexpr std::size_t kLongestName = 1024;

std::optional<std::uint64_t> Word(std::optional<Bytes> bytes) {
    if (!bytes) {
        return std::nullopt;
    }
    std::uint64_t value = 0;
    for (std::size_t i = 8; i-- > 0;) {
        value = value << 8 | (*bytes)[i];
    }
    return value;
}

std::string Hex(std::uint64_t value) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%016llX", static_cast<unsigned long long>(value));
    return text;
}

// The process's memory as the dump saved it, or else as the module's file holds it (its
// pointers moved from the file's preferred base to where the module was loaded).
class ProcessMemory {
  public:
    ProcessMemory(const Minidump& dump, const ModuleData& files) : m_dump(dump), m_files(files) {}

    std::optional<std::uint64_t> Pointer(std::uint64_t address) const {
        if (const auto saved = Word(MemoryAt(m_dump, address, 8))) {
            return saved;
        }
        const auto [image, base] = FileOf(address);
        const auto value = image
                               ? Word(image->BytesAt(static_cast<std::uint32_t>(address - base), 8))
                               : std::nullopt;
        return value ? std::optional(*value - image->ImageBase() + base) : std::nullopt;
    }

    std::optional<std::string> Text(std::uint64_t address) const {
        std::string text;
        const auto [image, base] = FileOf(address);
        for (std::uint64_t at = address; text.size() < kLongestName; ++at) {
            auto byte = MemoryAt(m_dump, at, 1);
            if (!byte && image) {
                byte = image->BytesAt(static_cast<std::uint32_t>(at - base), 1);
            }
            if (!byte) {
                return std::nullopt;
            }
            if ((*byte)[0] == 0) {
                return text;
            }
            text += static_cast<char>((*byte)[0]);
        }
        return std::nullopt;
    }

  private:
    std::pair<const PeImage*, std::uint64_t> FileOf(std::uint64_t address) const {
        const DumpModule* module = ModuleAt(m_dump, address);
        return {module ? m_files.Image(*module) : nullptr, module ? module->base : 0};
    }

    const Minidump& m_dump;
    const ModuleData& m_files;
};

std::string Demangled(const std::string& name) {
    const std::string mangled = name.starts_with('*') ? name.substr(1) : name;
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> text(
        abi::__cxa_demangle(mangled.c_str(), nullptr, nullptr, &status), std::free);
    return status == 0 && text ? text.get() : mangled;
}

}  // namespace

std::vector<ThreadStack> ThreadStacks(const Minidump& dump, const ModuleData& files,
                                      bool allThreads) {
    std::vector<WalkModule> modules;
    for (const DumpModule& module : dump.modules) {
        modules.push_back({module.base, module.size, files.Unwind(module)});
    }
    const StackBytes stack = [&dump](std::uint64_t address) {
        return Word(MemoryAt(dump, address, 8));
    };
    const auto walk = [&](std::uint32_t threadId, Bytes context) {
        ThreadStack thread{threadId, {}};
        if (const auto registers = Registers::FromContext(context)) {
            for (const WalkedFrame& frame : WalkStack(*registers, modules, stack)) {
                const DumpModule* module =
                    frame.module ? &dump.modules[frame.module - modules.data()] : nullptr;
                const std::uint64_t at = frame.address - frame.returnAddress;
                thread.frames.push_back(
                    {frame.address, frame.stackPointer, module, frame.scanned,
                     module ? files.Place(*module, static_cast<std::uint32_t>(at - module->base))
                            : std::nullopt});
            }
        }
        return thread;
    };
    std::vector<ThreadStack> stacks;
    if (dump.exception) {
        stacks.push_back(walk(dump.exception->threadId, dump.exception->context));
    }
    for (const DumpThread& thread : dump.threads) {
        if (allThreads && !(dump.exception && dump.exception->threadId == thread.id)) {
            stacks.push_back(walk(thread.id, thread.context));
        }
    }
    return stacks;
}

std::optional<ThrownType> CxxThrownType(const Minidump& dump, const ModuleData& files) {
    if (!dump.exception || dump.exception->code != kGccCxxException) {
        return std::nullopt;
    }
    if (dump.exception->parameters.empty()) {
        return ThrownType{"", "the exception record names no thrown object"};
    }
    const ProcessMemory memory(dump, files);
    const std::uint64_t header = dump.exception->parameters[0];
    const auto exceptionClass = memory.Pointer(header);
    auto type = memory.Pointer(header - kHeaderToType);
    if (type && exceptionClass == kDependentClass) {
        type = memory.Pointer(*type - kCxaExceptionSize);
    }
    if (!type) {
        return ThrownType{"",
                          "the thrown object's memory near " + Hex(header) + " is not in the dump"};
    }
    const auto namePointer = memory.Pointer(*type + 8);  // after the type_info's vtable
    const auto name = namePointer ? memory.Text(*namePointer) : std::nullopt;
    if (!name) {
        return ThrownType{"", "its type information at " + Hex(*type) +
                                  " lies in no module whose file is at hand"};
    }
    return ThrownType{Demangled(*name), ""};
}

}  // namespace LumoDump
