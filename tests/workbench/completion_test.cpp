#include "workbench/completion.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "workbench/cli11.h"

namespace {

using workbench::complete;
using workbench::Completion;

// A program with one command of every kind of option and argument.
class CompletionOf : public testing::Test {
protected:
    CompletionOf() {
        app_.set_version_flag("--version", "1");
        CLI::App* clean = app_.add_subcommand("clean", "Clean a recording\nand more");
        clean->add_option("IN.ctc", text_, "what to clean");
        clean->add_option("OTHERS", list_, "any files");
        clean->add_option("--protocol", text_, "triggers (.prt)");
        clean->add_option("--condition", text_, "which of them");
        clean->add_option("-k,--kind", text_, "of artifact")->check(CLI::IsMember({"gradient", "heartbeat"}));
        clean->add_option("--pre", number_, "before, e.g. 5 or 2.5 ms");
        clean->add_option("--report", text_, "a page R.html, or R.clean.txt");
        clean->add_option("--skip", list_, "left out");
        clean->add_option("--page", text_, "a page (.html)")->expected(0, 1);
        clean->add_flag("--quiet", flag_, "say nothing");
        app_.add_subcommand("compare", "Compare");
        app_.add_subcommand("secret", "Not shown")->group("");
    }

    static std::vector<std::string> words_of(const Completion& completion) {
        std::vector<std::string> words;
        for (const workbench::CompletionWord& word : completion.words) {
            words.push_back(word.word);
        }
        return words;
    }
    std::vector<std::string> words(const std::vector<std::string>& line) { return words_of(complete(app_, line)); }

