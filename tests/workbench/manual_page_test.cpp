#include "workbench/manual_page.h"

#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "workbench/cli11.h"

namespace {

class ManualPage : public testing::Test {
protected:
    ManualPage() {
        command_ = app_.add_subcommand("clean", "Clean 'it'");
        command_->add_option("IN.ctc", text_, "what to clean")->required();
        command_->add_option("MORE", list_, "others");
        command_->add_option("-k,--kind", text_, ".prt of a\\b kind")->required()->check(CLI::IsMember({"a", "b"}));
        command_->add_option("--pre", number_, "ms before")->check(CLI::Range(0, 5000))->capture_default_str();
        command_->add_flag("--quiet", flag_, "say nothing");
        command_->footer("A note.\nExample:\n  program clean x.ctc \\\n      --kind a\n");
        app_.add_subcommand("secret", "Not shown")->group("");
    }

    std::string page() { return workbench::manual_page(app_, *command_); }

    static void expect_lines(const std::string& page, const std::vector<std::string>& lines) {
        std::string together = "\n";
        for (const std::string& line : lines) {
            together += line + "\n";
        }
        EXPECT_NE(("\n" + page).find(together), std::string::npos) << together << "is not in\n" << page;
    }

    CLI::App app_{"A program", "program"};
    CLI::App* command_ = nullptr;
    std::string text_;
    std::vector<std::string> list_;
    int number_ = 7;
    bool flag_ = false;
};

TEST_F(ManualPage, IsNamedByProgramAndCommand) {
    EXPECT_EQ(workbench::manual_page_name(app_, *command_), "program-clean");
    EXPECT_EQ(workbench::manual_page_name(app_, app_), "program");
    EXPECT_EQ(page().substr(0, 19), ".TH PROGRAM-CLEAN 1");
}

TEST_F(ManualPage, TellsWhatMustBeGiven) {
    expect_lines(page(), {".SH SYNOPSIS", "\\fBprogram clean\\fR \\fIIN.ctc\\fR [\\fIMORE\\fR ...] \\fB\\-\\-kind\\fR "
                                          "\\fIa|b\\fR [\\fIoptions\\fR]"});
}

TEST_F(ManualPage, TellsValuesRangesAndDefaults) {
    expect_lines(page(), {".TP", "\\fB\\-\\-pre\\fR \\fIN\\fR", "ms before (0 to 5000; default 7)"});
    expect_lines(page(), {".TP", "\\fB\\-\\-quiet\\fR", "say nothing"});
}

TEST_F(ManualPage, NoTextIsTakenForARequest) {
    expect_lines(page(), {".TP", "\\fB\\-k\\fR, \\fB\\-\\-kind\\fR \\fIa|b\\fR", "\\&.prt of a\\eb kind (required)"});
    expect_lines(page(), {".SH NAME", "program\\-clean \\- Clean \\(aqit\\(aq"});
}

TEST_F(ManualPage, KeepsTheLinesOfExamples) {
    expect_lines(page(), {".SH NOTES", "A note.", ".SH EXAMPLES", ".nf", ".RS", "program clean x.ctc \\e",
                          "    \\-\\-kind a", ".RE", ".fi"});
}

TEST_F(ManualPage, TheProgramsListsItsShownCommands) {
    const std::string program = workbench::manual_page(app_, app_);
    expect_lines(program, {".SH COMMANDS", ".TP", "\\fBclean\\fR", "Clean \\(aqit\\(aq"});
    expect_lines(program, {".SH \"SEE ALSO\"", "\\fBprogram\\-clean\\fR(1)"});
    EXPECT_EQ(program.find("secret"), std::string::npos);
}

TEST_F(ManualPage, ProseIsBrokenIntoShortLines) {
    std::string words;
    for (int i = 0; i < 100; ++i) {
        words += "word ";
    }
    command_->add_option("--long", text_, words);
    std::istringstream lines(page());
    int broken = 0;
    for (std::string line; std::getline(lines, line);) {
        if (line.find("word word") == 0) {
            EXPECT_LE(line.size(), 80U);
            ++broken;
        }
    }
    EXPECT_GE(broken, 500 / 80);
}

} // namespace
