// Masked copy of the input: written beside the input file as INPUT.masked,
// repeats as X or lower case, gap characters back in their places, 80
// residues a line, only records in range, and masked only after the report.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "e2e_util.h"

namespace {

// AC x 6 with a '-' before it and a '*' inside it.
const std::string kGapped = ">s1 first\nGT-ACACAC*ACACACTT\n";

TEST(MaskOptions, XOrLowerCaseWithGapsInPlace)
{
  struct Case {
    std::vector<std::string> options;
    std::string shown, masked;
  } cases[] = {
      {{"--maskX"}, "yes, masked with Xs", ">s1 first\nGT-XXXXXX*XXXXXXTT\n"},
      {{"--maskLower"}, "yes, masked with lower cases letters", ">s1 first\nGT-acacac*acacacTT\n"},
      {{"--maskX", "--maskLower"}, "yes, masked with lower cases letters",
       ">s1 first\nGT-acacac*acacacTT\n"},
  };
  for (const Case& c : cases) {
    Scratch s;
    s.write("in.fa", kGapped);
    std::vector<std::string> args = {"-M", "exact", "--outputFormat", "3"};
    args.insert(args.end(), c.options.begin(), c.options.end());
    args.push_back("in.fa");
    RunResult r = run_zerlan(s, args);
    EXPECT_EQ(r.status, 0) << c.shown;
    EXPECT_EQ(s.read("in.fa.masked"), c.masked) << c.shown;
    // The report is written before the masking: its sequence is unmasked.
    Shown shown;
    shown.searched = "exact repeats";
    shown.format = "one-per-line format";
    shown.mask = c.shown;
    EXPECT_EQ(r.out, report_head(shown, legend_one_per_line(false)) +
                         "s1\t2\t100.000\t4\t16\t12\t  6.000\t10\t0\t0\t0\t0\tAC\tACACACACACAC\n" +
                         kFinished)
        << c.shown;
    EXPECT_EQ(s.read("in.fa"), kGapped);
  }
}

TEST(MaskOptions, NoMaskedFileWithoutTheOption)
{
  Scratch s;
  s.write("in.fa", kGapped);
  RunResult r = run_zerlan(s, {"-M", "exact", "in.fa"});
  EXPECT_EQ(r.status, 0);
  EXPECT_FALSE(s.exists("in.fa.masked"));
}

// Every residue from the first to the last of a repeat is masked, its
// mismatches included; residues are written in upper case, ambiguity codes
// as N, U as T.
TEST(MaskedContent, RepeatsOfEachSearch)
{
  struct Case {
    std::vector<std::string> options;
    std::string input, masked;
  } cases[] = {
      {{"-M", "exact"}, ">h\nAAAAAAAACCCCCCCC\n", ">h\naaaaaaaacccccccc\n"},
      {{}, ">m\nttACGACGACGACGTCGACGACGACGACGtt\n",
       ">m\nTTacgacgacgacgtcgacgacgacgacgTT\n"},
      {{"-M", "extendExact"}, ">m\nTTACGACGACGACGTCGACGACGACGACGTT\n",
       ">m\nTTacgacgacgacgtcgacgacgacgacgTT\n"},
      {{"-M", "exact"}, ">g\n-ACACACACACAC*\n", ">g\n-acacacacacac*\n"},
      {{"-M", "exact"}, ">n\nryACUACACACACACuN\n", ">n\nNNACTacacacacacTN\n"},
      {{"-M", "exact"}, ">e\n", ">e\n"},
  };
  for (const Case& c : cases) {
    Scratch s;
    s.write("in.fa", c.input);
    std::vector<std::string> args = c.options;
    args.insert(args.end(), {"--maskLower", "in.fa", "out.txt"});
    RunResult r = run_zerlan(s, args);
    EXPECT_EQ(r.status, 0) << c.input;
    EXPECT_EQ(s.read("in.fa.masked"), c.masked) << c.input;
  }
}

// Sequence lines are rewrapped to 80 characters, without an empty line
// after a full last line. A huge minimum score keeps repeats out.
TEST(MaskedContent, LinesOf80Characters)
{
  struct Case {
    size_t length;
    std::vector<size_t> lines;
  } cases[] = {
      {1, {1}}, {79, {79}}, {80, {80}}, {81, {80, 1}}, {160, {80, 80}}, {161, {80, 80, 1}},
  };
  for (const Case& c : cases) {
    std::string residues;
    for (size_t i = 0; i < c.length; ++i)
      residues += "acgt"[i % 4];
    std::string input = ">w\n";
    for (size_t i = 0; i < residues.size(); i += 60)
      input += residues.substr(i, 60) + "\n";
    std::string expected = ">w\n";
    size_t at = 0;
    for (size_t n : c.lines) {
      for (size_t i = 0; i < n; ++i)
        expected += "ACGT"[(at + i) % 4];
      expected += "\n";
      at += n;
    }
    Scratch s;
    s.write("in.fa", input);
    RunResult r = run_zerlan(s, {"-M", "exact", "--minScore", "1000", "--maskX", "in.fa"});
    EXPECT_EQ(r.status, 0) << c.length;
    EXPECT_EQ(s.read("in.fa.masked"), expected) << c.length;
  }
}

TEST(MaskedContent, RepeatAcrossALineBreak)
{
  Scratch s;
  s.write("in.fa", ">b\nCG" + std::string(100, 'A') + "CG\n");
  RunResult r = run_zerlan(s, {"-M", "exact", "--maskLower", "in.fa"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(s.read("in.fa.masked"),
            ">b\nCG" + std::string(78, 'a') + "\n" + std::string(22, 'a') + "CG\n");
}

TEST(MaskedFile, OnlyRecordsInRangeAreWritten)
{
  Scratch s;
  s.write("in.fa", ">r1\nACACACACACAC\n>r2 second\nGGACACACACACAC\n>r3\nACACACACACAC\n");
  RunResult r = run_zerlan(s, {"--firstSeq", "2", "--lastSeq", "2", "--maskX", "in.fa"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(s.read("in.fa.masked"), ">r2 second\nGGXXXXXXXXXXXX\n");
}

TEST(MaskedFile, LiesBesideTheInputNotTheReport)
{
  Scratch s;
  mkdir(s.path("data").c_str(), 0755);
  mkdir(s.path("out").c_str(), 0755);
  s.write("data/in.fa", ">r\nACACACACACAC\n");
  RunResult r = run_zerlan(s, {"--maskX", "data/in.fa", "out/rep.txt"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(s.read("data/in.fa.masked"), ">r\nXXXXXXXXXXXX\n");
  EXPECT_FALSE(s.exists("out/rep.txt.masked"));
  EXPECT_FALSE(s.exists("out/in.fa.masked"));
  EXPECT_FALSE(s.exists("in.fa.masked"));
}

// An existing masked file is replaced.
TEST(MaskedFile, ExistingFileIsEmptiedFirst)
{
  Scratch s;
  s.write("in.fa", ">r\nACACACACACAC\n");
  s.write("in.fa.masked", std::string(500, 'Z') + "\n");
  RunResult r = run_zerlan(s, {"--maskX", "in.fa"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(s.read("in.fa.masked"), ">r\nXXXXXXXXXXXX\n");
}

// When the masked file cannot be created the run ends with a message that
// names it.
TEST(MaskedFile, CannotBeCreated)
{
  Scratch s;
  s.write("in.fa", ">r\nACACACACACAC\n");
  mkdir(s.path("in.fa.masked").c_str(), 0755);
  RunResult r = run_zerlan(s, {"--maskX", "in.fa", "rep.txt"});
  EXPECT_EQ(r.status, 153);
  EXPECT_TRUE(ends_with(r.err,
                        "Sorry! Failed to open file\n   \"in.fa.masked\"\nfor the masked "
                        "sequences.\n\nAnalysis has been aborted due to errors. Error number: "
                        "-103\n\n"))
      << r.err;
  EXPECT_EQ(r.err.find("Analysis finished successfully"), std::string::npos);
}

}  // namespace
