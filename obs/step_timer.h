#pragma once

/// Probes that tell the steps of a run apart, for the benchmark's build of the module only: everywhere else they are
/// nothing. ORIDAN_STEP(name) charges the time until its scope ends to the step `name`, less what scopes inside it
/// take. Not safe to use from several threads.
#ifdef ORIDAN_STEP_TIMES

#include <chrono>
#include <cstddef>

namespace obs {

struct StepTime {
    const char* name;
    double seconds;
    long count;
};

inline constexpr std::size_t maxSteps = 32;
inline StepTime stepTimes[maxSteps];
inline std::size_t nSteps = 0;

class StepScope {
    using Clock = std::chrono::steady_clock;

public:
    explicit StepScope(StepTime* scopeStep) : step(scopeStep), outer(current) {
        charge(outer);
        current = this;
        ++step->count;
    }
    StepScope(const StepScope&) = delete;
    StepScope& operator=(const StepScope&) = delete;
    ~StepScope() {
        charge(this);
        current = outer;
    }

    static StepTime* named(const char* name) {
        stepTimes[nSteps] = {name, 0.0, 0};
        return &stepTimes[nSteps++];
    }

private:
    static void charge(StepScope* scope) {
        const Clock::time_point now = Clock::now();
        if (scope != nullptr) {
            scope->step->seconds += std::chrono::duration<double>(now - last).count();
        }
        last = now;
    }

    inline static StepScope* current = nullptr;
    inline static Clock::time_point last;
    StepTime* step;
    StepScope* outer;
};

} // namespace obs

#define ORIDAN_STEP_JOINED(a, b) a##b
#define ORIDAN_STEP_NAMED(a, b) ORIDAN_STEP_JOINED(a, b)
#define ORIDAN_STEP(name)                                                                                              \
    static obs::StepTime* const ORIDAN_STEP_NAMED(stepOfLine, __LINE__) = obs::StepScope::named(#name);                \
    const obs::StepScope ORIDAN_STEP_NAMED(scopeOfLine, __LINE__)(ORIDAN_STEP_NAMED(stepOfLine, __LINE__))

#else
#define ORIDAN_STEP(name) static_cast<void>(0)
#endif
