// The report: column description, per-sequence header and footer, and the
// five entry formats with sequences, alignments, flanks and input positions.

#include "report/Csat.h"
#include "report/output_formats.h"
#include "sequence/CFile.h"
#include "sequence/CSequence_Mol.h"
#include "settings/global-types-and-parameters.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <unistd.h>

namespace {

std::string written(const std::function<void(FILE*)>& write)
{
  char* buffer = nullptr;
  size_t length = 0;
  FILE* out = open_memstream(&buffer, &length);
  write(out);
  std::fclose(out);
  std::string text(buffer, length);
  std::free(buffer);
  return text;
}

class FormatTest : public ::testing::Test {
 protected:
  void SetUp() override { init_param(); }
  void TearDown() override { init_param(); }

  void set_sequence(const std::string& residues, const char* full_name = "seq1 test record")
  {
    seq.residues.assign(residues.data(), static_cast<uint32_t>(residues.size()));
    seq.full_name.assign(full_name);
    seq.find_fastaname_and_description();
    seq.count_ACGTU = seq.count_ambig = seq.count_gaps = 0;
    for (char c : residues)
      ++(c == 'N' ? seq.count_ambig : seq.count_ACGTU);
    seq.removed_pos.clear();
  }
  const char* at(size_t i) const { return seq.residues.data() + i; }

  // A record [begin, end) seeded from its first unit_length residues.
  void make(Csat& sat, size_t begin, size_t end, size_t unit_length, int score)
  {
    sat.init(at(begin), at(begin + unit_length));
    sat.sat_end = at(end);
    sat.score = score;
  }
  // The residues as they appear in the alignment example with one mismatch:
  // ACGACTACG at 2..11 between flanks TT and CC.
  void make_mismatch_record(Csat& sat)
  {
    set_sequence("TTACGACTACGCC");
    make(sat, 2, 11, 3, 3);
    sat.num_mismatches = 1;
    sat.missense_list.push_back({at(7), 'M'});
  }

  std::string entry(Csat& sat)
  {
    unsigned int counter = 0;
    return written([&](FILE* out) { sat.report_sat(out, seq, counter); });
  }

