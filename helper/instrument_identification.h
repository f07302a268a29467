// How the helper turns the service's description of the connected arm into the texts it
// announces, and decides whether it announces the arm at all.
#pragma once

#include <cstddef>
#include <cstdint>

#include "announce/dds_instrument_info.h"

// The instrument record handed to OnInstrumentData.
inline constexpr std::size_t kInstrumentRecordSize = 700;

struct InstrumentVerdict {
    // As the record gives it; the helper flow-logs it.
    std::int32_t instrumentType;
    // True when the helper announces this kind of arm; `model` has then been set.
    bool supported;
};

// Reads the kInstrumentRecordSize bytes at `record` and writes `version1`, `version2` and
// `name` of `info`, in that order, and for a supported type also `model`. For an unsupported
// type `model` keeps what it held.
//
// The name is converted to UTF-8 into its 64 bytes. When it needs all 64, its terminator
// becomes the first byte of `version1`, which is then empty; when it needs more, the
// conversion fails and nothing is terminated, `name` keeping whatever it held beyond the
// characters that fitted. Neither is repaired here: a name that long is refused when it is
// announced.
InstrumentVerdict IdentifyInstrument(const std::uint8_t* record, DdsInstrumentInfo& info);
