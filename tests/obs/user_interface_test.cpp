#include "obs/user_interface.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "plugin/host_binding.h"

namespace {

std::vector<std::string> calls;

// What the records held when the workbench got them, and what it fills in.
bool recordWasZero = false;
int protocolAnswer = 1;
std::int32_t intervalCount = 0;
const std::int32_t intervals[2] = {11, 22};

template <class Record>
bool all_bytes_zero(const Record* record) {
    const auto* bytes = reinterpret_cast<const char*>(record);
    return std::all_of(bytes, bytes + sizeof *record, [](char byte) { return byte == 0; });
}

int get_protocol(ProtocolStruct* record) {
    recordWasZero = all_bytes_zero(record);
    std::memset(record, 0x5A, sizeof *record); // the workbench may write all of it
    record->nrOfConditions = 7;
    return protocolAnswer;
}

void get_condition(int index, ProtocolConditionStruct* record) {
    calls.push_back("condition " + std::to_string(index));
    recordWasZero = all_bytes_zero(record);
    std::memset(record, 0x5A, sizeof *record);
    record->nrOfIntervals = intervalCount;
    record->intervals = intervals;
}

int pathAnswer = 1;
std::string pathFill;

int open_file(const char* title, const char* second, const char* filter, char* path) {
    calls.push_back(std::string(title) + "|" + second + "|" + filter + (path[0] == '\0' ? "" : " (not cleared)"));
    std::memcpy(path, pathFill.data(), pathFill.size());
    return pathAnswer;
}

void* volume_document(int* a, int* b, int* c) {
    *a = 1; // three places of their own
    *b = 2;
    *c = 3;
    return *a == 1 && *b == 2 ? c : nullptr;
}

int integer_input(const char* prompt, int defaultValue, int minValue, int maxValue) {
    calls.push_back(std::string(prompt) + " " + std::to_string(defaultValue) + " " + std::to_string(minValue) + " " +
                    std::to_string(maxValue));
    return INT_MIN;
}

void forget_all() {
#define HOST_FUNCTION(name) host::name = nullptr;
#include "plugin/host_functions.def"
#undef HOST_FUNCTION
}

class UserInterface : public testing::Test {
protected:
    void SetUp() override {
        forget_all();
        calls.clear();
        pathAnswer = 1;
        protocolAnswer = 1;
        intervalCount = 2;
        pathFill = std::string("a.ctc") + '\0';
    }
    void TearDown() override { forget_all(); }
};

} // namespace

TEST_F(UserInterface, WhatTheWorkbenchDoesNotHaveDoesNothingAndAnswersZero) {
    obs::log_line("x");
    obs::message_box("x");
    obs::show_log_tab();
    obs::show_busy_cursor();
    obs::stop_busy_cursor();
    obs::update_window();
    obs::load_protocol("x.prt");
    EXPECT_FALSE(obs::has_volume_document());
    EXPECT_FALSE(obs::ask_open_file("title", "*.ctc").has_value());
    EXPECT_EQ(obs::ask_integer("prompt", 5, 1, 9), 0);
    ProtocolStruct protocol;
    std::memset(&protocol, 0x5A, sizeof protocol);
    EXPECT_FALSE(obs::get_protocol(&protocol));
    EXPECT_TRUE(all_bytes_zero(&protocol));
    ProtocolConditionStruct condition;
    std::memset(&condition, 0x5A, sizeof condition);
    obs::get_protocol_condition(3, &condition);
    EXPECT_TRUE(all_bytes_zero(&condition));
}

TEST_F(UserInterface, RecordsAreZeroedBeforeEachCall) {
    host::nvGetProtocol = get_protocol;
    host::nvGetProtocolCondition = get_condition;
    ProtocolStruct protocol;
    ProtocolConditionStruct condition;
    std::memset(&protocol, 0x5A, sizeof protocol);
    std::memset(&condition, 0x5A, sizeof condition);
    for (int round = 0; round < 2; ++round) { // the second round finds them as the first left them
        recordWasZero = false;
        EXPECT_TRUE(obs::get_protocol(&protocol));
        EXPECT_TRUE(recordWasZero);
        EXPECT_EQ(protocol.nrOfConditions, 7);
        EXPECT_EQ(protocol.timeResolution, 0x5A5A5A5A);
        recordWasZero = false;
        obs::get_protocol_condition(round, &condition);
        EXPECT_TRUE(recordWasZero);
        EXPECT_EQ(condition.intervals, intervals);
        EXPECT_EQ(condition.name[255], 0x5A);
    }
    EXPECT_EQ(calls, (std::vector<std::string>{"condition 0", "condition 1"}));
}

TEST_F(UserInterface, ANegativeIntervalCountIsZero) {
    host::nvGetProtocolCondition = get_condition;
    ProtocolConditionStruct condition;
    for (const std::int32_t count : {INT_MIN, -1, 0, 1, INT_MAX}) {
        intervalCount = count;
        obs::get_protocol_condition(0, &condition);
        EXPECT_EQ(condition.nrOfIntervals, std::max(count, 0));
    }
}

TEST_F(UserInterface, AnyAnswerButZeroIsAProtocol) {
    host::nvGetProtocol = get_protocol;
    ProtocolStruct protocol;
    for (const int answer : {1, 2, -1, 256, INT_MIN}) {
        protocolAnswer = answer;
        EXPECT_TRUE(obs::get_protocol(&protocol)) << answer;
    }
    protocolAnswer = 0;
    EXPECT_FALSE(obs::get_protocol(&protocol));
}

TEST_F(UserInterface, AnyAnswerButZeroIsAChosenFile) {
    host::nvGetOpenFileName = open_file;
    for (const int answer : {1, 2, -1, 256, INT_MIN}) {
        pathAnswer = answer;
        EXPECT_EQ(obs::ask_open_file("Which?", "*.prt"), "a.ctc") << answer;
        EXPECT_EQ(calls.back(), "Which?||*.prt") << "an empty second text and a cleared buffer";
    }
    pathAnswer = 0;
    EXPECT_FALSE(obs::ask_open_file("Which?", "*.prt").has_value()) << "whatever the buffer then holds";
    pathAnswer = 1;
    pathFill = "";
    EXPECT_EQ(obs::ask_open_file("Which?", "*.prt"), "") << "chosen, and empty";
}

TEST_F(UserInterface, APathIsAtMost255Bytes) {
    host::nvGetOpenFileName = open_file;
    pathFill = std::string(255, 'p') + '\0';
    EXPECT_EQ(obs::ask_open_file("", ""), std::string(255, 'p'));
    pathFill = std::string(256, 'p'); // the whole buffer, no NUL
    EXPECT_EQ(obs::ask_open_file("", ""), std::string(255, 'p'));
}

TEST_F(UserInterface, TheVolumeDocumentIsAskedForWithThreePlaces) {
    host::nvGetCurrentVMR = volume_document;
    EXPECT_TRUE(obs::has_volume_document());
    host::nvGetCurrentVMR = [](int*, int*, int*) -> void* { return nullptr; };
    EXPECT_FALSE(obs::has_volume_document());
}

TEST_F(UserInterface, NumbersAreHandedOnAsTheyAre) {
    host::nvGetIntegerInput = integer_input;
    EXPECT_EQ(obs::ask_integer("How many?", -3, INT_MIN, INT_MAX), INT_MIN) << "not kept within the range";
    EXPECT_EQ(calls, (std::vector<std::string>{"How many? -3 -2147483648 2147483647"}));
}
