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

// A scratch directory per test; files written into it go with it.
class ScratchFiles : public ::testing::Test {
 protected:
  void SetUp() override
  {
    char tmpl[] = "/tmp/zerlan_seq_XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    dir = tmpl;
  }
  void TearDown() override
  {
    for (const std::string& f : files)
      std::remove(f.c_str());
    rmdir(dir.c_str());
  }

  std::string write(const std::string& content)
  {
    std::string path = dir + "/f" + std::to_string(files.size());
    std::ofstream(path, std::ios::binary) << content;
    files.push_back(path);
    return path;
  }

  // Opens a new file holding content; the reader starts good.
  void open(CFile& in, const std::string& content)
  {
    in.ffopen(write(content));
    ASSERT_TRUE(in.good());
  }

  // Everything getchar delivers until the input is used up.
  static std::string read_all(CFile& in)
  {
    std::string got;
    for (char c = in.getchar(); !in.fail(); c = in.getchar())
      got.push_back(c);
    return got;
  }

  std::string dir;
  std::vector<std::string> files;
};

void expect_end_of_input(const CFile& in)
{
  EXPECT_TRUE(in.eof());
  EXPECT_TRUE(in.fail());
  EXPECT_FALSE(in.good());
}

void expect_invalid_input(const CFile& in)
{
  EXPECT_TRUE(in.fail());
  EXPECT_FALSE(in.eof());
  EXPECT_FALSE(in.good());
}

std::string str(faststring& s) { return std::string(s.data() ? s.data() : "", s.size()); }

std::vector<uint32_t> vec(const fastvector<uint32_t>& v) { return std::vector<uint32_t>(v.begin(), v.end()); }

std::string written(CSequence_Mol& seq, unsigned int width)
{
  char* buf = nullptr;
  size_t len = 0;
  FILE* out = open_memstream(&buf, &len);
  seq.writeSequence_fill_in_gaps_and_stars(out, width);
  std::fclose(out);
  std::string text(buf, len);
  std::free(buf);
  return text;
}

} // namespace

// ---------------------------------------------------------------------------
// CFile: opening, end of input, line breaks

using CFileTest = ScratchFiles;

TEST_F(CFileTest, OpenedFileIsGoodAtLineOne)
{
  CFile in;
  open(in, "ACGT");
  EXPECT_FALSE(in.eof());
  EXPECT_FALSE(in.fail());
  EXPECT_EQ(in.line_number(), 1u);
}

TEST_F(CFileTest, MissingFileFailsWithoutGood)
{
  CFile in;
  in.ffopen(dir + "/does-not-exist");
  EXPECT_TRUE(in.fail());
  EXPECT_FALSE(in.good());
}

TEST_F(CFileTest, EmptyFileEndsAtFirstRead)
{
  CFile in;
  open(in, "");
  EXPECT_EQ(in.getchar(), 0);
  expect_end_of_input(in);
  EXPECT_EQ(in.line_number(), 1u);
}

TEST_F(CFileTest, ReadingPastTheEndKeepsTheFlags)
{
  CFile in;
  open(in, "A");
  EXPECT_EQ(in.getchar(), 'A');
  EXPECT_TRUE(in.good());
  EXPECT_EQ(in.getchar(), 0);
  expect_end_of_input(in);
  EXPECT_EQ(in.getchar(), 0);
  expect_end_of_input(in);
}

TEST_F(CFileTest, EveryKindOfLineBreakBecomesOneLineFeed)
{
  struct Case {
    std::string input, delivered;
    unsigned int line;
  };
  const Case cases[] = {
      {"a\nb", "a\nb", 2},
      {"a\r\nb", "a\nb", 2},
      {"a\rb", "a\nb", 2},
      {"a\n\nb", "a\n\nb", 3},
      {"a\r\rb", "a\n\nb", 3},
      {"a\n\rb", "a\n\nb", 3},       // LF then CR: two breaks
      {"a\r\n\r\nb", "a\n\nb", 3},
      {"a\r\r\nb\n", "a\n\nb\n", 4},
      {"\r\n", "\n", 2},
      {"a\tb\x0b" "c\x0c", "a\tb\x0b" "c\x0c", 1}, // other control bytes pass unchanged
  };
  for (const Case& c : cases) {
    CFile in;
    open(in, c.input);
    EXPECT_EQ(read_all(in), c.delivered) << "input: " << ::testing::PrintToString(c.input);
    EXPECT_EQ(in.line_number(), c.line) << "input: " << ::testing::PrintToString(c.input);
    expect_end_of_input(in);
  }
}

