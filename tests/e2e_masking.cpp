// Masked copy of the input: written beside the input file as INPUT.masked,
// repeats as X or lower case, gap characters back in their places, 80
// residues a line, only records in range, and masked only after the report.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "e2e_util.h"

namespace {

// AC x 6 with a '-' before it and a '*' inside it, then a record outside
// the range of the runs below.
const std::string kInput = ">s1 first\nGT-ACACAC*ACACACTT\n>s2\nACACACACACAC\n";

TEST(Masking, XOrLowerCaseWithGapsInPlace)
{
  struct Case {
    std::vector<std::string> options;
    std::string shown, masked;
  } cases[] = {
      {{"--maskX"}, "yes, masked with Xs", ">s1 first\nGT-XXXXXX*XXXXXXTT\n"},
      {{"--maskLower"}, "yes, masked with lower cases letters", ">s1 first\nGT-acacac*acacacTT\n"},
      {{"--maskX", "--maskLower"}, "yes, masked with lower cases letters", ">s1 first\nGT-acacac*acacacTT\n"},
  };
  for (const Case& c : cases) {
    Scratch s;
    s.write("in.fa", kInput);
    std::vector<std::string> args = {"-M", "exact", "--outputFormat", "3", "--lastSeq", "1"};
    args.insert(args.end(), c.options.begin(), c.options.end());
    args.push_back("in.fa");
    RunResult r = run_zerlan(s, args);
    EXPECT_EQ(r.status, 0) << c.shown;
    EXPECT_EQ(s.read("in.fa.masked"), c.masked) << c.shown;
    // The report is written before the masking: its sequence is unmasked.
    const Settings shown = {{"Satellites", "exact repeats"}, {"Output format", "one-per-line format"},
                            {"Sequence range", "1 - 1"}, {"masked seq", c.shown}};
    EXPECT_EQ(r.out, report_head(shown) +
                         "s1\t2\t100.000\t4\t16\t12\t  6.000\t10\t0\t0\t0\t0\tAC\tACACACACACAC\n" + kFinished)
        << c.shown;
    EXPECT_EQ(s.read("in.fa"), kInput);
  }
}

// Lines of 60 residues are rewrapped to 80, so 161 residues make three
// lines; the first repeat crosses a line break, the second reaches the end.
TEST(Masking, LinesOf80Residues)
{
  Scratch s;
  const std::string residues = "CG" + std::string(100, 'A') + "CG" + std::string(57, 'T');
  std::string input = ">w\n";
  for (size_t i = 0; i < residues.size(); i += 60)
    input += residues.substr(i, 60) + "\n";
  s.write("in.fa", input);
  RunResult r = run_zerlan(s, {"-M", "exact", "--maskLower", "in.fa"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(s.read("in.fa.masked"), ">w\nCG" + std::string(78, 'a') + "\n" + std::string(22, 'a') + "CG" +
                                        std::string(56, 't') + "\nt\n");
}

TEST(Masking, FileThatCannotBeCreatedEndsTheRunWithMinus103)
{
  Scratch s;
  s.write("in.fa", ">r\nACACACACACAC\n");
  mkdir(s.path("in.fa.masked").c_str(), 0755);
  RunResult r = run_zerlan(s, {"--maskX", "in.fa"});
  EXPECT_EQ(r.status, 153);
  EXPECT_EQ(r.err, console_head({{"masked seq", "yes, masked with Xs"}}) +
                       "Sorry! Failed to open file\n   \"in.fa.masked\"\nfor the masked sequences.\n"
                       "\nAnalysis has been aborted due to errors. Error number: -103\n\n");
}

}  // namespace
