#ifndef WALKED_PATHS_H
#define WALKED_PATHS_H

#include <cstdint>
#include <string>
#include <utility>
#include <unordered_map>
#include <vector>

// Over a long satellite array the extensions of many seeds walk the same
// alignment. Once a walk's score lies so far above the prune floor that no
// option of the look-ahead is ever cut (the high zone), the edit it commits
// at a differing residue depends only on the residues ahead and on the unit
// character it is aligned with, not on the score. So where a walk in the
// high zone reaches a residue and unit phase at which an earlier walk with
// the same unit was in the high zone too, it makes the earlier walk's edits
// from there on, for as long as its own score stays in the high zone: only
// the score differs, by a constant. The walked paths record such points.
class WalkedPaths {
 public:
  // A differing residue at which a walk in the high zone committed an edit.
  struct Point {
    const char* at;
    uint32_t phase; // the unit character aligned with it, in the family's unit
    char kind;      // 'M', 'I' or 'D'
    // The walk's score and counts there, before the edit.
    int32_t score;
    uint32_t mismatches, insertions, deletions, Ns;
  };

  // Units that are rotations of each other walk alike from corresponding
  // phases: a family is a unit by its smallest rotation, and rotation is
  // where that rotation starts in the unit.
  struct Family {
    uint32_t id, rotation;
  };

  // The family of the unit [ub, ub + length); false for units too long to
  // be worth it.
  bool family_of(const char* ub, uint32_t length, Family& family);

  // The recorded point of the family at this residue and phase, if any.
  bool find(uint32_t family, const char* at, uint32_t phase, uint32_t& path, uint32_t& index) const
  {
    if (slots.empty())
      return false;
    const Slot& s = slots[probe(static_cast<int32_t>(at - anchor), family, phase)];
    if (s.path == NONE)
      return false;
    path = s.path;
    index = s.index;
    return true;
  }

  // Points are recorded per walk, as a walk makes them, and kept in
  // paths of consecutive points of one walk. A path's points have indices
  // from begin_of to end_of; when a walk that has just made fresh points
  // finds the first point of a path, its points go in front of that path,
  // so that the walks from seeds further and further on, which each add a
  // stretch before the earlier ones, still make one long path.
  void add_fresh(const Point& p) { fresh.push_back(p); }
  // The walk, standing as in walk, found a recorded point (or, with path
  // NONE, left the high zone or ended): its fresh points are kept, and
  // linked to that point.
  void settle_fresh(uint32_t family, uint32_t path, uint32_t index, const Point& walk);
  const Point& at(uint32_t path, size_t i) const
  {
    const Path& h = paths[path];
    return h.points[h.points.size() - 1 - (i - h.first)];
  }
  size_t begin_of(uint32_t path) const { return paths[path].first; }
  size_t end_of(uint32_t path) const { return paths[path].first + paths[path].points.size(); }
  // The first point from `from` on whose score is at most `limit`, or
  // end_of; and the point of the highest score in [from, to), the last of
  // equals when latest is set, else the first. Both look at 64 points at a
  // time where they can.
  size_t first_at_most(uint32_t path, size_t from, int64_t limit) const;
  size_t highest(uint32_t path, size_t from, size_t to, bool latest) const;
  // Where the walk that recorded a path went on: the point of another path
  // that it found at its next differing residue, if it found one.
  std::pair<uint32_t, uint32_t> next_of(uint32_t path) const { return paths[path].next; }

  // The paths belong to one search of one record in one direction.
  void reset_for(uint64_t search);

  static constexpr uint32_t NONE = UINT32_MAX;

 private:
  // The points by residue, family and phase, in a table of open
  // addressing that is at most three quarters full. A residue is kept as
  // its offset from the first one recorded, which fits in 32 bits within a
  // record.
  struct Slot {
    int32_t at;
    uint32_t family, phase;
    uint32_t path = NONE, index; // path NONE: an empty slot
  };
  // The slot that holds the key, or the empty one where it would go.
  size_t probe(int32_t offset, uint32_t family, uint32_t phase) const
  {
    uint64_t h = static_cast<uint32_t>(offset) * 0x9e3779b97f4a7c15ULL + family * 0xc2b2ae3d27d4eb4fULL + phase;
    h ^= h >> 29;
    size_t i = static_cast<size_t>(h) & (slots.size() - 1);
    while (slots[i].path != NONE && !(slots[i].at == offset && slots[i].family == family && slots[i].phase == phase))
      i = (i + 1) & (slots.size() - 1);
    return i;
  }

  uint64_t search = 0;
  size_t recorded = 0;
  std::unordered_map<std::string, uint32_t> families;
  // The lowest and highest score of 64 consecutive points, and where the
  // highest comes first and last.
  struct Block {
    int32_t low, high;
    uint32_t first_high, last_high;
  };
  static constexpr size_t BLOCK = 64;
  // Indices start here and go down as points are put in front.
  static constexpr size_t ORIGIN = size_t(1) << 30;
  // A path grows at its front only, so its points and blocks are kept
  // last first.
  struct Path {
    std::vector<Point> points;
    std::vector<Block> blocks; // block b covers indices from b * BLOCK
    size_t first = ORIGIN, first_block = ORIGIN / BLOCK;
    std::pair<uint32_t, uint32_t> next{NONE, 0};
  };
  void put_in_front(uint32_t path, const Point& p);
  // Makes point i of the path found by its residue and phase, unless an
  // earlier point is found there.
  void make_findable(uint32_t family, uint32_t path, size_t i);
  const Block& block(uint32_t path, size_t i) const
  {
    const Path& h = paths[path];
    return h.blocks[h.blocks.size() - 1 - (i / BLOCK - h.first_block)];
  }

  std::vector<Point> fresh;
  std::vector<Path> paths;
  std::vector<Slot> slots;
  size_t used = 0;
  const char* anchor = nullptr;
};

#endif
