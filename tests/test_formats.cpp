// The report: per-sequence header and footer, the five entry formats with
// sequences, alignments, flanks and input positions, and refused records.

#include "report/Csat.h"
#include "report/output_formats.h"
#include "sequence/CSequence_Mol.h"
#include "settings/global-types-and-parameters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

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

  void set_sequence(const std::string& residues)
  {
    seq.residues.assign(residues.data(), static_cast<uint32_t>(residues.size()));
    seq.full_name.assign("seq1 test record");
    seq.find_fastaname_and_description();
    seq.count_ACGTU = static_cast<uint32_t>(residues.size());
    seq.count_ambig = seq.count_gaps = 0;
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
  std::string entry(Csat& sat)
  {
    unsigned int counter = 0;
    return entry(sat, counter);
  }
  std::string entry(Csat& sat, unsigned int& gap_counter)
  {
    return written([&](FILE* out) { sat.report_sat(out, seq, gap_counter); });
  }

  CSequence_Mol seq;
};

std::string after_first_line(const std::string& text) { return text.substr(text.find('\n') + 1); }

} // namespace

// ACGACTACG at 2..11 between flanks TT and CC, one mismatch: positions
// 3..11, length and BP 9, score 3, perfection 8/9, three units of ACG.
TEST_F(FormatTest, EachFormatWritesItsEntry)
{
  const std::string expected[] = {
      "   trinucleotide         3 :        11 |      9 bp |      9 BP |      3 pt |  88.889 % | unit ACG\n",
      "   trinucleotide         3 :        11 |      9 bp |      9 BP |      3 pt |  88.889 % "
      "|   1 mis |   0 ins |   0 del |   0 N |  unit ACG\nMissense: (6,M),\n",
      "seq1\tZerlan\ttandem-repeat\t3\t11\t88.89\t.\t.\tName=\"repeat_region 3-11 unit_size 3 "
      "repeat_number 3.000 perfection 88.889 unit ACG\"\n",
      "seq1\t3\t88.889\t3\t11\t9\t  3.000\t3\t1\t0\t0\t0\tACG\tACGACTACG\n",
      ">seq1 3 11 3 3 11 3.000 3 88.889 1 0 0\nACGACTACG\n",
      "Internal error. Unknown output format. Please report this bug"};
  global_print_sat_seq_mode = 0;
  set_sequence("TTACGACTACGCC");
  for (int mode = 0; mode <= 5; ++mode) {
    global_print_sat_mode = mode;
    Csat sat;
    make(sat, 2, 11, 3, 3);
    sat.num_mismatches = 1;
    sat.missense_list.push_back({at(7), 'M'});
    EXPECT_EQ(entry(sat), expected[mode]) << "format " << mode;
  }
}

// Records that start at the first residue, with the N's in them counted.
TEST_F(FormatTest, FlanksCutAtTheEndsNColumnAndLongGffUnits)
{
  const std::string u50 = "A" + std::string(49, 'C'), u51 = u50 + "C";
  struct Case {
    int mode, seq_mode, flanking;
    std::string residues;
    size_t end, unit_length;
    int score;
    std::string expected;
  };
  const Case cases[] = {
      {0, 2, 3, "ACGACGACGT", 9, 3, 6,
       "   trinucleotide         1 :         9 |      9 bp |      9 BP |      6 pt | 100.000 % | unit ACG\n"
       ":ACGACGACG:T\n |||||||||  \n ACGACGACG  \n"},
      {3, 0, 3, "ACGACGACGT", 9, 3, 6, "seq1\t3\t100.000\t1\t9\t9\t  3.000\t6\t0\t0\t0\t0\tACG\tACGACGACG\t\tT\n"},
      // The N counts as a mismatch in the perfection: 8/9.
      {3, 0, 0, "ACGANGACG", 9, 3, 5, "seq1\t3\t88.889\t1\t9\t9\t  3.000\t5\t0\t0\t0\t1\tACG\tACGANGACG\n"},
      // gff writes the unit only up to 50 residues.
      {2, 0, 0, u50 + u50, 100, 50, 50,
       "seq1\tZerlan\ttandem-repeat\t1\t100\t100.00\t.\t.\tName=\"repeat_region 1-100 unit_size 50 repeat_number "
       "2.000 perfection 100.000 unit " + u50 + "\"\n"},
      {2, 0, 0, u51 + u51, 102, 51, 51,
       "seq1\tZerlan\ttandem-repeat\t1\t102\t100.00\t.\t.\tName=\"repeat_region 1-102 unit_size 51 repeat_number "
       "2.000 perfection 100.000 unit .\"\n"},
  };
  global_report_unit_mode = 0;
  for (const Case& c : cases) {
    global_print_sat_mode = c.mode;
    global_print_sat_seq_mode = c.seq_mode;
    global_flanking = c.flanking;
    set_sequence(c.residues);
    Csat sat;
    make(sat, 0, c.end, c.unit_length, c.score);
    sat.num_Ns = static_cast<uint32_t>(std::count(c.residues.begin(), c.residues.end(), 'N'));
    EXPECT_EQ(entry(sat), c.expected) << "format " << c.mode << " " << c.residues.substr(0, 10);
  }
}

