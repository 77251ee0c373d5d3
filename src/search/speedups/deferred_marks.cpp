#include "search/speedups/deferred_marks.h"

#include <algorithm>
#include <climits>
#include <iterator>

namespace {

// Residues settled at once when the walk reads a deferred one: it reads on
// from there, and the next repeat may defer them again.
const size_t WINDOW = 256;

} // namespace

void DeferredMarks::cover(const Repeat& sat, const std::vector<FollowedEdits>& followed)
{
  const size_t b = static_cast<size_t>(sat.sat_begin - s), e = static_cast<size_t>(sat.sat_end - s);
  drop(b, e);
  // A deletion made going forward at the repeat's end is listed at e, just
  // past it: that mark is freed at once, after what was deferred there.
  bool free_at_end = false;
  auto free_end = [&] {
    if (!deferred.empty())
      settle(e, e + 1);
    marks.free_at(e);
  };
  if (followed.empty()) {
    // The list is in sequence order: only its last entry can lie at e.
    free_at_end = sat.missense_list.size() && sat.missense_list.end()[-1].pos == sat.sat_end;
    if (free_at_end)
      free_end();
    marks.cover(b, e);
    for (const missense_entry& m : sat.missense_list)
      marks.free_at(static_cast<size_t>(m.pos - s));
    return;
  }
  auto owner = std::make_shared<Owner>();
  for (const missense_entry& m : sat.missense_list) {
    if (m.pos == sat.sat_end)
      free_at_end = true;
    else
      owner->places.push_back(m.pos);
  }
  std::sort(owner->places.begin(), owner->places.end());
  owner->followed = followed;
  for (const FollowedEdits& f : followed)
    scratch.followed_edits(walks, s, f, sat.sat_end, sat.sat_end + 1, [&](const char*, char) { free_at_end = true; });
  if (free_at_end)
    free_end();
  if (b == e)
    return;
  deferred.emplace(b, Deferred{e, std::move(owner)});
  if (clean_begin < static_cast<ptrdiff_t>(e) && clean_end > static_cast<ptrdiff_t>(b))
    clean_end = std::max(clean_begin, static_cast<ptrdiff_t>(b));
}

bool DeferredMarks::deferred_within(ptrdiff_t lo, ptrdiff_t hi) const
{
  const size_t b = static_cast<size_t>(std::max<ptrdiff_t>(lo, 0));
  if (hi <= 0 || deferred.empty())
    return false;
  auto it = deferred.upper_bound(b);
  if (it != deferred.begin() && std::prev(it)->second.end > b)
    return true;
  return it != deferred.end() && it->first < static_cast<size_t>(hi);
}

void DeferredMarks::settle(size_t b, size_t e)
{
  auto it = deferred.upper_bound(b);
  if (it != deferred.begin())
    --it;
  for (; it != deferred.end() && it->first < e; ++it) {
    const size_t p = std::max(b, it->first), q = std::min(e, it->second.end);
    if (p >= q)
      continue;
    const Owner& owner = *it->second.owner;
    marks.cover(p, q);
    for (auto at = std::lower_bound(owner.places.begin(), owner.places.end(), s + p);
         at != owner.places.end() && *at < s + q; ++at)
      marks.free_at(static_cast<size_t>(*at - s));
    for (const FollowedEdits& f : owner.followed)
      scratch.followed_edits(walks, s, f, s + p, s + q,
                     [this](const char* at, char) { marks.free_at(static_cast<size_t>(at - s)); });
  }
  drop(b, e);
}

void DeferredMarks::settle_around(ptrdiff_t first, ptrdiff_t last)
{
  std::lock_guard<std::mutex> hold(guard);
  const size_t from = static_cast<size_t>(std::max<ptrdiff_t>(first, 0));
  settle(from, std::max(from + WINDOW, static_cast<size_t>(std::max<ptrdiff_t>(last, 0)) + 1));
  // No deferred stretch overlaps what was settled now.
  auto next = deferred.lower_bound(from);
  clean_end = next == deferred.end() ? PTRDIFF_MAX : static_cast<ptrdiff_t>(next->first);
  clean_begin = next == deferred.begin() ? PTRDIFF_MIN : static_cast<ptrdiff_t>(std::prev(next)->second.end);
}

void DeferredMarks::drop(size_t b, size_t e)
{
  if (b >= e || deferred.empty())
    return;
  auto it = deferred.lower_bound(b);
  if (it != deferred.begin()) {
    auto before = std::prev(it);
    if (before->second.end > b) {
      const Deferred whole = before->second;
      before->second.end = b;
      if (whole.end > e) {
        deferred.emplace(e, whole);
        return;
      }
    }
  }
  while (it != deferred.end() && it->first < e) {
    if (it->second.end > e) {
      Deferred rest = it->second;
      deferred.erase(it);
      deferred.emplace(e, std::move(rest));
      return;
    }
    it = deferred.erase(it);
  }
}

void DeferredMarks::settle_all()
{
  if (!deferred.empty())
    settle(0, deferred.rbegin()->second.end);
  clean_begin = PTRDIFF_MIN;
  clean_end = PTRDIFF_MAX;
}
