#include "workbench/pending_file.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <iostream>
#include <optional>
#include <set>
#include <string>

#include <sys/resource.h>
#include <sys/stat.h>

#include "tests/support/temporary_folder.h"
#include "tests/workbench/refusal.h"

namespace {

using support::TemporaryFolder;
using test::refusal;
using workbench::PendingFile;

// Everything in the folder, hidden files included.
std::set<std::string> entries(const TemporaryFolder& folder) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        names.insert(entry.path().filename().string());
    }
    return names;
}

const std::set<std::string> nothing;

TEST(PendingFile, AppearsOnlyWithCommit) {
    const TemporaryFolder folder;
    PendingFile file(folder.path("a.txt"), false);
    file.stream() << "content";
    EXPECT_FALSE(folder.has("a.txt"));
    EXPECT_EQ(file.temporary_path().parent_path(), folder.path());
    EXPECT_TRUE(std::filesystem::exists(file.temporary_path()));
    file.commit();
    EXPECT_EQ(folder.read("a.txt"), "content");
    EXPECT_EQ(entries(folder), std::set<std::string>{"a.txt"});
}

TEST(PendingFile, LeavesNothingWithoutCommit) {
    const TemporaryFolder folder;
    { PendingFile(folder.path("a.txt"), false).stream() << "content"; }
    EXPECT_EQ(entries(folder), nothing);
}

TEST(PendingFile, CanBeWrittenOutOfOrder) {
    const TemporaryFolder folder;
    PendingFile file(folder.path("a.txt"), false);
    file.stream() << "..cd";
    file.stream().seekp(0);
    file.stream() << "ab";
    file.commit();
    EXPECT_EQ(folder.read("a.txt"), "abcd");
}

TEST(PendingFile, HasTheUsualPermissions) {
    const TemporaryFolder folder;
    const mode_t mask = umask(022);
    PendingFile file(folder.path("a.txt"), false);
    umask(mask);
    file.commit();
    struct stat status {};
    ASSERT_EQ(stat(folder.path("a.txt").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0644U);
}

TEST(PendingFile, SeveralCanBeOpenInOneFolder) {
    const TemporaryFolder folder;
    PendingFile a(folder.path("a"), false);
    PendingFile b(folder.path("b"), false);
    a.stream() << "A";
    b.stream() << "B";
    b.commit();
    a.commit();
    EXPECT_EQ(folder.read("a") + folder.read("b"), "AB");
}

TEST(PendingFile, WorksWithABareNameAndTheLongestName) {
    const TemporaryFolder folder(TemporaryFolder::Use::asCurrentDirectory);
    const std::string longest(255, 'n');
    for (const std::string& name : {std::string("bare"), longest}) {
        PendingFile file(name, false);
        file.stream() << "x";
        file.commit();
        EXPECT_EQ(folder.read(name), "x");
    }
}

TEST(PendingFile, RefusesATakenNameUnlessTold) {
    const TemporaryFolder folder;
    const std::string taken = folder.write("a.txt", "old");
    EXPECT_EQ(refusal([&] { PendingFile(taken, false); }), taken + ": exists already (--overwrite replaces it)");
    EXPECT_EQ(folder.read("a.txt"), "old");
    PendingFile file(taken, true);
    file.stream() << "new";
    EXPECT_EQ(folder.read("a.txt"), "old");
    file.commit();
    EXPECT_EQ(folder.read("a.txt"), "new");
    EXPECT_EQ(entries(folder), std::set<std::string>{"a.txt"});
}

TEST(PendingFile, RefusesWhatIsNotAFile) {
    const TemporaryFolder folder;
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::filesystem::create_directory_symlink(folder.path(), folder.path("link"));
    std::filesystem::create_symlink(folder.path("nowhere"), folder.path("dangling"));
    for (const bool overwrite : {false, true}) {
        EXPECT_EQ(refusal([&] { PendingFile(folder.path(), overwrite); }), folder.path() + ": is a folder, not a file");
        EXPECT_EQ(refusal([&] { PendingFile(folder.path("link"), overwrite); }),
                  folder.path("link") + ": is a folder, not a file");
        EXPECT_EQ(refusal([&] { PendingFile(pipe, overwrite); }), pipe + ": is not a regular file");
        EXPECT_EQ(refusal([&] { PendingFile("", overwrite); }), "\"\" is not the name of a file");
        EXPECT_EQ(refusal([&] { PendingFile(folder.path() + "/", overwrite); }),
                  "\"" + folder.path() + "/\" is not the name of a file");
        EXPECT_EQ(refusal([&] { PendingFile("..", overwrite); }), "\"..\" is not the name of a file");
        EXPECT_EQ(refusal([&] { PendingFile(folder.path("none/a"), overwrite); }),
                  folder.path("none/a") + ": there is no folder " + folder.path("none"));
    }
    EXPECT_EQ(refusal([&] { PendingFile(folder.path("dangling"), false); }),
              folder.path("dangling") + ": exists already (--overwrite replaces it)");
    EXPECT_EQ(entries(folder), (std::set<std::string>{"dangling", "link", "pipe"}));
}

TEST(PendingFile, NeverReplacesAFileThatAppearedMeanwhile) {
    const TemporaryFolder folder;
    PendingFile file(folder.path("a.txt"), false);
    file.stream() << "mine";
    folder.write("a.txt", "theirs");
    EXPECT_EQ(refusal([&] { file.commit(); }), folder.path("a.txt") + ": exists already (--overwrite replaces it)");
    EXPECT_EQ(folder.read("a.txt"), "theirs");
    EXPECT_EQ(entries(folder), std::set<std::string>{"a.txt"});
}

// In a child process whose files may have at most 8192 bytes.
void write_too_much(const std::string& path, bool checkEarly) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{8192, 8192};
    setrlimit(RLIMIT_FSIZE, &limit);
    std::string message = "(not refused)";
    {
        PendingFile file(path, false);
        file.stream() << std::string(20000, 'x');
        message = refusal([&] { checkEarly ? file.check() : file.commit(); });
    }
    std::cerr << message << "\n";
    std::exit(message == path + ": could not be written completely (File too large)" &&
                      std::filesystem::is_empty(std::filesystem::path(path).parent_path())
                  ? 0
                  : 1);
}

