// Output formats end to end: one small record reported in each of the five
// formats, the sequence modes with flanks, sequence information as comments,
// the VELTA variant, N's as mismatches and the closing line of each format.

#include <gtest/gtest.h>

#include "e2e_util.h"

namespace {

TEST(Formats, OneRecordInEachFormat)
{
  // The only repeat is AC x 6 on residues 3 to 14, with GT and TT around it.
  const std::string head = ">chr1 test seq\nsequence length: 16\nnumber of ACGTU characters: 16\n";
  const std::string foot = "# Analysis of sequence \"chr1 test seq\" completed.\n";
  const std::string native =
      "    dinucleotide         3 :        14 |     12 bp |     12 BP |     10 pt | 100.000 % | ";
  const std::string gff = "chr1\tZerlan\ttandem-repeat\t3\t14\t100.00\t.\t.\tName=\"repeat_region 3-14 unit_size 2 "
                          "repeat_number 6.000 perfection 100.000 unit AC\"\n";
  const std::string info = "# Full sequence name:\n#>chr1 test seq\n##sequence-region chr1 1 16\n";
  const std::string line = "chr1\t2\t100.000\t3\t14\t12\t  6.000\t10\t0\t0\t0\t0\tAC\tACACACACACAC";
  const std::string fasta = ">chr1 3 14 2 3 14 6.000 10 100.000 0 0 0\n";
  struct Case {
    std::vector<std::string> options;
    Settings shown;
    std::string body;  // everything after the head
  } cases[] = {
      {{"--outputFormat", "0", "--printRepeatSeqMode", "1", "-f", "2"},
       {{"Output format", "zerlan format"}, {"Print sequence mode", "print sequence"}, {"flanking", "2"}},
       head + native + "unit AC\nGT:ACACACACACAC:TT\n" + foot + kFinished},
      {{"--outputFormat", "0", "-f", "2"}, {{"Output format", "zerlan format"}, {"flanking", "2"}},
       head + native + "unit AC\nGT:ACACACACACAC:TT\n   ||||||||||||   \n   ACACACACACAC   \n" + foot + kFinished},
      // A VELTA run drops the count of ACGTU characters and the footer.
      {{"--outputFormat", "0", "--printRepeatSeqMode", "0", "--VELTArun"},
       {{"Output format", "zerlan format"}, {"Print sequence mode", "don't print sequence"}, {"VELTA", ""}},
       ">chr1 test seq\nsequence length: 16\n" + native + "unit AC\n" + kFinished},
      {{"--printRepeatSeqMode", "0"}, {{"Print sequence mode", "don't print sequence"}},
       head + native + "  0 mis |   0 ins |   0 del |   0 N |  unit AC\nMissense: \n" + foot + kFinished},
      {{"--printRepeatSeqMode", "0", "--NsAsMissense"},
       {{"Print sequence mode", "don't print sequence"}, {"Treat N's", "missense"}},
       head + native + "  0 mis |   0 ins |   0 del |  unit AC\nMissense: \n" + foot + kFinished},
      {{"--outputFormat", "2"}, {{"Output format", "gff"}}, gff + "# End tandem repeats\n"},
      // Comments carry the short name in the footer of gff and one-per-line.
      {{"--outputFormat", "2", "--sequenceInfoAsComment"}, {{"Output format", "gff"}, {"info as", "yes"}},
       info + gff + "# Analysis of sequence \"chr1\" completed.\n# End tandem repeats\n"},
      {{"--outputFormat", "3"}, {{"Output format", "one-per-line format"}}, line + "\n" + kFinished},
      {{"--outputFormat", "3", "--sequenceInfoAsComment", "--VELTArun"},
       {{"Output format", "one-per-line format"}, {"info as", "yes"}, {"VELTA", ""}}, info + line + "\n" + kFinished},
      {{"--outputFormat", "3", "-f", "2"}, {{"Output format", "one-per-line format"}, {"flanking", "2"}},
       line + "\tGT\tTT\n" + kFinished},
      {{"--outputFormat", "3", "--NsAsMissense"},
       {{"Output format", "one-per-line format"}, {"Treat N's", "missense"}},
       "chr1\t2\t100.000\t3\t14\t12\t  6.000\t10\t0\t0\t0\t.\tAC\tACACACACACAC\n" + kFinished},
      // FASTA: no legend, no footer and no closing line.
      {{"--outputFormat", "4"}, {{"Output format", "fasta format"}}, fasta + "ACACACACACAC\n"},
      {{"--outputFormat", "4", "-f", "2"}, {{"Output format", "fasta format"}, {"flanking", "2"}},
       fasta + "GTACACACACACACTT\n"},
  };
  for (const Case& c : cases) {
    std::vector<std::string> args = {"-M", "exact"};
    args.insert(args.end(), c.options.begin(), c.options.end());
    args.push_back("in.fa");
    RunResult r = run_on(">chr1 test seq\nGTACACACACACACTT\n", args);
    Settings shown = c.shown;
    shown["Satellites"] = "exact repeats";
    std::string label;
    for (const std::string& o : c.options)
      label += o + " ";
    EXPECT_EQ(r.status, 0) << label;
    EXPECT_EQ(r.out, report_head(shown) + c.body) << label;
  }
}

}  // namespace
