#include "announce/bounded_text.h"

#include <cstdlib>
#include <cstring>

void CopyTextBounded(char* destination, std::size_t capacity, const char* source) {
    if (destination == nullptr || source == nullptr || capacity == 0) {
        EndProcessOnInvalidArgument();
    }
    const std::size_t length = strnlen(source, capacity);
    if (length == capacity) {
        EndProcessOnInvalidArgument();
    }
    std::memcpy(destination, source, length + 1);
}

void EndProcessOnInvalidArgument() {
    std::abort();
}
