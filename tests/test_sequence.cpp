// Sequence input: the buffered reader CFile, the FASTA reader of
// CSequence_Mol and the writer of the masked copy.

#include "sequence/CFile.h"
#include "sequence/CSequence_Mol.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

const size_t BLOCK = 1000000; // bytes of the reader's first block

// One scratch file per test, rewritten by each open.
class ScratchFile : public ::testing::Test {
 protected:
  void SetUp() override
  {
    char tmpl[] = "/tmp/zerlan_seq_XXXXXX";
    const int fd = mkstemp(tmpl);
    ASSERT_NE(fd, -1);
    close(fd);
    file = tmpl;
  }
  void TearDown() override { std::remove(file.c_str()); }
  void open(CFile& in, const std::string& content)
  {
    std::ofstream(file, std::ios::binary) << content;
    in.ffopen(file);
    ASSERT_TRUE(in.good());
  }
  // Everything getchar delivers until the input is used up (a CR as the
  // last byte comes as a line feed together with the end of input).
  static std::string read_all(CFile& in)
  {
    std::string got;
    for (char c = in.getchar(); c != 0 || !in.fail(); c = in.fail() ? 0 : in.getchar())
      got.push_back(c);
    return got;
  }

  std::string file;
};

void expect_end_of_input(const CFile& in)
{
  EXPECT_TRUE(in.eof());
  EXPECT_TRUE(in.fail());
}

void expect_invalid_input(const CFile& in)
{
  EXPECT_TRUE(in.fail());
  EXPECT_FALSE(in.eof());
}

std::string str(const faststring& s) { return std::string(s.data() ? s.data() : "", s.size()); }

} // namespace

// ---------------------------------------------------------------------------
// CFile

using CFileTest = ScratchFile;

TEST_F(CFileTest, EveryKindOfLineBreakBecomesOneLineFeed)
{
  CFile missing;
  missing.ffopen(file + ".does-not-exist");
  EXPECT_TRUE(missing.fail());

  std::string no_breaks(2 * BLOCK + 12345, ' ');
  for (size_t i = 0; i < no_breaks.size(); ++i)
    no_breaks[i] = "ACGTN"[(i * 7 + i / 1000) % 5];
  const std::string a(BLOCK - 1, 'A');
  struct Case {
    std::string input, delivered;
    unsigned int line;
  };
  const Case cases[] = {
      {"", "", 1},
      {"a\nb", "a\nb", 2},
      {"a\r\nb", "a\nb", 2},
      {"a\rb", "a\nb", 2},
      {"a\n\rb", "a\n\nb", 3}, // LF then CR: two breaks
      {"a\r\r\nb\n", "a\n\nb\n", 4},
      {"ab\r", "ab\n", 2},
      {"a\tb\x0b" "c\x0c", "a\tb\x0b" "c\x0c", 1}, // other control bytes pass unchanged
      // CR as byte 1,000,000 of the first block, with and without LF next.
      {a + "\r\nB", a + "\nB", 2},
      {a + "\rB\n", a + "\nB\n", 3},
      {no_breaks, no_breaks, 1},
  };
  for (const Case& c : cases) {
    CFile in;
    open(in, c.input);
    const std::string label = ::testing::PrintToString(c.input.substr(0, 20)) + " of " + std::to_string(c.input.size());
    EXPECT_TRUE(read_all(in) == c.delivered) << label;
    EXPECT_EQ(in.line_number(), c.line) << label;
    expect_end_of_input(in);
    EXPECT_EQ(in.getchar(), 0); // reading on keeps the flags
    expect_end_of_input(in);
  }
}

