// The release's version, set once in CMake, as the tools show it.
#pragma once

#include <cstdio>
#include <cstring>

namespace LumoTools {

inline constexpr const char* kVersion = LUMO_VERSION;

// For a command line of --version alone: prints "<program> <version>" and says so.
inline bool PrintVersionIfAsked(const char* program, int argc, char** argv) {
    if (argc != 2 || std::strcmp(argv[1], "--version") != 0) {
        return false;
    }
    std::printf("%s %s\n", program, kVersion);
    return true;
}

}  // namespace LumoTools
