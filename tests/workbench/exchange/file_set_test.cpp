#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/support/temporary_folder.h"
#include "tests/workbench/refusal.h"
#include "workbench/exchange/file_set.h"
#include "workbench/pending_file.h"

namespace {

using namespace workbench::exchange;
using workbench::PendingFile;

class FileSet : public testing::Test {
protected:
    // Commits a, b and c; something takes c's name at the last moment where it should fail.
    void commit(bool overwrite, bool failing) {
        PendingFile a("a", overwrite);
        PendingFile b("b", overwrite);
        PendingFile c("c", overwrite);
        a.stream() << "new a";
        b.stream() << "new b";
        c.stream() << "new c";
        if (failing) {
            std::filesystem::remove("c");
            std::filesystem::create_directory("c");
        }
        commit_together({{"a", [&] { a.commit(); }}, {"b", [&] { b.commit(); }}, {"c", [&] { c.commit(); }}});
    }

    static std::string names() {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(".")) {
            found.push_back(entry.path().filename().string());
        }
        std::sort(found.begin(), found.end());
        std::string text;
        for (const std::string& name : found) {
            text += name + " ";
        }
        return text;
    }

    support::TemporaryFolder folder{support::TemporaryFolder::Use::asCurrentDirectory};
};

TEST_F(FileSet, AllAppear) {
    commit(false, false);
    EXPECT_EQ(names(), "a b c ");
    EXPECT_EQ(support::read_file("b"), "new b");
}

TEST_F(FileSet, OrNone) {
    EXPECT_EQ(test::refusal([&] { commit(false, true); }), "c: is a folder, not a file");
    EXPECT_EQ(names(), "c ");
}

TEST_F(FileSet, WhatWasReplacedComesBack) {
    support::write_file("a", "old a");
    EXPECT_EQ(test::refusal([&] { commit(true, true); }), "c: is a folder, not a file");
    EXPECT_EQ(names(), "a c ");
    EXPECT_EQ(support::read_file("a"), "old a");
}

TEST_F(FileSet, WhatWasReplacedGoesWhenAllIsWell) {
    support::write_file("a", "old a");
    commit(true, false);
    EXPECT_EQ(names(), "a b c ");
    EXPECT_EQ(support::read_file("a"), "new a");
}

TEST_F(FileSet, NamesAreCheckedBeforehand) {
    support::write_file("in", "x");
    EXPECT_EQ(test::refusal([] {
                  require_output_names({"out", "in"}, {"in"}, true);
              }),
              "in: is a file that is read; choose another name with -o");
    EXPECT_EQ(test::refusal([] {
                  require_output_names({"out", "./out"}, {}, true);
              }),
              "./out: two files would have this name; choose another one with -o");
    EXPECT_EQ(test::refusal([] { require_output_names({"in"}, {}, false); }),
              "in: exists already (--overwrite replaces it)");
    EXPECT_EQ(test::refusal([] { require_output_names({"out"}, {"in", ""}, false); }), "(not refused)");
}

} // namespace
