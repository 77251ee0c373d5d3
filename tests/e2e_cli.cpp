// Command line and console: what a run writes to standard error, the exit
// statuses of refused command lines, where the report goes, the settings
// block in the report and the record range.

#include <gtest/gtest.h>

#include "e2e_util.h"

namespace {

// One record whose only repeat is AC x 6 at positions 3 to 14.
const std::string kOneRecord = ">chr1 test seq\nGTACACACACACACTT\n";
const std::string kEntry = "chr1\t2\t100.000\t3\t14\t12\t  6.000\t10\t0\t0\t0\t0\tAC\tACACACACACAC\n";

// ACG x 9 with a T for the A at 13, in the default extended format.
TEST(Console, DefaultRunWritesBannerSettingsProgressAndGoodbye)
{
  RunResult r = run_on(">s1 desc\nACGACGACGACGTCGACGACGACGACG\n", {"in.fa"});
  const std::string progress_header =
      "\n\nSearch progress:\n\nTime     - SeqNr - PatLen - Seq-Name\n" + std::string(72, '-') + "\n";
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, kBanner + "Results computed with:\n   Zerlan, version 3.3.11\n" +
                       settings_block({}, "") + progress_header +
                       "TT.TT.TT - #   1 -    1bp - s1\n"
                       "\nAnalysis finished successfully.\n\nZerlan says goodbye.\n\n");
  EXPECT_EQ(r.out, report_head({}) +
                       ">s1 desc\nsequence length: 27\nnumber of ACGTU characters: 27\n"
                       "   trinucleotide         1 :        27 |     27 bp |     27 BP |     18 pt |  96.296 % "
                       "|   1 mis |   0 ins |   0 del |   0 N |  unit ACG\n"
                       "Missense: (13,M),\n"
                       "ACGACGACGACGTCGACGACGACGACG\n"
                       "|||||||||||| ||||||||||||||\n"
                       "ACGACGACGACGACGACGACGACGACG\n"
                       "# Analysis of sequence \"s1 desc\" completed.\n" + kFinished);
}

// Refusals write their message after the banner; those of the command line
// come before any file is opened, so the input named need not exist.
TEST(CommandLine, RefusedCommandLines)
{
  const std::string parse = "Sorry, a problem occured when parsing the command line options. ";
  const std::string aborted = "\nAnalysis has been aborted due to errors. Error number: ";
  const std::string not_opened = "\"\ncould not be opened. I guess it does not exist.\n" + aborted + "-101\n\n";
  struct Case {
    std::vector<std::string> args;
    int status;
    std::string message;
  } cases[] = {
      {{}, 255, "Error: No input file has been specified. Type zerlan --help for more information.\n\n\n"},
      {{"--outputFormat", "5", "no.fa"}, 254,
       parse + "An outputFormat with a value of 5 is unknown.\n\n" + aborted + "-2\n\n"},
      {{"--printRepeatSeqMode", "3", "no.fa"}, 254,
       parse + "A printRepeatSeqMode with a value of 3 is unknown.\n\n" + aborted + "-2\n\n"},
      {{"--NPerfectionMode", "3", "no.fa"}, 254,
       parse + "An NPerfectionMode with a value of 3 is unknown.\n\n" + aborted + "-2\n\n"},
      {{"--reportUnit", "3", "no.fa"}, 254,
       parse + "An option value of 3 for the reportUnit option is unknown.\n\n" + aborted + "-2\n\n"},
      {{"--mismatchScore", "-1", "no.fa"}, 255, "Sorry, the mismatch score must be smaller or equal to -2.\n\n\n"},
      {{"--indelScore", "-1", "no.fa"}, 255, "Sorry, the indel score must be smaller or equal to -2.\n\n\n"},
      {{"--recursion", "0", "no.fa"}, 255,
       "Sorry, the recursion depth must be greater than 0.\nA value of 0 would corresponds to a perfect "
       "search.\n\n\n"},
      {{"--minUnitLen", "5", "--maxUnitLen", "4", "no.fa"}, 255,
       "I think you have made a mistake here: The maximum unit length must be greater\nor equal to the "
       "minimum unit length.\n\n\n"},
      {{"--minScore", "1", "no.fa"}, 255,
       "Sorry, either the minimum score or the minimum length must be larger.\n\n\n"},
      {{"no.fa"}, 155, "Sorry! The input file \n   \"no.fa" + not_opened},
      // Three names leave both empty.
      {{"in.fa", "out.txt", "third.txt"}, 155, "Sorry! The input file \n   \"" + not_opened},
      {{"in.fa", "nodir/out.txt"}, 154,
       "Sorry! Failed to open file\n   \"nodir/out.txt\"\nas output file.\n" + aborted + "-102\n\n"},
  };
  for (const Case& c : cases) {
    RunResult r = run_on(kOneRecord, c.args);
    const std::string label = c.args.empty() ? "no arguments" : c.args[0];
    EXPECT_EQ(r.status, c.status) << label;
    EXPECT_EQ(r.err, kBanner + c.message) << label;
    EXPECT_EQ(r.out, "") << label;
  }
}

