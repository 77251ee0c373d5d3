// Output formats end to end: one small record reported in each of the five
// formats and three sequence modes, with flanks, sequence information as
// comments, the VELTA variant, N's as mismatches, positions in gapped input
// and the closing line of each format.

#include <gtest/gtest.h>

#include "e2e_util.h"

namespace {

// The only repeat is AC x 6 on residues 3 to 14, with GT and TT around it.
const std::string kRecord = ">chr1 test seq\nGTACACACACACACTT\n";

struct Case {
  std::vector<std::string> options;
  Shown shown;
  std::string legend;
  std::string body;  // everything after the legend
};

Shown shown_with(const std::string& format, const std::string& seq_mode = "print alignment")
{
  Shown s;
  s.searched = "exact repeats";
  s.format = format;
  s.seq_mode = seq_mode;
  return s;
}

void check_reports(const std::vector<Case>& cases)
{
  for (const Case& c : cases) {
    Scratch s;
    s.write("in.fa", kRecord);
    std::vector<std::string> args = {"-M", "exact"};
    args.insert(args.end(), c.options.begin(), c.options.end());
    args.push_back("in.fa");
    RunResult r = run_zerlan(s, args);
    std::string label;
    for (const std::string& o : c.options)
      label += o + " ";
    EXPECT_EQ(r.status, 0) << label;
    EXPECT_EQ(r.out, report_head(c.shown, c.legend) + c.body) << label;
  }
}

const std::string kNativeHead = ">chr1 test seq\nsequence length: 16\nnumber of ACGTU characters: 16\n";
const std::string kNativeFoot = "# Analysis of sequence \"chr1 test seq\" completed.\n";
const std::string kNativeEntry =
    "    dinucleotide         3 :        14 |     12 bp |     12 BP |     10 pt | 100.000 % | "
    "unit AC\n";
const std::string kExtendedEntry =
    "    dinucleotide         3 :        14 |     12 bp |     12 BP |     10 pt | 100.000 % |   0 "
    "mis |   0 ins |   0 del |   0 N |  unit AC\nMissense: \n";

TEST(NativeFormats, SequenceModesAndFlanks)
{
  Shown flank2 = shown_with("zerlan format", "print sequence");
  flank2.flanking = "2";
  Shown align2 = shown_with("zerlan format");
  align2.flanking = "2";
  Shown ext_missense = shown_with("extended zerlan format", "don't print sequence");
  ext_missense.ns = "missense";
  check_reports({
      {{"--outputFormat", "0", "--printRepeatSeqMode", "0"},
       shown_with("zerlan format", "don't print sequence"), legend_native(),
       kNativeHead + kNativeEntry + kNativeFoot + kFinished},
      {{"--outputFormat", "0", "--printRepeatSeqMode", "1"},
       shown_with("zerlan format", "print sequence"), legend_native(),
       kNativeHead + kNativeEntry + "ACACACACACAC\n" + kNativeFoot + kFinished},
      {{"--outputFormat", "0", "--printRepeatSeqMode", "1", "--flanking", "2"}, flank2,
       legend_native(), kNativeHead + kNativeEntry + "GT:ACACACACACAC:TT\n" + kNativeFoot + kFinished},
      {{"--outputFormat", "0", "-f", "2"}, align2, legend_native(),
       kNativeHead + kNativeEntry +
           "GT:ACACACACACAC:TT\n"
           "   ||||||||||||   \n"
           "   ACACACACACAC   \n" +
           kNativeFoot + kFinished},
      {{"--printRepeatSeqMode", "0"}, shown_with("extended zerlan format", "don't print sequence"),
       legend_extended(true), kNativeHead + kExtendedEntry + kNativeFoot + kFinished},
      {{"--printRepeatSeqMode", "0", "--NsAsMissense"}, ext_missense, legend_extended(false),
       kNativeHead +
           "    dinucleotide         3 :        14 |     12 bp |     12 BP |     10 pt | 100.000 % "
           "|   0 mis |   0 ins |   0 del |  unit AC\nMissense: \n" +
           kNativeFoot + kFinished},
  });
}

// The VELTA variant announces itself in both settings blocks, drops the
// count of ACGTU characters and the per-record footer.
TEST(NativeFormats, VeltaRun)
{
  Scratch s;
  s.write("in.fa", kRecord);
  RunResult r = run_zerlan(
      s, {"-M", "exact", "--VELTArun", "--outputFormat", "0", "--printRepeatSeqMode", "0", "in.fa"});
  EXPECT_EQ(r.status, 0);
  Shown shown = shown_with("zerlan format", "don't print sequence");
  shown.velta = true;
  EXPECT_EQ(r.out, report_head(shown, legend_native()) + ">chr1 test seq\nsequence length: 16\n" +
                       kNativeEntry + kFinished);
  EXPECT_EQ(r.out.find("# Results computed with:\n#    Zerlan, version 3.3.11\n#    This Zerlan "
                       "search has been initiated by one of the VELTA modules.\n# Parameter"),
            0u);
  EXPECT_NE(r.err.find("   Zerlan, version 3.3.11\n   This Zerlan search has been initiated by "
                       "one of the VELTA modules.\nParameter settings"),
            std::string::npos);
}

TEST(LineFormats, GffOnePerLineAndFasta)
{
  const std::string gff_entry =
      "chr1\tZerlan\ttandem-repeat\t3\t14\t100.00\t.\t.\tName=\"repeat_region 3-14 unit_size 2 "
      "repeat_number 6.000 perfection 100.000 unit AC\"\n";
  const std::string info = "# Full sequence name:\n#>chr1 test seq\n##sequence-region chr1 1 16\n";
  const std::string foot = "# Analysis of sequence \"chr1\" completed.\n";
  const std::string line = "chr1\t2\t100.000\t3\t14\t12\t  6.000\t10\t0\t0\t0\t0\tAC\tACACACACACAC";
  Shown gff_info = shown_with("gff");
  gff_info.info_as_comment = "yes";
  Shown opl_info = shown_with("one-per-line format");
  opl_info.info_as_comment = "yes";
  Shown opl_velta = opl_info;
  opl_velta.velta = true;
  Shown opl_flank = shown_with("one-per-line format");
  opl_flank.flanking = "2";
  Shown opl_missense = shown_with("one-per-line format");
  opl_missense.ns = "missense";
  Shown fasta_flank = shown_with("fasta format");
  fasta_flank.flanking = "2";
  check_reports({
      {{"--outputFormat", "2"}, shown_with("gff"), "", gff_entry + "# End tandem repeats\n"},
      {{"--outputFormat", "2", "--sequenceInfoAsComment"}, gff_info, "",
       info + gff_entry + foot + "# End tandem repeats\n"},
      {{"--outputFormat", "3"}, shown_with("one-per-line format"), legend_one_per_line(false),
       line + "\n" + kFinished},
      {{"--outputFormat", "3", "--sequenceInfoAsComment"}, opl_info, legend_one_per_line(false),
       info + line + "\n" + foot + kFinished},
      {{"--outputFormat", "3", "--sequenceInfoAsComment", "--VELTArun"}, opl_velta,
       legend_one_per_line(false), info + line + "\n" + kFinished},
      {{"--outputFormat", "3", "--flanking", "2"}, opl_flank, legend_one_per_line(true),
       line + "\tGT\tTT\n" + kFinished},
      {{"--outputFormat", "3", "--NsAsMissense"}, opl_missense, legend_one_per_line(false),
       "chr1\t2\t100.000\t3\t14\t12\t  6.000\t10\t0\t0\t0\t.\tAC\tACACACACACAC\n" + kFinished},
      // FASTA: no legend, no footer and no closing line.
      {{"--outputFormat", "4"}, shown_with("fasta format"), "",
       ">chr1 3 14 2 3 14 6.000 10 100.000 0 0 0\nACACACACACAC\n"},
      {{"--outputFormat", "4", "-f", "2"}, fasta_flank, "",
       ">chr1 3 14 2 3 14 6.000 10 100.000 0 0 0\nGTACACACACACACTT\n"},
  });
}

// Flanks are cut at the ends of the sequence.
TEST(Flanks, EmptyAtTheSequenceStart)
{
  Scratch s;
  s.write("in.fa", ">s\nACACACACACACTT\n");
  RunResult r = run_zerlan(s, {"-M", "exact", "--outputFormat", "3", "--flanking", "5", "in.fa"});
  EXPECT_TRUE(r.out.find("\tAC\tACACACACACAC\t\tTT\n" + kFinished) != std::string::npos) << r.out;
  r = run_zerlan(s, {"-M", "exact", "--outputFormat", "0", "--printRepeatSeqMode", "1",
                     "--flanking", "5", "in.fa"});
  EXPECT_TRUE(r.out.find("| unit AC\n:ACACACACACAC:TT\n# Analysis") != std::string::npos) << r.out;
}

// Alignment rows of imperfect repeats in the extended format: a mismatch is
// a blank in the middle row, an insertion a '-' in the unit row, a deletion
// a '-' in the sequence row. Missense positions are 1-based in the repeat.
TEST(Alignments, MismatchInsertionAndDeletion)
{
  struct Case {
    std::string sequence;
    std::vector<std::string> options;
    std::string entry;
  } cases[] = {
      {"TTACGACGACGACGTCGACGACGACGACGTT", {"-f", "2"},
       "   trinucleotide         3 :        29 |     27 bp |     27 BP |     18 pt |  96.296 % |   1 "
       "mis |   0 ins |   0 del |   0 N |  unit ACG\n"
       "Missense: (13,M),\n"
       "TT:ACGACGACGACGTCGACGACGACGACG:TT\n"
       "   |||||||||||| ||||||||||||||   \n"
       "   ACGACGACGACGACGACGACGACGACG   \n"},
      {"ACGACGACGACGAACGACGACGACGACG", {},
       "   trinucleotide         1 :        28 |     28 bp |     27 BP |     19 pt |  96.296 % |   0 "
       "mis |   1 ins |   0 del |   0 N |  unit ACG\n"
       "Missense: (14,I),\n"
       "ACGACGACGACGAACGACGACGACGACG\n"
       "||||||||||||| ||||||||||||||\n"
       "ACGACGACGACGA-CGACGACGACGACG\n"},
      {"ACGACGACGACGCGACGACGACGACG", {},
       "   trinucleotide         1 :        26 |     26 bp |     27 BP |     18 pt |  96.296 % |   0 "
       "mis |   0 ins |   1 del |   0 N |  unit ACG\n"
       "Missense: (13,D),\n"
       "ACGACGACGACG-CGACGACGACGACG\n"
       "|||||||||||| ||||||||||||||\n"
       "ACGACGACGACGACGACGACGACGACG\n"},
  };
  for (const Case& c : cases) {
    Scratch s;
    s.write("in.fa", ">s\n" + c.sequence + "\n");
    std::vector<std::string> args = c.options;
    args.push_back("in.fa");
    RunResult r = run_zerlan(s, args);
    Shown shown;
    if (!c.options.empty())
      shown.flanking = c.options[1];
    EXPECT_EQ(r.out, report_head(shown, legend_extended(true)) + ">s\nsequence length: " +
                         std::to_string(c.sequence.size()) + "\nnumber of ACGTU characters: " +
                         std::to_string(c.sequence.size()) + "\n" + c.entry +
                         "# Analysis of sequence \"s\" completed.\n" + kFinished)
        << c.sequence;
  }
}

// Positions count the gap characters of the input: two gaps before the
// repeat move it two to the right, a gap inside makes it one longer than
// its length column.
TEST(Positions, GapCharactersAreCounted)
{
  Scratch s;
  s.write("in.fa", ">g\nG-T-ACACA*CACACTT\n");
  RunResult r = run_zerlan(s, {"-M", "exact", "--outputFormat", "3", "in.fa"});
  EXPECT_EQ(r.out, report_head(shown_with("one-per-line format"), legend_one_per_line(false)) +
                       "g\t2\t100.000\t5\t15\t10\t  5.000\t8\t0\t0\t0\t0\tAC\tACACACACAC\n" +
                       kFinished);
  r = run_zerlan(s, {"-M", "exact", "--outputFormat", "0", "--printRepeatSeqMode", "0", "in.fa"});
  EXPECT_NE(r.out.find(">g\nsequence length: 17\nnumber of ACGTU characters: 14\n"
                       "    dinucleotide         5 :        15 |     10 bp |     10 BP |      8 pt "
                       "| 100.000 % | unit AC\n"),
            std::string::npos)
      << r.out;
}

// The unit as it was seeded (TGC), its smallest rotation (CTG), or the
// smallest rotation of it and of its reverse complement GCA (AGC).
TEST(Units, ReportUnitModes)
{
  struct Case {
    std::string mode, shown, unit;
  } cases[] = {
      {"0", "as they are", "TGC"},
      {"1", "alphabetical normal form", "CTG"},
      {"2", "alphabetical normal form using reverse complement", "AGC"},
  };
  for (const Case& c : cases) {
    Scratch s;
    s.write("in.fa", ">u\nTGCTGCTGCTGA\n");
    RunResult r =
        run_zerlan(s, {"-M", "exact", "--outputFormat", "3", "--reportUnit", c.mode, "in.fa"});
    Shown shown = shown_with("one-per-line format");
    shown.unit = c.shown;
    EXPECT_EQ(r.out, report_head(shown, legend_one_per_line(false)) +
                         "u\t3\t100.000\t1\t11\t11\t  3.667\t8\t0\t0\t0\t0\t" + c.unit +
                         "\tTGCTGCTGCTG\n" + kFinished)
        << c.mode;
  }
}

}  // namespace
