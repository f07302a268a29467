// The messages that reach the Client's own callbacks, as one table: for the Client's
// handler registration, and for whoever implements every callback (a client that prints or
// records them). In the order the handlers are registered, each entry names the message id
// and its callback's slot in the Client's virtual table, by how its payload reaches the
// callback, which is named OnServerMessage<id>:
//   RESULT(id, slot)        the service's verdict (XeLUMOResult)
//   RECORD(id, slot)        a ServiceRecord
//   FIXED(id, slot, size)   a fixed record of that size (const uint8_t*)
//   OWN(id, slot)           a callback of its own kind and name: 1000 OnInstrumentData
//                           (fixed, 700 bytes), 2210 a flag, 1002 the measurements (slots 13
//                           and 71), 1004 the raw reply, 2015 the data reply
#pragma once

// clang-format off
#define LUMO_CLIENT_MESSAGES(RESULT, RECORD, FIXED, OWN)                                   \
    FIXED(1001, 10, 564) RECORD(2232, 11) FIXED(1006, 12, 528) OWN(1000, 6)                \
    RECORD(1008, 64) RECORD(1010, 2) FIXED(1009, 4, 400) RECORD(1020, 72)                   \
    FIXED(2202, 65, 564) RECORD(2208, 5) FIXED(2215, 8, 700) FIXED(2218, 70, 528)           \
    OWN(2210, 9) RECORD(2225, 69) RECORD(1100, 7) RECORD(2231, 14) OWN(1002, 13)            \
    OWN(1004, 73) FIXED(2233, 41, 700) RECORD(2216, 15) RECORD(2221, 16) RECORD(2224, 19)   \
    RECORD(2222, 17) RECORD(2081, 21) RESULT(2082, 22) RESULT(2083, 23) RECORD(2223, 20)    \
    RESULT(2200, 24) RESULT(2201, 25) RECORD(2220, 26) RESULT(2207, 30) RESULT(2217, 46)    \
    RESULT(2203, 47) RESULT(2211, 48) RESULT(2204, 49) RESULT(2205, 50) FIXED(2206, 51, 564) \
    RESULT(2212, 52) RESULT(2214, 53) RESULT(2209, 61) RESULT(2013, 18) RESULT(2011, 37)    \
    RESULT(2005, 36) RESULT(2003, 35) RESULT(2100, 34) RESULT(2017, 33) RESULT(2019, 32)    \
    RECORD(2004, 31) RESULT(2030, 28) RESULT(2031, 29) RECORD(2080, 38) RECORD(2010, 39)    \
    RESULT(2014, 40) RECORD(2009, 42) RESULT(2002, 43) RESULT(2008, 44) RESULT(2012, 45)    \
    RESULT(2007, 54) RESULT(2016, 55) RESULT(2020, 56) RESULT(2021, 57) RESULT(2023, 58)    \
    RESULT(2024, 59) RESULT(2022, 60) OWN(2015, 27) RECORD(1021, 63) RESULT(1022, 62)
// clang-format on

// Expands to nothing: for a user of the table that handles some kinds apart.
#define LUMO_CLIENT_MESSAGES_SKIP(...)
