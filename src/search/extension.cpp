#include "search/extension.h"

#include "search/speedups/path_follower.h"
#include "search/work_counts.h"

#include <algorithm>

namespace {

// The look-ahead of one extension: what stays fixed while it recurses.
template <int Dir>
struct LookAhead {
  const Scoring g; // held here, one load away in the recursion

  const char* ub; // the unit
  const char* ue;
  int64_t floor; // -L - P
  const char* bound;
  LookAheadMemo& memo; // gains of points kept for the extension
  int64_t worst_edit; // the costlier edit's score
  const UnitInBlocks& unit; // laid out for its exact phases

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
    if (!exact_phase_in_blocks<Dir>(c, u, ub, ue, unit, bound, sc, Ns_passed, g.allowed_Ns, g.pass_Ns))
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
    // No option below this point is cut where even the last edit allowed
    // leaves the score above the bound: then its gain is the same from any
    // score. Under a limited score reduction a new best score in the
    // subtree raises the bound, yet it cuts nothing there either: as the
    // best is at least the point's score, the condition makes R + P larger
    // than the cost of the edits left, and no score in the subtree lies
    // further than that below a best before it.
    const bool uncut = sc + static_cast<int64_t>(g.max_depth - depth) * worst_edit > bound_score;
    const uint32_t phase = static_cast<uint32_t>(u - ub);
    COUNT_WORK(LOOK_AHEAD, ue - ub, 1);
    int32_t gain;
    if (uncut && memo.find(c, phase, depth, gain))
      return sc + gain;
    int32_t result = sc;
    if (bound_score < static_cast<int64_t>(sc) + g.mismatch)
      result = std::max(result, run(c + Dir, step_unit<Dir>(u, ub, ue), sc + g.mismatch, depth + 1, best));
    if (bound_score < static_cast<int64_t>(sc) + g.indel) {
      result = std::max(result, run(c + Dir, u, sc + g.indel, depth + 1, best));
      result = std::max(result, run(c, step_unit<Dir>(u, ub, ue), sc + g.indel, depth + 1, best));
    }
    if (uncut)
      memo.keep(c, phase, depth, result - sc);
    return result;
  }
};

} // namespace

template <int Dir>
void Extension<Dir>::make(const char* c, char kind)
{
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
    // A deletion is listed (see listed_at) at the residue that follows the
    // missing unit character in sequence order.
    sat.score += g.indel;
    ++sat.num_deletions;
    phase = step_unit<Dir>(phase, ub, ue);
    break;
  }
}

template <int Dir>
void Extension<Dir>::run(const char* bound, PathFollower<Dir>* follower, LookAheadMemo& memo, UnitInBlocks& unit)
{
  memo.start();
  unit.lay_out(ub, unit_length);
  const LookAhead<Dir> look_ahead{g, ub, ue, floor, bound, memo, std::min(g.mismatch, g.indel), unit};
  [[maybe_unused]] const char* const walk_from = cursor(); // for the work counts
  for (;;) {
    // The exact phase: consumes matches and passable N runs; stops at a
    // differing residue, at the bound or at an N run that is too long.
    const char* c = cursor();
    const char* const from = c;
    const bool differs =
        exact_phase_in_blocks<Dir>(c, phase, ub, ue, unit, bound, sat.score, sat.num_Ns, g.allowed_Ns, g.pass_Ns);
    if (c != from) {
      move_end(c);
      best_is_current = false;
    }
    if (!differs)
      break;

    // A differing residue. With P = 1 an equal score also replaces the best
    // state, so that of two equally good alignments the longer one is kept.
    const int32_t sc = sat.score;
    if (sc > best.score - g.prefer_longer && !best_is_current)
      save_best();

    if (follower && follower->follow(c))
      continue;

    // The options: each edit that can stay above the prune bound, judged by
    // the best score its look-ahead reaches; at equal promise M before I
    // before D.
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
      COUNT_WORK(WALKED, unit_length, (cursor() - walk_from) * Dir);
      if (sc + g.prefer_longer < best.score)
        best.restore(sat);
      return;
    }

    // Commit the chosen edit whatever its look-ahead promised; the best
    // state is restored at the end if the path does not recover.
    if (follower)
      follower->walked_to(c, choice);
    if (listing)
      list(c, choice);
    make(c, choice);
  }
  COUNT_WORK(WALKED, unit_length, (cursor() - walk_from) * Dir);
  if (sat.score <= best.score - g.prefer_longer)
    best.restore(sat);
}

namespace {

template <int Dir>
void extend(Repeat& sat, const char* bound, const Scoring& g, WalkedPaths& walked, SearchScratch& scratch,
            EditsByReference* by_reference)
{
  Extension<Dir> extension(sat, g, by_reference);
  // Walked paths need the prune bound to be the fixed floor, that is the
  // score reduction unlimited.
  if (g.reduction_limited) {
    extension.run(bound, nullptr, scratch.look_ahead, scratch.unit);
    return;
  }
  PathFollower<Dir> follower(extension, walked, extension.listing ? by_reference : nullptr);
  extension.run(bound, &follower, scratch.look_ahead, scratch.unit);
  follower.finish();
}

} // namespace

void RecordSearch::extend_imperfect_forward(Repeat& sat, const char* bound, SearchScratch& scratch,
                                            EditsByReference* by_reference) const
{
  extend<1>(sat, bound, scoring, scratch.walked(1, walks_of_pass(search_id, sat.unit_length()), seq.residues.data()),
            scratch, by_reference);
}

void RecordSearch::extend_imperfect_backward(Repeat& sat, const char* bound, SearchScratch& scratch,
                                             EditsByReference* by_reference) const
{
  extend<-1>(sat, bound, scoring, scratch.walked(-1, walks_of_pass(search_id, sat.unit_length()), seq.residues.data()),
             scratch, by_reference);
}