// A CR LF is peeked as one line feed; the G is the last byte of the first
// block, the line feed after it the first of the second.
TEST_F(CFileTest, PeekAndStepBackKeepTheLineCount)
{
  CFile in;
  open(in, "A");
  in.ungetchar(); // nothing read yet
  expect_invalid_input(in);

  open(in, "A\r\n" + std::string(BLOCK - 4, 'A') + "G\nC");
  EXPECT_EQ(in.getchar(), 'A');
  EXPECT_EQ(in.peekchar(), '\n');
  EXPECT_EQ(in.peekchar(), '\n');
  EXPECT_EQ(in.line_number(), 1u);
  EXPECT_EQ(in.getchar(), '\n');
  for (size_t i = 0; i < BLOCK - 4; ++i)
    ASSERT_EQ(in.getchar(), 'A');
  EXPECT_EQ(in.getchar(), 'G');
  EXPECT_EQ(in.peekchar(), '\n');
  EXPECT_EQ(in.line_number(), 2u);
  EXPECT_EQ(in.getchar(), '\n');
  EXPECT_EQ(in.line_number(), 3u);
  in.ungetchar();
  in.ungetchar();
  EXPECT_TRUE(in.good());
  EXPECT_EQ(in.line_number(), 2u);
  EXPECT_EQ(in.getchar(), 'G');
  EXPECT_EQ(in.getchar(), '\n');
  EXPECT_EQ(in.getchar(), 'C');
  EXPECT_EQ(in.line_number(), 3u);
  in.peekchar();
  expect_end_of_input(in);
}

// Concatenated gzip files have several members; they read as one text.
// (A truncated member is checked end to end.)
TEST_F(CFileTest, GzipInputWithTwoMembers)
{
  const char* const modes[] = {"wb", "ab"}, *const members[] = {">s\r\nAC\n", "GT\n"};
  for (int i = 0; i < 2; ++i) {
    gzFile gz = gzopen(file.c_str(), modes[i]);
    gzputs(gz, members[i]);
    gzclose(gz);
  }
  CFile in;
  in.ffopen(file);
  EXPECT_EQ(read_all(in), ">s\nAC\nGT\n");
  EXPECT_EQ(in.line_number(), 4u);
  expect_end_of_input(in);
  EXPECT_EQ(in.read_error(), "");
}

// ---------------------------------------------------------------------------
// FASTA reader

class FastaTest : public ScratchFile {
 protected:
  void read(const std::string& content, bool gaps_to_N = false)
  {
    open(in, content);
    read_next(gaps_to_N);
  }
  void read_next(bool gaps_to_N = false)
  {
    if (gaps_to_N)
      seq.readFastaSequence_toupper_ambig2N_gaps2N(in);
    else
      seq.readFastaSequence_toupper_ambig2N_removegaps(in);
  }
  CFile in;
  CSequence_Mol seq;
};

TEST_F(FastaTest, ResiduesAreCleanedAndGapsRemovedOrTurnedIntoN)
{
  // Expected: residues, counts of ACGTU, ambiguity codes and gaps, then the
  // positions of all removed gaps, of the dashes and of the stars.
  const std::string cases[][3] = {
      {"ACGU acgu", "", "ACGTACGT 8 0 0 [] [] []"},
      {"NXRYKMSWBDHV?\nnxrykmswbdhv", "", std::string(25, 'N') + " 0 25 0 [] [] []"},
      {"ACRYN?-*", "", "ACNNNN 2 4 2 [6 7] [6] [7]"},
      {"ACRYN?-*", "gaps to N", "ACNNNNNN 2 6 0 [] [] []"},
      // Positions count residues and gaps across lines, not blanks: - A C * G - T
      {"-A C\t\n*G-\n\nT", "", "ACGT 4 0 3 [0 3 5] [0 5] [3]"},
  };
  for (const auto& c : cases) {
    read(">s\n" + c[0] + "\n", !c[1].empty());
    std::string got = str(seq.residues) + " " + std::to_string(seq.count_ACGTU) + " " +
                      std::to_string(seq.count_ambig) + " " + std::to_string(seq.count_gaps);
    for (const fastvector<uint32_t>* list : {&seq.removed_pos, &seq.dash_pos, &seq.star_pos}) {
      std::string positions;
      for (uint32_t pos : *list)
        positions += (positions.empty() ? "" : " ") + std::to_string(pos);
      got += " [" + positions + "]";
    }
    EXPECT_EQ(got, c[2]) << c[0] << " " << c[1];
    expect_end_of_input(in);
  }
}

TEST_F(FastaTest, HeaderSplitsIntoNameAndDescriptionAtTheFirstBlank)
{
  const std::string cases[][3] = {
      {"chr1 human chromosome 1", "chr1", "human chromosome 1"},
      {"chr1", "chr1", ""},
      {" x", "", "x"},
      {"a\tb c", "a\tb", "c"}, // a tab is part of the name
      {"a   b  c ", "a", "b  c "},
  };
  for (const auto& c : cases) {
    read(">" + c[0] + "\nACGT\n");
    EXPECT_EQ(str(seq.full_name), c[0]);
    EXPECT_EQ(str(seq.name), c[1]) << c[0];
    EXPECT_EQ(str(seq.description), c[2]) << c[0];
  }
}

