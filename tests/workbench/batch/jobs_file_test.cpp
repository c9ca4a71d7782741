#include "workbench/batch/jobs_file.h"

#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tests/workbench/refusal.h"

namespace {

using workbench::Job;
using workbench::JobsFile;
using workbench::read_jobs;

const std::string header = "recording,protocol,condition,pre,post,segment,components\n";

class JobsFileTest : public testing::Test {
protected:
    JobsFile read(const std::string& text) const { return read_jobs(folder.write("jobs.csv", text)); }
    std::string problem(const std::string& text) const {
        const JobsFile file = read(text);
        return file.problems.size() == 1 ? file.problems[0] : std::to_string(file.problems.size()) + " problems";
    }
    std::string refused(const std::string& text) const {
        return test::refusal([&] { read(text); });
    }

    support::TemporaryFolder folder;
};

void expect_part(const std::string& text, const std::string& part) {
    EXPECT_NE(text.find(part), std::string::npos) << text;
}

TEST_F(JobsFileTest, NeededColumnsSuffice) {
    const JobsFile file = read(header + "sub/a.ctc,a.prt,slice,0,63,50,3\n");
    ASSERT_EQ(file.jobs.size(), 1U);
    EXPECT_TRUE(file.problems.empty());
    const Job& job = file.jobs[0];
    EXPECT_EQ(job.line, 2U);
    EXPECT_EQ(job.recording, "sub/a.ctc");
    EXPECT_EQ(job.recordingFile, folder.path("sub/a.ctc"));
    EXPECT_EQ(job.protocolFile, folder.path("a.prt"));
    EXPECT_EQ(job.truthFile, "");
    EXPECT_EQ(job.condition, "slice");
    EXPECT_EQ(job.pre, 0);
    EXPECT_EQ(job.post, 63);
    EXPECT_EQ(job.segment, 50);
    EXPECT_EQ(job.components, 3);
    EXPECT_EQ(job.output, "sub/a_OBS.ctc");
    EXPECT_EQ(job.product, "fixed");
    EXPECT_TRUE(job.report);
    EXPECT_FALSE(job.asIs);
}

TEST_F(JobsFileTest, ColumnsComeInAnyOrderAndFieldsInQuotes) {
    const JobsFile file = read("as_is,report,product,truth,output,components,segment,post,pre,condition,protocol,"
                               "recording\r\n\r\nyes,no,blas,/t/t.ctc,x/y.ctc,4,40,500,200,\"R, \"\"1\"\"\",p.prt,"
                               "/data/r.ctc\r\n");
    ASSERT_EQ(file.jobs.size(), 1U);
    const Job& job = file.jobs[0];
    EXPECT_EQ(job.line, 3U);
    EXPECT_TRUE(job.asIs);
    EXPECT_FALSE(job.report);
    EXPECT_EQ(job.product, "blas");
    EXPECT_EQ(job.truthFile, "/t/t.ctc");
    EXPECT_EQ(job.output, "x/y.ctc");
    EXPECT_EQ(job.components, 4);
    EXPECT_EQ(job.segment, 40);
    EXPECT_EQ(job.post, 500);
    EXPECT_EQ(job.pre, 200);
    EXPECT_EQ(job.condition, "R, \"1\"");
    EXPECT_EQ(job.recordingFile, "/data/r.ctc");
}

TEST_F(JobsFileTest, LinesOfASpreadsheetThatHoldNothingArePassedOver) {
    const JobsFile file = read(header + "a.ctc,a.prt,1,0,63,50,3\n,,,,,,\n\n");
    EXPECT_EQ(file.jobs.size(), 1U);
    EXPECT_TRUE(file.problems.empty());
}

TEST_F(JobsFileTest, HeaderThatCannotBeUsedIsRefused) {
    expect_part(refused(""), ":1: expected a header line");
    expect_part(refused(header), "at least one line");
    expect_part(refused("recording,protocol,condition,pre,post,segment\n"), "found none of the name components");
    expect_part(refused("recording,recording\n"), "\"recording\" twice");
    expect_part(refused("recording,colour\n"), "found \"colour\"");
    expect_part(refused("recording;protocol;condition\n"), "commas between the columns");
    expect_part(refused("\"recording,protocol\n"), "closed quotes");
    expect_part(refused("\xEF\xBB\xBF" + header), "byte order mark");
}

TEST_F(JobsFileTest, EveryLineThatCannotBeUsedIsNamed) {
    const JobsFile file = read(header + "a.ctc,a.prt,slice,0,63,50,3\n"
                                        "b.ctc,b.prt,slice,0,63,50\n"
                                        ",b.prt,slice,-1,6x3,50,3\n"
                                        "\"d.ctc,d.prt,slice,0,63,50,3\n");
    EXPECT_EQ(file.jobs.size(), 1U);
    ASSERT_EQ(file.problems.size(), 5U);
    expect_part(file.problems[0], "jobs.csv:3: the line has 6 fields, the header 7");
    expect_part(file.problems[1], "jobs.csv:4: the column recording is empty");
    expect_part(file.problems[2], "jobs.csv:4: pre must be a whole number, 0 to 5000, not \"-1\"");
    expect_part(file.problems[3], "jobs.csv:4: post must be a whole number, 0 to 5000, not \"6x3\"");
    expect_part(file.problems[4], "jobs.csv:5: a quote is not closed");
}

TEST_F(JobsFileTest, ValuesOutOfRangeAreNamed) {
    expect_part(problem(header + "a.ctc,a.prt,x,5001,63,50,3\n"), ":2: pre must");
    expect_part(problem(header + "a.ctc,a.prt,x,0,5001,50,3\n"), ":2: post must");
    expect_part(problem(header + "a.ctc,a.prt,x,0,63,9,3\n"), ":2: segment must be a whole number, at least 10");
    expect_part(problem(header + "a.ctc,a.prt,x,0,63,50,0\n"), ":2: components must");
    expect_part(problem(header + "a.ctc,a.prt,x,0,63,50,51\n"), "components (51) must not be more than segment (50)");
    expect_part(problem(header + "a.ctc,a.prt,x,0,63,,3\n"), ":2: segment must");
}

TEST_F(JobsFileTest, WordsThatNobodyKnowsAreNamed) {
    const std::string line = "a.ctc,a.prt,x,0,63,50,3,";
    const std::string start = header.substr(0, header.size() - 1) + ",";
    expect_part(problem(start + "product\n" + line + "mkl\n"), "product must be fixed or blas, not \"mkl\"");
    expect_part(problem(start + "report\n" + line + "1\n"), "report must be yes or no");
    expect_part(problem(start + "as_is\n" + line + "YES\n"), "as_is must be yes or no");
}

TEST_F(JobsFileTest, OutputsStayInTheResultsFolder) {
    const std::string start = header.substr(0, header.size() - 1) + ",output\na.ctc,a.prt,x,0,63,50,3,";
    for (const char* output :
         {"/tmp/x.ctc", "../x.ctc", "a/../../x.ctc", "x.dat", "x", ".workbench-batch/x.ctc", ".ctc", "a/"}) {
        expect_part(problem(start + output + "\n"), "output must be a name in the results folder");
    }
    expect_part(problem(start + "summary.ctc\n"), "the name summary is taken");
    EXPECT_EQ(read(start + "a/../b.ctc\n").jobs.at(0).output, "b.ctc");
}

TEST_F(JobsFileTest, NamesThatEndEarlierForTheSystemAreRefused) {
    const std::string start = header.substr(0, header.size() - 1) + ",output\na.ctc,a.prt,x,0,63,50,3,";
    expect_part(refused(start + std::string("b\0.ctc\n", 7)), ":2: expected UTF-8 text, found \"a.ctc");
}

TEST_F(JobsFileTest, TwoLinesCannotHaveOneResult) {
    expect_part(problem(header + "x/a.ctc,a.prt,x,0,63,50,3\n./x/a.ctc,a.prt,x,0,63,50,4\n"),
                "jobs.csv:3: gives the same result x/a_OBS.ctc as line 2");
}

TEST(DefaultOutput, KeepsTheSubfolderWhereItLeadsNowhereElse) {
    using workbench::default_output;
    EXPECT_EQ(default_output("a.ctc"), "a_OBS.ctc");
    EXPECT_EQ(default_output("./s/t/a.ctc"), "s/t/a_OBS.ctc");
    EXPECT_EQ(default_output("/data/a.ctc"), "a_OBS.ctc");
    EXPECT_EQ(default_output("../raw/a.b.ctc"), "a.b_OBS.ctc");
    EXPECT_EQ(default_output(".hidden/a.ctc"), "a_OBS.ctc");
}

} // namespace
