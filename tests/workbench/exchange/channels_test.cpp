#include <gtest/gtest.h>

#include "tests/workbench/exchange/reading.h"
#include "workbench/exchange/channel_choice.h"
#include "workbench/exchange/channels_table.h"

namespace {

using namespace test;
using namespace workbench::exchange;

class MadeUp : public ForeignRecording {
public:
    explicit MadeUp(std::vector<ForeignChannel> channels) : ForeignRecording("made.up") {
        channels_ = std::move(channels);
    }
    std::string format() const override { return "made up"; }
    std::vector<ForeignEvent> events() override { return {}; }
    void read(const std::vector<std::size_t>&, std::uint64_t, std::uint32_t, double*) override {}
};

const MadeUp mixed({{"Fp1", "uV", 500.0, 1000},
                    {"Fp2", "\xCE\xBCV", 500.0, 1000},
                    {"ECG", "mV", 500.0, 1000},
                    {"Resp", "uV", 50.0, 100},
                    {"Temp", "degC", 500.0, 1000},
                    {"Trigger", "", 500.0, 1000},
                    {"Broken", "uV", 500.0, 1000, "has no physical range"}});

std::string chosen(const ForeignRecording& recording, const std::string& unit = "",
                   const std::vector<std::string>& skip = {}) {
    std::string text;
    for (const ImportedChannel& channel : choose_channels(recording, unit, skip).imported) {
        text +=
            recording.channels()[channel.index].name + "*" + std::to_string(static_cast<int>(channel.microvolts)) + " ";
    }
    return text;
}

TEST(Units, AllOfVoltageBecomeMicrovolts) {
    EXPECT_EQ(microvolts_in("V"), 1e6);
    EXPECT_EQ(microvolts_in("mV"), 1e3);
    EXPECT_EQ(microvolts_in("uV"), 1.0);
    EXPECT_EQ(microvolts_in("\xC2\xB5V"), 1.0);
    EXPECT_EQ(microvolts_in("\xCE\xBCV"), 1.0);
    EXPECT_EQ(microvolts_in("nV"), 1e-3);
    EXPECT_EQ(microvolts_in("Volt"), 1e6);
    for (const char* other : {"", "degC", "MV", "mmHg", "Boolean", "V/s"}) {
        EXPECT_EQ(microvolts_in(other), std::nullopt) << other;
    }
}

TEST(ChannelChoice, TakesVoltagesOfThePrevailingRate) {
    EXPECT_EQ(chosen(mixed), "Fp1*1 Fp2*1 ECG*1000 ");
    EXPECT_EQ(choose_channels(mixed, "", {}).rate, 500.0);
}

TEST(ChannelChoice, TheRestIsNamedWithItsReason) {
    std::string text;
    for (const SkippedChannel& channel : choose_channels(mixed, "", {"ecg"}).skipped) {
        text += mixed.channels()[channel.index].name + ": " + channel.reason + "\n";
    }
    EXPECT_EQ(text, "ECG: left out as asked for\nResp: 50 Hz, not the 500 Hz of most channels\n"
                    "Temp: unit degC is no voltage\nTrigger: states no unit (--unit says which it is)\n"
                    "Broken: has no physical range\n");
}

TEST(ChannelChoice, AUnitCanBeGivenToChannelsWithoutOne) {
    EXPECT_EQ(chosen(mixed, "V", {"Fp2"}), "Fp1*1 ECG*1000 Trigger*1000000 ");
}

TEST(ChannelChoice, OfTwoRatesWithAsManyChannelsTheFasterOneIsTaken) {
    EXPECT_EQ(chosen(MadeUp({{"a", "uV", 100.0, 10}, {"b", "uV", 1000.0, 100}})), "b*1 ");
}

TEST(ChannelChoice, NothingLeftIsRefusedWithTheReasons) {
    EXPECT_EQ(
        refusal([] {
            chosen(MadeUp({{"Temp", "degC", 1.0, 1}, {"x", "", 1.0, 1}}));
        }),
        "made.up: no channel can be imported (Temp: unit degC is no voltage, x: states no unit (--unit says which "
        "it is))");
    EXPECT_EQ(refusal([] { chosen(mixed, "", {"Fp3"}); }),
              "made.up: has no channel \"Fp3\"; it has Fp1, Fp2, ECG, Resp, Temp, Trigger, Broken");
}

TEST(ChannelsTable, TellsOfEveryChannel) {
    EXPECT_EQ(channels_table_text(mixed, choose_channels(mixed, "", {"Fp1"})),
              "name\ttype\tunits\tsampling_frequency\tstatus\tstatus_description\tctc_channel\n"
              "Fp1\tEEG\tuV\t500\tn/a\tnot imported: left out as asked for\tn/a\n"
              "Fp2\tEEG\tuV\t500\tn/a\tn/a\t1\n"
              "ECG\tECG\tuV\t500\tn/a\tn/a\t2\n"
              "Resp\tEEG\tuV\t50\tn/a\tnot imported: 50 Hz, not the 500 Hz of most channels\tn/a\n"
              "Temp\tMISC\tdegC\t500\tn/a\tnot imported: unit degC is no voltage\tn/a\n"
              "Trigger\tTRIG\tn/a\t500\tn/a\tnot imported: states no unit (--unit says which it is)\tn/a\n"
              "Broken\tEEG\tuV\t500\tn/a\tnot imported: has no physical range\tn/a\n");
}

TEST(ChannelsTable, GivesTheNamesOfTheRecordingsChannels) {
    const support::TemporaryFolder folder;
    const std::string own = folder.write("own.tsv", channels_table_text(mixed, choose_channels(mixed, "", {})));
    const std::vector<NamedChannel> names = read_channels_table(own, 3);
    EXPECT_EQ(names[1].name, "Fp2");
    EXPECT_EQ(names[2].name, "ECG");
    EXPECT_EQ(names[2].type, "ECG");
    EXPECT_EQ(refusal([&] { read_channels_table(own, 4); }), own + ": names 3 channels, and the recording has 4");
    const std::string bids = folder.write("bids.tsv", "name\ttype\tunits\nCz\tEEG\tuV\nA\tMISC\tn/a\n");
    EXPECT_EQ(read_channels_table(bids, 2)[0].name, "Cz");
    EXPECT_EQ(refusal([&] { read_channels_table(folder.write("bad.tsv", "label\nCz\n"), 1); }),
              folder.path("bad.tsv") + ":1: expected a column \"name\", found none");
}

} // namespace
