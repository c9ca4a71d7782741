#include "numerics/cpu.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "tests/support/checkers.h"

using numerics::InstructionSet;

namespace {

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

TEST(InstructionSetOf, IsWhatTheSystemListsForTheProcessor) {
    if (support::under_valgrind()) {
        GTEST_SKIP() << "valgrind shows programs a processor of its own";
    }
    const bool avx2 = system_lists("avx2") && system_lists("fma") && system_lists("bmi2");
    const bool avx512 = avx2 && system_lists("avx512f") && system_lists("avx512dq") && system_lists("avx512bw") &&
                        system_lists("avx512vl");
    const InstructionSet expected = avx512 ? InstructionSet::avx512
                                    : avx2 ? InstructionSet::avx2
                                           : InstructionSet::baseline;
    EXPECT_EQ(numerics::instruction_set_within(nullptr), expected);
}

TEST(InstructionSetOf, TheEnvironmentLowersItAndNeverRaisesIt) {
    const InstructionSet best = numerics::instruction_set_within(nullptr);
    EXPECT_EQ(numerics::instruction_set_within("baseline"), InstructionSet::baseline);
    EXPECT_EQ(numerics::instruction_set_within("avx2"), best < InstructionSet::avx2 ? best : InstructionSet::avx2);
    EXPECT_EQ(numerics::instruction_set_within("avx512"), best);
    EXPECT_EQ(numerics::instruction_set_within("anything else"), best);
}

TEST(InstructionSetOf, StaysWhatItWasOnFirstUse) {
    const InstructionSet first = numerics::instruction_set();
    EXPECT_EQ(numerics::instruction_set(), first);
    EXPECT_EQ(first, numerics::instruction_set_within(std::getenv("ORIDAN_INSTRUCTION_SET")));
}

TEST(InstructionSetOf, HasAName) {
    EXPECT_STREQ(numerics::name_of(InstructionSet::baseline), "baseline");
    EXPECT_STREQ(numerics::name_of(InstructionSet::avx2), "avx2");
    EXPECT_STREQ(numerics::name_of(InstructionSet::avx512), "avx512");
}
