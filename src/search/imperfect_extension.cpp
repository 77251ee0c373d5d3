#include "search/record_search.h"

#include "search/unit_walk.h"
#include "search/speedups/walked_paths.h"
#include "settings/settings.h"

#include <algorithm>

// The imperfect extension aligns the residues beyond one end of a repeat
// against the endless repetition of its unit: +1 per match, 0 per passed N,
// and a mismatch, insertion or deletion where a residue does not fit, if a
// bounded look-ahead shows that the alignment can recover. Both directions
// share one implementation: a cursor points at the next residue to examine
// (forward: sat_end; backward: sat_begin - 1) and moves by Dir.

namespace {

// The settings the extension reads, gathered once per extension.
struct Scoring {
  int32_t mismatch, indel, prefer_longer;
  bool reduction_limited;
  int64_t max_reduction;
  unsigned max_depth;
  uint32_t allowed_Ns;
  bool pass_Ns;

  Scoring()
      : mismatch(global_mismatch_score), indel(global_indel_score), prefer_longer(global_prefer_longer_repeat),
        reduction_limited(global_maximum_scorereduction != SCOREREDUCTION_UNLIMITED),
        max_reduction(global_maximum_scorereduction),
        // The depth is carried in 8 bits, so deeper settings are clamped.
        max_depth(static_cast<unsigned>(std::min(global_maximum_recursion_depth, 255))),
        allowed_Ns(static_cast<uint32_t>(global_Ns_allowed_in_a_row)),
        pass_Ns(global_Ns_allowed_in_a_row != 0 && !global_treat_Ns_as_missense)
  {
  }

  // Paths whose score falls to this bound or below are not explored:
  // max(best - R, -L) - P, where floor is -L - P. With the reduction
  // unlimited only the floor remains. 64 bits hold best - R for any R.
  int64_t prune_bound(int32_t best, int64_t floor) const
  {
    return reduction_limited ? std::max(static_cast<int64_t>(best) - max_reduction - prefer_longer, floor) : floor;
  }
};

// The look-ahead of one extension: what stays fixed while it recurses.
template <int Dir>
struct LookAhead {
  const Scoring& g;
  const char* ub; // the unit
  const char* ue;
  int64_t floor; // -L - P
  const char* bound;

  // The best score reachable from cursor c (unit character u aligned with
  // it) with at most max_depth - depth further edits. Inlined into its
  // callers, so that the many paths that end after their exact phase cost
  // no call; only paths that go on branch into options().
  __attribute__((always_inline)) int32_t run(const char* c, const char* u, int32_t sc, unsigned depth,
                                             int32_t best) const
  {
    // Exact phase: consumes matches and passable N runs; stops at a differing
    // residue, at the bound or at an N run that is too long.
    uint32_t Ns_passed = 0; // the look-ahead does not count them
    if (!exact_phase<Dir>(c, u, ub, ue, bound, sc, Ns_passed, g.allowed_Ns, g.pass_Ns))
      return sc;
    if (depth == g.max_depth)
      return sc;
    best = std::max(best, sc);
    const int64_t bound_score = g.prune_bound(best, floor);
    if (bound_score >= static_cast<int64_t>(sc) + std::max(g.mismatch, g.indel))
      return sc; // no option can stay above the bound
    return options(c, u, sc, depth, best, bound_score);
  }

  // At a differing residue: the best of stopping here and of each edit that
  // can stay above the prune bound, tried in the order M, I, D.
  __attribute__((noinline)) int32_t options(const char* c, const char* u, int32_t sc, unsigned depth,
                                            int32_t best, int64_t bound_score) const
  {
    int32_t result = sc;
    if (bound_score < static_cast<int64_t>(sc) + g.mismatch)
      result = std::max(result, run(c + Dir, step_unit<Dir>(u, ub, ue), sc + g.mismatch, depth + 1, best));
    if (bound_score < static_cast<int64_t>(sc) + g.indel) {
      result = std::max(result, run(c + Dir, u, sc + g.indel, depth + 1, best));
      result = std::max(result, run(c, step_unit<Dir>(u, ub, ue), sc + g.indel, depth + 1, best));
    }
    return result;
  }
};

// The record at its best score so far, to return to when the extension
// cannot do better. The extension only appends to the missense list and to
// the edits listed by reference (of which it may lengthen the last), so the
// lists at its best are the first entries of the lists as they are: only
// their number is kept, and a long extension costs no copying.
class BestState {
 public:
  BestState(const Repeat& sat, std::vector<FollowedEdits>* followed) : followed(followed) { save(sat); }

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
    if (followed) {
      references = followed->size();
      last_to = references ? followed->back().to : 0;
    }
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
    if (followed) {
      followed->resize(references);
      if (references)
        followed->back().to = last_to;
    }
  }