    using Words = std::vector<std::string>;
    CLI::App app_{"A program", "program"};
    std::string text_;
    std::vector<std::string> list_;
    int number_ = 0;
    bool flag_ = false;
};

TEST_F(CompletionOf, NothingTypedIsTheShownCommands) {
    EXPECT_EQ(words({""}), (Words{"clean", "compare"}));
    EXPECT_EQ(words({}), (Words{"clean", "compare"}));
    EXPECT_EQ(complete(app_, {""}).words[0].description, "Clean a recording");
    EXPECT_FALSE(complete(app_, {""}).files);
}

TEST_F(CompletionOf, ABeginningNarrowsTheCommands) {
    EXPECT_EQ(words({"com"}), (Words{"compare"}));
    EXPECT_EQ(words({"clea", ""}), (Words{"clean", "compare"})); // not a command: it may still become one
    EXPECT_EQ(words({"x"}), Words{});
}

TEST_F(CompletionOf, ADashIsTheOptionsNotYetGiven) {
    EXPECT_EQ(words({"--"}), (Words{"--help", "--version"}));
    EXPECT_EQ(words({"clean", "--pr"}), (Words{"--protocol", "--pre"}));
    EXPECT_EQ(words({"clean", "--pre", "5", "--pr"}), (Words{"--protocol"}));
    EXPECT_EQ(words({"clean", "--pre=5", "--pr"}), (Words{"--protocol"}));
    EXPECT_EQ(words({"clean", "--skip", "a", "--sk"}), (Words{"--skip"})); // takes any number
    EXPECT_EQ(words({"clean", "-k", "gradient", "--k"}), Words{});
}

TEST_F(CompletionOf, AnOptionIsFollowedByWhatItTakes) {
    EXPECT_EQ(words({"clean", "--kind", ""}), (Words{"gradient", "heartbeat"}));
    EXPECT_EQ(words({"clean", "-k", "h"}), (Words{"heartbeat"}));
    EXPECT_EQ(words({"clean", "--kind", "=", "g"}), (Words{"gradient"})); // as bash splits it
    EXPECT_EQ(words({"clean", "--kind", "="}), (Words{"gradient", "heartbeat"}));
    EXPECT_FALSE(complete(app_, {"clean", "--kind", ""}).files);
}

TEST_F(CompletionOf, FilesHaveTheEndingsThatTheHelpNames) {
    const Completion protocol = complete(app_, {"clean", "--protocol", ""});
    EXPECT_TRUE(protocol.files);
    EXPECT_EQ(protocol.fileEndings, (Words{"prt"}));
    EXPECT_EQ(complete(app_, {"clean", "--report", ""}).fileEndings, (Words{"html", "txt"}));
    EXPECT_TRUE(complete(app_, {"clean", "--skip", ""}).files);
    EXPECT_EQ(complete(app_, {"clean", "--skip", ""}).fileEndings, Words{});
}

TEST_F(CompletionOf, AValueThatMayBeLeftOutGivesWayToAnOption) {
    EXPECT_EQ(complete(app_, {"clean", "--page", ""}).fileEndings, (Words{"html"}));
    EXPECT_EQ(words({"clean", "--page", "--q"}), (Words{"--quiet"}));
    EXPECT_EQ(words({"clean", "--page", "--kind", "h"}), (Words{"heartbeat"}));
    EXPECT_EQ(words({"clean", "--pre", "--q"}), Words{}); // this one must have its value
}

TEST_F(CompletionOf, NumbersAreNoFiles) {
    const Completion number = complete(app_, {"clean", "--pre", ""});
    EXPECT_FALSE(number.files);
    EXPECT_TRUE(number.words.empty());
}

TEST_F(CompletionOf, ArgumentsAreCountedWithoutOptionsAndTheirValues) {
    EXPECT_EQ(complete(app_, {"clean", ""}).fileEndings, (Words{"ctc"}));
    EXPECT_EQ(complete(app_, {"clean", "--quiet", "--pre", "5", ""}).fileEndings, (Words{"ctc"}));
    const Completion second = complete(app_, {"clean", "a.ctc", ""});
    EXPECT_TRUE(second.files);
    EXPECT_TRUE(second.fileEndings.empty());
    EXPECT_TRUE(complete(app_, {"clean", "a.ctc", "b", "c", "d", ""}).files); // the last takes any number
    EXPECT_EQ(words({"compare", "a", ""}), (Words{"--help"}));                // no argument is left
}

TEST_F(CompletionOf, ConditionsAreThoseOfTheProtocolGiven) {
    const support::TemporaryFolder folder;
    folder.write("r.prt", "FileVersion: 1\nExperiment: x\nTimeResolution: samples\n\n"
                          "Condition: slice start\n1\n2\n\nCondition: beat\n");
    const Completion conditions = complete(app_, {"clean", "--protocol", folder.path("r.prt"), "--condition", ""});
    ASSERT_EQ(words_of(conditions), (Words{"slice start", "beat"}));
    EXPECT_EQ(conditions.words[0].description, "2 triggers");
    EXPECT_FALSE(conditions.files);
    EXPECT_EQ(words({"clean", "--condition", ""}), Words{});
    EXPECT_EQ(words({"clean", "--protocol", folder.path("absent.prt"), "--condition", ""}), Words{});
}

TEST_F(CompletionOf, TheAnswerIsALineAboutFilesThenWords) {
    EXPECT_EQ(completion_text(complete(app_, {"clean", "--kind", "h"})), ":\nheartbeat\t\n");
    EXPECT_EQ(completion_text(complete(app_, {"clean", "--report", ""})), ":files html txt\n");
    EXPECT_EQ(completion_text(complete(app_, {"clean", "--skip", ""})), ":files\n");
    EXPECT_EQ(completion_text(complete(app_, {"comp"})), ":\ncompare\tCompare\n");
}

TEST(CompletionScript, NamesTheProgramThroughout) {
    for (const std::string shell : {"bash", "zsh", "fish"}) {
        const std::string script = workbench::completion_script(shell, "ctc");
        EXPECT_EQ(script.find("PROGRAM"), std::string::npos) << shell;
        EXPECT_NE(script.find("ctc completion " + shell), std::string::npos) << shell;
    }
}

} // namespace
