#include "search/speedups/walked_paths.h"

#include "report/unit_normal_form.h"

#include <algorithm>

namespace {

// At most this many points are recorded per pass and direction (about
// 30 bytes each with their chunk, summaries and slots); later walks go on
// without recording. Three quarters of 2^19, less one: the look-up table,
// at most three quarters full, then never grows past 2^19 slots. (Measured:
// twice as many took a 1-Mb minisatellite array to 76 MB, against 59 MB
// now, in the same time; the 1-Mb (AC)n array records at most 143 k points
// per pass, and the 200-kb alpha array is as quick with 35 MB as with 42.)
const size_t MAX_POINTS = (size_t(3) << 17) - 1;
// Walks of a unit family that no earlier walk of the pass had are recorded
// only while the pass holds fewer points than this: in arrays whose copies
// differ a lot (such as alpha satellites at most unit lengths) nearly every
// seed's unit is a family of its own, and its points would never be found.
const size_t FIRST_WALKS_POINTS = 1 << 17;
// Units of at most this many families are followed per pass and direction
// (about 300 bytes each at unit lengths near 200).
const size_t MAX_FAMILIES = 1 << 15;
// Longer units are rare enough in long arrays to walk on their own.
const uint32_t MAX_UNIT = 256;

} // namespace

bool WalkedPaths::family_of(const char* ub, uint32_t length, Family& family)
{
  if (length > MAX_UNIT)
    return false;
  bool repeats_itself;
  const uint32_t best = smallest_rotation(ub, length, repeats_itself);
  std::string smallest(length, ' ');
  for (uint32_t i = 0; i < length; ++i)
    smallest[i] = ub[(best + i) % length];
  auto it = families.find(smallest);
  if (it != families.end()) {
    family = Family{it->second, best, true};
    return true;
  }
  // A family new to the pass, once it knows many, walks on its own: over an
  // array whose copies differ a lot nearly every seed's unit is new, and
  // their texts would grow with the array.
  if (families.size() >= MAX_FAMILIES)
    return false;
  it = families.emplace(std::move(smallest), static_cast<uint32_t>(families.size())).first;
  family = Family{it->second, best, recorded < FIRST_WALKS_POINTS};
  return true;
}

void WalkedPaths::put_in_front(uint32_t path, uint32_t family, const Point& p)
{
  Path& h = paths[path];
  const size_t i = --h.first;
  ++recorded;
  const uint32_t index = static_cast<uint32_t>(i);
  if (i % CHUNK == CHUNK - 1) {
    // The first point of a new chunk.
    if (chunks == pages.size() * PAGE)
      pages.emplace_back(new Chunk[PAGE]);
    h.chunks.push_back(static_cast<uint32_t>(chunks));
    Chunk& c = chunk(chunks++);
    c.mismatches = p.mismatches;
    c.insertions = p.insertions;
    c.deletions = p.deletions;
    c.path = path;
    c.family = family;
    c.block = static_cast<uint32_t>(i / CHUNK);
  }
  chunk(h.chunks.back()).points[i % CHUNK] =
      Kept{static_cast<uint32_t>(p.at - origin), p.score, p.Ns, static_cast<uint8_t>(p.phase), p.kind};
  for (int level = 0; level < LEVELS; ++level) {
    std::vector<Summary>& v = h.summaries[level];
    if (from_top(i, block_size(level)) == v.size()) {
      v.push_back({p.score, p.score, index, index});
      continue;
    }
    Summary& b = v.back();
    b.low = std::min(b.low, p.score);
    if (p.score > b.high) {
      b.high = p.score;
      b.first_high = b.last_high = index;
    } else if (p.score == b.high) {
      b.first_high = index;
    }
  }
}

WalkedPaths::Point WalkedPaths::at(uint32_t path, size_t i) const
{
  const Chunk& c = chunk(chunk_of(path, i));
  const Kept& k = c.points[i % CHUNK];
  Point p{origin + k.at, k.phase, k.kind, k.score, c.mismatches, c.insertions, c.deletions, k.Ns};
  // Back from the chunk's last point, undoing the edits of the points between.
  for (size_t j = i % CHUNK; j < CHUNK - 1; ++j) {
    const char kind = c.points[j].kind;
    p.mismatches -= kind == 'M';
    p.insertions -= kind == 'I';
    p.deletions -= kind == 'D';
  }
  return p;
}

