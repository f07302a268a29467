#include "tools/lumo-client/usage.h"

namespace LumoClient {

const char* UsageText() {
    return R"(lumo-client: drives a running measuring-arm service through the client library.

usage: lumo-client [--wait-ms N] [--service-window TITLE] [--script FILE] [COMMAND ARGS...]
       lumo-client params
       lumo-client --help | --version

The client starts (registering as soon as the service is known) and waits up to N ms
(default 2000) for the service: for its broadcast, or, with --service-window, for a window
of that title, which is handed to the client at once. No service in time: exit status 1.
Then the commands run in order (the one on the command line, or one a line of FILE; blank
lines and lines starting with '#' are skipped), window messages are dispatched for N ms
more to collect replies, the client unregisters, and the exit status is 0 when every
request was handed over (result 0), else 1. A malformed command: exit status 2, nothing
is sent. `params` prints the parameter table and needs no service.

Commands:
  request ID ARGS...    send request ID; integers are decimal (negative where signed) or
                        0x hex; TEXT runs to the end of the line; BYTES are hex:0a0b...
                        ("hex:" alone is no bytes)
      2002 A B C D | 2002 A B       2004 A B C D E       2005|2009|2019 VALUE
      2007 VALUE TEXT               2011 VALUE (64-bit)  2016 A B C hex:BYTES
      2022 VALUE                    2100 hex:TWO-BYTES   2203 ID VALUE
      2204 ID TEXT                  2205 ID VALUE...     2207 ID FIRST SECOND
      2212 ID TEXT                  2214 VALUE NUMBER    2220 0|1
      1022 TEXT (the access request: only its digest with the time is sent)
      2008 2010 2012 2013 2014 2020 2021 2023 2024 2030 2031 2080 2081 2082 2083 2200
      2201 2206 2211 2216 2217 2221 2222 2223 2224 2233 1021    (no arguments)
      display: 2065 TEXT | 2066 ITEM... | 2061 | 2067
      scripts: 2227 SCRIPT-ID [NAME=VALUE...] | 2228 | 2229 | 2230
      wrtl:    2300 VALUE | 2301 A B
  display-text [TEXT]   store the display text that 2065 sends first; alone: clear it
  wait MS               dispatch window messages for MS milliseconds

Output, one JSON object a line on stdout:
  {"event":"server-available"} {"event":"registered"} {"event":"unregistered"}
  {"event":"server-down"}
  {"sent":ID,"result":R,"us":T}              after every request (R: the send's result,
                                             T: microseconds until the service took it)
  {"reply":ID,"result":R,"bytes":N,"slot":S} a callback answering a request, or carrying
                                             the service's verdict; N is the size of the
                                             record or data it was given (2015: the data
                                             behind the 48-byte header), S its slot
  {"event":ID,"bytes":N,"slot":S}            a message the service sent unasked
  Sub-client messages carry "client" ("display", "dcScript", "wrtl") instead of "slot".
  params: {"id":1,"name":"Language","valueType":1,"category":1} ...
)";
}

}  // namespace LumoClient
