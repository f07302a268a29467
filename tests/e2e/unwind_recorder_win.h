// For test programs: every crash dump written from here on gets the system unwinder's walk of
// its faulting context beside it, as "<dump>.unwind".
#pragma once

void RecordSystemUnwindBesideDumps();