  int32_t score;

 private:
  const char *sat_begin, *sat_end, *unit_phase_right, *unit_phase_left;
  uint32_t num_mismatches, num_insertions, num_deletions, num_Ns;
  uint32_t entries;
  std::vector<FollowedEdits>* followed;
  size_t references = 0;
  uint32_t last_to = 0;
};

template <int Dir>
void extend(Repeat& sat, const char* bound, uint64_t search, const char* origin, std::vector<FollowedEdits>* followed)
{
  const Scoring g;
  const int32_t unit_length = static_cast<int32_t>(sat.unit_length());
  const uint32_t L = static_cast<uint32_t>(unit_length);
  const char* ub = sat.unit_begin;
  const char* ue = sat.unit_end;
  const char*& phase = Dir > 0 ? sat.unit_phase_right : sat.unit_phase_left;
  // The cursor: the next residue to examine; and the record's moving end for it.
  auto cursor = [&sat] { return Dir > 0 ? sat.sat_end : sat.sat_begin - 1; };
  auto move_end = [&sat](const char* c) {
    if (Dir > 0)
      sat.sat_end = c;
    else
      sat.sat_begin = c + 1;
  };

  const int64_t floor = -static_cast<int64_t>(unit_length) - g.prefer_longer;
  const LookAhead<Dir> look_ahead{g, ub, ue, floor, bound};
  // A record whose list is dropped (made again from its seed when needed)
  // is extended without listing its edits: only the counts are kept. With
  // followed given, the edits of the walked paths it follows are listed
  // there by reference.
  const bool listing = !sat.missense_dropped;
  if (!listing)
    followed = nullptr;
  BestState best(sat, followed);
  bool best_is_current = true; // the record has not moved since the last save

  // Walked paths (see walked_paths.h) need the prune bound to be the fixed
  // floor, that is the score reduction unlimited. Above high_zone no option
  // of the extension or the look-ahead can reach the floor: a path of
  // max_depth edits loses at most max_depth times the dearest edit.
  WalkedPaths* walked = g.reduction_limited ? nullptr : &WalkedPaths::of_this_thread(Dir, search, origin);
  const int64_t high_zone = floor + static_cast<int64_t>(g.max_depth) * std::max(-g.mismatch, -g.indel);
  WalkedPaths::Family family{0, 0};
  int family_known = 0; // 0 not yet looked up, 1 known, -1 not worth it
  // The walk's own points in the high zone are kept when it finds a
  // recorded one, leaves the high zone or ends.
  auto settle = [&](uint32_t path, uint32_t index) {
    const WalkedPaths::Point walk{nullptr, 0, 0, sat.score, sat.num_mismatches, sat.num_insertions,
                                 sat.num_deletions, sat.num_Ns};
    walked->settle_fresh(family.id, path, index, walk);
  };
  auto settle_at_end = at_end([&] {
    if (walked && family_known == 1)
      settle(WalkedPaths::NONE, 0);
  });
  // Where the path just followed to its end went on, to be found without a look-up.
  std::pair<uint32_t, uint32_t> hint{WalkedPaths::NONE, 0};

  // Lists an edit at the differing residue c, and makes one.
  auto list = [&sat](const char* c, char kind) { sat.missense_list.push_back({listed_at<Dir>(c, kind), kind}); };
  auto make = [&](const char* c, char kind) {
    best_is_current = false;
    switch (kind) {
    case 'M':
      sat.score += g.mismatch;
      ++sat.num_mismatches;
      move_end(c + Dir);
      phase = step_unit<Dir>(phase, ub, ue);
      break;
    case 'I':
      sat.score += g.indel;
      ++sat.num_insertions;
      move_end(c + Dir);
      break;
    default:
      // A deletion is recorded (above) at the residue that follows the
      // missing unit character in sequence order.
      sat.score += g.indel;
      ++sat.num_deletions;
      phase = step_unit<Dir>(phase, ub, ue);
      break;
    }
  };
  auto commit = [&](const char* c, char kind) {
    if (listing)
      list(c, kind);
    make(c, kind);
  };

  // Consumes matches and passable N runs, commits one edit at each differing
  // residue; stops at the bound, at an N run that is too long, or where no
  // edit can stay above the prune bound.
  for (;;) {
    const char* c = cursor();
    if (c == bound)
      break;
    if (*c == *phase) {
      ++sat.score;
      move_end(c + Dir);
      phase = step_unit<Dir>(phase, ub, ue);
      best_is_current = false;
      continue;
    }
    if (*c == 'N' && g.pass_Ns) {
      uint32_t run = N_run<Dir>(c, bound);
      if (run > g.allowed_Ns)
        break;
      for (uint32_t i = 0; i < run; ++i) {
        phase = step_unit<Dir>(phase, ub, ue);
        c += Dir;
        ++sat.num_Ns;
      }
      move_end(c);
      best_is_current = false;
      continue;
    }

    // A differing residue. With P = 1 an equal score also replaces the best
    // state, so that of two equally good alignments the longer one is kept.
    const int32_t sc = sat.score;
    if (sc > best.score - g.prefer_longer && !best_is_current) {
      best.save(sat);
      best_is_current = true;
    }

    uint32_t family_phase = 0;
    const bool in_high_zone = walked && sc > high_zone;
    if (in_high_zone && family_known == 0)
      family_known = walked->family_of(ub, L, family) ? 1 : -1;
    if (in_high_zone && family_known == 1) {
      family_phase = (static_cast<uint32_t>(phase - ub) + L - family.rotation) % L;
      uint32_t path = hint.first, index = hint.second;
      hint.first = WalkedPaths::NONE;
      const bool hinted = path != WalkedPaths::NONE && walked->residue(path, index) == c &&
                          walked->phase(path, index) == family_phase;
      if (hinted || walked->find(family.id, c, family_phase, path, index)) {
        // Make the recorded walk's edits for as long as the score stays in
        // the high zone, then go on from where that leaves the record.
        settle(path, index);
        const WalkedPaths::Point base = walked->at(path, index);
        const uint32_t m0 = sat.num_mismatches, i0 = sat.num_insertions, d0 = sat.num_deletions, n0 = sat.num_Ns;
        // The record as it stands at point j of the path.
        auto stand_at = [&](size_t j) {
          const WalkedPaths::Point p = walked->at(path, j);
          move_end(p.at);
          phase = ub + (p.phase + family.rotation) % L;
          sat.score = sc + (p.score - base.score);
          sat.num_mismatches = m0 + (p.mismatches - base.mismatches);
          sat.num_insertions = i0 + (p.insertions - base.insertions);
          sat.num_deletions = d0 + (p.deletions - base.deletions);
          sat.num_Ns = n0 + (p.Ns - base.Ns);
        };
        // The points after index whose score stays in the high zone.
        const int64_t offset = static_cast<int64_t>(sc) - base.score;
        const size_t out = walked->first_at_most(path, index + 1, high_zone - offset);
        // Of the points passed only the best and the last matter, besides
        // the edits they list: the best state is where the score is
        // highest, at the last of equals when P = 1, else the first.
        size_t listed = index;
        // By reference, a stretch that goes on from the last one lengthens it.
        auto list_up_to = [&](size_t to) {
          const uint32_t entry = sat.missense_list.size();
          if (!listing || to == listed) {
            // nothing to list
          } else if (!followed) {
            walked->for_each_edit(path, listed, to, list);
          } else if (!followed->empty() && followed->back().dir == Dir && followed->back().path == path &&
                     followed->back().to == listed && followed->back().at_entry == entry) {
            followed->back().to = static_cast<uint32_t>(to);
          } else {
            followed->push_back({Dir, path, static_cast<uint32_t>(listed), static_cast<uint32_t>(to), entry});
          }
          listed = to;
        };
        if (out > index + 1) {
          const size_t top = walked->highest(path, index + 1, out, g.prefer_longer == 1);
          if (walked->score(path, top) + offset > best.score - g.prefer_longer) {
            list_up_to(top);
            stand_at(top);
            best.save(sat);
          }
          stand_at(out - 1);
        }
        list_up_to(out);
        make(walked->residue(path, out - 1), walked->kind(path, out - 1));
        if (out < walked->end_of(path))
          stand_at(out); // decided below, on the next turn of the loop
        else
          hint = walked->next_of(path); // where the recorded walk went on
        continue;
      }
    } else if (walked && family_known == 1) {
      settle(WalkedPaths::NONE, 0); // out of the high zone
    }

    const int64_t bound_score = g.prune_bound(best.score, floor);
    const char* next_u = step_unit<Dir>(phase, ub, ue);
    char choice = 0;
    int32_t chosen = 0;
    if (bound_score < static_cast<int64_t>(sc) + g.mismatch) {
      chosen = look_ahead.run(c + Dir, next_u, sc + g.mismatch, 1, best.score);
      choice = 'M';
    }
    if (bound_score < static_cast<int64_t>(sc) + g.indel) {
      int32_t r = look_ahead.run(c + Dir, phase, sc + g.indel, 1, best.score);
      if (!choice || r > chosen) {
        choice = 'I';
        chosen = r;
      }
      r = look_ahead.run(c, next_u, sc + g.indel, 1, best.score);
      if (r > chosen) {
        choice = 'D';
        chosen = r;
      }
    }
    if (!choice) {
      if (sc + g.prefer_longer < best.score)
        best.restore(sat);
      return;
    }
    if (in_high_zone && family_known == 1)
      walked->add_fresh({c, family_phase, choice, sc, sat.num_mismatches, sat.num_insertions, sat.num_deletions,
                         sat.num_Ns});
    // Commit the chosen edit whatever its look-ahead promised; the best state
    // is restored at the end if the path does not recover.
    commit(c, choice);
  }
  if (sat.score <= best.score - g.prefer_longer)
    best.restore(sat);
}

} // namespace

