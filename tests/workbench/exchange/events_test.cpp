// From events, wherever they come from, to conditions of a protocol.

#include <gtest/gtest.h>

#include <limits>

#include "tests/workbench/exchange/foreign_bytes.h"
#include "tests/workbench/exchange/reading.h"
#include "workbench/exchange/condition_names.h"
#include "workbench/exchange/event_sources.h"
#include "workbench/exchange/events_table.h"
#include "workbench/exchange/protocol_from_events.h"
#include "workbench/protocol_file.h"

namespace {

using namespace test;
using namespace workbench::exchange;

class EventsTable : public testing::Test {
protected:
    std::string read(const std::string& text, double rate = 100.0) const {
        return events_text(events_from_table(folder.write("e.tsv", text), rate).events);
    }
    std::string complaint(const std::string& text) const {
        return refusal([&] { read(text); }).substr(folder.path().size() + 1);
    }

    support::TemporaryFolder folder;
};

TEST_F(EventsTable, OnsetsAreSecondsAndOtherColumnsAreLeftAlone) {
    EXPECT_EQ(read("onset\tduration\ttrial_type\tsample\n1.25\t0\tgo\t99\n-0.5\tn/a\tno go, now\tx\n"),
              "1.25 go|-0.5 no go, now");
}

TEST_F(EventsTable, ColumnsMayComeInAnyOrderAndBetweenCommas) {
    EXPECT_EQ(read("trial_type,onset\n\"a, \"\"b\"\"\",2\n\nc,1e-1\n"), "2 a, \"b\"|0.1 c");
}

TEST_F(EventsTable, SamplesServeWhereThereAreNoOnsets) {
    EXPECT_EQ(read("sample\tvalue\n50\t7\n", 200.0), "0.25 7");
    EXPECT_EQ(read("condition,sample_number_0based\nblink,486\n", 100.0), "4.86 blink");
    EXPECT_EQ(read("onset\n3\n"), "3 event");
}

TEST_F(EventsTable, RowsWithoutTimeOrTypeAreCountedAndLeftOut) {
    const std::string path = folder.write("e.tsv", "onset\ttrial_type\nn/a\tx\n1\tn/a\n2\ty\n");
    const TableEvents table = events_from_table(path, 100.0);
    EXPECT_EQ(events_text(table.events), "2 y");
    EXPECT_EQ(table.withoutTime, 2U);
}

TEST_F(EventsTable, WhatIsWrongIsToldWithItsLine) {
    EXPECT_EQ(complaint("onset\ttrial_type\n1\ta\nlater\tb\n"),
              "e.tsv:3: expected an onset in seconds, found \"later\"");
    EXPECT_EQ(complaint("onset\ttrial_type\n1\n"), "e.tsv:2: expected 2 fields, found 1");
    EXPECT_EQ(complaint("time\ttype\n"), "e.tsv:1: expected a column \"onset\" (in seconds) or \"sample\", found none");
    EXPECT_EQ(complaint(""), "e.tsv:1: expected a line with the names of the columns, found the end of the file");
}

TEST(ConditionName, IsAsCloseToTheTextAsAProtocolAllows) {
    EXPECT_EQ(valid_condition_name("S  1"), "S  1");
    EXPECT_EQ(valid_condition_name(" left/right "), "left_right");
    EXPECT_EQ(valid_condition_name("a\tb\nc"), "a b c");
    EXPECT_EQ(valid_condition_name(" \n "), "event");
    EXPECT_EQ(valid_condition_name("Gr\xF6\xDF"
                                   "e"),
              "Größe");
    EXPECT_EQ(valid_condition_name(std::string(239, 'x') + "ö"), std::string(239, 'x'));
}

TEST(ConditionName, EveryOneIsAcceptedByTheProtocol) {
    for (int byte = 0; byte < 256; ++byte) {
        for (const std::string& text :
             {std::string(1, static_cast<char>(byte)), "a" + std::string(300, static_cast<char>(byte)),
              std::string(1, static_cast<char>(byte)) + "\xC2\x85 "}) {
            EXPECT_EQ(workbench::condition_name_problem(valid_condition_name(text)), "") << byte;
        }
    }
}

TEST(ConditionName, TypesThatWouldBecomeOneAreKeptApart) {
    ConditionNames names;
    EXPECT_EQ(names.name_of("a_b"), "a_b");
    EXPECT_EQ(names.name_of("a/b"), "a_b (2)");
    EXPECT_EQ(names.name_of("a/b "), "a_b (3)");
    EXPECT_EQ(names.name_of("a/b"), "a_b (2)");
    EXPECT_EQ(names.changes(), (std::vector<std::string>{"\"a/b\" is the condition \"a_b (2)\"",
                                                         "\"a/b \" is the condition \"a_b (3)\""}));
}

TEST(ProtocolFromEvents, OneConditionPerTypeWithTheNearestSamples) {
    std::vector<std::string> notes;
    const workbench::Protocol protocol =
        protocol_from_events({{0.2549, "b"}, {0.1, "a"}, {0.0449, "b"}, {0.0451, "b"}}, 100.0, 1000, "x", notes);
    EXPECT_EQ(workbench::protocol_text(protocol), "FileVersion: 1\nExperiment: x\nTimeResolution: samples\n\n"
                                                  "Condition: b\n4\n5\n25\n\nCondition: a\n10\n");
    EXPECT_TRUE(notes.empty());
}

TEST(ProtocolFromEvents, WhatIsOutsideOrRepeatedIsLeftOutAndSaid) {
    std::vector<std::string> notes;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const workbench::Protocol protocol = protocol_from_events(
        {{-0.006, "a"}, {-0.004, "a"}, {9.994, "a"}, {9.996, "a"}, {nan, "b"}, {0.0, "a"}}, 100.0, 1000, "x", notes);
    ASSERT_EQ(protocol.conditions.size(), 1U);
    EXPECT_EQ(protocol.conditions[0].intervals, (std::vector<std::int32_t>{0, 999}));
    EXPECT_EQ(notes, (std::vector<std::string>{"3 events outside the recording left out",
                                               "1 event of the same type at the same sample left out"}));
}

TEST(EventSource, IsReadFromItsText) {
    using Kind = EventSource::Kind;
    const auto is = [](const std::string& text, Kind kind, const std::string& condition, const std::string& argument) {
        const EventSource source = event_source_of(text);
        EXPECT_EQ(source.kind, kind) << text;
        EXPECT_EQ(source.condition, condition) << text;
        EXPECT_EQ(source.argument, argument) << text;
    };
    is("file", Kind::file, "", "");
    is("none", Kind::none, "", "");
    is("channel:TRIG 1", Kind::channel, "TRIG 1", "TRIG 1");
    is("volume=channel:TRIG", Kind::channel, "volume", "TRIG");
    is("codes:Status", Kind::codes, "Status", "Status");
    is("ecg:ECG", Kind::ecg, "heartbeat", "ECG");
    is("beat=ecg:II", Kind::ecg, "beat", "II");
    is("sub-1_events.tsv", Kind::table, "", "sub-1_events.tsv");
    is("odd channel:x.csv", Kind::table, "", "odd channel:x.csv");
    EXPECT_EQ(refusal([] { event_source_of("ecg:"); }), "--events ecg:: name the channel after the colon");
}

class Sources : public testing::Test {
protected:
    // A recording at 10 Hz with a trigger channel, a channel of codes and a slower one of 5 Hz, 3 s.
    std::string path() const {
        EdfTestFile file;
        file.bdf = true;
        EdfTestSignal trigger{"TRIG", "V", "-8388608", "8388607", std::vector<int>(30, 0)};
        EdfTestSignal status{"Status", "", "-8388608", "8388607", std::vector<int>(30, 0x10000)};
        EdfTestSignal slow{"slow", "V", "-8388608", "8388607", std::vector<int>(15, 1), 5};
        for (const std::size_t on : {5U, 6U, 9U, 20U}) {
            trigger.digital[on] = 5;
        }
        status.digital[12] = 0x10000 + 33;
        slow.digital[7] = 9;
        file.signals = {{"A1", "uV", "-1", "1", ramp(30, 0, 1)}, trigger, status, slow};
        return folder.write("r.bdf", edf_bytes(file));
    }

