#include "tools/lumo-dump/lib/module_files.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>

#include "tools/lumo-dump/lib/byte_cursor.h"

namespace LumoDump {
namespace {

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// The folder's files of that name, in any case (the system that wrote the dump ignores it).
std::vector<std::filesystem::path> Named(const std::filesystem::path& folder,
                                         const std::string& name) {
    std::vector<std::filesystem::path> found;
    std::error_code error;
    for (std::filesystem::directory_iterator it(folder, error), end; !error && it != end;
         it.increment(error)) {
        if (Lower(it->path().filename().string()) == Lower(name)) {
            found.push_back(it->path());
        }
    }
    return found;
}

std::string Hex(std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", value);
    return text;
}

}  // namespace

std::string BaseName(const std::string& path) {
    const std::size_t slash = path.find_last_of("\\/");
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

namespace {

std::vector<std::uint8_t> Contents(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Whether the code that the dump saved of the module (around the faulting instruction) is the
// file's code: the time stamp alone tells little, as reproducible builds leave it zero.
bool SameCode(const PeImage& image, const Minidump& dump, const DumpModule& module) {
    constexpr std::uint32_t kExecutable = 0x20000000;
    constexpr std::uint32_t kWritable = 0x80000000;
    for (const MemoryRange& range : dump.memory) {
        const std::uint64_t rva = range.start - module.base;
        const auto inCode = [&](const PeSection& s) {
            return rva >= s.virtualAddress && rva - s.virtualAddress < s.virtualSize &&
                   (s.characteristics & (kExecutable | kWritable)) == kExecutable;
        };
        if (range.start < module.base || rva >= module.size ||
            std::none_of(image.Sections().begin(), image.Sections().end(), inCode)) {
            continue;
        }
        const auto file = image.BytesAt(static_cast<std::uint32_t>(rva),
                                        static_cast<std::uint32_t>(range.bytes.size()));
        if (file && !std::equal(file->begin(), file->end(), range.bytes.begin())) {
            return false;
        }
    }
    return true;
}

// The image in `bytes` if it is the module's very build, or why not.
std::variant<PeImage, std::string> SameBuild(const std::vector<std::uint8_t>& bytes,
                                             const Minidump& dump, const DumpModule& module) {
    auto read = PeImage::Read(bytes);
    if (const PeImage* image = std::get_if<PeImage>(&read);
        image &&
        (image->TimeDateStamp() != module.timeDateStamp || image->SizeOfImage() != module.size)) {
        return "another build (time stamp " + Hex(image->TimeDateStamp()) + ", image size " +
               Hex(image->SizeOfImage()) + "; the dump's: " + Hex(module.timeDateStamp) + ", " +
               Hex(module.size) + ")";
    }
    if (const PeImage* image = std::get_if<PeImage>(&read);
        image && !SameCode(*image, dump, module)) {
        return std::string("another build (its code differs from the dump's)");
    }
    return read;
}

// The checksum that a debug link holds of its file (CRC-32 as zip and Ethernet compute it).
std::uint32_t Crc32(std::span<const std::uint8_t> bytes) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (const std::uint8_t byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = crc >> 1 ^ (0xEDB88320 & (0 - (crc & 1)));
        }
    }
    return ~crc;
}

// The debug file that a stripped program links to: its name, beside the program, and the
// checksum of its bytes.
struct DebugLink {
    std::string name;
    std::uint32_t crc;
};

std::optional<DebugLink> LinkOf(const PeImage& program) {
    const auto section = program.SectionBytes(".gnu_debuglink");
    if (!section) {
        return std::nullopt;
    }
    ByteCursor cursor(*section);
    const std::string_view name = cursor.CString();
    cursor.Skip((4 - cursor.Offset() % 4) % 4);
    const std::uint32_t crc = cursor.U32();
    if (cursor.Failed() || name.empty() || name.find_first_of("/\\") != std::string_view::npos) {
        return std::nullopt;
    }
    return DebugLink{std::string(name), crc};
}

// The debug image in `bytes` if it was split off the program file, or why not. Its image size
// counts the debug sections and its code is gone; what the split keeps is the time stamp and
// the place of each section, and a stripped program's link holds the debug file's checksum.
std::variant<PeImage, std::string> SplitOff(const std::vector<std::uint8_t>& bytes,
                                            const PeImage& program,
                                            const std::optional<DebugLink>& link) {
    auto read = PeImage::Read(bytes);
    const PeImage* image = std::get_if<PeImage>(&read);
    if (!image) {
        return read;
    }
    if (link && Crc32(bytes) != link->crc) {
        return "another build (its checksum " + Hex(Crc32(bytes)) + ", the link's " +
               Hex(link->crc) + ")";
    }
    const auto placed = [image](const PeSection& wanted) {
        return std::any_of(
            image->Sections().begin(), image->Sections().end(), [&](const PeSection& s) {
                return s.name == wanted.name && s.virtualAddress == wanted.virtualAddress &&
                       s.virtualSize == wanted.virtualSize;
            });
    };
    constexpr std::uint32_t kCode = 0x20;
    if (image->TimeDateStamp() != program.TimeDateStamp() ||
        !std::all_of(program.Sections().begin(), program.Sections().end(), [&](const PeSection& s) {
            return !(s.characteristics & kCode) || placed(s);
        })) {
        return std::string("another build (its time stamp or code sections differ)");
    }
    return read;
}

// Names and lines from the debug file beside the program file, else from the program file.
void ReadSymbols(ModuleFile& file, std::vector<std::string>& passedOver) {
    const auto link = LinkOf(*file.image);
    const std::filesystem::path debug = link ? file.path.parent_path() / link->name
                                             : std::filesystem::path(file.path.string() + ".debug");
    const PeImage* source = &*file.image;
    if (std::filesystem::exists(debug)) {
        file.debugBytes = Contents(debug);
        auto read = SplitOff(file.debugBytes, *file.image, link);
        if (auto* image = std::get_if<PeImage>(&read)) {
            source = &file.debugImage.emplace(std::move(*image));
        } else {
            passedOver.push_back(debug.string() + ": " + std::get<std::string>(read));
        }
    }
    const PeDirectory table =
        file.image->Directory(kExceptionDirectory).value_or(PeDirectory{0, 0});
    const auto& symbols = file.symbols.emplace(ModuleSymbols::Read(
        *source,
        file.image->BytesAt(table.rva, table.size).value_or(std::span<const std::uint8_t>{})));
    const auto& named = source == &*file.image ? file.path : debug;
    for (const std::string& problem : symbols.Problems()) {
        passedOver.push_back(named.string() + ": " + problem);
    }
}

}  // namespace

ModuleFiles ModuleFiles::Find(const Minidump& dump,
                              const std::vector<std::filesystem::path>& folders) {
    ModuleFiles files;
    for (const DumpModule& module : dump.modules) {
        for (const auto& folder : folders) {
            for (const auto& path : Named(folder, BaseName(module.path))) {
                auto file = std::make_unique<ModuleFile>();
                file->path = path;
                file->bytes = Contents(path);
                auto read = SameBuild(file->bytes, dump, module);
                if (const auto* why = std::get_if<std::string>(&read)) {
                    files.m_passedOver.push_back(path.string() + ": " + *why);
                    continue;
                }
                const PeImage& image = file->image.emplace(std::get<PeImage>(std::move(read)));
                const PeDirectory table =
                    image.Directory(kExceptionDirectory).value_or(PeDirectory{0, 0});
                file->unwind = {[&image](std::uint32_t rva, std::uint32_t size) {
                                    return image.BytesAt(rva, size);
                                },
                                table.rva, table.size};
                ReadSymbols(*file, files.m_passedOver);
                files.m_byBase[module.base] = std::move(file);
                break;
            }
            if (files.m_byBase.count(module.base)) {
                break;
            }
        }
    }
    return files;
}

const ModuleFile* ModuleFiles::For(const DumpModule& module) const {
    const auto it = m_byBase.find(module.base);
    return it == m_byBase.end() ? nullptr : it->second.get();
}

const PeImage* ModuleFiles::Image(const DumpModule& module) const {
    const ModuleFile* file = For(module);
    return file ? &*file->image : nullptr;
}

const UnwindImage* ModuleFiles::Unwind(const DumpModule& module) const {
    const ModuleFile* file = For(module);
    return file ? &file->unwind : nullptr;
}

std::optional<SourcePlace> ModuleFiles::Place(const DumpModule& module, std::uint32_t rva) const {
    const ModuleFile* file = For(module);
    return file && file->symbols ? file->symbols->Lookup(rva) : std::nullopt;
}

}  // namespace LumoDump
