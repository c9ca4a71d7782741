#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "tests/support/bits.h"
#include "tests/workbench/refusal.h"
#include "workbench/exchange/edf_annotations.h"
#include "workbench/exchange/edf_layout.h"
#include "workbench/exchange/edf_range.h"
#include "workbench/exchange/edf_tal.h"

namespace {

using namespace workbench::exchange;

// What holds whatever the numbers: nothing is lost, and what the header states fits into it.
void expect_sound(float rate, std::uint64_t samples, std::uint64_t frameBytes) {
    SCOPED_TRACE(std::to_string(rate) + " Hz, " + std::to_string(samples));
    const EdfLayout layout = edf_layout(rate, samples, frameBytes);
    EXPECT_EQ(layout.records * layout.samplesPerRecord, samples + layout.filled);
    EXPECT_LT(layout.filled, layout.samplesPerRecord);
    const std::string duration = seconds_text(layout.recordMicroseconds);
    EXPECT_LE(duration.size(), 8U);
    const double stated = static_cast<double>(layout.samplesPerRecord) / std::strtod(duration.c_str(), nullptr);
    EXPECT_EQ(static_cast<float>(stated) == rate, layout.exactRate);
    EXPECT_NEAR(stated / static_cast<double>(rate), 1.0, 1e-4);
}

TEST(EdfLayout, RecordsOfASecondWhereTheyDivideTheRecording) {
    const EdfLayout layout = edf_layout(500.0f, 5000, 20);
    EXPECT_EQ(layout.samplesPerRecord, 500U);
    EXPECT_EQ(layout.recordMicroseconds, 1000000U);
    EXPECT_EQ(layout.records, 10U);
    EXPECT_EQ(layout.filled, 0U);
}

TEST(EdfLayout, OtherDurationsWhereTheyDoAndASecondDoesNot) {
    const EdfLayout layout = edf_layout(500.0f, 26390, 60);
    EXPECT_EQ(26390 % layout.samplesPerRecord, 0U);
    EXPECT_EQ(layout.filled, 0U);
    EXPECT_EQ(layout.samplesPerRecord * 2000, layout.recordMicroseconds);
}

TEST(EdfLayout, APrimeNumberOfSamplesIsFilledUp) {
    const EdfLayout layout = edf_layout(500.0f, 10007, 60);
    EXPECT_EQ(layout.samplesPerRecord, 500U);
    EXPECT_EQ(layout.records, 21U);
    EXPECT_EQ(layout.filled, 493U);
}

TEST(EdfLayout, RecordsStaySmallerThanRecommended) {
    const EdfLayout layout = edf_layout(5000.0f, 500000, 128);
    EXPECT_LE(layout.samplesPerRecord * 128, 61440U);
    EXPECT_EQ(layout.filled, 0U);
}

TEST(EdfLayout, NothingIsLostAtAnyRateAndLength) {
    support::Random random(2);
    for (int i = 0; i < 300; ++i) {
        const float rate = std::exp(random.between(-2.0f, 11.0f));
        expect_sound(rate, 1 + static_cast<std::uint64_t>(random.below(100000)),
                     2 + 2 * static_cast<std::uint64_t>(random.below(500)));
    }
    for (const float rate : {256.666667f, 1000.0f / 3.0f, 3906.25f, 0.5f, 1.0f, 512.0f, 25000.0f, 499.907f}) {
        expect_sound(rate, 77777, 64);
        expect_sound(rate, 1, 64);
        EXPECT_TRUE(edf_layout(rate, 77777, 64).exactRate) << rate;
    }
}

TEST(EdfLayout, SecondsHaveNoZerosAtTheEnd) {
    EXPECT_EQ(seconds_text(1000000), "1");
    EXPECT_EQ(seconds_text(910000), "0.91");
    EXPECT_EQ(seconds_text(12000001), "12.000001");
    EXPECT_EQ(seconds_text(0), "0");
}

// All values between the two are stored within half a step.
void expect_holds(float low, float high, bool bdf) {
    SCOPED_TRACE(std::to_string(low) + " to " + std::to_string(high));
    const EdfRange range = edf_range(low, high, bdf);
    EXPECT_LE(range.lowest.size(), 8U);
    EXPECT_LE(range.highest.size(), 8U);
    const double scale = range.unit == "mV" ? 1e3 : range.unit == "nV" ? 1e-3 : 1.0;
    const double physicalLow = std::strtod(range.lowest.c_str(), nullptr);
    const double physicalHigh = std::strtod(range.highest.c_str(), nullptr);
    const double steps = bdf ? 16777215.0 : 65535.0;
    const double digitalLow = bdf ? -8388608.0 : -32768.0;
    const double step = (physicalHigh - physicalLow) / steps;
    for (int i = 0; i <= 20; ++i) {
        const double share = i / 20.0;
        const auto value =
            static_cast<float>(static_cast<double>(low) * (1.0 - share) + static_cast<double>(high) * share);
        const std::int32_t stored = range.stored(value);
        EXPECT_GE(stored, digitalLow);
        EXPECT_LE(stored, digitalLow + steps);
        const double read = (physicalLow + step * (stored - digitalLow)) * scale;
        EXPECT_LE(std::abs(read - static_cast<double>(value)), 0.5 * step * scale * (1.0 + 1e-6));
    }
}

TEST(EdfRange, HoldsEveryValueWithinHalfAStep) {
    support::Random random(4);
    for (const bool bdf : {false, true}) {
        for (int i = 0; i < 500; ++i) {
            const float size = std::exp(random.between(-8.0f, 18.0f));
            const float a = size * random.between(-1.0f, 1.0f);
            const float b = size * random.between(-1.0f, 1.0f);
            expect_holds(std::min(a, b), std::max(a, b), bdf);
        }
        expect_holds(0.0f, 0.0f, bdf);
        expect_holds(7.3f, 7.3f, bdf);
        expect_holds(-6543.21f, -6543.21f, bdf);
    }
}

TEST(EdfRange, IsHardlyWiderThanTheValues) {
    const EdfRange range = edf_range(-123.456f, 98.7654f, false);
    EXPECT_EQ(range.unit, "uV");
    EXPECT_EQ(range.lowest, "-123.457");
    EXPECT_EQ(range.highest, "98.76541");
}

TEST(EdfRange, WhatNoRangeHoldsIsRefused) {
    EXPECT_EQ(test::refusal([] { edf_range(-1.0f, 1e20f, false); }).substr(0, 10), "values up ");
}

TEST(AnnotationSignal, TellsWhenRecordsStartAndWhatHappened) {
    EdfLayout layout;
    layout.samplesPerRecord = 50;
    layout.recordMicroseconds = 500000;
    layout.records = 3;
    const AnnotationSignal signal = annotation_signal({{0, "a"},
                                                       {49, "b"},
                                                       {123, "Gr\xC3\xB6\xC3\x9F"
                                                             "e"}},
                                                      layout, 2);
    ASSERT_EQ(signal.records.size(), 3U);
    const std::string zero(1, '\0');
    EXPECT_EQ(signal.records[0], "+0\x14\x14" + zero +
                                     "+0\x14"
                                     "a\x14" +
                                     zero +
                                     "+0.49\x14"
                                     "b\x14" +
                                     zero);
    EXPECT_EQ(signal.records[1], "+0.5\x14\x14" + zero);
    EXPECT_EQ(signal.records[2], "+1\x14\x14" + zero +
                                     "+1.23\x14Gr\xC3\xB6\xC3\x9F"
                                     "e\x14" +
                                     zero);
    EXPECT_EQ(signal.bytes % 2, 0U);
    for (const std::string& record : signal.records) {
        EXPECT_LE(record.size(), signal.bytes);
    }
}

TEST(AnnotationSignal, ACrowdOfMarkersIsSpreadOverLaterRecordsAndNoneIsLost) {
    EdfLayout layout;
    layout.samplesPerRecord = 100;
    layout.records = 50;
    layout.filled = 30;
    std::vector<Marker> markers;
    for (int i = 0; i < 300; ++i) {
        markers.push_back({i / 3, "m" + std::to_string(i)});
    }
    const AnnotationSignal signal = annotation_signal(markers, layout, 3);
    EXPECT_EQ(signal.bytes % 3, 0U);
    std::size_t found = 0;
    for (const std::string& record : signal.records) {
        EXPECT_LE(record.size(), signal.bytes);
        for (const EdfAnnotation& annotation : edf_annotations(record)) {
            found += annotation.texts[0].empty() ? 0U : 1U;
        }
    }
    EXPECT_EQ(found, 301U); // and where the recording ends
    EXPECT_NE(signal.records[49].find("+49.7\x14Recording ends\x14"), std::string::npos);
}

} // namespace
