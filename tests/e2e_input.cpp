// FASTA input end to end: files without records, invalid characters and the
// line they are reported on, line-break conventions, unusual record ends,
// cleaning of residues and compressed input.

#include <cstdlib>
#include <gtest/gtest.h>

#include "e2e_util.h"

namespace {

std::string read_error(int line)
{
  return "\n\nAn error occurred while reading the input file. It might not be a valid fasta "
         "file.\nFile position: line " +
         std::to_string(line) + "\n";
}

Shown exact_one_per_line()
{
  Shown shown;
  shown.searched = "exact repeats";
  shown.format = "one-per-line format";
  return shown;
}

const std::vector<std::string> kExactOnePerLine = {"-M", "exact", "--outputFormat", "3", "in.fa"};

// A file that never starts a record ends with the read error; the line is one
// more than the number of line breaks read, or the line of the first byte
// that is neither white space nor part of a '#' line.
TEST(NoRecord, EndsWithReadErrorAndOnlyTheHeaderBlock)
{
  struct Case {
    std::string content;
    int line;
  } cases[] = {
      {"", 1},
      {"\n\n", 3},
      {"# only a comment\n", 2},
      {"\n#a\n\n# b\n", 5},
      {" \t\n\n", 3},
      {"#no line break", 1},
      {"\r\n#a\r\n", 3},
      {"ACGT\n", 1},
      {"\n\nACGT\n", 3},
  };
  for (const Case& c : cases) {
    Scratch s;
    s.write("in.fa", c.content);
    RunResult r = run_zerlan(s, kExactOnePerLine);
    EXPECT_EQ(r.status, 231) << c.content;
    EXPECT_EQ(r.out, report_head(exact_one_per_line(), legend_one_per_line(false))) << c.content;
    EXPECT_EQ(r.err, console_head(exact_one_per_line()) + read_error(c.line)) << c.content;
  }
}

// The read error names the line on which the offending character stands.
TEST(InvalidCharacter, ReportedWithItsLine)
{
  struct Case {
    std::string content;
    int line;
  } cases[] = {
      {">s\nACGT\nACGT1\n", 3},
      {">s\nACGT\nAC.GT\n", 3},
      {">s\nACGTE\n", 2},
      {">s\nAC>GT\n", 2},
      {">s\nACGT\n\n\nACJ\n", 5},
      {">s\r\nACGT\r\nAC1\r\n", 3},
      {">s\rACGT\rAC1\r", 3},
      {">s\nACGT\n#comment\n>t\nACGT\n", 3},
      {">s\nACGT\n>t\nAC#GT\n", 4},
      {">s\nACGT\n>t\nAC\xc3\xa9GT\n", 4},
  };
  for (const Case& c : cases) {
    Scratch s;
    s.write("in.fa", c.content);
    RunResult r = run_zerlan(s, kExactOnePerLine);
    EXPECT_EQ(r.status, 231) << c.content;
    EXPECT_TRUE(ends_with(r.err, read_error(c.line))) << c.content << "\n" << r.err;
    EXPECT_EQ(r.err.find("Analysis finished successfully"), std::string::npos);
    EXPECT_FALSE(ends_with(r.out, kFinished)) << c.content;
  }
}

// A '#' line after the first record belongs to that record's sequence lines,
// where '#' is not allowed: the first record is not reported.
TEST(InvalidCharacter, CommentBetweenRecordsFailsTheRecordBeforeIt)
{
  Scratch s;
  s.write("in.fa", "# comments may lead the file\n>a\nACACACACACAC\n#c\n>b\nACGT\n");
  RunResult r = run_zerlan(s, kExactOnePerLine);
  EXPECT_EQ(r.status, 231);
  EXPECT_EQ(r.out, report_head(exact_one_per_line(), legend_one_per_line(false)));
  EXPECT_EQ(r.err, console_head(exact_one_per_line()) + read_error(4));
}

// Every record is read, also past the end of the range: an invalid record
// outside the range still ends the run, after the earlier records were
// reported.
TEST(InvalidCharacter, RecordOutsideTheRangeStillEndsTheRun)
{
  Scratch s;
  s.write("in.fa", ">r1\nACACACACACAC\n>r2\nAC1\n>r3\nACGT\n");
  RunResult r = run_zerlan(s, {"-M", "exact", "--outputFormat", "3", "--lastSeq", "1", "in.fa"});
  EXPECT_EQ(r.status, 231);
  Shown shown = exact_one_per_line();
  shown.range = "1 - 1";
  EXPECT_EQ(r.out, report_head(shown, legend_one_per_line(false)) +
                       "r1\t2\t100.000\t1\t12\t12\t  6.000\t10\t0\t0\t0\t0\tAC\tACACACACACAC\n");
  EXPECT_EQ(r.err, console_head(shown) + progress_line(1, 1, "r1") + read_error(4));
}

// Carriage return with line feed, a lone carriage return and a missing final
// line break are all read like plain line feeds.
TEST(LineBreaks, AllConventionsGiveTheSameReport)
{
  const std::string expected =
      report_head(exact_one_per_line(), legend_one_per_line(false)) +
      "r1\t2\t100.000\t1\t12\t12\t  6.000\t10\t0\t0\t0\t0\tAC\tACACACACACAC\n"
      "r2\t1\t100.000\t1\t8\t8\t  8.000\t7\t0\t0\t0\t0\tC\tGGGGGGGG\n" +
      kFinished;
  const std::string contents[] = {
      ">r1 first\nACAC\nACAC\nacac\n\n>r2\nGGGG\nGGGG\n",
      ">r1 first\r\nACAC\r\nACAC\r\nacac\r\n\r\n>r2\r\nGGGG\r\nGGGG\r\n",
      ">r1 first\rACAC\rACAC\racac\r\r>r2\rGGGG\rGGGG\r",
      ">r1 first\nACAC\nACAC\nacac\n\n>r2\nGGGG\nGGGG",
      ">r1 first\r\nACAC\r\nACAC\r\nacac\r\n\r\n>r2\r\nGGGG\r\nGGGG",
  };
  for (const std::string& content : contents) {
    Scratch s;
    s.write("in.fa", content);
    RunResult r = run_zerlan(s, kExactOnePerLine);
    EXPECT_EQ(r.status, 0) << content;
    EXPECT_EQ(r.out, expected) << content;
    EXPECT_EQ(r.err, console_head(exact_one_per_line()) + progress_line(1, 1, "r1") +
                         progress_line(2, 1, "r2") + console_tail())
        << content;
  }
}

// A lone '>' at the very end makes one more record with an empty header and
// no residues, reported like any other. The input ends before the header is
// split, so the short name is still the one of the record before: the
// progress line shows it again.
TEST(RecordEnds, LoneHeaderMarkAtTheEndIsAnEmptyLastRecord)
{
  Scratch s;
  s.write("in.fa", ">s\nACACACACACAC\n>");
  RunResult r = run_zerlan(
      s, {"-M", "exact", "--outputFormat", "0", "--printRepeatSeqMode", "0", "in.fa"});
  EXPECT_EQ(r.status, 0);
  Shown shown;
  shown.searched = "exact repeats";
  shown.format = "zerlan format";
  shown.seq_mode = "don't print sequence";
  EXPECT_EQ(r.out, report_head(shown, legend_native()) +
                       ">s\nsequence length: 12\nnumber of ACGTU characters: 12\n"
                       "    dinucleotide         1 :        12 |     12 bp |     12 BP |     10 pt "
                       "| 100.000 % | unit AC\n"
                       "# Analysis of sequence \"s\" completed.\n"
                       ">\nsequence length: 0\nnumber of ACGTU characters: 0\n"
                       "# Analysis of sequence \"\" completed.\n" +
                       kFinished);
  EXPECT_EQ(r.err, console_head(shown) + progress_line(1, 1, "s") + progress_line(2, 1, "s") +
                       console_tail());
}

// The record header reports the length as written (gaps included) and the
// number of A, C, G, T and U; everything else that is allowed becomes N.
TEST(Cleaning, RecordHeaderCountsResidues)
{
  struct Case {
    std::string sequence;
    std::vector<std::string> extra;
    int length, acgtu;
  } cases[] = {
      {"ACGU acgu", {}, 8, 8},
      {"ACRYN?-*", {}, 8, 2},
      {"ACRYN?-*", {"--convert_gaps_to_Ns"}, 8, 2},
      {"kmswbdhvx\tXn", {}, 11, 0},
      {"--**", {}, 4, 0},
      {"", {}, 0, 0},
  };
  for (const Case& c : cases) {
    Scratch s;
    s.write("in.fa", ">s\n" + c.sequence + "\n");
    std::vector<std::string> args = {"-M", "exact", "--outputFormat", "0"};
    args.insert(args.end(), c.extra.begin(), c.extra.end());
    args.push_back("in.fa");
    RunResult r = run_zerlan(s, args);
    EXPECT_EQ(r.status, 0) << c.sequence;
    const std::string header = ">s\nsequence length: " + std::to_string(c.length) +
                               "\nnumber of ACGTU characters: " + std::to_string(c.acgtu) +
                               "\n# Analysis of sequence \"s\" completed.\n" + kFinished;
    EXPECT_TRUE(ends_with(r.out, legend_native() + header)) << c.sequence << "\n" << r.out;
  }
}

// U is read as T, lower case as upper case, and blanks inside a line are
// skipped, so the repeat is found across them.
TEST(Cleaning, RepeatFoundAcrossBlanksLowerCaseAndU)
{
  Scratch s;
  s.write("in.fa", ">s\nACGU acgu\nAcGu\n");
  RunResult r = run_zerlan(s, kExactOnePerLine);
  EXPECT_EQ(r.out, report_head(exact_one_per_line(), legend_one_per_line(false)) +
                       "s\t4\t100.000\t1\t12\t12\t  3.000\t8\t0\t0\t0\t0\tACGT\tACGTACGTACGT\n" +
                       kFinished);
}

// A gzip-compressed input is read as its plain twin.
TEST(Compressed, GzipInputGivesTheSameReport)
{
  Scratch s;
  const std::string content = ">r1 first\nACAC\nACAC\nacac\n\n>r2\nGGGG\nGGGG\n";
  s.write("in.fa", content);
  ASSERT_EQ(std::system(("gzip -c '" + s.path("in.fa") + "' > '" + s.path("in.fa.gz") + "'").c_str()),
            0);
  RunResult plain = run_zerlan(s, kExactOnePerLine);
  RunResult packed = run_zerlan(s, {"-M", "exact", "--outputFormat", "3", "in.fa.gz"});
  EXPECT_EQ(packed.status, 0);
  ASSERT_NE(plain.out.find("\tin.fa\n"), std::string::npos);
  std::string renamed = packed.out;
  const size_t at = renamed.find("\tin.fa.gz\n");
  ASSERT_NE(at, std::string::npos);
  renamed.replace(at, 10, "\tin.fa\n");
  EXPECT_EQ(renamed, plain.out);
  EXPECT_TRUE(ends_with(packed.out, "GGGGGGGG\n" + kFinished));
}

}  // namespace
