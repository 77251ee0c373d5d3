// The thread count is a speed setting and nothing else: every report, masked
// file and console text is the same for 1, 2, 3 and 7 threads. The input has
// a long record, searched by all threads at once in stretches of a few
// thousand seeds, with repeats and N runs all along it, so that some cross
// every stretch boundary; and short records, searched side by side.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "e2e_util.h"

namespace {

struct Random {
  uint64_t state;
  uint32_t next()
  {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<uint32_t>(state >> 33);
  }
  char base() { return "ACGT"[next() % 4]; }
};

// Random sequence with an imperfect repeat (about 8% substitutions and 2%
// indels) every 700 to 2,200 residues, and now and then an N run short
// enough to be passed or too long.
std::string planted(Random& r, size_t length)
{
  std::string s;
  while (s.size() < length) {
    for (uint32_t gap = 700 + r.next() % 1500; gap; --gap)
      s += r.base();
    std::string unit;
    for (uint32_t k = 1 + r.next() % 10; k; --k)
      unit += r.base();
    for (uint32_t i = 0, copies = 30 + r.next() % 300; i < copies; ++i) {
      const uint32_t dice = r.next() % 100;
      if (dice < 8)
        s += r.base();
      else if (dice < 9)
        s += unit[i % unit.size()] + std::string(1, r.base());
      else if (dice >= 10)
        s += unit[i % unit.size()];
    }
    if (r.next() % 5 == 0)
      s += std::string(1 + r.next() % 4, 'N');
  }
  return s;
}

std::string fasta(const std::string& name, const std::string& residues)
{
  std::string f = ">" + name + "\n";
  for (size_t i = 0; i < residues.size(); i += 70)
    f += residues.substr(i, 70) + "\n";
  return f;
}

struct Outputs {
  RunResult run;
  std::string report, masked;
  bool operator==(const Outputs& o) const
  {
    return run.status == o.run.status && run.out == o.run.out && run.err == o.run.err && report == o.report &&
           masked == o.masked;
  }
};

Outputs run_with_threads(const Scratch& s, const char* threads, std::vector<std::string> args)
{
  std::remove(s.path("in.fa.masked").c_str());
  setenv("ZERLAN_THREADS", threads, 1);
  args.insert(args.end(), {"in.fa", "report"});
  Outputs o{run_zerlan(s, args), "", ""};
  unsetenv("ZERLAN_THREADS");
  o.report = s.read("report");
  o.masked = s.read("in.fa.masked");
  return o;
}

TEST(Threads, EveryThreadCountWritesTheSameBytes)
{
  Random r{20261123};
  std::string input = fasta("long satellite-rich record", planted(r, 300000));
  for (int i = 0; i < 12; ++i)
    input += fasta("short " + std::to_string(i), planted(r, 500 + r.next() % 20000));
  input += fasta("only N", "NNNNNNNNNN") + fasta("tiny", "ACGTA") + fasta("after", planted(r, 3000));
  Scratch s;
  s.write("in.fa", input);

  const std::vector<std::vector<std::string>> option_sets = {
      {},
      {"-M", "extendExact", "--outputFormat", "3"},
      {"-M", "exact", "--maskX", "-u", "2"},
      {"--outputFormat", "2", "--maskLower", "-U", "14", "-R", "20", "--lastSeq", "9"},
  };
  for (const auto& options : option_sets) {
    const Outputs one = run_with_threads(s, "1", options);
    ASSERT_EQ(one.run.status, 0) << one.run.err;
    EXPECT_NE(one.report.find("long"), std::string::npos);
    for (const char* threads : {"2", "3", "7"})
      EXPECT_TRUE(run_with_threads(s, threads, options) == one) << threads << " threads, options " << options.size();
  }
}

TEST(Threads, RefusesAThreadCountThatIsNoWholePositiveNumber)
{
  for (const char* value : {"0", "-2", "many", "", "3x"}) {
    Scratch s;
    s.write("in.fa", ">a\nACGT\n");
    setenv("ZERLAN_THREADS", value, 1);
    RunResult r = run_zerlan(s, {"in.fa"});
    unsetenv("ZERLAN_THREADS");
    EXPECT_EQ(r.status, 255) << value;
    EXPECT_TRUE(ends_with(r.err, "Sorry, the environment variable ZERLAN_THREADS must be a whole number of threads\n"
                                 "greater than 0, not \"" + std::string(value) + "\".\n\n\n"))
        << r.err;
  }
}

} // namespace
