// Number forms of the rendered flow log.
#pragma once

#include <cstdint>
#include <string>

// A counter difference as "[-]seconds.microseconds" (six digits), both as magnitudes, the
// seconds truncated.
void AppendRelativeTime(std::string& out, std::int64_t ticks, std::int64_t frequency);

void AppendDecimal(std::string& out, std::int64_t value);
void AppendDecimal(std::string& out, std::uint64_t value);

// 16 upper-case hexadecimal digits, the way Windows prints a 64-bit pointer.
void AppendPointer(std::string& out, std::uint64_t address);