TEST_F(FormatTest, AlignmentRows)
{
  struct Case {
    const char* residues;
    size_t begin, end, unit_begin, phase_left;
    std::vector<std::pair<size_t, char>> edits;
    const char* rows; // the deviations (1-based within the repeat), then the alignment
  };
  const Case cases[] = {
      {"TTACGAACGCC", 2, 9, 2, 4, {{5, 'I'}}, "Missense: (4,I),\nACGAACG\n||| |||\nACG-ACG\n"},
      {"TTACGACACGCC", 2, 10, 2, 4, {{7, 'D'}}, "Missense: (6,D),\nACGAC-ACG\n||||| |||\nACGACGACG\n"},
      {"TTACGACNACGCC", 2, 11, 2, 4, {}, "Missense: \nACGACNACG\n|||||*|||\nACGACGACG\n"},
      // The unit's G is missing and the T stands for the A after it.
      {"ACGACTCGACG", 0, 11, 0, 2, {{5, 'D'}, {5, 'M'}},
       "Missense: (6,D),(6,M),\nACGAC-TCGACG\n|||||  |||||\nACGACGACGACG\n"},
      // Seeded from ACG at 3 and grown left to 1: the C at 1 is aligned with
      // the unit character after unit_phase_left.
      {"TCGACGACGT", 1, 9, 3, 3, {}, "Missense: \nCGACGACG\n||||||||\nCGACGACG\n"},
  };
  global_print_sat_mode = 1;
  global_print_sat_seq_mode = 2;
  global_N_and_perfection_mode = 2; // N's count as matches, so no record falls out of the range
  for (const Case& c : cases) {
    set_sequence(c.residues);
    Csat sat;
    sat.init(at(c.unit_begin), at(c.unit_begin + 3));
    sat.sat_begin = at(c.begin);
    sat.sat_end = at(c.end);
    sat.unit_phase_left = at(c.phase_left);
    for (const auto& e : c.edits) {
      sat.missense_list.push_back({at(e.first), e.second});
      ++(e.second == 'M' ? sat.num_mismatches : e.second == 'I' ? sat.num_insertions : sat.num_deletions);
    }
    sat.num_Ns = static_cast<uint32_t>(std::string(c.residues).find('N') != std::string::npos);
    EXPECT_EQ(after_first_line(entry(sat)), c.rows) << c.residues;
  }
}

TEST_F(FormatTest, RefusedRecordIsNotWrittenAndLeavesTheGapCounter)
{
  // GGACATGG, repeat ACAT at 2..6 with one mismatch: exactly 75 %; a gap
  // before the repeat would move the counter.
  // min, max, unit mode, periodic unit ACAC (a repetition of AC), written
  const std::tuple<float, float, int, bool, bool> cases[] = {
      {75.0f, 100.0f, 2, false, true}, {0.0f, 75.0f, 2, false, true}, {75.5f, 100.0f, 2, false, false},
      {0.0f, 74.5f, 2, false, false},  {0.0f, 100.0f, 0, true, false}, {0.0f, 100.0f, 1, true, false},
      {0.0f, 100.0f, 2, true, false},
  };
  global_print_sat_mode = 3;
  for (const auto& [min, max, unit_mode, periodic, shown] : cases) {
    global_min_perfection = min;
    global_max_perfection = max;
    global_report_unit_mode = unit_mode;
    set_sequence(periodic ? "GGACACACGG" : "GGACATGG");
    seq.removed_pos.push_back(0);
    Csat sat;
    make(sat, 2, periodic ? 8 : 6, periodic ? 4 : 2, 0);
    if (!periodic) {
      sat.num_mismatches = 1;
      sat.missense_list.push_back({at(5), 'M'});
    }
    unsigned int counter = 0;
    EXPECT_EQ(entry(sat, counter).empty(), !shown) << min << ".." << max << " unit mode " << unit_mode;
    EXPECT_EQ(counter, shown ? 1u : 0u) << min << ".." << max << " unit mode " << unit_mode;
  }
}

TEST_F(FormatTest, PositionsAndLengthCountTheRemovedGaps)
{
  // The input text TT--ACGACG-ACGACGTT-CACACACAC: gaps at 2, 3, 10 and 19.
  set_sequence("TTACGACGACGACGTTCACACACAC");
  for (uint32_t pos : {2, 3, 10, 19})
    seq.removed_pos.push_back(pos);
  seq.count_gaps = 4;

  // ACG...ACG is residues 2..14, CACACACAC residues 16..25. The first starts
  // after two gaps and holds one, so end - start + 1 is one more than its length.
  Csat first, second;
  make(first, 2, 14, 3, 9);
  make(second, 16, 25, 2, 7);
  global_print_sat_mode = 3;
  unsigned int counter = 0;
  EXPECT_EQ(entry(first, counter),
            "seq1\t3\t100.000\t5\t17\t12\t  4.000\t9\t0\t0\t0\t0\tACG\tACGACGACGACG\n");
  EXPECT_EQ(counter, 2u) << "only the gaps before the start are passed for good";
  EXPECT_EQ(entry(second, counter),
            "seq1\t2\t100.000\t21\t29\t9\t  4.500\t7\t0\t0\t0\t0\tAC\tCACACACAC\n");
  EXPECT_EQ(counter, 4u);

  global_print_sat_mode = 0;
  global_print_sat_seq_mode = 0;
  EXPECT_EQ(written([&](FILE* out) { report_SATList(out, {&first, &second}, seq); }),
            ">seq1 test record\nsequence length: 29\nnumber of ACGTU characters: 25\n"
            "   trinucleotide         5 :        17 |     12 bp |     12 BP |      9 pt | 100.000 % | unit ACG\n"
            "    dinucleotide        21 :        29 |      9 bp |      9 BP |      7 pt | 100.000 % | unit AC\n"
            "# Analysis of sequence \"seq1 test record\" completed.\n");
}