TEST_F(FastaTest, RecordsAreReadOneByOne)
{
  using Records = std::vector<std::string>; // full name, residues, number of removed gaps
  const std::string a(BLOCK - 4, 'A');
  const std::pair<std::string, Records> cases[] = {
      // The second record starts with its counts and gap lists reset.
      {">a first\nAC-G\nT*\n>b\nGGN\n", {"a first ACGT 2", "b GGN 0"}},
      {">s1 d\r\nAC\r\nGT\r\n>s2\rTT\rGG", {"s1 d ACGT 0", "s2 TTGG 0"}},
      {"\n \r\n# made by hand\n#\n\n# another\r\n\t>s\nA", {"s A 0"}},
      {">a\n>b\nAC\n", {"a  0", "b AC 0"}},
      // The first record fills the first block exactly; '>' opens the second.
      {">a\n" + a + "\n>b\nC\n", {"a " + a + " 0", "b C 0"}},
  };
  for (const auto& c : cases) {
    open(in, c.first);
    Records got;
    for (size_t i = 0; i < c.second.size(); ++i) {
      EXPECT_TRUE(in.good());
      read_next();
      got.push_back(str(seq.full_name) + " " + str(seq.residues) + " " + std::to_string(seq.count_gaps));
      EXPECT_EQ(seq.removed_pos.size(), seq.count_gaps);
    }
    EXPECT_TRUE(got == c.second) << c.first.substr(0, 30);
    expect_end_of_input(in);
  }
}

TEST_F(FastaTest, InvalidInputFailsWithoutEndOfInputAtItsLine)
{
  struct Case {
    std::string input;
    unsigned int line; // 0: not checked
  };
  std::vector<Case> cases = {
      {"", 0},
      {"\n\n# only a comment\n", 0},
      {"ACGT\n>s\nAC\n", 0},
      {">a\nAC\n# not here\n>b\nGT\n", 3}, // '#' only before the first record
      {">s\r\nACGT1\r\n", 2},
      // The CR after the C's is byte 1,000,000, its LF the first of the next block.
      {">s\r\n" + std::string(BLOCK - 5, 'C') + "\r\nGT\r\nA1\r\n", 4},
  };
  for (const char* bad : {"1", ".", "#", ">", "J", "e", "\x01", "\xc3\xa9"})
    cases.push_back({std::string(">s\nACGT\nAC") + bad + "T\nGG\n", 3});
  for (const Case& c : cases) {
    for (bool gaps_to_N : {false, true}) {
      read(c.input, gaps_to_N);
      expect_invalid_input(in);
      if (c.line) {
        EXPECT_EQ(in.line_number(), c.line) << ::testing::PrintToString(c.input.substr(0, 20));
      }
    }
  }
}

// ---------------------------------------------------------------------------
// Masked writer

TEST_F(FastaTest, MaskedWriterPutsGapsBackAndWrapsLines)
{
  auto written = [&](unsigned int width) {
    char* buf = nullptr;
    size_t len = 0;
    FILE* out = open_memstream(&buf, &len);
    seq.writeSequence_fill_in_gaps_and_stars(out, width);
    std::fclose(out);
    const std::string text(buf, len);
    std::free(buf);
    return text;
  };
  const std::string a79(79, 'A');
  struct Case {
    std::string input;
    bool gaps_to_N;
    unsigned int width;
    std::string expected;
  };
  const Case cases[] = {
      {">empty one\n>b\n", false, 80, ">empty one\n"},
      {">s\n-*ac\n*-\n", false, 3, ">s\n-*A\nC*-\n"},
      {">s\nAC-G*T\n", true, 80, ">s\nACNGNT\n"},
      {">s\n" + a79 + "-G\n", false, 80, ">s\n" + a79 + "-\nG\n"}, // gaps take columns
  };
  for (const Case& c : cases) {
    read(c.input, c.gaps_to_N);
    EXPECT_EQ(written(c.width), c.expected) << c.input;
  }
}