TEST(PendingFileDeathTest, AFailedWriteIsNoticedAndLeavesNothing) {
    const TemporaryFolder folder;
    EXPECT_EXIT(write_too_much(folder.path("a.txt"), false), testing::ExitedWithCode(0), "File too large");
    EXPECT_EXIT(write_too_much(folder.path("a.txt"), true), testing::ExitedWithCode(0), "File too large");
    EXPECT_EQ(entries(folder), nothing);
}

TEST(MoveIntoPlace, GivesAFileItsName) {
    const TemporaryFolder folder;
    workbench::move_into_place(folder.write("from", "new"), folder.path("to"), false);
    EXPECT_EQ(folder.read("to"), "new");
    EXPECT_EQ(entries(folder), std::set<std::string>{"to"});
}

TEST(MoveIntoPlace, ReplacesOnlyWhenTold) {
    const TemporaryFolder folder;
    folder.write("from", "new");
    folder.write("to", "old");
    EXPECT_EQ(refusal([&] { workbench::move_into_place(folder.path("from"), folder.path("to"), false); }),
              folder.path("to") + ": exists already (--overwrite replaces it)");
    EXPECT_EQ(folder.read("from") + folder.read("to"), "newold");
    workbench::move_into_place(folder.path("from"), folder.path("to"), true);
    EXPECT_EQ(folder.read("to"), "new");
    EXPECT_FALSE(folder.has("from"));
}

TEST(MoveIntoPlace, SaysWhyItCannot) {
    const TemporaryFolder folder;
    for (const bool overwrite : {false, true}) {
        EXPECT_EQ(refusal([&] { workbench::move_into_place(folder.path("none"), folder.path("to"), overwrite); }),
                  folder.path("to") + ": cannot be put in its place (No such file or directory)");
    }
    EXPECT_EQ(entries(folder), nothing);
}

TEST(ClaimAndRename, NeverReplacesEither) {
    const TemporaryFolder folder;
    folder.write("from", "new");
    folder.write("taken", "old");
    EXPECT_EQ(refusal([&] { workbench::claim_and_rename(folder.path("from"), folder.path("taken")); }),
              folder.path("taken") + ": exists already (--overwrite replaces it)");
    EXPECT_EQ(folder.read("from") + folder.read("taken"), "newold");
    workbench::claim_and_rename(folder.path("from"), folder.path("free"));
    EXPECT_EQ(folder.read("free"), "new");
    EXPECT_EQ(refusal([&] { workbench::claim_and_rename(folder.path("from"), folder.path("other")); }),
              folder.path("other") + ": cannot be put in its place (No such file or directory)");
    EXPECT_EQ(entries(folder), (std::set<std::string>{"free", "taken"}));
}

} // namespace
