// Search modes end to end: exact, exact-then-extend and the complete
// imperfect search, each on small sequences whose repeats can be worked out
// by hand.

#include <gtest/gtest.h>

#include "e2e_util.h"

namespace {

const std::string kMismatch = "ACGACGACGACGTCGACGACGACGACG";  // one T for an A at 13

TEST(SearchModes, FindTheWorkedExamples)
{
  struct Case {
    std::string mode, sequence;
    std::vector<std::string> options;
    Settings shown;
    std::string entries;  // one-per-line entries of record "s"
  } cases[] = {
      // Two N's are passed at score 0; the perfection counts them as
      // mismatches: 12 of 14. Three are more than allowed.
      {"exact", "ACACACNNACACAC", {}, {},
       "s\t2\t85.714\t1\t14\t14\t  7.000\t10\t0\t0\t0\t2\tAC\tACACACNNACACAC\n"},
      // A mismatch splits an exact repeat in two.
      {"exact", kMismatch, {}, {},
       "s\t3\t100.000\t1\t12\t12\t  4.000\t9\t0\t0\t0\t0\tACG\tACGACGACGACG\n"
       "s\t3\t100.000\t14\t27\t14\t  4.667\t11\t0\t0\t0\t0\tACG\tCGACGACGACGACG\n"},
      // The minimum score is max(6, k): six residues of one base are too few.
      {"exact", "GGGGGG", {}, {}, ""},
      {"exact", "GGGGGGG", {}, {}, "s\t1\t100.000\t1\t7\t7\t  7.000\t6\t0\t0\t0\t0\tC\tGGGGGGG\n"},
      // Seeds on both sides of the mismatch grow into the same repeat; the
      // overlap filter keeps one of them.
      {"extendExact", kMismatch, {}, {},
       "s\t3\t96.296\t1\t27\t27\t  9.000\t18\t1\t0\t0\t0\tACG\tACGACGACGACGTCGACGACGACGACG\n"},
      {"imperfect", "ACACACACACACGACACACACACAC", {}, {},
       "s\t2\t95.833\t1\t25\t25\t 12.000\t17\t0\t1\t0\t0\tAC\tACACACACACACGACACACACACAC\n"},
      // One A missing: normalized length 27 from 26 residues.
      {"imperfect", "ACGACGACGACGCGACGACGACGACG", {}, {},
       "s\t3\t96.296\t1\t26\t26\t  9.000\t18\t0\t0\t1\t0\tACG\tACGACGACGACGCGACGACGACGACG\n"},
      // The G tail does not continue the trinucleotide but is a repeat of its
      // own, overlapping it by one residue.
      {"imperfect", "ACGACGACGACGACGACGACGGGGGGGGG", {}, {},
       "s\t3\t100.000\t1\t21\t21\t  7.000\t18\t0\t0\t0\t0\tACG\tACGACGACGACGACGACGACG\n"
       "s\t1\t100.000\t21\t29\t9\t  9.000\t8\t0\t0\t0\t0\tC\tGGGGGGGGG\n"},
      // Equal scores before and after the mismatch: the longer alignment by
      // default, the shorter one on request.
      {"imperfect", "ACGACGACGACGTCGACGTTTTT", {"-u", "3", "-U", "3"},
       {{"Minimum unit", "3"}, {"Maximum unit", "3"}},
       "s\t3\t94.444\t1\t18\t18\t  6.000\t9\t1\t0\t0\t0\tACG\tACGACGACGACGTCGACG\n"},
      {"imperfect", "ACGACGACGACGTCGACGTTTTT", {"-u", "3", "-U", "3", "--preferShorterRepeats"},
       {{"Minimum unit", "3"}, {"Maximum unit", "3"}, {"Show shorter", "yes"}},
       "s\t3\t100.000\t1\t12\t12\t  4.000\t9\t0\t0\t0\t0\tACG\tACGACGACGACG\n"},
  };
  const std::map<std::string, std::string> searched = {
      {"exact", "exact repeats"},
      {"extendExact", "exact repeats which are extended to imperfect repeats"},
      {"imperfect", "imperfect repeats"}};
  for (const Case& c : cases) {
    std::vector<std::string> args = {"-M", c.mode, "--outputFormat", "3"};
    args.insert(args.end(), c.options.begin(), c.options.end());
    args.push_back("in.fa");
    RunResult r = run_on(">s\n" + c.sequence + "\n", args);
    Settings shown = c.shown;
    shown["Satellites"] = searched.at(c.mode);
    shown["Output format"] = "one-per-line format";
    EXPECT_EQ(r.status, 0) << c.mode << " " << c.sequence;
    EXPECT_EQ(r.out, report_head(shown) + c.entries + kFinished) << c.mode << " " << c.sequence;
  }
}

TEST(SearchModes, ExtendExactWritesItsTwoMessagesPerRecord)
{
  RunResult r = run_on(">a\n" + kMismatch + "\n>b\nACACAC\n", {"-M", "extendExact", "in.fa"});
  const std::string messages = "  Searching for exact repeats.\n  Extend exact to imperfect repeats.\n";
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, console_head({{"Satellites", "exact repeats which are extended to imperfect repeats"}}) +
                       progress_line(1, 1, "a") + messages + progress_line(2, 1, "b") + messages + kGoodbye);
}

}  // namespace