void RecordSearch::extend_imperfect_forward(Repeat& sat, const char* bound, std::vector<FollowedEdits>* followed)
{
  extend<1>(sat, bound, search_id, seq.residues.data(), followed);
}

void RecordSearch::extend_imperfect_backward(Repeat& sat, const char* bound, std::vector<FollowedEdits>* followed)
{
  extend<-1>(sat, bound, search_id, seq.residues.data(), followed);
}

int32_t RecordSearch::extend_imperfect_forward_leap_ahead(const char* pos, const char* unit_pos,
                                                               const char* unit_begin, const char* unit_end,
                                                               int32_t score, int32_t unit_length, uint8_t depth,
                                                               const char* bound, int32_t best)
{
  const Scoring g;
  const int64_t floor = -static_cast<int64_t>(unit_length) - g.prefer_longer;
  return LookAhead<1>{g, unit_begin, unit_end, floor, bound}.run(pos, unit_pos, score, depth, best);
}

int32_t RecordSearch::extend_imperfect_backward_leap_ahead(const char* pos, const char* unit_pos,
                                                                const char* unit_begin, const char* unit_end,
                                                                int32_t score, int32_t unit_length, uint8_t depth,
                                                                const char* bound, int32_t best)
{
  // The residue compared next is the one before pos.
  const Scoring g;
  const int64_t floor = -static_cast<int64_t>(unit_length) - g.prefer_longer;
  return LookAhead<-1>{g, unit_begin, unit_end, floor, bound}.run(pos - 1, unit_pos, score, depth, best);
}
