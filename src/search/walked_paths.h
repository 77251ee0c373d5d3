#ifndef WALKED_PATHS_H
#define WALKED_PATHS_H

#include <cstdint>
#include <deque>
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
    auto it = index_of.find(Key{at, family, phase});
    if (it == index_of.end())
      return false;
    path = static_cast<uint32_t>(it->second >> 32);
    index = static_cast<uint32_t>(it->second);
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
  const Point& at(uint32_t path, size_t i) const { return paths[path].points[i - paths[path].first]; }
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
  struct Key {
    const char* at;
    uint32_t family, phase;
    bool operator==(const Key& o) const { return at == o.at && family == o.family && phase == o.phase; }
  };
  struct KeyHash {
    size_t operator()(const Key& k) const
    {
      return std::hash<const void*>()(k.at) ^ (static_cast<size_t>(k.family) * 0x9e3779b97f4a7c15ULL) ^
             (static_cast<size_t>(k.phase) << 40);
    }
  };

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
  struct Path {
    std::deque<Point> points;
    std::deque<Block> blocks; // block b covers indices from b * BLOCK
    size_t first = ORIGIN, first_block = ORIGIN / BLOCK;
    std::pair<uint32_t, uint32_t> next{NONE, 0};
  };
  void put(uint32_t path, uint32_t family, const Point& p, bool in_front);
  const Block& block(uint32_t path, size_t i) const { return paths[path].blocks[i / BLOCK - paths[path].first_block]; }

  std::vector<Point> fresh;
  std::vector<Path> paths;
  std::unordered_map<Key, uint64_t, KeyHash> index_of;
};

#endif
