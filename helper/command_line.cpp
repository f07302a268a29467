#include "helper/command_line.h"

#include <cstring>

bool IsDebugModeRequested(int argc, const char* const* argv) {
    return argc > 1 && std::strcmp(argv[1], "-d") == 0;
}
