// The run driver on a record longer than the reader takes: with the longest
// record made short, one of 21 residues ends the run with status 150 (-106)
// and the line it stands on, after the record before it was reported.

#include "main/run.h"
#include "sequence/fasta_record.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

TEST(RunDriver, ARecordTooLongEndsTheRun)
{
  const std::string input = testing::TempDir() + "too_long.fa", report = testing::TempDir() + "too_long.txt";
  std::ofstream(input) << ">a\nACACACACACAC\n>b\nACGTACGTAC\nGTACGTACGTA\n";
  FastaRecord::max_length = 20;
  const char* argv[] = {"zerlan", "-M", "exact", "--outputFormat", "3", input.c_str(), report.c_str()};
  testing::internal::CaptureStderr();
  const int status = run_zerlan(7, const_cast<char**>(argv));
  const std::string console = testing::internal::GetCapturedStderr();
  EXPECT_EQ(status, -106);
  EXPECT_NE(console.find("longer than 20 characters,\nthe longest Zerlan can handle. File position: line 5\n"),
            std::string::npos)
      << console;
  std::stringstream written;
  written << std::ifstream(report).rdbuf();
  EXPECT_NE(written.str().find("\na\t2\t100.000\t1\t12\t"), std::string::npos) << written.str();
}
