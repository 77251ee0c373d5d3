#include "search/work_counts.h"

#ifdef ZERLAN_WORK_COUNTS

#include <cinttypes>
#include <cstdio>
#include <mutex>
#include <vector>

namespace {

// The columns of the table: the counts of Work, then the look-ahead and
// walk of accepted seeds.
constexpr int COLUMNS = static_cast<int>(Work::KINDS) + 2;
constexpr int ACCEPTED_LOOK_AHEAD = COLUMNS - 2, ACCEPTED_WALKED = COLUMNS - 1;

struct Counts {
  std::mutex guard;
  std::vector<std::vector<uint64_t>> by_unit;

  uint64_t& at(uint64_t u, int column)
  {
    if (by_unit.size() <= u)
      by_unit.resize(u + 1, std::vector<uint64_t>(COLUMNS));
    return by_unit[u][column];
  }

  // Rows by ranges of unit lengths, as the growth table of bench/run.sh.
  ~Counts()
  {
    static const char* const names[COLUMNS] = {"seeds",      "past-copies", "tried",    "extended",
                                               "accepted",   "look-ahead",  "walked",   "look-ahead-accepted",
                                               "walked-accepted"};
    std::fprintf(stderr, "work counts\nunits");
    for (const char* name : names)
      std::fprintf(stderr, "\t%s", name);
    std::fprintf(stderr, "\n");
    const uint64_t ends[] = {10, 20, 50, 100, 200, 500, UINT64_MAX};
    uint64_t from = 1;
    for (const uint64_t to : ends) {
      uint64_t sums[COLUMNS] = {};
      for (uint64_t u = from; u < by_unit.size() && u <= to; ++u)
        for (int c = 0; c < COLUMNS; ++c)
          sums[c] += by_unit[u][c];
      if (sums[0]) {
        if (to == UINT64_MAX)
          std::fprintf(stderr, "%" PRIu64 "+", from);
        else
          std::fprintf(stderr, "%" PRIu64 "-%" PRIu64, from, to);
        for (const uint64_t sum : sums)
          std::fprintf(stderr, "\t%" PRIu64, sum);
        std::fprintf(stderr, "\n");
      }
      from = to + 1;
    }
  }
};

Counts counts;
thread_local uint64_t seed_look_ahead = 0, seed_walked = 0;

} // namespace

void count_work(Work what, uint64_t u, uint64_t n)
{
  if (what == Work::LOOK_AHEAD) {
    seed_look_ahead += n;
  } else if (what == Work::WALKED) {
    seed_walked += n;
  } else {
    std::lock_guard<std::mutex> hold(counts.guard);
    counts.at(u, static_cast<int>(what)) += n;
  }
}

void start_seed() { seed_look_ahead = seed_walked = 0; }

void settle_seed(uint64_t u, bool accepted)
{
  std::lock_guard<std::mutex> hold(counts.guard);
  counts.at(u, static_cast<int>(Work::LOOK_AHEAD)) += seed_look_ahead;
  counts.at(u, static_cast<int>(Work::WALKED)) += seed_walked;
  if (accepted) {
    counts.at(u, ACCEPTED_LOOK_AHEAD) += seed_look_ahead;
    counts.at(u, ACCEPTED_WALKED) += seed_walked;
  }
  seed_look_ahead = seed_walked = 0;
}

#endif
