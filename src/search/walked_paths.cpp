#include "search/walked_paths.h"

#include <algorithm>

namespace {

// At most this many points are recorded per search and direction (about
// 40 bytes each); later walks go on without recording.
const size_t MAX_POINTS = 1 << 20;
// Longer units are rare enough in long arrays to walk on their own.
const uint32_t MAX_UNIT = 256;

} // namespace

bool WalkedPaths::family_of(const char* ub, uint32_t length, Family& family)
{
  if (length > MAX_UNIT)
    return false;
  // The smallest rotation, found by comparing every rotation with the best so far.
  uint32_t best = 0;
  for (uint32_t r = 1; r < length; ++r) {
    for (uint32_t i = 0; i < length; ++i) {
      const char a = ub[(r + i) % length], b = ub[(best + i) % length];
      if (a != b) {
        if (a < b)
          best = r;
        break;
      }
    }
  }
  std::string smallest(length, ' ');
  for (uint32_t i = 0; i < length; ++i)
    smallest[i] = ub[(best + i) % length];
  auto it = families.emplace(std::move(smallest), static_cast<uint32_t>(families.size())).first;
  family = Family{it->second, best};
  return true;
}

void WalkedPaths::put_in_front(uint32_t path, const Point& p)
{
  Path& h = paths[path];
  const size_t i = --h.first;
  h.points.push_back(p);
  ++recorded;
  const size_t b = i / BLOCK;
  if (h.points.size() == 1 || b < h.first_block) {
    h.first_block = b;
    h.blocks.push_back({p.score, p.score, static_cast<uint32_t>(i), static_cast<uint32_t>(i)});
    return;
  }
  Block& k = h.blocks.back();
  k.low = std::min(k.low, p.score);
  if (p.score > k.high)
    k = {k.low, p.score, static_cast<uint32_t>(i), static_cast<uint32_t>(i)};
  else if (p.score == k.high)
    k.first_high = static_cast<uint32_t>(i);
}

void WalkedPaths::make_findable(uint32_t family, uint32_t path, size_t i)
{
  if ((used + 1) * 4 > slots.size() * 3) {
    std::vector<Slot> old(std::max<size_t>(1024, 2 * slots.size()));
    old.swap(slots);
    for (const Slot& s : old)
      if (s.path != NONE)
        slots[probe(s.at, s.family, s.phase)] = s;
  }
  const Point& p = at(path, i);
  if (!anchor)
    anchor = p.at;
  const int32_t offset = static_cast<int32_t>(p.at - anchor);
  Slot& s = slots[probe(offset, family, p.phase)];
  if (s.path != NONE)
    return;
  s = Slot{offset, family, p.phase, path, static_cast<uint32_t>(i)};
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
      const Point meet = at(path, index); // a copy: the path grows below
      for (size_t k = fresh.size(); k-- > 0;) {
        Point p = fresh[k];
        p.score += meet.score - walk.score;
        p.mismatches += meet.mismatches - walk.mismatches;
        p.insertions += meet.insertions - walk.insertions;
        p.deletions += meet.deletions - walk.deletions;
        p.Ns += meet.Ns - walk.Ns;
        put_in_front(path, p);
        make_findable(family, path, paths[path].first);
      }
    } else {
      paths.emplace_back();
      const uint32_t made = static_cast<uint32_t>(paths.size() - 1);
      for (size_t k = fresh.size(); k-- > 0;)
        put_in_front(made, fresh[k]);
      // A walk may stand at one residue and phase twice; the look-up finds
      // its first time there.
      for (size_t k = 0; k < fresh.size(); ++k)
        make_findable(family, made, paths[made].first + k);
      paths[made].next = {path, index};
    }
  }
  fresh.clear();
}

size_t WalkedPaths::first_at_most(uint32_t path, size_t from, int64_t limit) const
{
  const size_t end = end_of(path);
  size_t j = from;
  while (j < end) {
    if (j % BLOCK == 0 && block(path, j).low > limit) {
      j += BLOCK; // none in this block
      continue;
    }
    if (at(path, j).score <= limit)
      return j;
    ++j;
  }
  return end;
}

size_t WalkedPaths::highest(uint32_t path, size_t from, size_t to, bool latest) const
{
  size_t best = from;
  int32_t top = at(path, from).score;
  for (size_t j = from; j < to;) {
    if (j % BLOCK == 0 && j + BLOCK <= to) {
      const Block& b = block(path, j);
      if (b.high > top || (latest && b.high == top)) {
        top = b.high;
        best = latest ? b.last_high : b.first_high;
      }
      j += BLOCK;
      continue;
    }
    if (at(path, j).score > top || (latest && at(path, j).score == top)) {
      top = at(path, j).score;
      best = j;
    }
    ++j;
  }
  return best;
}

void WalkedPaths::reset_for(uint64_t new_search)
{
  if (search == new_search)
    return;
  search = new_search;
  recorded = 0;
  families.clear();
  std::vector<Path>().swap(paths);
  fresh.clear();
  std::vector<Slot>().swap(slots);
  used = 0;
  anchor = nullptr;
}
