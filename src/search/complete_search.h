#ifndef SEARCH_COMPLETE_SEARCH_H
#define SEARCH_COMPLETE_SEARCH_H

#include "search/record_search.h"
#include "search/search_marks.h"
#include "search/speedups/deferred_marks.h"
#include "search/speedups/seed_filter.h"

#include <cstddef>
#include <cstdint>
#include <list>
#include <utility>
#include <vector>

// The edits of an extended record that are not (yet) in its list: those it
// made along walked paths, listed by reference, and the number of the
// list's entries made going forward.
struct ByReference {
  EditsByReference followed;
  uint32_t forward_entries = 0;
};

// Extends a seed record both ways with the scratch of the calling thread,
// trims N's at its ends and tests it against the thresholds of its unit
// length; an accepted record has its missense list in sequence order,
// unless by_reference is given and the record has more edits than a short
// list holds: then some may be left there. The outcome depends on the
// sequence, the seed and the settings only, so any thread may compute it
// ahead of its turn. most_backward, if known, bounds what the extension
// gains backward from a score below min_score (SeedFilter): where the score
// reached forward is too low for it, the record is turned away unextended
// backward.
bool extend_seed(const RecordSearch& search, SearchScratch& scratch, Repeat& sat, int32_t min_score,
                 int32_t min_length, ByReference* by_reference = nullptr,
                 int64_t most_backward = GainBounds::UNBOUNDED);

// Puts the edits listed by reference, if any, into the record's list, which
// it then sorts into sequence order; forward is the number of its entries
// made going forward.
void list_in_order(const RecordSearch& search, SearchScratch& scratch, Repeat& sat, ByReference* by_reference,
                   uint32_t forward);

// What was found for a stretch of seeds ahead of the ordered walk (see
// parallel/ordered_walk.h): the outcome per seed and the records of the
// accepted ones, in seed order.
struct SeedsAhead {
  enum : uint8_t { UNTRIED, FAILED, ACCEPTED };
  size_t begin = 0, end = 0;
  std::vector<uint8_t> outcome;
  std::vector<Repeat*> accepted;
};

// One pass of the complete imperfect search over the seeds of one unit
// length, in order: a seed [b, b + u) is tried where the marks allow it, and
// an accepted repeat covers its residues in the marks before the next seed.
class SeedPass {
 public:
  // copies: the record's alignment with itself, if it bounds this unit
  // length; it lets only the seeds of may_reach through.
  SeedPass(RecordSearch& search, size_t u, SearchMarks& marks, std::list<Repeat*>& result,
           const SelfAlignmentBound* copies = nullptr);

  void run();

  // The ordered walk over seeds [b0, b1) with the true marks. Outcomes
  // found ahead are taken; seeds not tried ahead are extended here.
  void walk(size_t b0, size_t b1, SeedsAhead* ahead);
  // Covers an accepted repeat, found by the walk of seeds up to b1, in the
  // marks and adds it to the result. Changes that reach beyond b1 are noted
  // for what was found ahead there.
  void commit(Repeat* sat, size_t b1, const std::vector<FollowedEdits>& followed);

  RecordSearch& search;
  SearchScratch& scratch; // of the walk's thread
  const size_t u;
  DeferredMarks marks;
  uint64_t changes = 0; // made to the marks by the ordered walk
  std::vector<std::pair<uint64_t, size_t>> reaching; // (change, last residue) beyond the seeds walked
  std::list<Repeat*>& result;
  const char* const s;
  const size_t n;
  const int32_t min_score, min_length;
  const SelfAlignmentBound* const copies;
  const std::vector<uint32_t>* const may_reach;
  SeedFilter filter;        // for the ordered walk
  ByReference by_reference; // of the ordered walk's extensions
  Repeat* spare = nullptr;
  size_t next_N = 0;
};

// Whether the seed [b, b + u) is tried: the anchor rule on the marks around
// it (SearchMarks::window_is_free), no N in the seed (next_N is the first N
// at or after b), and, for units of two or more, not one residue repeated.
template <typename Marks>
bool seed_is_tried(const char* s, size_t b, size_t u, size_t next_N, Marks& marks)
{
  if (!marks.window_is_free(b, b + u) || next_N < b + u)
    return false;
  if (u == 1)
    return true;
  for (size_t j = b + 1; j < b + u; ++j)
    if (s[j] != s[j - 1])
      return true;
  return false;
}

#endif