  CSequence_Mol seq;
};

// The entry of the mismatch record: positions 3..11, length and BP 9,
// score 3, perfection 8/9, three units of ACG.
const char* const native_line =
    "   trinucleotide         3 :        11 |      9 bp |      9 BP |      3 pt |  88.889 % | unit ACG\n";
const char* const extended_line = "   trinucleotide         3 :        11 |      9 bp |      9 BP |      3 pt |  88.889 % "
                                  "|   1 mis |   0 ins |   0 del |   0 N |  unit ACG\nMissense: (6,M),\n";

// ---------------------------------------------------------------------------
// Entry formats

TEST_F(FormatTest, EachFormatWritesItsEntry)
{
  struct Case {
    int mode;
    std::string expected;
  } cases[] = {
      {0, native_line},
      {1, extended_line},
      {2, "seq1\tZerlan\ttandem-repeat\t3\t11\t88.89\t.\t.\tName=\"repeat_region 3-11 unit_size 3 repeat_number 3.000 "
          "perfection 88.889 unit ACG\"\n"},
      {3, "seq1\t3\t88.889\t3\t11\t9\t  3.000\t3\t1\t0\t0\t0\tACG\tACGACTACG\n"},
      {4, ">seq1 3 11 3 3 11 3.000 3 88.889 1 0 0\nACGACTACG\n"},
      {5, "Internal error. Unknown output format. Please report this bug"},
  };
  for (const Case& c : cases) {
    global_print_sat_mode = c.mode;
    global_print_sat_seq_mode = 0;
    Csat sat;
    make_mismatch_record(sat);
    EXPECT_EQ(entry(sat), c.expected) << "format " << c.mode;
  }
}

TEST_F(FormatTest, SequenceModesOfTheNativeFormats)
{
  struct Case {
    int seq_mode, flanking;
    std::string tail;
  } cases[] = {
      {0, 0, ""},
      {0, 2, ""},
      {1, 0, "ACGACTACG\n"},
      {1, 2, "TT:ACGACTACG:CC\n"},
      {2, 0, "ACGACTACG\n||||| |||\nACGACGACG\n"},
      {2, 2, "TT:ACGACTACG:CC\n   ||||| |||   \n   ACGACGACG   \n"},
  };
  for (const Case& c : cases) {
    global_print_sat_seq_mode = c.seq_mode;
    global_flanking = c.flanking;
    for (int mode : {0, 1}) {
      global_print_sat_mode = mode;
      Csat sat;
      make_mismatch_record(sat);
      EXPECT_EQ(entry(sat), (mode == 0 ? native_line : extended_line) + c.tail)
          << "format " << mode << ", sequence mode " << c.seq_mode << ", flanking " << c.flanking;
    }
  }
}

TEST_F(FormatTest, FlanksInTheTabularAndFastaFormats)
{
  global_flanking = 2;
  global_print_sat_mode = 3;
  Csat sat;
  make_mismatch_record(sat);
  EXPECT_EQ(entry(sat), "seq1\t3\t88.889\t3\t11\t9\t  3.000\t3\t1\t0\t0\t0\tACG\tACGACTACG\tTT\tCC\n");
  global_print_sat_mode = 4;
  EXPECT_EQ(entry(sat), ">seq1 3 11 3 3 11 3.000 3 88.889 1 0 0\nTTACGACTACGCC\n");
}

TEST_F(FormatTest, AlignmentRows)
{
  struct Case {
    const char* label;
    const char* residues; // the repeat starts at 2, seeded with ACG there
    size_t end;
    size_t deviation;
    char kind;
    const char* rows;
  } cases[] = {
      {"insertion", "TTACGAACGCC", 9, 5, 'I', "ACGAACG\n||| |||\nACG-ACG\n"},
      {"deletion", "TTACGACACGCC", 10, 7, 'D', "ACGAC-ACG\n||||| |||\nACGACGACG\n"},
      {"N", "TTACGACNACGCC", 11, 0, 0, "ACGACNACG\n|||||*|||\nACGACGACG\n"},
      {"perfect", "TTACGACGACGCC", 11, 0, 0, "ACGACGACG\n|||||||||\nACGACGACG\n"},
  };
  global_print_sat_mode = 0;
  global_print_sat_seq_mode = 2;
  global_N_and_perfection_mode = 2; // keep the N record perfect: 100 %
  for (const Case& c : cases) {
    set_sequence(c.residues);
    Csat sat;
    make(sat, 2, c.end, 3, 6);
    if (c.kind == 'I')
      sat.num_insertions = 1;
    if (c.kind == 'D')
      sat.num_deletions = 1;
    if (c.kind)
      sat.missense_list.push_back({at(c.deviation), c.kind});
    if (c.kind == 0 && std::string(c.residues).find('N') != std::string::npos)
      sat.num_Ns = 1;
    const std::string text = entry(sat);
    const size_t line_end = text.find('\n');
    ASSERT_NE(line_end, std::string::npos) << c.label;
    EXPECT_EQ(text.substr(line_end + 1), c.rows) << c.label;
  }
}

TEST_F(FormatTest, AlignmentStartsAtThePhaseOfTheRepeat)
{
  // Seeded from ACG at 3 and grown left to 1: the first residue, C, is
  // aligned with the unit character after unit_phase_left (the A at 3).
  global_print_sat_mode = 0;
  global_print_sat_seq_mode = 2;
  set_sequence("TCGACGACGT");
  Csat sat;
  sat.init(at(3), at(6));
  sat.sat_begin = at(1);
  sat.sat_end = at(9);
  sat.unit_phase_left = at(3);
  const std::string text = entry(sat);
  EXPECT_EQ(text.substr(text.find('\n') + 1), "CGACGACG\n||||||||\nCGACGACG\n");
}

TEST_F(FormatTest, AlignmentWithADeletionAndAMismatchAtOnePosition)
{
  // ACGAC then T: the unit's G is missing and the T stands for the A after it.
  global_print_sat_mode = 0;
  global_print_sat_seq_mode = 2;
  set_sequence("ACGACTCGACG");
  Csat sat;
  make(sat, 0, 11, 3, 0);
  sat.num_deletions = 1;
  sat.num_mismatches = 1;
  sat.missense_list.push_back({at(5), 'D'});
  sat.missense_list.push_back({at(5), 'M'});
  const std::string text = entry(sat);
  EXPECT_EQ(text.substr(text.find('\n') + 1), "ACGAC-TCGACG\n|||||  |||||\nACGACGACGACG\n");
}

TEST_F(FormatTest, FlanksAreCutAtTheSequenceEnds)
{
  global_flanking = 3;
  set_sequence("ACGACGACGT");
  Csat sat;
  make(sat, 0, 9, 3, 6);
  struct Case {
    int mode, seq_mode;
    std::string expected;
  } cases[] = {
      {0, 1, "   trinucleotide         1 :         9 |      9 bp |      9 BP |      6 pt | 100.000 % | unit ACG\n"
                 ":ACGACGACG:T\n"},
      {0, 2, "   trinucleotide         1 :         9 |      9 bp |      9 BP |      6 pt | 100.000 % | unit ACG\n"
             ":ACGACGACG:T\n |||||||||  \n ACGACGACG  \n"},
      {3, 0, "seq1\t3\t100.000\t1\t9\t9\t  3.000\t6\t0\t0\t0\t0\tACG\tACGACGACG\t\tT\n"},
      {4, 0, ">seq1 1 9 3 1 9 3.000 6 100.000 0 0 0\nACGACGACGT\n"},
  };
  for (const Case& c : cases) {
    global_print_sat_mode = c.mode;
    global_print_sat_seq_mode = c.seq_mode;
    EXPECT_EQ(entry(sat), c.expected) << "format " << c.mode;
  }
}

TEST_F(FormatTest, ExtendedFormatListsEveryDeviationWithinTheRepeat)
{
  global_print_sat_mode = 1;
  global_print_sat_seq_mode = 0;
  set_sequence("ACGACTACGAACGACACG");
  Csat sat;
  make(sat, 0, 18, 3, 0);
  sat.num_mismatches = sat.num_insertions = sat.num_deletions = 1;
  sat.missense_list.push_back({at(5), 'M'});
  sat.missense_list.push_back({at(10), 'I'});
  sat.missense_list.push_back({at(15), 'D'});
  const std::string text = entry(sat);
  EXPECT_EQ(text.substr(text.find('\n') + 1), "Missense: (6,M),(11,I),(16,D),\n");

  Csat perfect;
  set_sequence("ACGACGACG");
  make(perfect, 0, 9, 3, 6);
  const std::string perfect_text = entry(perfect);
  EXPECT_EQ(perfect_text.substr(perfect_text.find('\n') + 1), "Missense: \n");
}

TEST_F(FormatTest, GffWritesTheUnitUpToLength50)
{
  global_print_sat_mode = 2;
  global_report_unit_mode = 0;
  for (size_t unit_length : {50u, 51u}) {
    const std::string unit = "A" + std::string(unit_length - 1, 'C');
    set_sequence(unit + unit);
    Csat sat;
    make(sat, 0, 2 * unit_length, unit_length, static_cast<int>(unit_length));
    const std::string n = std::to_string(2 * unit_length);
    const std::string expected = "seq1\tZerlan\ttandem-repeat\t1\t" + n + "\t100.00\t.\t.\tName=\"repeat_region 1-" + n +
                                 " unit_size " + std::to_string(unit_length) +
                                 " repeat_number 2.000 perfection 100.000 unit " +
                                 (unit_length <= 50 ? unit : std::string(".")) + "\"\n";
    EXPECT_EQ(entry(sat), expected) << unit_length;
  }
}

TEST_F(FormatTest, NsAsMissenseDropsTheNColumn)
{
  global_treat_Ns_as_missense = true;
  global_print_sat_seq_mode = 0;
  Csat sat;
  make_mismatch_record(sat);
  global_print_sat_mode = 1;
  EXPECT_EQ(entry(sat), "   trinucleotide         3 :        11 |      9 bp |      9 BP |      3 pt |  88.889 % "
                        "|   1 mis |   0 ins |   0 del |  unit ACG\nMissense: (6,M),\n");
  global_print_sat_mode = 3;
  EXPECT_EQ(entry(sat), "seq1\t3\t88.889\t3\t11\t9\t  3.000\t3\t1\t0\t0\t.\tACG\tACGACTACG\n");
}

TEST_F(FormatTest, NCountInTheTabularFormat)
{
  global_print_sat_mode = 3;
  global_N_and_perfection_mode = 1; // N's neutral: 8/8
  set_sequence("ACGANGACG");
  Csat sat;
  make(sat, 0, 9, 3, 5);
  sat.num_Ns = 1;
  EXPECT_EQ(entry(sat), "seq1\t3\t100.000\t1\t9\t9\t  3.000\t5\t0\t0\t0\t1\tACG\tACGANGACG\n");
}

// ---------------------------------------------------------------------------
// Units and class names

TEST_F(FormatTest, UnitIsWrittenInTheChosenForm)
{
  struct Case {
    const char* unit;
    int unit_mode;
    const char* written;
  } cases[] = {
      {"GCA", 0, "GCA"}, {"GCA", 1, "AGC"}, {"GCA", 2, "AGC"}, {"CTG", 0, "CTG"}, {"CTG", 1, "CTG"},
      {"CTG", 2, "AGC"}, {"GGC", 1, "CGG"}, {"GGC", 2, "CCG"}, {"TA", 1, "AT"},
  };
  global_print_sat_mode = 0;
  global_print_sat_seq_mode = 0;
  for (const Case& c : cases) {
    global_report_unit_mode = c.unit_mode;
    const std::string unit = c.unit;
    set_sequence(unit + unit + unit);
    Csat sat;
    make(sat, 0, 3 * unit.size(), unit.size(), 6);
    const std::string text = entry(sat);
    const std::string tail = std::string("| unit ") + c.written + "\n";
    ASSERT_GE(text.size(), tail.size());
    EXPECT_EQ(text.substr(text.size() - tail.size()), tail) << c.unit << " in unit mode " << c.unit_mode;
  }
}

TEST_F(FormatTest, ClassNameColumnIsSixteenWide)
{
  global_print_sat_mode = 0;
  global_print_sat_seq_mode = 0;
  struct Case {
    const char* unit;
    const char* name;
  } cases[] = {{"A", "  mononucleotide"}, {"AC", "    dinucleotide"}, {"ACGTACC", "    7-nucleotide"}};
  for (const Case& c : cases) {
    const std::string unit = c.unit;
    set_sequence(unit + unit + unit);
    Csat sat;
    make(sat, 0, 3 * unit.size(), unit.size(), 6);
    EXPECT_EQ(entry(sat).substr(0, 17), std::string(c.name) + " ") << c.unit;
  }
}

// ---------------------------------------------------------------------------
// Refused records

TEST_F(FormatTest, RecordOutsideThePerfectionRangeIsNotWritten)
{
  // Length 4, unit 2, one mismatch: exactly 75 %.
  struct Case {
    float min, max;
    bool written;
  } cases[] = {{75.0f, 100.0f, true}, {0.0f, 75.0f, true}, {75.5f, 100.0f, false}, {0.0f, 74.5f, false},
               {100.0f, 100.0f, false}};
  global_print_sat_mode = 3;
  for (const Case& c : cases) {
    global_min_perfection = c.min;
    global_max_perfection = c.max;
    set_sequence("GGACATGG");
    seq.removed_pos.push_back(0); // a gap before the repeat would move the counter
    Csat sat;
    make(sat, 2, 6, 2, 0);
    sat.num_mismatches = 1;
    sat.missense_list.push_back({at(5), 'M'});
    unsigned int counter = 0;
    const std::string text = written([&](FILE* out) { sat.report_sat(out, seq, counter); });
    EXPECT_EQ(!text.empty(), c.written) << c.min << ".." << c.max;
    EXPECT_EQ(counter, c.written ? 1u : 0u) << c.min << ".." << c.max;
  }
}

TEST_F(FormatTest, RecordWithAPeriodicUnitIsNotWritten)
{
  global_print_sat_mode = 3;
  for (int unit_mode : {0, 1, 2}) {
    global_report_unit_mode = unit_mode;
    set_sequence("GGACACACACACACGG");
    seq.removed_pos.push_back(0);
    Csat sat;
    make(sat, 2, 14, 4, 8); // unit ACAC repeats AC
    unsigned int counter = 0;
    EXPECT_EQ(written([&](FILE* out) { sat.report_sat(out, seq, counter); }), "") << unit_mode;
    EXPECT_EQ(counter, 0u) << unit_mode;
  }
}

// ---------------------------------------------------------------------------
// Positions in the input with gaps removed

class GappedInputTest : public FormatTest {
 protected:
  void SetUp() override
  {
    FormatTest::SetUp();
    char path[] = "/tmp/zerlan_formats_XXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    // Text positions: gaps at 2, 3, 10 and 19.
    //                              0         1         2
    //                              01234567890123456789012345678
    const std::string text = ">s1 gapped\nTT--ACGACG-ACGACGTT-CACACACAC\n";
    FILE* f = std::fopen(path, "w");
    std::fputs(text.c_str(), f);
    std::fclose(f);
    CFile in;
    in.ffopen(path);
    seq.readFastaSequence_toupper_ambig2N_removegaps(in);
    in.ffclose();
    std::remove(path);
    ASSERT_EQ(std::string(seq.residues.data(), seq.residues.size()), "TTACGACGACGACGTTCACACACAC");
  }
};

TEST_F(GappedInputTest, PositionsCountTheRemovedGaps)
{
  // ACG...ACG is residues 2..14, CACACACAC residues 16..25. In the text the
  // first starts after two gaps and holds one, so end - start + 1 is one
  // more than its length.
  global_print_sat_mode = 3;
  Csat first, second;
  make(first, 2, 14, 3, 9);
  make(second, 16, 25, 2, 7);
  unsigned int counter = 0;
  EXPECT_EQ(written([&](FILE* out) { first.report_sat(out, seq, counter); }),
            "s1\t3\t100.000\t5\t17\t12\t  4.000\t9\t0\t0\t0\t0\tACG\tACGACGACGACG\n");
  EXPECT_EQ(counter, 2u) << "only the gaps before the start are passed for good";
  EXPECT_EQ(written([&](FILE* out) { second.report_sat(out, seq, counter); }),
            "s1\t2\t100.000\t21\t29\t9\t  4.500\t7\t0\t0\t0\t0\tAC\tCACACACAC\n");
  EXPECT_EQ(counter, 4u);
}

TEST_F(GappedInputTest, ReportCountsGapsInTheSequenceLength)
{
  global_print_sat_mode = 0;
  global_print_sat_seq_mode = 0;
  Csat first, second;
  make(first, 2, 14, 3, 9);
  make(second, 16, 25, 2, 7);
  EXPECT_EQ(written([&](FILE* out) { report_SATList(out, {&first, &second}, seq); }),
            ">s1 gapped\nsequence length: 29\nnumber of ACGTU characters: 25\n"
            "   trinucleotide         5 :        17 |     12 bp |     12 BP |      9 pt | 100.000 % | unit ACG\n"
            "    dinucleotide        21 :        29 |      9 bp |      9 BP |      7 pt | 100.000 % | unit AC\n"
            "# Analysis of sequence \"s1 gapped\" completed.\n");
}

// ---------------------------------------------------------------------------
// Header, footer and column description

TEST_F(FormatTest, HeadersAndFootersPerFormat)
{
  const std::string native_header = ">seq1 test record\nsequence length: 13\nnumber of ACGTU characters: 13\n";
  const std::string velta_header = ">seq1 test record\nsequence length: 13\n";
  const std::string comment_header = "# Full sequence name:\n#>seq1 test record\n##sequence-region seq1 1 13\n";
  const std::string native_footer = "# Analysis of sequence \"seq1 test record\" completed.\n";
  const std::string comment_footer = "# Analysis of sequence \"seq1\" completed.\n";
  const std::string gff = "seq1\tZerlan\ttandem-repeat\t3\t11\t88.89\t.\t.\tName=\"repeat_region 3-11 unit_size 3 "
                          "repeat_number 3.000 perfection 88.889 unit ACG\"\n";
  const std::string tabular = "seq1\t3\t88.889\t3\t11\t9\t  3.000\t3\t1\t0\t0\t0\tACG\tACGACTACG\n";
  const std::string fasta = ">seq1 3 11 3 3 11 3.000 3 88.889 1 0 0\nACGACTACG\n";
  struct Case {
    int mode;
    bool velta, comment;
    std::string expected;
  } cases[] = {
      {0, false, false, native_header + native_line + native_footer},
      {0, false, true, native_header + native_line + native_footer},
      {1, false, false, native_header + extended_line + native_footer},
      {0, true, false, velta_header + native_line},
      {1, true, true, velta_header + extended_line},
      {2, false, false, gff},
      {2, false, true, comment_header + gff + comment_footer},
      {2, true, true, comment_header + gff},
      {3, false, false, tabular},
      {3, false, true, comment_header + tabular + comment_footer},
      {4, false, true, fasta},
      {4, true, true, fasta},
  };
  global_print_sat_seq_mode = 0;
  for (const Case& c : cases) {
    global_print_sat_mode = c.mode;
    global_VELTA_run = c.velta;
    global_sequenceInfoAsComment = c.comment;
    Csat sat;
    make_mismatch_record(sat);
    EXPECT_EQ(written([&](FILE* out) { report_SATList(out, {&sat}, seq); }), c.expected)
        << "format " << c.mode << (c.velta ? ", VELTA" : "") << (c.comment ? ", info as comment" : "");
  }
}

TEST_F(FormatTest, EmptyResultStillGetsHeaderAndFooter)
{
  global_print_sat_mode = 0;
  set_sequence("ACGTNNACGT", "seq2");
  EXPECT_EQ(written([&](FILE* out) { report_SATList(out, {}, seq); }),
            ">seq2\nsequence length: 10\nnumber of ACGTU characters: 8\n# Analysis of sequence \"seq2\" completed.\n");
}

TEST_F(FormatTest, ColumnDescriptionPerFormat)
{
  const std::string head = "# \n# Columns in lines of output providing repeat information:\n"
                           "# Column  1: Repeat unit length\n"
                           "# Column  2: Position at which repeat starts in current sequence\n"
                           "# Column  3: Position at which repeat ends in current sequence\n"
                           "# Column  4: Length of repeat in original sequence, i.e. (end-start+1)\n"
                           "# Column  5: Normalized repeat length, i.e. (end-start+1-insertions+deletions)\n"
                           "# Column  6: Repeat score\n"
                           "# Column  7: Repeat perfection\n";
  const std::string counts = "# Column  8: Number of mismatches\n"
                             "# Column  9: Number of insertions\n"
                             "# Column 10: Number of deletions\n";
  const std::string tab_head = "seq-name\tunit-length\tperfection\tstart\tend\tlength\trepeat-number\tscore\t"
                               "mismatches\tinsertions\tdeletions\tNs\tunit\trepeat-seq";
  struct Case {
    int mode;
    bool Ns_missense;
    int flanking;
    std::string expected;
  } cases[] = {
      {0, false, 0, head + "# Column  8: Repeat unit\n# \n"},
      {1, false, 0, head + counts + "# Column 11: Number of N's\n# Column 12: Repeat unit\n# \n"},
      {1, true, 0, head + counts + "# Column 11: Repeat unit\n# \n"},
      {2, false, 0, ""},
      {3, false, 0, tab_head + "\n"},
      {3, false, 5, tab_head + "\tleft-flanking-seq\tright-flanking-seq\n"},
      {4, false, 0, ""},
  };
  for (const Case& c : cases) {
    global_print_sat_mode = c.mode;
    global_treat_Ns_as_missense = c.Ns_missense;
    global_flanking = c.flanking;
    EXPECT_EQ(written([](FILE* out) { print_output_format(out, "# "); }), c.expected) << "format " << c.mode;
  }
}

} // namespace
