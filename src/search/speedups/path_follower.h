#ifndef SEARCH_SPEEDUPS_PATH_FOLLOWER_H
#define SEARCH_SPEEDUPS_PATH_FOLLOWER_H

#include "search/extension.h"
#include "search/speedups/walked_paths.h"

#include <algorithm>
#include <utility>

// Follows walked paths (see walked_paths.h) in one extension. Above the
// high zone's edge no option of the extension or its look-ahead can reach
// the prune floor: a path of max_depth edits loses at most max_depth times
// the dearest edit. There, at a differing residue and unit phase where an
// earlier walk with the same unit family committed an edit, the extension
// makes that walk's edits for as long as its score stays in the high zone,
// instead of looking ahead; and where it looks ahead itself, its edits are
// recorded for later walks.
template <int Dir>
class PathFollower {
 public:
  // With by_reference given, the edits made along a path are listed there;
  // otherwise one by one in the record's list.
  PathFollower(Extension<Dir>& e, WalkedPaths& walked, EditsByReference* by_reference)
      : e(e), walked(walked), by_reference(by_reference),
        high_zone(e.floor + static_cast<int64_t>(e.g.max_depth) * std::max(-e.g.mismatch, -e.g.indel))
  {
  }

  // At the differing residue c: whether the record followed a recorded
  // walk from there (and stands where that leaves it).
  bool follow(const char* c);
  // The extension looked ahead at c itself and chose this edit.
  void walked_to(const char* c, char choice)
  {
    if (recording)
      walked.add_fresh({c, family_phase, choice, e.sat.score, e.sat.num_mismatches, e.sat.num_insertions,
                        e.sat.num_deletions, e.sat.num_Ns});
  }
  // The extension ended: the walk's own points are kept.
  void finish()
  {
    if (family_known == 1)
      settle(WalkedPaths::NONE, 0);
  }

 private:
  // The walk's own points in the high zone are kept when it finds a
  // recorded one, leaves the high zone or ends.
  void settle(uint32_t path, uint32_t index)
  {
    const Repeat& sat = e.sat;
    const WalkedPaths::Point walk{nullptr, 0, 0, sat.score, sat.num_mismatches, sat.num_insertions,
                                 sat.num_deletions, sat.num_Ns};
    walked.settle_fresh(family.id, path, index, walk);
  }
  void follow_path(const char* c, uint32_t path, uint32_t index);

  Extension<Dir>& e;
  WalkedPaths& walked;
  EditsByReference* const by_reference;
  const int64_t high_zone;
  WalkedPaths::Family family{0, 0, false};
  int family_known = 0; // 0 not yet looked up, 1 known, -1 not worth it
  uint32_t family_phase = 0;
  bool recording = false; // the edit chosen at this residue is recorded
  // Where the path just followed to its end went on, to be found without a look-up.
  std::pair<uint32_t, uint32_t> hint{WalkedPaths::NONE, 0};
};

template <int Dir>
inline bool PathFollower<Dir>::follow(const char* c)
{
  const bool in_high_zone = e.sat.score > high_zone;
  recording = false;
  if (in_high_zone && family_known == 0)
    family_known = walked.family_of(e.ub, e.unit_length, family) ? 1 : -1;
  if (family_known != 1)
    return false;
  if (!in_high_zone) {
    settle(WalkedPaths::NONE, 0); // out of the high zone
    return false;
  }
  const uint32_t L = e.unit_length;
  family_phase = (static_cast<uint32_t>(e.phase - e.ub) + L - family.rotation) % L;
  uint32_t path = hint.first, index = hint.second;
  hint.first = WalkedPaths::NONE;
  const bool hinted =
      path != WalkedPaths::NONE && walked.residue(path, index) == c && walked.phase(path, index) == family_phase;
  if (hinted || walked.find(family.id, c, family_phase, path, index)) {
    follow_path(c, path, index);
    return true;
  }
  recording = family.worth_recording;
  return false;
}

// Makes the recorded walk's edits from point index of path on, for as long
// as the score stays in the high zone, then leaves the record where that
// leaves it.
template <int Dir>
void PathFollower<Dir>::follow_path(const char*, uint32_t path, uint32_t index)
{
  Repeat& sat = e.sat;
  const uint32_t L = e.unit_length;
  const int32_t sc = sat.score;
  settle(path, index);
  const WalkedPaths::Point base = walked.at(path, index);
  const uint32_t m0 = sat.num_mismatches, i0 = sat.num_insertions, d0 = sat.num_deletions, n0 = sat.num_Ns;
  // The record as it stands at point j of the path.
  auto stand_at = [&](size_t j) {
    const WalkedPaths::Point p = walked.at(path, j);
    e.move_end(p.at);
    e.phase = e.ub + (p.phase + family.rotation) % L;
    sat.score = sc + (p.score - base.score);
    sat.num_mismatches = m0 + (p.mismatches - base.mismatches);
    sat.num_insertions = i0 + (p.insertions - base.insertions);
    sat.num_deletions = d0 + (p.deletions - base.deletions);
    sat.num_Ns = n0 + (p.Ns - base.Ns);
  };
  // The points after index whose score stays in the high zone.
  const int64_t offset = static_cast<int64_t>(sc) - base.score;
  const size_t out = walked.first_at_most(path, index + 1, high_zone - offset);
  // Of the points passed only the best and the last matter, besides the
  // edits they list: the best state is where the score is highest, at the
  // last of equals when P = 1, else the first.
  size_t listed = index;
  // By reference, a stretch that goes on from the last one lengthens it.
  auto list_up_to = [&](size_t to) {
    const uint32_t entry = sat.missense_list.size();
    if (!e.listing || to == listed) {
      // nothing to list
    } else if (!by_reference) {
      walked.for_each_edit(path, listed, to, [this](const char* at, char kind) { e.list(at, kind); });
    } else {
      std::vector<FollowedEdits>& refs = by_reference->edits;
      if (!refs.empty() && refs.back().dir == Dir && refs.back().path == path && refs.back().to == listed &&
          refs.back().at_entry == entry)
        refs.back().to = static_cast<uint32_t>(to);
      else
        refs.push_back({Dir, path, static_cast<uint32_t>(listed), static_cast<uint32_t>(to), entry});
    }
    listed = to;
  };
  if (out > index + 1) {
    const size_t top = walked.highest(path, index + 1, out, e.g.prefer_longer == 1);
    if (walked.score(path, top) + offset > e.best.score - e.g.prefer_longer) {
      list_up_to(top);
      stand_at(top);
      e.save_best();
    }
    stand_at(out - 1);
  }
  list_up_to(out);
  e.make(walked.residue(path, out - 1), walked.kind(path, out - 1));
  if (out < walked.end_of(path))
    stand_at(out); // decided on the extension's next turn
  else
    hint = walked.next_of(path); // where the recorded walk went on
}

#endif
