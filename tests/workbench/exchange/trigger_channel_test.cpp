#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "workbench/exchange/trigger_channel.h"

namespace {

using namespace workbench::exchange;

using Places = std::vector<std::uint64_t>;

Places edges(const std::vector<double>& values, double threshold, Edge edge, std::uint64_t minDistance = 0) {
    EdgeDetector detector(threshold, edge, minDistance);
    for (const double value : values) { // in the smallest blocks
        detector.add(&value, 1);
    }
    EdgeDetector whole(threshold, edge, minDistance);
    whole.add(values.data(), values.size());
    EXPECT_EQ(detector.found(), whole.found());
    return whole.found();
}

std::string codes(const std::vector<double>& values, std::int64_t mask = -1, std::uint64_t minDistance = 0) {
    CodeDetector detector(mask, minDistance);
    detector.add(values.data(), 2);
    detector.add(values.data() + 2, values.size() - 2);
    std::string text;
    for (const TriggerCode& found : detector.found()) {
        text += std::to_string(found.sample) + ":" + std::to_string(found.code) + " ";
    }
    return text;
}

const std::vector<double> steps = {0, 0, 5, 5, 0, 5, 4.9, 5, 0};

TEST(TriggerEdges, RisingIsTheFirstSampleAtOrAboveTheThreshold) {
    EXPECT_EQ(edges(steps, 5.0, Edge::rising), (Places{2, 5, 7}));
    EXPECT_EQ(edges(steps, 4.9, Edge::rising), (Places{2, 5}));
}

TEST(TriggerEdges, FallingIsTheFirstSampleBelowIt) {
    EXPECT_EQ(edges(steps, 5.0, Edge::falling), (Places{4, 6, 8}));
}

TEST(TriggerEdges, BothAreAllOfThem) {
    EXPECT_EQ(edges(steps, 5.0, Edge::both), (Places{2, 4, 5, 6, 7, 8}));
}

TEST(TriggerEdges, WhatTheSignalBeginsWithIsNoEdge) {
    EXPECT_EQ(edges({9, 9, 0, 9}, 5.0, Edge::rising), (Places{3}));
    EXPECT_EQ(edges({9, 9, 0, 9}, 5.0, Edge::falling), (Places{2}));
}

TEST(TriggerEdges, TooCloseToTheLastOneTheyDoNotCount) {
    EXPECT_EQ(edges({0, 9, 0, 9, 0, 9, 0, 9}, 5.0, Edge::rising, 2), (Places{1, 3, 5, 7}));
    EXPECT_EQ(edges({0, 9, 0, 9, 0, 9, 0, 9}, 5.0, Edge::rising, 3), (Places{1, 5}));
}

TEST(TriggerEdges, NegativeThresholdsAndMissingValuesAreFine) {
    EXPECT_EQ(edges({0, -10, 0, std::nan(""), 0}, -5.0, Edge::falling), (Places{1, 3}));
}

TEST(TriggerCodes, AChangeToAnotherNumberThatIsNotZeroIsATrigger) {
    EXPECT_EQ(codes({0, 0, 3, 3, 7, 0, 0, 3, 0}), "2:3 4:7 7:3 ");
}

TEST(TriggerCodes, WhatTheSignalBeginsWithIsNone) {
    EXPECT_EQ(codes({5, 5, 5, 0, 5}), "4:5 ");
}

TEST(TriggerCodes, OnlyBitsOfTheMaskCount) {
    EXPECT_EQ(codes({0x10000, 0x10000, 0x10003, 0x20003, 0x30000, 0x10004}, 0xFFFF), "2:3 5:4 ");
    EXPECT_EQ(codes({0, 0, -65536 + 9, 0}, 0xFFFF), "2:9 "); // a number whose highest bit is set is negative
}

TEST(TriggerCodes, ValuesAreRoundedAndWhatIsNoNumberIsZero) {
    EXPECT_EQ(codes({0, 0.4, 2.9, 3.1, std::nan(""), 3, 1e300}), "2:3 5:3 ");
}

TEST(TriggerCodes, TooCloseToTheLastOneTheyDoNotCount) {
    EXPECT_EQ(codes({0, 0, 1, 2, 3, 4}, -1, 2), "2:1 4:3 ");
}

} // namespace
