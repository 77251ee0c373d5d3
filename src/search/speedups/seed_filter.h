#ifndef SEARCH_SPEEDUPS_SEED_FILTER_H
#define SEARCH_SPEEDUPS_SEED_FILTER_H

#include "search/record_search.h"
#include "search/speedups/alignment_bound.h"
#include "search/speedups/self_alignment_bound.h"

#include <cstddef>
#include <cstdint>
#include <vector>

// Tells, before a seed of the complete imperfect search is extended, that
// its extension is sure to score below the threshold, so that it need not
// run. Most seeds of a genome are turned away here: an extension can only
// gain through runs in phase with the seed's unit, and those read the
// unit's words, which are rare around most seeds.
//
// One filter serves the seeds of one unit length over one record, on one
// thread; it is quickest when the seeds come in increasing order.
class SeedFilter {
 public:
  // copies, if given, is the record's alignment with itself, which bounds
  // the seeds of unit length u: it lets only some through, and bounds what
  // they gain.
  SeedFilter(const char* first, const char* last, uint32_t u, int32_t min_score, const Scoring& g,
             const SelfAlignmentBound* copies = nullptr);

  // Whether the seed [b, b + u), which holds no N, is sure to extend to a
  // score below the threshold.
  bool falls_short(const char* b);
  // The first seed from b on (an offset into the record) that the record's
  // alignment with itself lets through: every seed before it falls short.
  size_t let_through_from(size_t b) { return self_alignment.let_through_from(b); }
  // What the extension of the seed [b, b + u) gains at most going backward,
  // from any score below the threshold that it reached forward.
  int64_t most_gained_backward(const char* b) const
  {
    return most_gained(static_cast<size_t>(b - first), 1).backward;
  }

 private:
  // The bound from the unit's words met around the seed; where it cannot
  // tell, the bound from the alignments beside the seed decides.
  bool words_fall_short(const char* b);

  // Words of k <= 5 residues are codes of 2 bits per residue (A, C, G, T).
  // WILD stands for a word with an N or one that runs off the record: such
  // a word is taken as one that may be in phase with any unit.
  static constexpr unsigned K_MAX = 5;
  static constexpr uint32_t WILD = 1u << (2 * K_MAX);

  // The codes of the words starting at positions [from, to] of the record.
  const uint16_t* codes(ptrdiff_t from, ptrdiff_t to)
  {
    if (from < lo || to >= hi)
      make_codes(from, to);
    return stretch.data() + (from - lo);
  }
  void make_codes(ptrdiff_t from, ptrdiff_t to);
  // What the seeds [b, b + k) gain at most, as their copies tell.
  GainBounds most_gained(size_t b, size_t k) const { return copies ? copies->most_gained(b, k, u) : GainBounds{}; }
  void move_to(ptrdiff_t b);
  void make_unit_set(const char* ub);
  bool in_unit(uint32_t code) const { return unit_set[code >> 6] >> (code & 63) & 1; }
  template <int Dir>
  int64_t gain_bound(const char* m, int64_t h, int64_t enough);

  const char* first;
  const char* last;
  const uint32_t u;
  const int32_t min_score;
  int32_t c;          // the cheapest edit's cost
  unsigned k;         // the word length: c, at most K_MAX
  int64_t floor;      // the prune floor, -u - P
  uint32_t allowed_Ns;
  bool pass_Ns;
  ptrdiff_t length;   // of the stretches counted around the seed

  // The codes of the words starting at [lo, hi), made again when a seed
  // reaches beyond them.
  ptrdiff_t lo = 0, hi = 0;
  std::vector<uint16_t> stretch;
  // The seed the counts are for, and how often each word starts within
  // [at + u, at + u + length] after it and ends within [at - 1 - length,
  // at - 1] before it.
  ptrdiff_t at = -1;
  std::vector<uint32_t> after, before;
  AlignmentBound alignments;
  const SelfAlignmentBound* copies;
  SelfAlignmentBound::Reader self_alignment, next_of_self_alignment;
  // Seeds are first tried by runs of this many (0: one by one), then by
  // halves of runs that may reach the threshold, down to runs of MIN_RUN
  // to 2 MIN_RUN - 1 seeds. The last verdict on a run of each size, and
  // where that run begins in the record.
  static constexpr uint32_t MIN_RUN = 8;
  const uint32_t run;
  struct RunVerdict {
    ptrdiff_t at = -1;
    bool falls_short = false;
  };
  std::vector<RunVerdict> verdicts;
  // The verdicts on the runs after the last ones tried, found with them.
  std::vector<RunVerdict> next_runs;
  // Tries the run of the seeds [at, at + size) before end0, the end of
  // the whole run, as verdicts[level], and the next run of that size with
  // it where that starts before next_within and may be let through.
  void try_runs(size_t level, ptrdiff_t at, ptrdiff_t size, ptrdiff_t end0, ptrdiff_t next_within);
  // The set of the cyclic words of the seed's unit, with WILD; touched:
  // the words of the set that hold one.
  uint64_t unit_set[(WILD >> 6) + 1] = {};
  uint32_t touched = 0;
};

#endif
