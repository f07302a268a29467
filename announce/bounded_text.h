// Copies into fixed-capacity texts that never truncate: a text that does not fit is an
// invalid argument, and an invalid argument ends the process at once, as the C runtime's
// checked string functions do. Nothing is half-written and nothing is sent afterwards.
#pragma once

#include <cstddef>

// Copies `source` and its terminator into `destination`, which holds `capacity` bytes.
// Ends the process when `source` needs more than `capacity` bytes or either pointer is null.
void CopyTextBounded(char* destination, std::size_t capacity, const char* source);

[[noreturn]] void EndProcessOnInvalidArgument();
