// The program files of a dump's modules, looked for by name in folders: a file counts only
// when it is the very build the process had loaded (its time stamp and image size are those
// of the dump's module list, and the code the dump saved is its own), and a debug file only
// when it was split off that file, since the unwind data and names of any other build would
// lie.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/lumo-dump/lib/minidump_file.h"
#include "tools/lumo-dump/lib/module_symbols.h"
#include "tools/lumo-dump/lib/pe_image.h"
#include "tools/lumo-dump/lib/thread_stacks.h"
#include "tools/lumo-dump/lib/x64_unwind.h"

namespace LumoDump {

struct ModuleFile {
    std::filesystem::path path;
    std::vector<std::uint8_t> bytes;
    std::optional<PeImage> image;  // over `bytes`
    UnwindImage unwind;            // over `image`
    // Names and lines from the debug file beside it ("<name>.debug"), else from itself.
    std::vector<std::uint8_t> debugBytes;
    std::optional<PeImage> debugImage;
    std::optional<ModuleSymbols> symbols;
};

class ModuleFiles final : public ModuleData {
  public:
    // For each module, the first file of its name (in any case) in the folders, in order.
    static ModuleFiles Find(const Minidump& dump,
                            const std::vector<std::filesystem::path>& folders);

    // The module's file, or nullptr when none is at hand.
    const ModuleFile* For(const DumpModule& module) const;
    const PeImage* Image(const DumpModule& module) const override;
    const UnwindImage* Unwind(const DumpModule& module) const override;
    std::optional<SourcePlace> Place(const DumpModule& module, std::uint32_t rva) const override;
    // A line for each file of a module's name that was passed over or read only in part.
    const std::vector<std::string>& PassedOver() const { return m_passedOver; }

  private:
    std::map<std::uint64_t, std::unique_ptr<ModuleFile>> m_byBase;
    std::vector<std::string> m_passedOver;
};

// The file name at the end of a module's path (either kind of slash).
std::string BaseName(const std::string& path);

}  // namespace LumoDump
