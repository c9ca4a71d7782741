#pragma once

#include <cstddef>

#ifndef ORIDAN_STEP_TIMES
#define ORIDAN_STEP_TIMES
#endif
#include "obs/step_timer.h"

/// Exported by the module that is built with probes, beside the seven functions.
/// @return the probes' times so far, `count` of them.
extern "C" __attribute__((visibility("default"))) const obs::StepTime* oridan_step_report(std::size_t* count);

#define ORIDAN_STEP_REPORT "oridan_step_report"
