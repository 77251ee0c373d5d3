// FASTA input end to end: files without records, invalid characters and the
// line they are reported on, line-break conventions, unusual record ends,
// compressed input and failures to read or write.

#include <cstdlib>
#include <gtest/gtest.h>

#include "e2e_util.h"

namespace {

const std::vector<std::string> kExactOnePerLine = {"-M", "exact", "--outputFormat", "3", "in.fa"};
const Settings kShown = {{"Satellites", "exact repeats"}, {"Output format", "one-per-line format"}};
const std::string kAborted = "\nAnalysis has been aborted due to errors. Error number: ";

std::string read_error(int line)
{
  return "\n\nAn error occurred while reading the input file. It might not be a valid fasta file.\n"
         "File position: line " + std::to_string(line) + "\n";
}

// The read error ends the run at once, without closing line. Its line is the
// one of the offending character, or one more than the number of line breaks
// when no record began. Records read before it are reported.
TEST(ReadError, NamesTheLineAndEndsTheRun)
{
  struct Case {
    std::string content;
    int line;
    std::string progress;
  } cases[] = {
      {"", 1, ""},
      {"\n\n", 3, ""},
      {"\n#a\n\n# b\n", 5, ""},
      {"\n\nACGT\n", 3, ""},
      {">s\nACGT\n\n\nACJ\n", 5, ""},
      {">s\rACGT\rAC1\r", 3, ""},
      {">s\nACGT\n>t\nAC#GT\n", 4, progress_line(1, 1, "s")},
      // A '#' line after a record belongs to its sequence lines, where '#'
      // is not allowed: the record before it fails.
      {"# comments may lead the file\n>a\nACACACACACAC\n#c\n>b\nACGT\n", 4, ""},
  };
  for (const Case& c : cases) {
    RunResult r = run_on(c.content, kExactOnePerLine);
    EXPECT_EQ(r.status, 231) << c.content;
    EXPECT_EQ(r.out, report_head(kShown)) << c.content;
    EXPECT_EQ(r.err, console_head(kShown) + c.progress + read_error(c.line)) << c.content;
  }
}

// Every record is read, also past the end of the range.
TEST(ReadError, RecordOutsideTheRangeStillEndsTheRun)
{
  RunResult r = run_on(">r1\nACACACACACAC\n>r2\nAC1\n>r3\nACGT\n",
                       {"-M", "exact", "--outputFormat", "3", "--lastSeq", "1", "in.fa"});
  Settings shown = kShown;
  shown["Sequence range"] = "1 - 1";
  EXPECT_EQ(r.status, 231);
  EXPECT_EQ(r.out, report_head(shown) + "r1\t2\t100.000\t1\t12\t12\t  6.000\t10\t0\t0\t0\t0\tAC\tACACACACACAC\n");
  EXPECT_EQ(r.err, console_head(shown) + progress_line(1, 1, "r1") + read_error(4));
}

// Carriage return with line feed, a lone carriage return and a missing final
// line break are all read like plain line feeds.
TEST(LineBreaks, AllConventionsGiveTheSameReport)
{
  for (const char* content : {">r1 first\nACAC\nACAC\nacac\n\n>r2\nGGGG\nGGGG\n",
                              ">r1 first\r\nACAC\r\nACAC\r\nacac\r\n\r\n>r2\r\nGGGG\r\nGGGG\r\n",
                              ">r1 first\rACAC\rACAC\racac\r\r>r2\rGGGG\rGGGG\r",
                              ">r1 first\nACAC\nACAC\nacac\n\n>r2\nGGGG\nGGGG"}) {
    RunResult r = run_on(content, kExactOnePerLine);
    EXPECT_EQ(r.status, 0) << content;
    EXPECT_EQ(r.out, report_head(kShown) +
                         "r1\t2\t100.000\t1\t12\t12\t  6.000\t10\t0\t0\t0\t0\tAC\tACACACACACAC\n"
                         "r2\t1\t100.000\t1\t8\t8\t  8.000\t7\t0\t0\t0\t0\tC\tGGGGGGGG\n" + kFinished)
        << content;
    EXPECT_EQ(r.err, console_head(kShown) + progress_line(1, 1, "r1") + progress_line(2, 1, "r2") + kGoodbye)
        << content;
  }
}

// A lone '>' at the very end makes one more record with an empty header and
// no residues. The input ends before the header is split, so the short name
// is still the one of the record before: the progress line shows it again.
TEST(RecordEnds, LoneHeaderMarkAtTheEndIsAnEmptyLastRecord)
{
  RunResult r =
      run_on(">s\nACACACACACAC\n>", {"-M", "exact", "--outputFormat", "0", "--printRepeatSeqMode", "0", "in.fa"});
  const Settings shown = {{"Satellites", "exact repeats"}, {"Output format", "zerlan format"},
                          {"Print sequence mode", "don't print sequence"}};
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, report_head(shown) +
                       ">s\nsequence length: 12\nnumber of ACGTU characters: 12\n"
                       "    dinucleotide         1 :        12 |     12 bp |     12 BP |     10 pt | 100.000 % "
                       "| unit AC\n"
                       "# Analysis of sequence \"s\" completed.\n"
                       ">\nsequence length: 0\nnumber of ACGTU characters: 0\n"
                       "# Analysis of sequence \"\" completed.\n" + kFinished);
  EXPECT_EQ(r.err, console_head(shown) + progress_line(1, 1, "s") + progress_line(2, 1, "s") + kGoodbye);
}