    std::string collect(const std::string& source, const TriggerOptions& options = {}) {
        const Opened opened(path());
        workbench::InterruptHold interrupt;
        notes.clear();
        return events_text(
            collect_events(*opened.recording, {event_source_of(source)}, options, 10.0, interrupt, notes));
    }

    support::TemporaryFolder folder;
    std::vector<std::string> notes;
};

TEST_F(Sources, AChannelGivesEdgesAboveHalfItsRange) {
    EXPECT_EQ(collect("pulse=channel:trig"), "0.5 pulse|0.9 pulse|2 pulse");
    EXPECT_EQ(notes, (std::vector<std::string>{"channel TRIG goes from 0 to 5 V; the threshold is halfway, 2.5 "
                                               "(--threshold sets another)"}));
}

TEST_F(Sources, ThresholdEdgeAndDistanceAreChosen) {
    TriggerOptions options;
    options.threshold = 4.5;
    options.edge = Edge::falling;
    options.minDistance = 400.0;
    EXPECT_EQ(collect("channel:TRIG", options), "0.7 TRIG|2.1 TRIG");
    options.threshold = 6.0;
    EXPECT_EQ(collect("channel:TRIG", options), "");
    EXPECT_EQ(notes, (std::vector<std::string>{"channel TRIG never crosses 6 that way; no triggers come from it"}));
}

TEST_F(Sources, ASlowerChannelHasItsOwnTimes) {
    EXPECT_EQ(collect("channel:slow"), "1.4 slow");
}

TEST_F(Sources, TheFileItselfGivesTheTriggerBitsOfItsStatusChannel) {
    EXPECT_EQ(collect("file"), "1.2 Status 33");
    EXPECT_EQ(collect("codes:Status"), "1.2 Status 65569|1.3 Status 65536");
    EXPECT_EQ(collect("none"), "");
}

TEST_F(Sources, WhatCannotBeUsedIsRefused) {
    EXPECT_EQ(refusal([&] { collect("channel:Nope"); }),
              folder.path("r.bdf") + ": has no channel \"Nope\"; it has A1, TRIG, Status, slow");
    EXPECT_EQ(refusal([&] { collect("ecg:TRIG"); }),
              folder.path("r.bdf") + ": channel TRIG has 10 Hz; heartbeats need at least 100 Hz");
    EXPECT_EQ(refusal([&] { collect("missing.tsv"); }), "missing.tsv: no such file");
}

} // namespace