void WalkedPaths::make_findable(uint32_t family, uint32_t path, size_t i)
{
  if ((used + 1) * 4 > slots.size() * 3) {
    std::vector<Slot> old(std::max<size_t>(1024, 2 * slots.size()));
    old.swap(slots);
    for (const Slot& s : old)
      if (s.point != NONE)
        slots[probe(s.at, family_at(s.point), chunk(s.point / CHUNK).points[s.point % CHUNK].phase)] = s;
  }
  const Kept& p = kept(path, i);
  Slot& s = slots[probe(p.at, family, p.phase)];
  if (s.point != NONE)
    return;
  s = Slot{p.at, static_cast<uint32_t>(chunk_of(path, i) * CHUNK + i % CHUNK)};
  ++used;
}

void WalkedPaths::settle_fresh(uint32_t family, uint32_t path, uint32_t index, const Point& walk)
{
  if (fresh.empty())
    return;
  if (recorded + fresh.size() <= MAX_POINTS) {
    if (path != NONE && index == paths[path].first) {
      // In front of the path, with score and counts shifted to the path's
      // walk: where the two walks meet they differ by a constant.
      const Point meet = at(path, index);
      for (size_t k = fresh.size(); k-- > 0;) {
        Point p = fresh[k];
        p.score += meet.score - walk.score;
        p.mismatches += meet.mismatches - walk.mismatches;
        p.insertions += meet.insertions - walk.insertions;
        p.deletions += meet.deletions - walk.deletions;
        p.Ns += meet.Ns - walk.Ns;
        put_in_front(path, family, p);
        make_findable(family, path, paths[path].first);
      }
    } else {
      paths.emplace_back();
      const uint32_t made = static_cast<uint32_t>(paths.size() - 1);
      for (size_t k = fresh.size(); k-- > 0;)
        put_in_front(made, family, fresh[k]);
      // A walk may stand at one residue and phase twice; the look-up finds
      // its first time there.
      for (size_t k = 0; k < fresh.size(); ++k)
        make_findable(family, made, paths[made].first + k);
      paths[made].next = {path, index};
    }
  }
  fresh.clear();
  // The first walks over an array make long runs of points; that room is
  // not kept for the short runs that follow.
  if (fresh.capacity() > 4096)
    std::vector<Point>().swap(fresh);
}

size_t WalkedPaths::first_at_most(uint32_t path, size_t from, int64_t limit) const
{
  size_t j = from;
  while (j < TOP) {
    // Past the largest block that begins at j and holds no such score.
    size_t skip = 0;
    for (int level = 0; level < LEVELS && j % block_size(level) == 0 && summary(path, level, j).low > limit; ++level)
      skip = block_size(level);
    if (skip) {
      j += skip;
      continue;
    }
    if (kept(path, j).score <= limit)
      return j;
    ++j;
  }
  return TOP;
}

size_t WalkedPaths::highest(uint32_t path, size_t from, size_t to, bool latest) const
{
  size_t best = from;
  int32_t top = kept(path, from).score;
  for (size_t j = from; j < to;) {
    // The largest block that begins at j and ends by to, if any.
    int level = -1;
    while (level + 1 < LEVELS && j % block_size(level + 1) == 0 && j + block_size(level + 1) <= to)
      ++level;
    if (level >= 0) {
      const Summary& b = summary(path, level, j);
      if (b.high > top || (latest && b.high == top)) {
        top = b.high;
        best = latest ? b.last_high : b.first_high;
      }
      j += block_size(level);
      continue;
    }
    const int32_t score = kept(path, j).score;
    if (score > top || (latest && score == top)) {
      top = score;
      best = j;
    }
    ++j;
  }
  return best;
}

void WalkedPaths::reset_for(uint64_t new_walks, const char* new_origin)
{
  if (walks == new_walks)
    return;
  walks = new_walks;
  origin = new_origin;
  recorded = 0;
  families.clear();
  std::vector<Path>().swap(paths);
  fresh.clear();
  std::vector<std::unique_ptr<Chunk[]>>().swap(pages);
  chunks = 0;
  std::vector<Slot>().swap(slots);
  used = 0;
}