// A gzip file is read as its plain twin. Cut short or damaged, it may end
// inside a record, which must not be reported as if it were complete.
TEST(Compressed, GzipInputAndATruncatedOrDamagedOne)
{
  Scratch s;
  std::string residues;
  for (unsigned x = 1; residues.size() < 5000; x = x * 1103515245 + 12345)
    residues += "ACGT"[(x >> 16) % 4];
  s.write("in.fa", ">r1\n" + residues + "\n>r2\nGGGGGGGG\n");
  ASSERT_EQ(std::system(("gzip -k '" + s.path("in.fa") + "'").c_str()), 0);
  RunResult plain = run_zerlan(s, kExactOnePerLine);
  RunResult r = run_zerlan(s, {"-M", "exact", "--outputFormat", "3", "in.fa.gz"});
  Settings shown = kShown;
  shown["Input file name"] = "in.fa.gz";
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, report_head(shown) + plain.out.substr(report_head(kShown).size()));
  EXPECT_TRUE(ends_with(r.out, "GGGGGGGG\n" + kFinished));

  const std::string packed = s.read("in.fa.gz");
  s.write("in.fa.gz", packed.substr(0, packed.size() / 2));
  r = run_zerlan(s, {"-M", "exact", "--outputFormat", "3", "in.fa.gz"});
  EXPECT_EQ(r.status, 151);
  EXPECT_EQ(r.out, report_head(shown));
  const std::string head = console_head(shown) + "Sorry! The input file \n   \"in.fa.gz\"\ncould not be read completely: ";
  EXPECT_EQ(r.err.compare(0, head.size(), head), 0) << r.err;
  EXPECT_TRUE(ends_with(r.err, "\n" + kAborted + "-105\n\n")) << r.err;

  // A damaged checksum is found only at the end of the data: nothing of it
  // may be reported as if it were sound.
  std::string damaged = packed;
  damaged[damaged.size() - 8] ^= 0x5a;
  s.write("in.fa.gz", damaged);
  r = run_zerlan(s, {"-M", "exact", "--outputFormat", "3", "in.fa.gz"});
  EXPECT_EQ(r.status, 151);
  EXPECT_EQ(r.out, report_head(shown));
  EXPECT_TRUE(ends_with(r.err, "\n" + kAborted + "-105\n\n")) << r.err;
}

TEST(WriteError, FullDeviceEndsTheRunWithMinus104)
{
  RunResult r = run_on(">r1\nACACACACACAC\n", {"in.fa", "/dev/full"});
  EXPECT_EQ(r.status, 152);
  EXPECT_EQ(r.err, console_head({{"Output file name", "/dev/full"}}) +
                       "Sorry! Failed to write to \n   \"/dev/full\"\n"
                       "(No space left on device). The output is incomplete.\n" + kAborted + "-104\n\n");
}

}  // namespace
