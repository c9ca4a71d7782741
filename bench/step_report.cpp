#include "bench/step_report.h"

const obs::StepTime* oridan_step_report(std::size_t* count) {
    *count = obs::nSteps;
    return obs::stepTimes;
}
