// Search modes end to end: exact, exact-then-extend and the complete
// imperfect search, each on small sequences whose repeats can be worked out
// by hand, plus the overlap and perfection filters.

#include <gtest/gtest.h>

#include "e2e_util.h"

namespace {

struct Case {
  std::string sequence;
  std::vector<std::string> options;
  std::string entries;  // expected one-per-line entries
};

// Runs every case on a one-record file ">s" in the one-per-line format and
// compares the whole report.
void check_one_per_line(const std::vector<std::string>& mode, const Shown& shown_base,
                        const std::vector<Case>& cases)
{
  for (const Case& c : cases) {
    Scratch s;
    s.write("in.fa", ">s\n" + c.sequence + "\n");
    std::vector<std::string> args = mode;
    args.insert(args.end(), c.options.begin(), c.options.end());
    args.insert(args.end(), {"--outputFormat", "3", "in.fa"});
    RunResult r = run_zerlan(s, args);
    EXPECT_EQ(r.status, 0) << c.sequence;
    Shown shown = shown_base;
    shown.format = "one-per-line format";
    for (size_t i = 0; i + 1 < c.options.size(); ++i) {
      if (c.options[i] == "-u") shown.min_unit = c.options[i + 1];
      if (c.options[i] == "-U") shown.max_unit = c.options[i + 1];
      if (c.options[i] == "--succN") shown.succ_ns = c.options[i + 1];
    }
    for (const std::string& o : c.options) {
      if (o == "--NsAsMissense") shown.ns = "missense";
      if (o == "--preferShorterRepeats") shown.shorter = "yes";
      if (o == "-D") shown.overlapping = "no";
    }
    EXPECT_EQ(r.out, report_head(shown, legend_one_per_line(false)) + c.entries + kFinished)
        << c.sequence;
  }
}

Shown exact_shown()
{
  Shown shown;
  shown.searched = "exact repeats";
  return shown;
}

TEST(ExactSearch, FindsTheWorkedExamples)
{
  check_one_per_line(
      {"-M", "exact"}, exact_shown(),
      {
          // One dinucleotide repeat; its inner windows and the longer units
          // inside it are not tried again.
          {"ACACACACACAC", {},
           "s\t2\t100.000\t1\t12\t12\t  6.000\t10\t0\t0\t0\t0\tAC\tACACACACACAC\n"},
          {"AAAAAAAAAA", {}, "s\t1\t100.000\t1\t10\t10\t 10.000\t9\t0\t0\t0\t0\tA\tAAAAAAAAAA\n"},
          // Two N's are passed at score 0 and counted; N's count as
          // mismatches in the perfection: 12 of 14.
          {"ACACACNNACACAC", {},
           "s\t2\t85.714\t1\t14\t14\t  7.000\t10\t0\t0\t0\t2\tAC\tACACACNNACACAC\n"},
          // Three N's are more than allowed: each side alone scores 4.
          {"ACACACNNNACACAC", {}, ""},
          {"ACACACNNNCACACAC", {}, ""},
          {"ACACACNNNCACACAC", {"--succN", "3"},
           "s\t2\t81.250\t1\t16\t16\t  8.000\t11\t0\t0\t0\t3\tAC\tACACACNNNCACACAC\n"},
          // With N's as mismatches the N's stop the extension.
          {"ACACACNNACACAC", {"--NsAsMissense"}, ""},
          // A repeat never ends in N's.
          {"ACACACACNNG", {}, "s\t2\t100.000\t1\t8\t8\t  4.000\t6\t0\t0\t0\t0\tAC\tACACACAC\n"},
          // After a mononucleotide repeat the next seed starts at its end.
          {"AAAAAAAACCCCCCCC", {},
           "s\t1\t100.000\t1\t8\t8\t  8.000\t7\t0\t0\t0\t0\tA\tAAAAAAAA\n"
           "s\t1\t100.000\t9\t16\t8\t  8.000\t7\t0\t0\t0\t0\tC\tCCCCCCCC\n"},
          // A mismatch splits an exact search into two repeats, reported in
          // the same normal form of the unit.
          {"ACGACGACGACGTCGACGACGACGACG", {},
           "s\t3\t100.000\t1\t12\t12\t  4.000\t9\t0\t0\t0\t0\tACG\tACGACGACGACG\n"
           "s\t3\t100.000\t14\t27\t14\t  4.667\t11\t0\t0\t0\t0\tACG\tCGACGACGACGACG\n"},
          // Score max(6, k): six residues of a homopolymer are too few; a
          // repeat reaching the last residue is found from an earlier seed.
          {"GGGGGG", {}, ""},
          {"GGGGGGG", {}, "s\t1\t100.000\t1\t7\t7\t  7.000\t6\t0\t0\t0\t0\tC\tGGGGGGG\n"},
          // The unit-length range limits what is searched; ACAC found with
          // unit length 4 repeats a shorter unit and is not reported.
          {"ACACACACACAC", {"-u", "3"}, ""},
          {"AAAAAAAAAA", {"-u", "2"}, ""},
      });
}

TEST(ExactSearch, DefaultFormatReportWithNsInTheAlignment)
{
  Scratch s;
  s.write("in.fa", ">s one\nACACACNNACACAC\n");
  RunResult r = run_zerlan(s, {"-M", "exact", "in.fa"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, report_head(exact_shown(), legend_extended(true)) +
                       ">s one\n"
                       "sequence length: 14\n"
                       "number of ACGTU characters: 12\n"
                       "    dinucleotide         1 :        14 |     14 bp |     14 BP |     10 pt "
                       "|  85.714 % |   0 mis |   0 ins |   0 del |   2 N |  unit AC\n"
                       "Missense: \n"
                       "ACACACNNACACAC\n"
                       "||||||**||||||\n"
                       "ACACACACACACAC\n"
                       "# Analysis of sequence \"s one\" completed.\n" +
                       kFinished);
}

// Exact seeds found with loose thresholds are extended over the mismatch;
// the two seeds around it end as the same repeat and the overlap filter
// keeps the first.
TEST(ExtendExactSearch, SeedsGrowOverTheMismatch)
{
  Shown shown;
  shown.searched = "exact repeats which are extended to imperfect repeats";
  const std::string both =
      "s\t3\t96.296\t1\t27\t27\t  9.000\t18\t1\t0\t0\t0\tACG\tACGACGACGACGTCGACGACGACGACG\n";
  check_one_per_line({"-M", "extendExact"}, shown,
                     {
                         {"ACGACGACGACGTCGACGACGACGACG", {}, both},
                         {"ACGACGACGACGTCGACGACGACGACG", {"-D"}, both + both},
                         // Four weak seeds that cannot grow.
                         {"ACACAC", {}, ""},
                     });
}

TEST(ExtendExactSearch, WritesItsTwoMessagesPerRecordInOrder)
{
  Scratch s;
  s.write("in.fa", ">a\nACGACGACGACGTCGACGACGACGACG\n>b\nACACAC\n");
  RunResult r = run_zerlan(s, {"-M", "extendExact", "in.fa"});
  EXPECT_EQ(r.status, 0);
  Shown shown;
  shown.searched = "exact repeats which are extended to imperfect repeats";
  const std::string messages =
      "  Searching for exact repeats.\n  Extend exact to imperfect repeats.\n";
  EXPECT_EQ(r.err, console_head(shown) + progress_line(1, 1, "a") + messages +
                       progress_line(2, 1, "b") + messages + console_tail());
}

TEST(ImperfectSearch, FindsTheWorkedExamples)
{
  check_one_per_line(
      {}, Shown(),
      {
          // One mismatch at 13.
          {"ACGACGACGACGTCGACGACGACGACG", {},
           "s\t3\t96.296\t1\t27\t27\t  9.000\t18\t1\t0\t0\t0\tACG\tACGACGACGACGTCGACGACGACGACG\n"},
          // One inserted G.
          {"ACACACACACACGACACACACACAC", {},
           "s\t2\t95.833\t1\t25\t25\t 12.000\t17\t0\t1\t0\t0\tAC\tACACACACACACGACACACACACAC\n"},
          // One A missing: normalized length 27 from 26 residues.
          {"ACGACGACGACGCGACGACGACGACG", {},
           "s\t3\t96.296\t1\t26\t26\t  9.000\t18\t0\t0\t1\t0\tACG\tACGACGACGACGCGACGACGACGACG\n"},
          // One A too many.
          {"ACGACGACGACGAACGACGACGACGACG", {},
           "s\t3\t96.296\t1\t28\t28\t  9.000\t19\t0\t1\t0\t0\tACG\tACGACGACGACGAACGACGACGACGACG\n"},
          // The G tail does not continue the trinucleotide, but is a
          // mononucleotide repeat of its own that overlaps it by one residue.
          {"ACGACGACGACGACGACGACGGGGGGGGG", {},
           "s\t3\t100.000\t1\t21\t21\t  7.000\t18\t0\t0\t0\t0\tACG\tACGACGACGACGACGACGACG\n"
           "s\t1\t100.000\t21\t29\t9\t  9.000\t8\t0\t0\t0\t0\tC\tGGGGGGGGG\n"},
          // Equal scores before and after the mismatch: the longer alignment
          // by default, the shorter one on request.
          {"ACGACGACGACGTCGACGTTTTT", {"-u", "3", "-U", "3"},
           "s\t3\t94.444\t1\t18\t18\t  6.000\t9\t1\t0\t0\t0\tACG\tACGACGACGACGTCGACG\n"},
          {"ACGACGACGACGTCGACGTTTTT", {"-u", "3", "-U", "3", "--preferShorterRepeats"},
           "s\t3\t100.000\t1\t12\t12\t  4.000\t9\t0\t0\t0\t0\tACG\tACGACGACGACG\n"},
          // Trailing N's are trimmed off.
          {"ACACACACNNG", {}, "s\t2\t100.000\t1\t8\t8\t  4.000\t6\t0\t0\t0\t0\tAC\tACACACAC\n"},
          // A homopolymer gives only the mononucleotide repeat.
          {"AAAAAAAAAA", {}, "s\t1\t100.000\t1\t10\t10\t 10.000\t9\t0\t0\t0\t0\tA\tAAAAAAAAAA\n"},
          // No seed includes the last residue, and there is none for u >= n.
          {"ACA", {}, ""},
          {"", {}, ""},
      });
}

TEST(ImperfectSearch, DefaultFormatReportOfAMismatch)
{
  Scratch s;
  s.write("in.fa", ">s1 desc\nACGACGACGACGTCGACGACGACGACG\n");
  RunResult r = run_zerlan(s, {"in.fa"});
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, report_head(Shown(), legend_extended(true)) +
                       ">s1 desc\n"
                       "sequence length: 27\n"
                       "number of ACGTU characters: 27\n"
                       "   trinucleotide         1 :        27 |     27 bp |     27 BP |     18 pt "
                       "|  96.296 % |   1 mis |   0 ins |   0 del |   0 N |  unit ACG\n"
                       "Missense: (13,M),\n"
                       "ACGACGACGACGTCGACGACGACGACG\n"
                       "|||||||||||| ||||||||||||||\n"
                       "ACGACGACGACGACGACGACGACGACG\n"
                       "# Analysis of sequence \"s1 desc\" completed.\n" +
                       kFinished);
}

// The perfection range is inclusive and applied after the search; 26 of 27
// is 96.3 %.
TEST(Filters, PerfectionRangeKeepsOrDropsTheRepeat)
{
  const std::string entry =
      "s\t3\t96.296\t1\t27\t27\t  9.000\t18\t1\t0\t0\t0\tACG\tACGACGACGACGTCGACGACGACGACG\n";
  struct Range {
    std::string min, max, shown;
    bool kept;
  } ranges[] = {
      {"96", "100", "96 % - 100 %", true},
      {"97", "100", "97 % - 100 %", false},
      {"0", "96.5", "0 % - 96.5 %", true},
      {"0", "96", "0 % - 96 %", false},
      {"100", "100", "100 % - 100 %", false},
  };
  for (const Range& range : ranges) {
    Scratch s;
    s.write("in.fa", ">s\nACGACGACGACGTCGACGACGACGACG\n");
    RunResult r = run_zerlan(s, {"--minPerfection", range.min, "--maxPerfection", range.max,
                                 "--outputFormat", "3", "in.fa"});
    Shown shown;
    shown.format = "one-per-line format";
    shown.perfection = range.shown;
    EXPECT_EQ(r.out, report_head(shown, legend_one_per_line(false)) +
                         (range.kept ? entry : "") + kFinished)
        << range.shown;
  }
}

}  // namespace