TEST_F(CFileTest, CarriageReturnAsTheLastByteIsDeliveredAndCounted)
{
  CFile in;
  open(in, "ab\r");
  EXPECT_EQ(in.getchar(), 'a');
  EXPECT_EQ(in.getchar(), 'b');
  EXPECT_EQ(in.getchar(), '\n');
  EXPECT_EQ(in.line_number(), 2u);
  expect_end_of_input(in);
}

TEST_F(CFileTest, RawReadKeepsCarriageReturnsAndCountsNothing)
{
  CFile in;
  open(in, "a\r\nb\r");
  std::string got;
  for (char c = in.getchar_intern(); !in.fail(); c = in.getchar_intern())
    got.push_back(c);
  EXPECT_EQ(got, "a\r\nb\r");
  EXPECT_EQ(in.line_number(), 1u);
  expect_end_of_input(in);
}

// ---------------------------------------------------------------------------
// CFile: peek and step back

TEST_F(CFileTest, PeekThenGetDeliversOnceAndCountsOnce)
{
  CFile in;
  open(in, "A\r\nB\rC");
  EXPECT_EQ(in.peekchar(), 'A');
  EXPECT_EQ(in.getchar(), 'A');
  EXPECT_EQ(in.peekchar(), '\n');
  EXPECT_EQ(in.line_number(), 1u);
  EXPECT_EQ(in.peekchar(), '\n'); // a second peek sees the same break
  EXPECT_EQ(in.line_number(), 1u);
  EXPECT_EQ(in.getchar(), '\n');
  EXPECT_EQ(in.line_number(), 2u);
  EXPECT_EQ(in.peekchar(), 'B');
  EXPECT_EQ(in.getchar(), 'B');
  EXPECT_EQ(in.peekchar(), '\n'); // lone CR
  EXPECT_EQ(in.line_number(), 2u);
  EXPECT_EQ(in.getchar(), '\n');
  EXPECT_EQ(in.line_number(), 3u);
  EXPECT_EQ(in.getchar(), 'C');
  EXPECT_TRUE(in.good());
}

TEST_F(CFileTest, PeekAtTheEndReportsEndOfInput)
{
  CFile in;
  open(in, "A");
  in.getchar();
  in.peekchar();
  EXPECT_TRUE(in.eof());
  EXPECT_TRUE(in.fail());
}

TEST_F(CFileTest, StepBackBeforeAnyReadFails)
{
  CFile in;
  open(in, "ACGT");
  in.ungetchar();
  EXPECT_TRUE(in.fail());
  EXPECT_FALSE(in.good());
  EXPECT_FALSE(in.eof());
}

TEST_F(CFileTest, StepBackOverLineFeedUncountsIt)
{
  CFile in;
  open(in, "A\nB");
  in.getchar();
  in.getchar();
  EXPECT_EQ(in.line_number(), 2u);
  in.ungetchar();
  EXPECT_EQ(in.line_number(), 1u);
  EXPECT_EQ(in.getchar(), '\n');
  EXPECT_EQ(in.line_number(), 2u);
}

// ---------------------------------------------------------------------------
// CFile: block boundaries (the first block holds 1,000,000 bytes)

TEST_F(CFileTest, CarriageReturnEndingABlockAndLineFeedStartingTheNextAreOneBreak)
{
  CFile in;
  open(in, std::string(BLOCK - 1, 'A') + "\r\nB");
  EXPECT_EQ(read_all(in), std::string(BLOCK - 1, 'A') + "\nB");
  EXPECT_EQ(in.line_number(), 2u);
}

