// The program's guarded run with an access violation at a known place, for the end-to-end
// proof that its crash dump leads lumo-dump to that function and line.
#include "diagnostics/guarded_run.h"

namespace {

__attribute__((noinline)) void WriteThroughNull(void*) {
    volatile int* nowhere = nullptr;
    *nowhere = 1;  // the fault
}

}  // namespace

int main() {
    RunGuarded(&WriteThroughNull, nullptr);
    return -1;
}
