#ifndef SEARCH_WORK_COUNTS_H
#define SEARCH_WORK_COUNTS_H

// Counts of the work of the complete imperfect search, by unit length, for
// the benchmarks (bench/work-counts.sh): what each bound turns away, what
// is extended, and how much of the extensions' walk and look-ahead goes to
// the seeds that are accepted, whose records the output needs in full.
// Compiled in only where ZERLAN_WORK_COUNTS is defined, and printed to
// standard error as the process ends; elsewhere every COUNT_WORK is
// nothing. Counted on one thread: the walk of seeds ahead by other
// threads is not counted.

#ifdef ZERLAN_WORK_COUNTS

#include <cstdint>

enum class Work {
  SEEDS,          // seeds of the passes
  PAST_COPIES,    // let through by the record's alignment with itself
  TRIED,          // of those, free in the marks, without N, not one residue
  EXTENDED,       // of those, let through by the seed filter
  ACCEPTED,       // of those, reaching the thresholds
  LOOK_AHEAD,     // look-ahead branch points of the extensions
  WALKED,         // residues the extensions walked, past their best too
  KINDS
};

// Adds n to the count of what for unit length u. LOOK_AHEAD and WALKED are
// noted for the seed being extended, and kept by settle_seed.
void count_work(Work what, uint64_t u, uint64_t n);
// Forgets look-ahead and walk noted outside any seed's extension.
void start_seed();
// Adds the look-ahead and walk of the seed just extended to its unit
// length's counts, and to those of accepted seeds if it was.
void settle_seed(uint64_t u, bool accepted);

#define COUNT_WORK(what, u, n) count_work(Work::what, (u), (n))
#define START_SEED() start_seed()
#define SETTLE_SEED(u, accepted) settle_seed((u), (accepted))

#else

#define COUNT_WORK(what, u, n) ((void)0)
#define START_SEED() ((void)0)
#define SETTLE_SEED(u, accepted) ((void)0)

#endif

#endif
