#ifndef SEARCH_EXTENSION_H
#define SEARCH_EXTENSION_H

#include "report/repeat.h"
#include "search/record_search.h"
#include "search/speedups/look_ahead_memo.h"
#include "search/unit_walk.h"

#include <cstddef>
#include <cstdint>
#include <vector>

// The imperfect extension aligns the residues beyond one end of a repeat
// against the endless repetition of its unit: +1 per match, 0 per passed N,
// and a mismatch, insertion or deletion where a residue does not fit, if a
// bounded look-ahead shows that the alignment can recover. Both directions
// share one implementation: a cursor points at the next residue to examine
// (forward: sat_end; backward: sat_begin - 1) and moves by Dir.

template <int Dir>
class PathFollower;

// The record at its best score so far, to return to when the extension
// cannot do better. The extension only appends to the missense list, so
// the list at its best is the first entries of the list as it is: only
// their number is kept, and a long extension costs no copying. Edits that
// a path follower lists by reference are kept the same way.
class BestState {
 public:
  BestState(const Repeat& sat, EditsByReference* by_reference) : by_reference(by_reference) { save(sat); }

  void save(const Repeat& sat)
  {
    sat_begin = sat.sat_begin;
    sat_end = sat.sat_end;
    unit_phase_right = sat.unit_phase_right;
    unit_phase_left = sat.unit_phase_left;
    score = sat.score;
    num_mismatches = sat.num_mismatches;
    num_insertions = sat.num_insertions;
    num_deletions = sat.num_deletions;
    num_Ns = sat.num_Ns;
    entries = sat.missense_list.size();
    if (by_reference)
      references = by_reference->mark();
  }

  void restore(Repeat& sat) const
  {
    sat.sat_begin = sat_begin;
    sat.sat_end = sat_end;
    sat.unit_phase_right = unit_phase_right;
    sat.unit_phase_left = unit_phase_left;
    sat.score = score;
    sat.num_mismatches = num_mismatches;
    sat.num_insertions = num_insertions;
    sat.num_deletions = num_deletions;
    sat.num_Ns = num_Ns;
    sat.missense_list.resize_within_capacity(entries);
    if (by_reference)
      by_reference->back_to(references);
  }

  int32_t score;

 private:
  const char *sat_begin, *sat_end, *unit_phase_right, *unit_phase_left;
  uint32_t num_mismatches, num_insertions, num_deletions, num_Ns;
  uint32_t entries;
  EditsByReference* by_reference;
  EditsByReference::Mark references{};
};

// One extension of a record in direction Dir: the record, its best state,
// and the steps that move it.
template <int Dir>
class Extension {
 public:
  Extension(Repeat& sat, const Scoring& g, EditsByReference* by_reference)
      : sat(sat), g(g), ub(sat.unit_begin), ue(sat.unit_end), unit_length(sat.unit_length()),
        phase(Dir > 0 ? sat.unit_phase_right : sat.unit_phase_left), floor(g.floor(unit_length)),
        listing(!sat.missense_dropped), best(sat, listing ? by_reference : nullptr)
  {
  }

  // Extends the record up to bound; follower, if any, may make the edits
  // of an earlier walk instead of looking ahead.
  // memo and unit are the room of the look-ahead.
  void run(const char* bound, PathFollower<Dir>* follower, LookAheadMemo& memo, UnitInBlocks& unit);

  // The next residue to examine, and the record's moving end for it.
  const char* cursor() const { return Dir > 0 ? sat.sat_end : sat.sat_begin - 1; }
  void move_end(const char* c)
  {
    if (Dir > 0)
      sat.sat_end = c;
    else
      sat.sat_begin = c + 1;
  }
  // Lists an edit at the differing residue c.
  void list(const char* c, char kind) { sat.missense_list.push_back({listed_at<Dir>(c, kind), kind}); }
  // Makes an edit at the differing residue c without listing it.
  void make(const char* c, char kind);
  void save_best()
  {
    best.save(sat);
    best_is_current = true;
  }

  Repeat& sat;
  const Scoring& g;
  const char* const ub; // the unit
  const char* const ue;
  const uint32_t unit_length;
  const char*& phase; // the unit character the cursor must match
  const int64_t floor;
  // A record whose list is dropped (made again from its seed when needed)
  // is extended without listing its edits: only the counts are kept.
  const bool listing;
  BestState best;
  bool best_is_current = true; // the record has not moved since the last save
};

#endif
