#include "numerics/cpu.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "tests/support/child_process.h"

using numerics::InstructionSet;

namespace {

// The choice that a fresh process makes with this value of the variable.
InstructionSet chosen_with(const char* value) {
    return static_cast<InstructionSet>(support::in_child([value] {
        if (value == nullptr) {
            unsetenv("ORIDAN_INSTRUCTION_SET");
        } else {
            setenv("ORIDAN_INSTRUCTION_SET", value, 1);
        }
        return static_cast<int>(numerics::instruction_set());
    }));
}

// What the system says of its processor.
bool system_lists(const std::string& flag) {
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);) {
        if (line.rfind("flags", 0) == 0) {
            return (line + " ").find(" " + flag + " ") != std::string::npos;
        }
    }
    return false;
}

} // namespace

// No test of this program may ask for the instruction set before the children do.
TEST(InstructionSetOf, IsWhatTheSystemListsForTheProcessor) {
    const bool avx2 = system_lists("avx2") && system_lists("fma") && system_lists("bmi2");
    const bool avx512 = avx2 && system_lists("avx512f") && system_lists("avx512dq") && system_lists("avx512bw") &&
                        system_lists("avx512vl");
    const InstructionSet expected = avx512 ? InstructionSet::avx512
                                    : avx2 ? InstructionSet::avx2
                                           : InstructionSet::baseline;
    EXPECT_EQ(chosen_with(nullptr), expected);
}

TEST(InstructionSetOf, TheEnvironmentLowersItAndNeverRaisesIt) {
    const InstructionSet best = chosen_with(nullptr);
    EXPECT_EQ(chosen_with("baseline"), InstructionSet::baseline);
    EXPECT_EQ(chosen_with("avx2"), best < InstructionSet::avx2 ? best : InstructionSet::avx2);
    EXPECT_EQ(chosen_with("avx512"), best);
    EXPECT_EQ(chosen_with("anything else"), best);
}

TEST(InstructionSetOf, HasAName) {
    EXPECT_STREQ(numerics::name_of(InstructionSet::baseline), "baseline");
    EXPECT_STREQ(numerics::name_of(InstructionSet::avx2), "avx2");
    EXPECT_STREQ(numerics::name_of(InstructionSet::avx512), "avx512");
}
