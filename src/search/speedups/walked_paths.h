#ifndef SEARCH_SPEEDUPS_WALKED_PATHS_H
#define SEARCH_SPEEDUPS_WALKED_PATHS_H

#include "search/unit_walk.h"

#include <algorithm>
#include <cstdint>
#include <memory>
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
    bool worth_recording; // an earlier walk of the pass had a unit of the family, or there is room
  };

  // The family of the unit [ub, ub + length); false for units too long to
  // be worth it, and for a new family when the pass knows many already.
  bool family_of(const char* ub, uint32_t length, Family& family);

  // The paths of this object belong to the walks of one pass (one search
  // of the record whose first residue is origin, one unit length), in one
  // direction: the first use for other walks forgets them.
  void reset_for(uint64_t walks, const char* origin);

  // The recorded point of the family at this residue and phase, if any.
  bool find(uint32_t family, const char* at, uint32_t phase, uint32_t& path, uint32_t& index) const
  {
    if (slots.empty())
      return false;
    const Slot& s = slots[probe(static_cast<uint32_t>(at - origin), family, phase)];
    if (s.point == NONE)
      return false;
    const Chunk& k = chunk(s.point / CHUNK);
    path = k.path;
    index = static_cast<uint32_t>(k.block * CHUNK + s.point % CHUNK);
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
  Point at(uint32_t path, size_t i) const;
  // Parts of a point, read alone.
  const char* residue(uint32_t path, size_t i) const { return origin + kept(path, i).at; }
  char kind(uint32_t path, size_t i) const { return kept(path, i).kind; }
  uint32_t phase(uint32_t path, size_t i) const { return kept(path, i).phase; }
  int32_t score(uint32_t path, size_t i) const { return kept(path, i).score; }
  // Calls edit(residue, kind) for the points from `from` to `to` - 1.
  template <typename Edit>
  void for_each_edit(uint32_t path, size_t from, size_t to, Edit edit) const
  {
    for (size_t j = from; j < to;) {
      const Chunk& c = chunk(chunk_of(path, j));
      for (const size_t end = std::min(to, (j / CHUNK + 1) * CHUNK); j < end; ++j)
        edit(origin + c.points[j % CHUNK].at, c.points[j % CHUNK].kind);
    }
  }
  // Calls edit(residue, kind) for the points from `from` to `to` - 1 whose
  // place in a missense list (listed_at) lies in [lo, hi). Those places
  // only grow (Dir 1) or shrink (Dir -1) along a path, so the points
  // are found by bisection.
  template <int Dir, typename Edit>
  void for_each_edit_within(uint32_t path, size_t from, size_t to, const char* lo, const char* hi, Edit edit) const
  {
    auto first_past = [&](const char* limit) { // the first point whose place in walk order is past limit
      size_t a = from, b = to;
      while (a < b) {
        const size_t m = a + (b - a) / 2;
        const char* p = listed_at<Dir>(residue(path, m), kind(path, m));
        if (Dir > 0 ? p < limit : p >= limit)
          a = m + 1;
        else
          b = m;
      }
      return a;
    };
    if (Dir > 0)
      for_each_edit(path, first_past(lo), first_past(hi), edit);
    else
      for_each_edit(path, first_past(hi), first_past(lo), edit);
  }
  size_t begin_of(uint32_t path) const { return paths[path].first; }
  size_t end_of(uint32_t) const { return TOP; } // every path ends there
  // The first point from `from` on whose score is at most `limit`, or
  // end_of; and the point of the highest score in [from, to), the last of
  // equals when latest is set, else the first. Both look at whole blocks
  // of points where they can.
  size_t first_at_most(uint32_t path, size_t from, int64_t limit) const;
  size_t highest(uint32_t path, size_t from, size_t to, bool latest) const;
  // Where the walk that recorded a path went on: the point of another path
  // that it found at its next differing residue, if it found one.
  std::pair<uint32_t, uint32_t> next_of(uint32_t path) const { return paths[path].next; }

  static constexpr uint32_t NONE = UINT32_MAX;

 private:
  // A point as kept: its residue as the offset from the record's first one,
  // which fits in 32 bits as a record's length does, and its phase in 8
  // bits, as units longer than 256 are not walked here. Its mismatches,
  // insertions and deletions are not kept: between consecutive points of a
  // walk only the earlier point's edit changes them.
  struct Kept {
    uint32_t at;
    int32_t score;
    uint32_t Ns;
    uint8_t phase;
    char kind;
  };
  // Points are kept in chunks of consecutive indices of one path, with the
  // counts of the chunk's last point (the first one put in). A chunk is
  // small because each path's front chunk is partly empty.
  static constexpr size_t CHUNK = 16;
  struct Chunk {
    Kept points[CHUNK];
    uint32_t mismatches, insertions, deletions;
    uint32_t path, family;
    uint32_t block; // the chunk holds the path's indices from block * CHUNK
  };
  // Chunks are allocated a page at a time and never move; a point is
  // known everywhere by its number, chunk number * CHUNK + index % CHUNK.
  static constexpr size_t PAGE = 256;
  Chunk& chunk(size_t n) { return pages[n / PAGE][n % PAGE]; }
  const Chunk& chunk(size_t n) const { return pages[n / PAGE][n % PAGE]; }
  // The lowest and highest score of the points of a block of indices, and
  // where the highest comes first and last. Blocks of 16, 256, 4096 and
  // 65536 points let a scan pass over long stretches at once.
  struct Summary {
    int32_t low, high;
    uint32_t first_high, last_high;
  };
  static constexpr int LEVELS = 4;
  static constexpr size_t block_size(int level) { return CHUNK << (4 * level); }
  // A path's indices end at TOP and go down as points are put in front:
  // its first chunk (in the order made) holds the block of TOP - 1, the
  // next the block before, and so on; so do its summaries on each level.
  static constexpr size_t TOP = size_t(1) << 30;
  struct Path {
    std::vector<uint32_t> chunks; // in the order made, last block first
    std::vector<Summary> summaries[LEVELS];
    size_t first = TOP;
    std::pair<uint32_t, uint32_t> next{NONE, 0};
  };
  static size_t from_top(size_t i, size_t size) { return (TOP - 1) / size - i / size; }
  const Summary& summary(uint32_t path, int level, size_t i) const
  {
    return paths[path].summaries[level][from_top(i, block_size(level))];
  }
  uint32_t chunk_of(uint32_t path, size_t i) const { return paths[path].chunks[from_top(i, CHUNK)]; }
  const Kept& kept(uint32_t path, size_t i) const { return chunk(chunk_of(path, i)).points[i % CHUNK]; }
  void put_in_front(uint32_t path, uint32_t family, const Point& p);
  // Makes point i of the path found by its residue and phase, unless an
  // earlier point is found there.
  void make_findable(uint32_t family, uint32_t path, size_t i);

  // The points by residue, family and phase, in a table of open
  // addressing that is at most three quarters full. A slot holds a point's
  // residue, to pass most other points without reading them, and its
  // number.
  struct Slot {
    uint32_t at;
    uint32_t point = NONE; // NONE: an empty slot
  };
  // The slot that holds the key, or the empty one where it would go.
  size_t probe(uint32_t offset, uint32_t family, uint32_t phase) const
  {
    uint64_t h = offset * 0x9e3779b97f4a7c15ULL + family * 0xc2b2ae3d27d4eb4fULL + phase;
    h ^= h >> 29;
    size_t i = static_cast<size_t>(h) & (slots.size() - 1);
    while (slots[i].point != NONE && !(slots[i].at == offset && matches(slots[i].point, family, phase)))
      i = (i + 1) & (slots.size() - 1);
    return i;
  }
  bool matches(uint32_t point, uint32_t family, uint32_t phase) const
  {
    return family_at(point) == family && chunk(point / CHUNK).points[point % CHUNK].phase == phase;
  }
  uint32_t family_at(uint32_t point) const { return chunk(point / CHUNK).family; }

  uint64_t walks = 0;
  const char* origin = nullptr;
  size_t recorded = 0;
  std::unordered_map<std::string, uint32_t> families;
  std::vector<Point> fresh;
  std::vector<Path> paths;
  std::vector<std::unique_ptr<Chunk[]>> pages;
  size_t chunks = 0;
  std::vector<Slot> slots;
  size_t used = 0;
};

// Edits of a record listed by reference instead of one by one: the points
// [from, to) of a path of the thread's scratch in direction dir, which
// stand in the record's walk before its list entry at_entry.
struct FollowedEdits {
  int dir;
  uint32_t path, from, to;
  uint32_t at_entry;
};

// The edits of one record listed by reference. An extension only appends
// to them or lengthens the last, so a mark of how far they went is enough
// to go back to.
struct EditsByReference {
  std::vector<FollowedEdits> edits;

  struct Mark {
    size_t count;
    uint32_t last_to;
  };
  Mark mark() const { return {edits.size(), edits.empty() ? 0 : edits.back().to}; }
  void back_to(const Mark& m)
  {
    edits.resize(m.count);
    if (m.count)
      edits.back().to = m.last_to;
  }
};

#endif
