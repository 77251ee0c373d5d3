#include "search/walked_paths.h"

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

uint32_t WalkedPaths::start_path()
{
  if (recorded >= MAX_POINTS)
    return NONE;
  paths.emplace_back();
  return static_cast<uint32_t>(paths.size() - 1);
}

bool WalkedPaths::record(uint32_t path, uint32_t family, const Point& p)
{
  if (recorded >= MAX_POINTS)
    return false;
  std::vector<Point>& points = paths[path].points;
  index_of.emplace(Key{p.at, family, p.phase}, (static_cast<uint64_t>(path) << 32) | points.size());
  points.push_back(p);
  ++recorded;
  return true;
}

void WalkedPaths::reset_for(uint64_t new_search)
{
  if (search == new_search)
    return;
  search = new_search;
  recorded = 0;
  families.clear();
  std::vector<Path>().swap(paths);
  std::unordered_map<Key, uint64_t, KeyHash>().swap(index_of);
}
