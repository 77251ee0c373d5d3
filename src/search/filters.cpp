#include "search/CSearchController.h"

#include "settings/global-types-and-parameters.h"

// Of two mostly overlapping repeats only the higher-scoring one stays; at
// equal scores the earlier one in list order. A pair overlaps mostly when
// the part of either repeat outside the shared stretch is shorter than one
// of its own units. The list is sorted by begin, so the scan for partners
// of A stops at the first record that starts at or after A's end.
void CSearchController::remove_hidden(CsatContainer& container)
{
  if (!global_remove_mostly_hidden)
    return;
  std::list<Csat*>& sats = container.sats;
  auto a = sats.begin();
  while (a != sats.end()) {
    auto b = std::next(a);
    bool a_removed = false;
    while (b != sats.end() && (*b)->sat_begin < (*a)->sat_end) {
      const Csat& A = **a;
      const Csat& B = **b;
      const uint32_t overlap = static_cast<uint32_t>((A.sat_end < B.sat_end ? A.sat_end : B.sat_end) - B.sat_begin);
      const bool mostly = A.length() < A.unit_length() + overlap || B.length() < B.unit_length() + overlap;
      if (!mostly) {
        ++b;
      } else if (A.score < B.score) {
        a = container.remove(a);
        a_removed = true;
        break;
      } else {
        b = container.remove(b);
      }
    }
    if (!a_removed)
      ++a;
  }
}

void CSearchController::filter_perfection(CsatContainer& container)
{
  if (global_min_perfection <= 0.0f && global_max_perfection >= 100.0f)
    return;
  for (auto it = container.sats.begin(); it != container.sats.end();) {
    const float perfection = (*it)->perfection();
    if (global_min_perfection > perfection || perfection > global_max_perfection)
      it = container.remove(it);
    else
      ++it;
  }
}