TEST_F(CFileTest, LoneCarriageReturnEndingABlockIsOneBreak)
{
  CFile in;
  open(in, std::string(BLOCK - 1, 'A') + "\rB\n");
  EXPECT_EQ(read_all(in), std::string(BLOCK - 1, 'A') + "\nB\n");
  EXPECT_EQ(in.line_number(), 3u);
}

TEST_F(CFileTest, PeekAcrossTheBlockBoundary)
{
  CFile in;
  open(in, std::string(BLOCK, 'A') + "\nC");
  for (size_t i = 0; i < BLOCK; ++i)
    ASSERT_EQ(in.getchar(), 'A');
  EXPECT_EQ(in.peekchar(), '\n');
  EXPECT_EQ(in.line_number(), 1u);
  EXPECT_TRUE(in.good());
  EXPECT_EQ(in.getchar(), '\n');
  EXPECT_EQ(in.line_number(), 2u);
  EXPECT_EQ(in.peekchar(), 'C');
  EXPECT_EQ(in.getchar(), 'C');
  EXPECT_EQ(in.getchar(), 0);
  expect_end_of_input(in);
}

TEST_F(CFileTest, StepBackReachesTheLastByteOfThePreviousBlock)
{
  CFile in;
  open(in, std::string(BLOCK - 1, 'A') + "GC");
  for (size_t i = 0; i < BLOCK - 1; ++i)
    in.getchar();
  EXPECT_EQ(in.getchar(), 'G'); // last byte of the first block
  EXPECT_EQ(in.getchar(), 'C'); // first byte of the second
  in.ungetchar();
  in.ungetchar();
  EXPECT_TRUE(in.good());
  EXPECT_EQ(in.getchar(), 'G');
  EXPECT_EQ(in.getchar(), 'C');
}

TEST_F(CFileTest, FileWithoutLineBreaksLargerThanTwoBlocksIsDeliveredInOrder)
{
  std::string content(2 * BLOCK + 12345, ' ');
  for (size_t i = 0; i < content.size(); ++i)
    content[i] = "ACGTN"[(i * 7 + i / 1000) % 5];
  CFile in;
  open(in, content);
  std::string got = read_all(in);
  EXPECT_EQ(got.size(), content.size());
  EXPECT_TRUE(got == content);
  EXPECT_EQ(in.line_number(), 1u);
  expect_end_of_input(in);
}

// ---------------------------------------------------------------------------
// CFile: compressed input

TEST_F(CFileTest, GzipInputIsReadTransparently)
{
  std::string path = dir + "/in.fa.gz";
  files.push_back(path);
  // Two members, as concatenated gzip files have.
  gzFile gz = gzopen(path.c_str(), "wb");
  gzputs(gz, ">s\r\nAC\n");
  gzclose(gz);
  gz = gzopen(path.c_str(), "ab");
  gzputs(gz, "GT\n");
  gzclose(gz);

  CFile in;
  in.ffopen(path);
  ASSERT_TRUE(in.good());
  EXPECT_EQ(read_all(in), ">s\nAC\nGT\n");
  EXPECT_EQ(in.line_number(), 4u);
  expect_end_of_input(in);
  EXPECT_EQ(in.read_error(), "");
}

TEST_F(CFileTest, TruncatedGzipEndsInputWithAReadError)
{
  std::string path = dir + "/whole.gz";
  files.push_back(path);
  std::string text;
  for (int i = 0; i < 2000; ++i)
    text += "ACGTTGCAACGGTACCATGA\n";
  gzFile gz = gzopen(path.c_str(), "wb");
  gzwrite(gz, text.data(), static_cast<unsigned>(text.size()));
  gzclose(gz);
  std::ifstream whole(path, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(whole)), std::istreambuf_iterator<char>());
  ASSERT_GT(bytes.size(), 40u);

  CFile in;
  open(in, bytes.substr(0, bytes.size() / 2));
  std::string got = read_all(in);
  expect_end_of_input(in);
  EXPECT_LT(got.size(), text.size());
  EXPECT_NE(in.read_error(), "");
}

