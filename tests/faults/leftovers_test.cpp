// What killed runs leave is cleared up by a later run; nothing else is.

#include <filesystem>
#include <string>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "tests/faults/faulty_run.h"

namespace {

namespace fs = std::filesystem;
using faults::FaultyRun;
using support::CommandResult;
using support::read_file;
using support::write_file;

class Leftovers : public FaultyRun {
protected:
    static std::string this_host() {
        char name[256] = "";
        gethostname(name, sizeof name - 1);
        return name;
    }

    static void make_leftover(const std::string& owner) {
        fs::create_directory(left);
        write_file(std::string(left) + "/owner", owner);
        write_file(std::string(left) + "/recording_OBS.ctc", "cleaned");
    }

    void expect_gone() const {
        const CommandResult result = run();
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_FALSE(fs::exists(left));
    }

    // Notes name it, or nothing does.
    void expect_kept(bool named) const {
        const CommandResult result = run();
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_TRUE(fs::exists(left));
        EXPECT_EQ(result.err.find(left) != std::string::npos, named) << result.err;
        expect_right_results();
    }

    static constexpr const char* left = ".workbench-aB3dE6";
};

TEST_F(Leftovers, OfThisMachineAreRemovedAndNamed) {
    make_leftover(this_host() + "\nrec_slice.trl");
    const CommandResult result = run();
    EXPECT_EQ(result.err, "workbench: note: removed ./" + std::string(left) + ", which a killed run had left\n");
    EXPECT_FALSE(fs::exists(left));
    expect_right_results();
}

TEST_F(Leftovers, OfARunThatWasKilledInItsFirstMomentAreRemoved) {
    fs::create_directory(left);
    expect_gone();
    start_afresh();
    fs::create_directory(left);
    write_file(std::string(left) + "/owner", "");
    expect_gone();
}

TEST_F(Leftovers, FolderOfARunAtWorkStays) {
    make_leftover(this_host() + "\nrec_slice.trl");
    const int owner = open((std::string(left) + "/owner").c_str(), O_RDWR);
    ASSERT_EQ(flock(owner, LOCK_EX | LOCK_NB), 0);
    expect_kept(false);
    close(owner);
    fs::remove("rec_OBS.ctc");
    fs::remove("rec_slice.trl");
    expect_gone();
}

TEST_F(Leftovers, FolderOfAnotherMachineStaysAndIsNamed) {
    make_leftover("another-" + this_host() + "\nrec_slice.trl");
    expect_kept(true);
}

TEST_F(Leftovers, FolderThatNobodyOwnsStaysAndIsNamed) {
    fs::create_directory(left);
    write_file(std::string(left) + "/something", "");
    expect_kept(true);
}

TEST_F(Leftovers, OtherNamesAndLinksStay) {
    fs::create_directory("elsewhere");
    write_file("elsewhere/owner", this_host() + "\n");
    fs::create_directory_symlink("elsewhere", left);
    fs::create_directory(".workbench-batch");
    write_file(".workbench-batch/owner", this_host() + "\n");
    expect_kept(false);
    EXPECT_TRUE(fs::exists("elsewhere/owner"));
    EXPECT_TRUE(fs::exists(".workbench-batch/owner"));
}

TEST_F(Leftovers, TrialFileThatTheKilledRunHadPlacedIsTakenBack) {
    make_leftover(this_host() + "\nrec_slice.trl");
    write_file(std::string(left) + "/_slice.trl", "half a result");
    fs::create_hard_link(std::string(left) + "/_slice.trl", "rec_slice.trl");
    expect_gone();
    expect_right_results();
}

TEST_F(Leftovers, TrialFileThatItReplacedIsPutBack) {
    make_leftover(this_host() + "\nrec_slice.trl");
    write_file(std::string(left) + "/_slice.trl", "half a result");
    write_file(std::string(left) + "/replaced.trl", "old trials");
    fs::create_hard_link(std::string(left) + "/_slice.trl", "rec_slice.trl");
    EXPECT_EQ(run({"-o", "other.ctc"}).status, 0);
    EXPECT_EQ(read_file("rec_slice.trl"), "old trials");
    EXPECT_FALSE(fs::exists(left));
}

TEST_F(Leftovers, TrialFileOfSomebodyElseIsNotTaken) {
    make_leftover(this_host() + "\nrec_slice.trl");
    write_file(std::string(left) + "/_slice.trl", "12 lines");
    write_file("rec_slice.trl", "12 lines");
    const CommandResult result = run();
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find("rec_slice.trl: exists already"), std::string::npos) << result.err;
    EXPECT_EQ(read_file("rec_slice.trl"), "12 lines");
}

TEST_F(Leftovers, NameThatLeadsElsewhereIsNotFollowed) {
    fs::create_directory("elsewhere");
    make_leftover(this_host() + "\nelsewhere/rec_slice.trl");
    write_file(std::string(left) + "/_slice.trl", "precious");
    fs::create_hard_link(std::string(left) + "/_slice.trl", "elsewhere/rec_slice.trl");
    expect_gone();
    EXPECT_EQ(read_file("elsewhere/rec_slice.trl"), "precious");
}

} // namespace
