// Every routine that the module exports, with each of its requests for memory refused in turn.

#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/allocation/cases.h"

namespace {

using refusals::Case;

const std::vector<Case>& all_cases() {
    static const std::vector<Case> cases = [] {
        std::vector<Case> made;
        add_file_cases(made);
        add_numerical_cases(made);
        add_pure_cases(made);
        return made;
    }();
    return cases;
}

// The exported names that cases cover.
std::set<std::string> covered() {
    std::set<std::string> names;
    for (const Case& one : all_cases()) {
        std::istringstream words(one.name.substr(0, one.name.find('/')));
        for (std::string name; words >> name;) {
            names.insert(name);
        }
    }
    return names;
}

TEST(RefusedMemory, EveryExportedRoutineIsCalled) {
    // Data and the end of the process ask for nothing.
    const std::set<std::string> others = {"DesignMatrix", "NPRAED_STAT", "NPT_STAT",    "g_dim",
                                          "g_dim_z",      "nrerror",     "g_nbsfns_dim"};
    const std::set<std::string> names = covered();
    std::ifstream exports(ORIDAN_EXPORTS);
    int count = 0;
    for (std::string line; std::getline(exports, line); ++count) {
        const std::string name = line.substr(0, line.find('('));
        EXPECT_TRUE(names.count(name) + others.count(name) == 1) << name;
    }
    EXPECT_GE(count, 200);
}

class RefusedMemory : public testing::TestWithParam<std::size_t> {};

TEST_P(RefusedMemory, IsToldAndNothingIsLostOrKept) {
    if (!refusals::heap_can_fail()) {
        GTEST_SKIP() << "memory cannot be refused here: another heap (valgrind's) stands in for ours";
    }
    RecordProperty("refusals", refusals::expect_refusals(all_cases()[GetParam()]));
}

std::string test_name(const testing::TestParamInfo<std::size_t>& info) {
    std::string name;
    for (const char c : all_cases()[info.param].name) {
        name += std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' ? c : '_';
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Exports, RefusedMemory, testing::Range<std::size_t>(0, all_cases().size()), test_name);

} // namespace