// ---------------------------------------------------------------------------
// FASTA reader: residues, counts and gap positions

class FastaTest : public ScratchFiles {
 protected:
  // Reads the first record of content with the chosen reader.
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

TEST_F(FastaTest, RnaAndLowerCaseBecomeUpperCaseDna)
{
  read(">s\nACGU acgu\n");
  EXPECT_EQ(str(seq.residues), "ACGTACGT");
  EXPECT_EQ(seq.count_ACGTU, 8u);
  EXPECT_EQ(seq.count_ambig, 0u);
  EXPECT_EQ(seq.count_gaps, 0u);
  expect_end_of_input(in);
}

TEST_F(FastaTest, AmbiguityCodesBecomeN)
{
  read(">s\nNXRYKMSWBDHV?\nnxrykmswbdhv\n");
  EXPECT_EQ(str(seq.residues), std::string(25, 'N'));
  EXPECT_EQ(seq.count_ambig, 25u);
  EXPECT_EQ(seq.count_ACGTU, 0u);
}

TEST_F(FastaTest, GapsAreRemovedWithTheirPositions)
{
  read(">s\nACRYN?-*\n");
  EXPECT_EQ(str(seq.residues), "ACNNNN");
  EXPECT_EQ(seq.count_ACGTU, 2u);
  EXPECT_EQ(seq.count_ambig, 4u);
  EXPECT_EQ(seq.count_gaps, 2u);
  EXPECT_EQ(vec(seq.removed_pos), (std::vector<uint32_t>{6, 7}));
  EXPECT_EQ(vec(seq.dash_pos), (std::vector<uint32_t>{6}));
  EXPECT_EQ(vec(seq.star_pos), (std::vector<uint32_t>{7}));
  EXPECT_EQ(seq.input_length(), 8u);
}

TEST_F(FastaTest, GapsBecomeNWhenAsked)
{
  read(">s\nACRYN?-*\n", true);
  EXPECT_EQ(str(seq.residues), "ACNNNNNN");
  EXPECT_EQ(seq.count_ACGTU, 2u);
  EXPECT_EQ(seq.count_ambig, 6u);
  EXPECT_EQ(seq.count_gaps, 0u);
  EXPECT_EQ(seq.removed_pos.size(), 0u);
  EXPECT_EQ(seq.dash_pos.size(), 0u);
  EXPECT_EQ(seq.star_pos.size(), 0u);
}

TEST_F(FastaTest, GapPositionsCountResiduesAndGapsAcrossLinesButNotBlanks)
{
  // Text of residues and gaps: - A C * G - T  (positions 0 … 6)
  read(">s\n-A C\t\n*G-\n\nT\n");
  EXPECT_EQ(str(seq.residues), "ACGT");
  EXPECT_EQ(vec(seq.removed_pos), (std::vector<uint32_t>{0, 3, 5}));
  EXPECT_EQ(vec(seq.dash_pos), (std::vector<uint32_t>{0, 5}));
  EXPECT_EQ(vec(seq.star_pos), (std::vector<uint32_t>{3}));
  EXPECT_EQ(seq.count_gaps, 3u);
  EXPECT_EQ(seq.input_length(), 7u);
}

// ---------------------------------------------------------------------------
// FASTA reader: headers

TEST_F(FastaTest, HeaderSplitsIntoNameAndDescriptionAtTheFirstBlank)
{
  struct Case {
    std::string header, name, description;
  };
  const Case cases[] = {
      {"chr1 human chromosome 1", "chr1", "human chromosome 1"},
      {" x", "", "x"},
      {"a\tb c", "a\tb", "c"}, // a tab is part of the name
      {"a   b  c ", "a", "b  c "},
      {"a   ", "a", ""},
  };
  for (const Case& c : cases) {
    read(">" + c.header + "\nACGT\n");
    EXPECT_EQ(str(seq.full_name), c.header);
    EXPECT_EQ(str(seq.name), c.name) << "header: " << c.header;
    EXPECT_EQ(str(seq.description), c.description) << "header: " << c.header;
    EXPECT_EQ(str(seq.residues), "ACGT");
  }
}

TEST_F(FastaTest, HeaderWithoutBlankIsTheName)
{
  read(">chr1\nACGT\n");
  EXPECT_EQ(str(seq.full_name), "chr1");
  EXPECT_EQ(str(seq.name), "chr1");
}

TEST_F(FastaTest, HeaderAtTheEndOfTheFileWithoutLineBreak)
{
  read(">abc def");
  EXPECT_EQ(str(seq.full_name), "abc def");
  EXPECT_EQ(str(seq.name), "abc");
  EXPECT_EQ(seq.residues.size(), 0u);
  expect_end_of_input(in);
}

// ---------------------------------------------------------------------------
// FASTA reader: records and the state they leave

TEST_F(FastaTest, RecordsAreReadOneByOneAndTheRecordIsReset)
{
  read(">a first\nAC-G\nT*\n>b\nGGN\n");
  EXPECT_TRUE(in.good());
  EXPECT_EQ(str(seq.name), "a");
  EXPECT_EQ(str(seq.residues), "ACGT");
  EXPECT_EQ(seq.count_gaps, 2u);

  read_next();
  expect_end_of_input(in);
  EXPECT_EQ(str(seq.full_name), "b");
  EXPECT_EQ(str(seq.name), "b");
  EXPECT_EQ(str(seq.residues), "GGN");
  EXPECT_EQ(seq.count_ACGTU, 2u);
  EXPECT_EQ(seq.count_ambig, 1u);
  EXPECT_EQ(seq.count_gaps, 0u);
  EXPECT_EQ(seq.removed_pos.size(), 0u);
  EXPECT_EQ(seq.dash_pos.size(), 0u);
  EXPECT_EQ(seq.star_pos.size(), 0u);
}

TEST_F(FastaTest, LastLineWithoutLineBreakIsReadCompletely)
{
  read(">s\nACGT\nGG");
  EXPECT_EQ(str(seq.residues), "ACGTGG");
  expect_end_of_input(in);
}

TEST_F(FastaTest, CarriageReturnLineBreaksInRecords)
{
  read(">s1 d\r\nAC\r\nGT\r\n>s2\rTT\rGG");
  EXPECT_TRUE(in.good());
  EXPECT_EQ(str(seq.full_name), "s1 d");
  EXPECT_EQ(str(seq.residues), "ACGT");
  read_next();
  EXPECT_EQ(str(seq.name), "s2");
  EXPECT_EQ(str(seq.residues), "TTGG");
  expect_end_of_input(in);
}

TEST_F(FastaTest, BlankLinesBeforeTheFirstRecordAreSkipped)
{
  read("\n \r\n\t>s\nA\n");
  EXPECT_EQ(str(seq.name), "s");
  EXPECT_EQ(str(seq.residues), "A");
}

TEST_F(FastaTest, HeaderWithoutSequenceLinesGivesAnEmptyRecord)
{
  read(">a\n>b\nAC\n");
  EXPECT_TRUE(in.good());
  EXPECT_EQ(str(seq.name), "a");
  EXPECT_EQ(seq.residues.size(), 0u);
  EXPECT_EQ(seq.count_ACGTU + seq.count_ambig + seq.count_gaps, 0u);
  read_next();
  EXPECT_EQ(str(seq.residues), "AC");
}

TEST_F(FastaTest, LoneGreaterThanAtTheEndGivesAnEmptyLastRecord)
{
  read(">a\nAC\n>");
  EXPECT_TRUE(in.good());
  EXPECT_EQ(str(seq.residues), "AC");
  read_next();
  expect_end_of_input(in);
  EXPECT_EQ(seq.full_name.size(), 0u);
  EXPECT_EQ(seq.residues.size(), 0u);
}

TEST_F(FastaTest, CommentLinesOnlyBeforeTheFirstRecord)
{
  read("# made by hand\n#\n\n# another\r\n>s\nAC\n");
  EXPECT_EQ(str(seq.name), "s");
  EXPECT_EQ(str(seq.residues), "AC");

  read(">a\nAC\n# not here\n>b\nGT\n");
  expect_invalid_input(in);
  EXPECT_EQ(in.line_number(), 3u);
}

TEST_F(FastaTest, InputWithoutARecordIsInvalid)
{
  const std::string inputs[] = {"", "\n\n  \n", "# only a comment\n", "ACGT\n>s\nAC\n"};
  for (const std::string& input : inputs) {
    read(input);
    expect_invalid_input(in);
  }
}

TEST_F(FastaTest, InvalidCharacterFailsAtItsLine)
{
  const std::string bad[] = {"1", ".", "#", ">", "E", "F", "I", "J", "L", "O", "P", "Q", "Z",
                             "e", "z", "\x01", "\x7f", "\xc3\xa9"};
  for (const std::string& b : bad) {
    for (bool gaps_to_N : {false, true}) {
      read(">s\nACGT\nAC" + b + "T\nGG\n", gaps_to_N);
      expect_invalid_input(in);
      EXPECT_EQ(in.line_number(), 3u) << "character: " << ::testing::PrintToString(b);
    }
  }
}

TEST_F(FastaTest, InvalidCharacterLineNumberAfterCarriageReturns)
{
  read(">s\r\nACGT1\r\n");
  expect_invalid_input(in);
  EXPECT_EQ(in.line_number(), 2u);

  read(">s\rAC\rA1");
  expect_invalid_input(in);
  EXPECT_EQ(in.line_number(), 3u);
}

TEST_F(FastaTest, LineBreakSplitAcrossTheBlockBoundaryCountsOnce)
{
  // ">s\r\n" is 4 bytes, so the CR after the C's is byte 1,000,000 and its
  // LF the first byte of the second block.
  read(">s\r\n" + std::string(BLOCK - 5, 'C') + "\r\nGT\r\nA1\r\n");
  expect_invalid_input(in);
  EXPECT_EQ(in.line_number(), 4u);
  EXPECT_EQ(seq.residues.size(), BLOCK - 5 + 3);
  EXPECT_EQ(str(seq.residues).substr(BLOCK - 7), "CCGTA");
}

TEST_F(FastaTest, NextRecordStartingAtTheBlockBoundary)
{
  // The first record fills the first block exactly; '>' opens the second.
  read(">a\n" + std::string(BLOCK - 4, 'A') + "\n>b\nC\n");
  EXPECT_TRUE(in.good());
  EXPECT_EQ(seq.residues.size(), BLOCK - 4);
  EXPECT_EQ(seq.count_ACGTU, BLOCK - 4);
  read_next();
  EXPECT_EQ(str(seq.name), "b");
  EXPECT_EQ(str(seq.residues), "C");
  EXPECT_EQ(in.line_number(), 5u);
  expect_end_of_input(in);
}

TEST_F(FastaTest, GzipFastaIsReadLikePlainText)
{
  std::string path = dir + "/in.fa.gz";
  files.push_back(path);
  gzFile gz = gzopen(path.c_str(), "wb");
  gzputs(gz, ">s one\nac-gu\n");
  gzclose(gz);
  in.ffopen(path);
  read_next();
  EXPECT_EQ(str(seq.name), "s");
  EXPECT_EQ(str(seq.residues), "ACGT");
  EXPECT_EQ(vec(seq.dash_pos), (std::vector<uint32_t>{2}));
  expect_end_of_input(in);
}

TEST_F(FastaTest, RecordUpToTheLengthLimitIsAcceptedAndLongerRefused)
{
  struct Restore {
    uint32_t saved = CSequence_Mol::max_length;
    ~Restore() { CSequence_Mol::max_length = saved; }
  } restore;
  CSequence_Mol::max_length = 6;

  read(">s\nAC-G\n*T\n");
  EXPECT_FALSE(seq.too_long);
  EXPECT_EQ(seq.input_length(), 6u);
  expect_end_of_input(in);

  read(">s\nAC-G\n*TA\n");
  EXPECT_TRUE(seq.too_long);
  expect_invalid_input(in);
}

// ---------------------------------------------------------------------------
// Growable string and position list

TEST(FastContainers, StringAssignAppendAndTerminate)
{
  faststring s;
  EXPECT_TRUE(s.empty());
  s.assign("ACG");
  EXPECT_EQ(s.size(), 3u);
  for (char c : std::string("TTTTTTTTTT"))
    s.push_back(c);
  EXPECT_STREQ(s.c_str(), "ACGTTTTTTTTTT");
  EXPECT_EQ(s.size(), 13u); // the terminator is not counted
  s.assign("N");
  EXPECT_STREQ(s.c_str(), "N");
  s.clear();
  EXPECT_STREQ(s.c_str(), "");
}

TEST(FastContainers, PositionListGrowsFromFourByDoubling)
{
  fastvector<uint32_t> v;
  const uint32_t capacities[] = {4, 4, 4, 4, 8, 8, 8, 8, 16};
  for (uint32_t i = 0; i < 9; ++i) {
    v.push_back(i * 10);
    EXPECT_EQ(v.capacity(), capacities[i]);
  }
  EXPECT_EQ(vec(v), (std::vector<uint32_t>{0, 10, 20, 30, 40, 50, 60, 70, 80}));
}

// ---------------------------------------------------------------------------
// Masked writer

using MaskedWriterTest = FastaTest;

TEST_F(MaskedWriterTest, RecordWithoutResiduesIsOnlyTheHeader)
{
  read(">empty one\n>b\n");
  EXPECT_EQ(written(seq, 80), ">empty one\n");
}

TEST_F(MaskedWriterTest, GapsArePutBackInTheirPlaces)
{
  read(">s x\nAC-G*T\n");
  EXPECT_EQ(written(seq, 80), ">s x\nAC-G*T\n");

  read(">s\n-*ac\n*-\n");
  EXPECT_EQ(written(seq, 80), ">s\n-*AC*-\n");
  EXPECT_EQ(written(seq, 3), ">s\n-*A\nC*-\n");
}

TEST_F(MaskedWriterTest, GapsTurnedIntoNAreWrittenAsN)
{
  read(">s\nAC-G*T\n", true);
  EXPECT_EQ(written(seq, 80), ">s\nACNGNT\n");
}

TEST_F(MaskedWriterTest, LinesWrapAtTheWidth)
{
  const std::string line(80, 'A');
  read(">s\n" + line + line + "\n");
  EXPECT_EQ(written(seq, 80), ">s\n" + line + "\n" + line + "\n");

  read(">s\n" + line + line + "C\n");
  EXPECT_EQ(written(seq, 80), ">s\n" + line + "\n" + line + "\nC\n");

  // Gap characters take columns like residues.
  read(">s\n" + std::string(79, 'A') + "-G\n");
  EXPECT_EQ(written(seq, 80), ">s\n" + std::string(79, 'A') + "-\nG\n");
}

TEST_F(MaskedWriterTest, MaskedResiduesAroundAGapKeepTheGap)
{
  read(">s\nACG-TTA\n");
  ASSERT_EQ(str(seq.residues), "ACGTTA");
  for (uint32_t i = 1; i <= 4; ++i)
    seq.residues[i] = static_cast<char>(seq.residues[i] - 'A' + 'a');
  EXPECT_EQ(written(seq, 80), ">s\nAcg-ttA\n");

  for (uint32_t i = 1; i <= 4; ++i)
    seq.residues[i] = 'X';
  EXPECT_EQ(written(seq, 80), ">s\nAXX-XXA\n");
}
