#include "tools/lumo-sim/usage.h"

namespace LumoSim {

const char* UsageText() {
    return R"(lumo-sim: plays the measuring-arm service for tests and demonstrations.

usage: lumo-sim [--script FILE]      run the script in FILE ("-" or no option: stdin)
       lumo-sim --help | --version

At start the simulator creates a hidden top-level window and broadcasts the registered
message "LUMO_SERVERAVAILABLE" with the window's handle. The whole script is read and
checked before anything runs. When the script ends the window is destroyed (the service
vanishes) and the program exits: status 0 when every command succeeded, 1 when a wait
timed out or a send failed, 2 for a bad command line or script.

Script: one command a line; blank lines and lines starting with '#' are skipped.
Numbers are decimal or hexadecimal with 0x; HEX is an even number of hex digits.

  wait MS                       dispatch messages for MS milliseconds
  wait-registered MS            until a client is registered (at once if one is)
  wait-unregistered MS          until no client is registered (2001, or its window gone)
  wait-message ID MS            until one more message ID has arrived than earlier
                                wait-message commands for ID have consumed
  broadcast                     broadcast "LUMO_SERVERAVAILABLE" again
  destroy-window                destroy the service window and forget the client
  create-window                 create a new service window and broadcast it
  answer REQ REPLY RESULT [HEX] answer every later request REQ ('*': any request without
                                an answer of its own) with message REPLY ('=': REQ's own
                                id), argument2 RESULT and the payload HEX; the answer goes
                                out once the request's WM_COPYDATA has returned (or inside
                                it: set answer-inside). A malformed request is not
                                answered, a registration only by an answer for its id.

  set accept on|off             what WM_COPYDATA answers: TRUE (on, default) or 0
  set answer-inside on|off      answers go out from inside the request's WM_COPYDATA,
                                while the client's send still waits (default off)
  set type N                    instrument type, signed 32-bit (default 2)
  set subtype N                 instrument sub-type, 0..255 (default 0)
  set name TEXT                 instrument name, rest of the line after one blank, UTF-8,
                                at most 197 UTF-16 units (default LUMO-SIM; may be empty)
  set name-fill TEXT            TEXT repeated from the name's offset to the end of the
                                record with no terminator, over the other fields
  set version1 MAJOR.MINOR      first version pair: MAJOR 32-bit, MINOR 0..255 (default 6.3)
  set version2 MAJOR.MINOR      second version pair: each 0..255 (default 1.0)
  set record-size N             bytes of the instrument record sent, 0..65535 (default
                                700; less cuts it, more pads it with zeros)
  set status N                  measurement status word (default 0x00200000, reliable)
  set recipient [TITLE]         later sends go to the top-level window titled TITLE,
                                looked up at each send, instead of the registered client
                                (a floor program that takes the same blocks); without
                                TITLE, to the client again. Answers still go to the client.

  send instrument               1000 with the instrument record:
                                  0 u8 version1 minor, 1 u8 version2 major,
                                  2 u8 version2 minor, 20 UTF-16 name zero-terminated,
                                  416 s32 type, 524 u32 version1 major, 534 u8 sub-type
  send measurement [STATUS]     1002 with a 64-byte record starting with the status word
  send reply CODE RESULT [HEX]  1004, argument1 CODE (the request answered), argument2
                                RESULT, the payload HEX
  send shutdown                 1005, the service shutting down
  send message ID A1 A2 [HEX]   any message: chunk (ID, A1, A2) and payload HEX
  send raw [HEX]                the block HEX as it is, no chunk header: a malformed one

Every message goes to the registered client's window (or the recipient's) with
WM_COPYDATA, framed as the service frames: the 32-byte chunk header followed directly by
the payload.

Output: one JSON object a line on stdout, each with "t" (milliseconds since start) and
"event"; sends, receipts, broadcasts and a destroyed window also carry "clockUs", the
machine's monotonic clock in microseconds (as dds-listen's datagrams do):
  window-created    window, serverAvailableMessage
  broadcast         window, posted
  received          dwData, size, messageId, argument1, argument2, dataSize, clientWindow,
                    payloadSize, payload (hex), request (the fields read by the layout of
                    the request's id; for 2000 and 100 apiVersion, token (its 8 bytes in
                    hexadecimal), clientType, flag), answer, and malformed (the field that
                    is wrong) for a block whose header or layout is not what the protocol
                    fixes, or a registration whose token does not name this minute or the
                    one before under the key of a client given none (eight zero bytes): it
                    is not acted on, and a malformed registration is answered with 0; error
                    for a block shorter than a client's 60-byte header
  answered          as sent, for a scripted answer
  client-registered clientWindow
  client-forgotten  clientWindow, reason ("unregistered", "window gone" or "service
                    window destroyed")
  sent              messageId, argument1, argument2, payloadSize, clientWindow (the
                    recipient's window when one is set), size, delivered, answer (what
                    the receiving window procedure returned) or
                    error/lastError; for 1000 also name, nameFillsRecord, type, subType,
                    version1Major, version1Minor, version2Major, version2Minor; for 1002
                    status
  timeout           command, line
  window-destroyed  window
  error             text
  exit              status
)";
}

}  // namespace LumoSim