// Help, version and malformed command lines are answered by the parser,
// which ends the process before a search starts.
TEST(CommandLine, ParserEndsTheProcess)
{
  struct Case {
    std::vector<std::string> args;
    int status;
    std::string on_stdout;
  } cases[] = {
      {{"--help"}, 0, "This program searches for tandemly repeated patterns in DNA sequences."},
      {{"--version"}, 0, "version: 3.3.11.\nThis is a 64 bit version of Zerlan."},
      {{"--noSuchOption", "in.fa"}, 1, ""},
      {{"--searchMode", "fuzzy", "in.fa"}, 1, ""},
      {{"--minScore", "8", "--minScore", "9", "in.fa"}, 1, ""},
  };
  for (const Case& c : cases) {
    RunResult r = run_on(kOneRecord, c.args);
    EXPECT_EQ(r.status, c.status) << c.args[0];
    EXPECT_NE(r.out.find(c.on_stdout), std::string::npos) << c.args[0] << "\n" << r.out;
    EXPECT_EQ(r.err.find("Results computed with"), std::string::npos) << c.args[0];
    EXPECT_EQ(r.err.find("could not be opened"), std::string::npos) << c.args[0];
  }
}

// Every other run writes its report to standard output; a second file name
// takes it instead, and an existing file is overwritten.
TEST(Report, GoesToTheSecondFile)
{
  Scratch s;
  s.write("in.fa", kOneRecord);
  s.write("out.txt", "old content that must go\n");
  const Settings shown = {{"Output format", "one-per-line format"}, {"Output file name", "out.txt"}};
  RunResult r = run_zerlan(s, {"--outputFormat", "3", "in.fa", "out.txt"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(s.read("out.txt"), report_head(shown) + kEntry + kFinished);
  EXPECT_EQ(r.err, console_head(shown) + progress_line(1, 1, "chr1") + kGoodbye);
}

// Records are numbered from 1; those outside firstSeq..lastSeq are read
// but neither searched nor reported.
TEST(RecordRange, OnlyRecordsInRangeAreSearched)
{
  const std::string r2 = "r2\t2\t100.000\t1\t12\t12\t  6.000\t10\t0\t0\t0\t0\tAG\tAGAGAGAGAGAG\n";
  const std::string r3 = "r3\t2\t100.000\t1\t12\t12\t  6.000\t10\t0\t0\t0\t0\tAT\tATATATATATAT\n";
  struct Case {
    std::vector<std::string> range;
    std::string shown, entries, progress;
  } cases[] = {
      {{"--firstSeq", "2"}, "2 - last sequence", r2 + r3, progress_line(2, 1, "r2") + progress_line(3, 1, "r3")},
      {{"--firstSeq", "2", "--lastSeq", "2"}, "2 - 2", r2, progress_line(2, 1, "r2")},
      {{"--firstSeq", "3", "--lastSeq", "1"}, "3 - 1", "", ""},
  };
  for (const Case& c : cases) {
    std::vector<std::string> args = {"-M", "exact", "--outputFormat", "3"};
    args.insert(args.end(), c.range.begin(), c.range.end());
    args.push_back("in.fa");
    RunResult r = run_on(">r1\nACACACACACAC\n>r2\nAGAGAGAGAGAG\n>r3\nATATATATATAT\n", args);
    const Settings shown = {{"Satellites", "exact repeats"}, {"Output format", "one-per-line format"},
                            {"Sequence range", c.shown}};
    EXPECT_EQ(r.status, 0) << c.shown;
    EXPECT_EQ(r.out, report_head(shown) + c.entries + kFinished) << c.shown;
    EXPECT_EQ(r.err, console_head(shown) + c.progress + kGoodbye) << c.shown;
  }
}

}  // namespace
