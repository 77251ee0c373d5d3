// The run driver on a record longer than the reader takes: with the longest
// record made short (20), one of 21 residues ends the run with status 150
// (-106) and the line it stands on, after the records before it, one of them
// just as long as allowed, were reported. The settings as the console shows
// them. The thread pool hands a task's failure to the thread that waits. The
// capacity of growing lists near the 32-bit limit.

#include "main/run.h"
#include "parallel/thread_pool.h"
#include "sequence/fasta_record.h"
#include "sequence/fastvector.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <new>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include <unistd.h>

namespace {

// An input and a report of this process alone (copies of the suite may run
// side by side), removed when the test ends.
struct ScratchFiles {
  std::string input, report;
  explicit ScratchFiles(const std::string& name)
      : input(testing::TempDir() + std::to_string(getpid()) + "_" + name + ".fa"),
        report(testing::TempDir() + std::to_string(getpid()) + "_" + name + ".txt")
  {
  }
  ~ScratchFiles()
  {
    std::remove(input.c_str());
    std::remove(report.c_str());
  }
};

} // namespace

TEST(RunDriver, ARecordTooLongEndsTheRun)
{
  const ScratchFiles files("too_long");
  const std::string &input = files.input, &report = files.report;
  std::ofstream(input) << ">a\nACACACACACAC\n>c\nAGAGAGAGAGAGAGAGAGAG\n>b\nACGTACGTAC\nGTACGTACGTA\n";
  FastaRecord::max_length = 20;
  const char* argv[] = {"zerlan", "-M", "exact", "--outputFormat", "3", input.c_str(), report.c_str()};
  testing::internal::CaptureStderr();
  const int status = run_zerlan(7, const_cast<char**>(argv));
  const std::string console = testing::internal::GetCapturedStderr();
  EXPECT_EQ(status, -106);
  EXPECT_NE(console.find("longer than 20 characters,\nthe longest Zerlan can handle. File position: line 7\n"),
            std::string::npos)
      << console;
  std::stringstream written;
  written << std::ifstream(report).rdbuf();
  EXPECT_NE(written.str().find("\na\t2\t100.000\t1\t12\t"), std::string::npos) << written.str();
  EXPECT_NE(written.str().find("\nc\t2\t100.000\t1\t20\t"), std::string::npos) << written.str();
  FastaRecord::max_length = 2147483647;
}

TEST(RunDriver, ConsoleNamesEachUnitForm)
{
  const ScratchFiles files("units");
  const std::string &input = files.input, &report = files.report;
  std::ofstream(input) << ">a\nACACACACACAC\n";
  const std::pair<const char*, const char*> modes[] = {
      {"0", "as they are"}, {"1", "alphabetical normal form"}, {"2", "alphabetical normal form using reverse complement"}};
  for (const auto& [mode, name] : modes) {
    const char* argv[] = {"zerlan", "-M", "exact", "--reportUnit", mode, input.c_str(), report.c_str()};
    testing::internal::CaptureStderr();
    EXPECT_EQ(run_zerlan(7, const_cast<char**>(argv)), 0);
    const std::string console = testing::internal::GetCapturedStderr();
    EXPECT_NE(console.find(std::string("   Report units as:                      ") + name + "\n"), std::string::npos)
        << console;
  }
}

// A failed task is over only once its failure is kept: the wait that its
// end releases always rethrows it, on whichever thread the task ran.
TEST(ThreadPool, RethrowsATaskFailureToTheWaitingThread)
{
  for (unsigned int threads : {1u, 3u}) {
    for (int round = 0; round < 50; ++round) {
      std::atomic<int> ended{0};
      ThreadPool pool(threads);
      for (int t = 0; t < 3; ++t)
        pool.submit([t](unsigned int) { if (t == 1) throw std::bad_alloc(); }, [&] { ++ended; });
      EXPECT_THROW(pool.help_until([&] { return ended == 3; }), std::bad_alloc) << threads << " threads";
    }
  }
}

// The data of the waiting caller goes with the exception: the tasks still
// running when a failure is rethrown would use it after its end. So the
// rethrow waits for every task to be over; those not yet started are only
// ended, as the run ends anyway.
TEST(ThreadPool, RethrowsAFailureOnlyOnceEveryTaskIsOver)
{
  for (unsigned int threads : {1u, 3u}) {
    for (int round = 0; round < 20; ++round) {
      std::atomic<int> ended{0}, ran{0};
      ThreadPool pool(threads);
      pool.submit([](unsigned int) { throw std::bad_alloc(); }, [&] { ++ended; });
      for (int t = 0; t < 4; ++t)
        pool.submit(
            [&](unsigned int) {
              std::this_thread::sleep_for(std::chrono::milliseconds(5));
              ++ran;
            },
            [&] { ++ended; });
      EXPECT_THROW(pool.help_until([&] { return ended >= 1; }), std::bad_alloc) << threads << " threads";
      EXPECT_EQ(ended, 5) << threads << " threads";
      if (threads == 1) {
        EXPECT_EQ(ran, 0); // all queued behind the failure
      }
    }
  }
}

// A group's tasks use their caller's data: when the caller leaves by an
// exception of its own, the group still waits for them to be over.
TEST(TaskGroup, WaitsForItsTasksWhenTheCallerLeavesByAnException)
{
  for (unsigned int threads : {1u, 3u}) {
    std::atomic<int> ran{0};
    ThreadPool pool(threads);
    try {
      TaskGroup tasks(pool);
      for (int t = 0; t < 4; ++t)
        tasks.submit([&](unsigned int) {
          std::this_thread::sleep_for(std::chrono::milliseconds(5));
          ++ran;
        });
      throw std::runtime_error("the caller's own");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(ran, 4) << threads << " threads";
  }
}

TEST(GrownCapacity, DoublesUpToTheLimitThenStops)
{
  EXPECT_EQ(grown_capacity(0), 4u);
  EXPECT_EQ(grown_capacity(4), 8u);
  EXPECT_EQ(grown_capacity(UINT32_MAX / 2), UINT32_MAX - 1);
  EXPECT_EQ(grown_capacity(UINT32_MAX / 2 + 1), UINT32_MAX);
  EXPECT_EQ(grown_capacity(UINT32_MAX), 0u); // no more room
}
