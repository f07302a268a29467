// Conversion of the service's UTF-16 texts into the UTF-8 that the announcement carries,
// with the system's own code-page-65001 rules, so that both builds produce the same bytes.
#pragma once

#include <string_view>

namespace Orvane::Platform {

class TextConversion {
  public:
    virtual ~TextConversion() = default;

    // Converts every unit of `source` (a zero unit too: the caller chooses the length) and
    // returns the number of bytes written. An unpaired surrogate becomes U+FFFD.
    //
    // Returns 0 when nothing can be converted: an empty source, a negative size or a null
    // destination of positive size. Returns 0 as well when the result needs more than
    // `destinationSize` bytes; the destination then holds every whole character that fitted
    // (never part of one) and the bytes behind them are left as they were.
    //
    // With a `destinationSize` of 0 nothing is written and the full result size is returned.
    virtual int Utf16ToUtf8(std::u16string_view source, char* destination, int destinationSize) = 0;
};

}  // namespace Orvane::Platform
