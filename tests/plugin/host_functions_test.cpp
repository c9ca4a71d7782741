// The list of names that the binding goes through, and the state before any binding.

#include <gtest/gtest.h>

#include <iterator>

#include "plugin/host_binding.h"
#include "tests/plugin/expected_host_names.h"

namespace {

constexpr const char* listedNames[] = {
#define HOST_FUNCTION(name) #name,
#include "plugin/host_functions.def"
#undef HOST_FUNCTION
};

} // namespace

TEST(HostFunctions, AreThese150InThisOrder) {
    ASSERT_EQ(std::size(listedNames), 150u);
    ASSERT_EQ(std::size(expectedHostNames), 150u);
    for (std::size_t i = 0; i < 150; ++i) {
        EXPECT_STREQ(listedNames[i], expectedHostNames[i]) << i + 1;
    }
}

// This process exports none of the functions.

TEST(HostFunctions, AreAllUnboundInAProcessThatHasNoneOfThem) {
    EXPECT_FALSE(InitNVAccess());
    EXPECT_FALSE(InitMKLCBLASAccess());
#define HOST_FUNCTION(name) EXPECT_EQ(host::name, nullptr);
#include "plugin/host_functions.def"
    HOST_FUNCTION(nv_intel_matrix_matrix_mult_f)
    HOST_FUNCTION(nv_intel_matrix_matrix_mult_d)
    HOST_FUNCTION(nv_intel_matrix_vector_mult_f)
    HOST_FUNCTION(nv_intel_matrix_vector_mult_d)
#undef HOST_FUNCTION
}

TEST(HostRecords, HaveTheWorkbenchsLayout) {
    EXPECT_EQ(sizeof(ProtocolStruct), 608u);
    EXPECT_EQ(offsetof(ProtocolStruct, nrOfConditions), 0u);
    EXPECT_EQ(offsetof(ProtocolStruct, experimentName), 265u);
    EXPECT_EQ(offsetof(ProtocolStruct, timeResolution), 568u);
    EXPECT_EQ(sizeof(ProtocolStruct::nrOfConditions), 4u);
    EXPECT_EQ(sizeof(ProtocolStruct::timeResolution), 4u);
    EXPECT_EQ(sizeof(ProtocolConditionStruct), 288u);
    EXPECT_EQ(offsetof(ProtocolConditionStruct, name), 0u);
    EXPECT_EQ(sizeof(ProtocolConditionStruct::name), 256u);
    EXPECT_EQ(offsetof(ProtocolConditionStruct, nrOfIntervals), 256u);
    EXPECT_EQ(sizeof(ProtocolConditionStruct::nrOfIntervals), 4u);
    EXPECT_EQ(offsetof(ProtocolConditionStruct, intervals), 264u);
    EXPECT_EQ(sizeof(ProtocolConditionStruct::intervals), 8u);
    EXPECT_EQ(timeResolutionSamples, 1);
}
