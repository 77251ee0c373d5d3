// Command line and console: what a run writes to standard error, the exit
// statuses of refused command lines, where the report goes, the settings
// block in the report and the record range.

#include <gtest/gtest.h>

#include "e2e_util.h"

namespace {

const std::string kAborted = "\nAnalysis has been aborted due to errors. Error number: ";

// One record whose only repeat is AC x 6 at positions 3 to 14.
const std::string kOneRecord = ">chr1 test seq\nGTACACACACACACTT\n";

TEST(Console, DefaultRunWritesBannerSettingsProgressAndGoodbye)
{
  Scratch s;
  s.write("in.fa", kOneRecord);
  RunResult r = run_zerlan(s, {"in.fa"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, console_head(Shown()) + progress_line(1, 1, "chr1") + console_tail());
}

TEST(Console, ProgressHeaderIs130Bytes)
{
  const std::string header = "\n\nSearch progress:\n\nTime     - SeqNr - PatLen - Seq-Name\n" +
                             std::string(72, '-') + "\n";
  EXPECT_EQ(header.size(), 130u);
  Scratch s;
  s.write("in.fa", kOneRecord);
  RunResult r = run_zerlan(s, {"in.fa"});
  EXPECT_NE(r.err.find("Convert gaps and *s to Ns :           no\n" + header), std::string::npos);
}

TEST(Console, ProgressLineShowsMinimumUnitLengthAndShortName)
{
  Scratch s;
  s.write("in.fa", ">first one\nACGT\n>second two\nACGT\n");
  RunResult r = run_zerlan(s, {"--minUnitLen", "3", "in.fa"});
  EXPECT_EQ(r.status, 0);
  EXPECT_TRUE(ends_with(r.err, progress_line(1, 3, "first") + progress_line(2, 3, "second") +
                                   console_tail()))
      << r.err;
}

TEST(Console, ProgressLineCutsLongNameTo70Characters)
{
  Scratch s;
  const std::string name(100, 'q');
  s.write("in.fa", ">" + name + "\nACGT\n");
  RunResult r = run_zerlan(s, {"in.fa"});
  EXPECT_TRUE(ends_with(r.err, progress_line(1, 1, name.substr(0, 70)) + console_tail()));
}

TEST(CommandLine, NoArgumentsAsksForAnInputFile)
{
  Scratch s;
  RunResult r = run_zerlan(s, {});
  EXPECT_EQ(r.status, 255);
  EXPECT_EQ(r.err, kBanner +
                       "Error: No input file has been specified. Type zerlan --help for more "
                       "information.\n\n\n");
  EXPECT_EQ(r.out, "");
}

// Mode numbers outside their range end the run with -2 before any file is opened.
TEST(CommandLine, UnknownModeNumbersAreRefusedWithMinusTwo)
{
  const std::string head = "Sorry, a problem occured when parsing the command line options. ";
  struct Case {
    std::vector<std::string> args;
    std::string message;
  } cases[] = {
      {{"--outputFormat", "5"}, head + "An outputFormat with a value of 5 is unknown.\n\n"},
      {{"--outputFormat", "-1"}, head + "An outputFormat with a value of -1 is unknown.\n\n"},
      {{"--printRepeatSeqMode", "3"},
       head + "A printRepeatSeqMode with a value of 3 is unknown.\n\n"},
      {{"--reportUnit", "3"},
       head + "An option value of 3 for the reportUnit option is unknown.\n\n"},
  };
  for (const Case& c : cases) {
    Scratch s;
    std::vector<std::string> args = c.args;
    args.push_back("missing.fa");
    RunResult r = run_zerlan(s, args);
    EXPECT_EQ(r.status, 254) << c.args[0];
    EXPECT_EQ(r.err, kBanner + c.message + kAborted + "-2\n\n") << c.args[0];
    EXPECT_EQ(r.out, "");
  }
}

TEST(CommandLine, UnknownNPerfectionModeIsRefusedWithMinusTwo)
{
  Scratch s;
  RunResult r = run_zerlan(s, {"--NPerfectionMode", "3", "missing.fa"});
  EXPECT_EQ(r.status, 254);
  const std::string head =
      kBanner + "Sorry, a problem occured when parsing the command line options. ";
  ASSERT_EQ(r.err.compare(0, head.size(), head), 0) << r.err;
  const std::string message = r.err.substr(head.size());
  EXPECT_NE(message.find("NPerfectionMode"), std::string::npos);
  EXPECT_NE(message.find(" 3 "), std::string::npos);
  EXPECT_TRUE(ends_with(r.err, "\n\n" + kAborted + "-2\n\n")) << r.err;
}

// Invalid values and combinations end the run with -1, whose error end is
// only two line feeds.
TEST(CommandLine, InvalidValuesAreRefusedWithMinusOne)
{
  struct Case {
    std::vector<std::string> args;
    std::string message;
  } cases[] = {
      {{"--mismatchScore", "-1"}, "Sorry, the mismatch score must be smaller or equal to -2.\n"},
      {{"--indelScore", "-1"}, "Sorry, the indel score must be smaller or equal to -2.\n"},
      {{"--recursion", "0"},
       "Sorry, the recursion depth must be greater than 0.\nA value of 0 would corresponds to a "
       "perfect search.\n"},
      {{"--minUnitLen", "5", "--maxUnitLen", "4"},
       "I think you have made a mistake here: The maximum unit length must be greater\nor equal "
       "to the minimum unit length.\n"},
      {{"--minScore", "1"}, "Sorry, either the minimum score or the minimum length must be larger.\n"},
      {{"--minScore", "0", "--minScore_a", "1", "--minScore_b", "0.5"},
       "Sorry, either the minimum score or the minimum length must be larger.\n"},
  };
  for (const Case& c : cases) {
    Scratch s;
    std::vector<std::string> args = c.args;
    args.push_back("missing.fa");
    RunResult r = run_zerlan(s, args);
    EXPECT_EQ(r.status, 255) << c.args[0];
    EXPECT_EQ(r.err, kBanner + c.message + "\n\n") << c.args[0];
  }
}

// The values just inside the limits are taken and the run goes on.
TEST(CommandLine, BoundaryValuesAreAccepted)
{
  const std::vector<std::vector<std::string>> cases = {
      {"--mismatchScore", "-2"},
      {"--indelScore", "-2"},
      {"--minUnitLen", "4", "--maxUnitLen", "4"},
      {"--minScore", "1", "--minLength", "2"},
      {"--minScore", "2"},
      {"--outputFormat", "4"},
      {"--minPerfection", "90", "--maxPerfection", "10"},
      {"--recursion", "1"},
  };
  for (const auto& args : cases) {
    Scratch s;
    s.write("in.fa", kOneRecord);
    std::vector<std::string> a = args;
    a.push_back("in.fa");
    RunResult r = run_zerlan(s, a);
    EXPECT_EQ(r.status, 0) << args[0] << " " << args[1] << "\n" << r.err;
    EXPECT_TRUE(ends_with(r.err, console_tail())) << args[0];
  }
}

TEST(CommandLine, MissingInputFileEndsWithMinus101)
{
  Scratch s;
  RunResult r = run_zerlan(s, {"nothere.fa"});
  EXPECT_EQ(r.status, 155);
  EXPECT_EQ(r.err, kBanner +
                       "Sorry! The input file \n   \"nothere.fa\"\ncould not be opened. I guess it "
                       "does not exist.\n" +
                       kAborted + "-101\n\n");
  EXPECT_EQ(r.out, "");
}

TEST(CommandLine, ThreeFileNamesLeaveTheInputNameEmpty)
{
  Scratch s;
  s.write("in.fa", kOneRecord);
  RunResult r = run_zerlan(s, {"in.fa", "out.txt", "third.txt"});
  EXPECT_EQ(r.status, 155);
  EXPECT_EQ(r.err, kBanner +
                       "Sorry! The input file \n   \"\"\ncould not be opened. I guess it does not "
                       "exist.\n" +
                       kAborted + "-101\n\n");
  EXPECT_FALSE(s.exists("out.txt"));
}

TEST(CommandLine, OutputFileInMissingDirectoryEndsWithMinus102)
{
  Scratch s;
  s.write("in.fa", kOneRecord);
  RunResult r = run_zerlan(s, {"in.fa", "nodir/out.txt"});
  EXPECT_EQ(r.status, 154);
  EXPECT_EQ(r.err, kBanner + "Sorry! Failed to open file\n   \"nodir/out.txt\"\nas output file.\n" +
                       kAborted + "-102\n\n");
  EXPECT_EQ(r.out, "");
}

TEST(CommandLine, FileNamesAreWrittenLiterally)
{
  Scratch s;
  RunResult r = run_zerlan(s, {"100%s%d.fa"});
  EXPECT_EQ(r.status, 155);
  EXPECT_NE(r.err.find("   \"100%s%d.fa\"\n"), std::string::npos) << r.err;
}

TEST(CommandLine, HelpAndVersionEndWithStatusZero)
{
  Scratch s;
  RunResult help = run_zerlan(s, {"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("--searchMode"), std::string::npos);
  EXPECT_NE(help.out.find("This program searches for tandemly repeated patterns in DNA sequences."),
            std::string::npos);

  RunResult version = run_zerlan(s, {"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_NE(version.out.find("3.3.11.\nThis is a 64 bit version of Zerlan."), std::string::npos)
      << version.out;
}

// Malformed command lines are the parser's business: status 1, no run.
TEST(CommandLine, MalformedCommandLinesEndWithStatusOne)
{
  const std::vector<std::vector<std::string>> cases = {
      {"--searchMode", "fuzzy", "in.fa"},
      {"--minScore", "8", "--minScore", "9", "in.fa"},
      {"--maskX", "--maskX", "in.fa"},
      {"--minScore", "many", "in.fa"},
      {"in.fa", "--flanking"},
  };
  for (const auto& args : cases) {
    Scratch s;
    s.write("in.fa", kOneRecord);
    RunResult r = run_zerlan(s, args);
    EXPECT_EQ(r.status, 1) << args[0] << " " << args[1];
    EXPECT_EQ(r.err.find("Search progress:"), std::string::npos) << args[0];
  }
}

// An option the program does not know is a parse error too; it must not be
// taken for a file name.
TEST(CommandLine, UnknownOptionEndsWithStatusOne)
{
  Scratch s;
  s.write("in.fa", kOneRecord);
  RunResult r = run_zerlan(s, {"--noSuchOption", "in.fa"});
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err.find("could not be opened"), std::string::npos) << r.err;
}

TEST(Report, OneFileNameSendsTheReportToStandardOutput)
{
  Scratch s;
  s.write("in.fa", kOneRecord);
  RunResult r = run_zerlan(s, {"--outputFormat", "3", "in.fa"});
  Shown shown;
  shown.format = "one-per-line format";
  EXPECT_EQ(r.out, report_head(shown, legend_one_per_line(false)) +
                       "chr1\t2\t100.000\t3\t14\t12\t  6.000\t10\t0\t0\t0\t0\tAC\tACACACACACAC\n" +
                       kFinished);
}

TEST(Report, TwoFileNamesSendTheReportToTheSecondFile)
{
  Scratch s;
  s.write("in.fa", kOneRecord);
  s.write("out.txt", "old content that must go\n");
  RunResult r = run_zerlan(s, {"--outputFormat", "3", "in.fa", "out.txt"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
  Shown shown;
  shown.output = "out.txt";
  shown.format = "one-per-line format";
  EXPECT_EQ(s.read("out.txt"),
            report_head(shown, legend_one_per_line(false)) +
                "chr1\t2\t100.000\t3\t14\t12\t  6.000\t10\t0\t0\t0\t0\tAC\tACACACACACAC\n" +
                kFinished);
  EXPECT_EQ(r.err, console_head(shown) + progress_line(1, 1, "chr1") + console_tail());
}

// Labels and values are separated by a tab in the gff and one-per-line
// formats, on the console as well as in the report.
TEST(Report, SettingsBlockUsesTabsForGffAndOnePerLine)
{
  struct Case {
    std::string format, shown;
  } cases[] = {{"2", "gff"}, {"3", "one-per-line format"}};
  for (const Case& c : cases) {
    Scratch s;
    s.write("in.fa", kOneRecord);
    RunResult r = run_zerlan(s, {"--outputFormat", c.format, "in.fa"});
    EXPECT_EQ(r.status, 0);
    Shown shown;
    shown.format = c.shown;
    EXPECT_NE(r.out.find("# Parameter settings used in this search:\t\n"
                         "# Input file name:                        \tin.fa\n"),
              std::string::npos)
        << r.out;
    EXPECT_EQ(r.out.find("# Results computed with:\n#    Zerlan, version 3.3.11\n" +
                         settings_block(shown, "# ")),
              0u)
        << r.out;
    EXPECT_NE(r.err.find("Results computed with:\n   Zerlan, version 3.3.11\n" +
                         settings_block(shown, "")),
              std::string::npos)
        << r.err;
  }
}

TEST(Report, SettingsBlockShowsTheGivenOptions)
{
  Scratch s;
  s.write("in.fa", kOneRecord);
  RunResult r = run_zerlan(
      s, {"--firstSeq", "3", "--lastSeq", "7", "-R", "30", "--minScore_b", "0.25",
          "--minLength_b", "2", "--succN", "-3", "--flanking", "-1", "--maskX", "--maskLower",
          "-D", "--preferShorterRepeats", "--NsAsMissense", "in.fa", "rep.txt"});
  EXPECT_EQ(r.status, 0);
  Shown shown;
  shown.output = "rep.txt";
  shown.range = "3 - 7";
  shown.score_reduction = "30";
  shown.min_score = "maximum (6, 0+0.25*unitlength )";
  shown.min_length = "maximum (0, 0+2*unitlength )";
  shown.succ_ns = "0";
  shown.flanking = "0";
  shown.mask = "yes, masked with lower cases letters";
  shown.overlapping = "no";
  shown.shorter = "yes";
  shown.ns = "missense";
  EXPECT_EQ(s.read("rep.txt"), report_head(shown, legend_extended(false)) + kFinished);
  EXPECT_EQ(r.err, console_head(shown) + console_tail());
}

TEST(Report, ExactSearchLeavesOutTheAlignmentSettings)
{
  Scratch s;
  s.write("in.fa", kOneRecord);
  RunResult r = run_zerlan(s, {"-M", "exact", "--outputFormat", "0", "in.fa"});
  Shown shown;
  shown.searched = "exact repeats";
  shown.format = "zerlan format";
  const std::string block = settings_block(shown, "# ");
  EXPECT_EQ(block.find("Recursion depth"), std::string::npos);
  EXPECT_EQ(block.find("Mismatch score"), std::string::npos);
  EXPECT_EQ(r.out.find("# Results computed with:\n#    Zerlan, version 3.3.11\n" + block +
                       legend_native()),
            0u)
      << r.out;
}

// Records are numbered from 1; those outside firstSeq..lastSeq are read
// but neither searched nor reported.
TEST(RecordRange, OnlyRecordsInRangeAreSearched)
{
  const std::string three = ">r1\nACACACACACAC\n>r2\nAGAGAGAGAGAG\n>r3\nATATATATATAT\n";
  const std::string r1 = "r1\t2\t100.000\t1\t12\t12\t  6.000\t10\t0\t0\t0\t0\tAC\tACACACACACAC\n";
  const std::string r2 = "r2\t2\t100.000\t1\t12\t12\t  6.000\t10\t0\t0\t0\t0\tAG\tAGAGAGAGAGAG\n";
  const std::string r3 = "r3\t2\t100.000\t1\t12\t12\t  6.000\t10\t0\t0\t0\t0\tAT\tATATATATATAT\n";
  struct Case {
    std::vector<std::string> range;
    std::string shown, entries, progress;
  } cases[] = {
      {{}, "1 - last sequence", r1 + r2 + r3,
       progress_line(1, 1, "r1") + progress_line(2, 1, "r2") + progress_line(3, 1, "r3")},
      {{"--firstSeq", "2"}, "2 - last sequence", r2 + r3,
       progress_line(2, 1, "r2") + progress_line(3, 1, "r3")},
      {{"--lastSeq", "2"}, "1 - 2", r1 + r2,
       progress_line(1, 1, "r1") + progress_line(2, 1, "r2")},
      {{"--firstSeq", "2", "--lastSeq", "2"}, "2 - 2", r2, progress_line(2, 1, "r2")},
      {{"--firstSeq", "4"}, "4 - last sequence", "", ""},
      {{"--firstSeq", "3", "--lastSeq", "1"}, "3 - 1", "", ""},
  };
  for (const Case& c : cases) {
    Scratch s;
    s.write("in.fa", three);
    std::vector<std::string> args = {"-M", "exact", "--outputFormat", "3"};
    args.insert(args.end(), c.range.begin(), c.range.end());
    args.push_back("in.fa");
    RunResult r = run_zerlan(s, args);
    EXPECT_EQ(r.status, 0) << c.shown;
    Shown shown;
    shown.searched = "exact repeats";
    shown.format = "one-per-line format";
    shown.range = c.shown;
    EXPECT_EQ(r.out, report_head(shown, legend_one_per_line(false)) + c.entries + kFinished)
        << c.shown;
    EXPECT_EQ(r.err, console_head(shown) + c.progress + console_tail()) << c.shown;
  }
}

}  // namespace
