// Records a few flow points from two threads and a timed scope, then prints the flow log
// as the crash and exit dumps would carry it. On exit it hands over to the exit dump, which
// writes the same text into the log folder when the registry asks for it.
#include "diagnostics/flow_log_dump_on_exit.h"
#include "diagnostics/flow_point.h"

#include <iostream>
#include <thread>

namespace {

struct Sensor {
    int readings = 0;
    int Measure(int round) {
        FLOW_POINT("Sensor", "Measure");
        FLOW_RECORD(this, round);
        ++readings;
        if (round % 2 != 0)
            FLOW_RECORD(this, -1);
        return round * 2;
    }
};

struct Worker {
    void Run() {
        FLOW_POINT("Worker", "Run");
        FlowTimedScope scope(flowPoint, this);
        FLOW_RECORD(this, 0);
        for (int round = 0; round < rounds; ++round)
            sensor.Measure(round);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    int rounds = 3;
    Sensor sensor;
};

}  // namespace

int main() {
    Worker first;
    first.Run();
    std::thread([] {
        Worker second;
        second.Run();
    }).join();
    RenderFlowLog(std::cout);
    std::cout.flush();
    FinishFlowLogDumpOnExit();
    return 0;
}
