#pragma once

#include <cstddef>
#include <cstdint>

/// @file
/// Records that the workbench fills. Their layout is the workbench's: only the named fields are read here, the rest
/// is reserved, and the workbench may write all of it.

/// Filled by nvGetProtocol.
struct ProtocolStruct {
    std::int32_t nrOfConditions; ///< conditions of the protocol
    char reserved1[261];         ///< the workbench's
    char experimentName[303];    ///< NUL-terminated unless it fills the field
    std::int32_t timeResolution; ///< 1: interval values are sample numbers; else times in microseconds
    char reserved2[36];          ///< the workbench's
};
static_assert(sizeof(ProtocolStruct) == 608);
static_assert(offsetof(ProtocolStruct, experimentName) == 265);
static_assert(offsetof(ProtocolStruct, timeResolution) == 568);

/// Filled by nvGetProtocolCondition.
struct ProtocolConditionStruct {
    char name[256];                ///< NUL-terminated unless it fills the field
    std::int32_t nrOfIntervals;    ///< triggers
    char reserved1[4];             ///< the workbench's
    const std::int32_t* intervals; ///< [0..nrOfIntervals-1], owned by the workbench
    char reserved2[16];            ///< the workbench's
};
static_assert(sizeof(ProtocolConditionStruct) == 288);
static_assert(offsetof(ProtocolConditionStruct, nrOfIntervals) == 256);
static_assert(offsetof(ProtocolConditionStruct, intervals) == 264);

/// ProtocolStruct::timeResolution where interval values are sample numbers.
constexpr std::int32_t timeResolutionSamples = 1;
