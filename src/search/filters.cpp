#include "search/record_search.h"

#include "search/overlap_filter.h"

#include <iterator>
#include <vector>

void RecordSearch::remove_hidden(RepeatList& container) const
{
  if (!settings.remove_mostly_hidden)
    return;
  const std::vector<Repeat*> list(container.sats.begin(), container.sats.end());
  const char* first = seq.residues.data();
  const std::vector<bool> hidden = mostly_hidden(list.size(), [&](size_t i) {
    const Repeat& r = *list[i];
    return Span{static_cast<size_t>(r.sat_begin - first), static_cast<size_t>(r.sat_end - first), r.unit_length(),
                r.score};
  });
  size_t i = 0;
  for (auto it = container.sats.begin(); it != container.sats.end(); ++i)
    it = hidden[i] ? container.remove(it) : std::next(it);
}

void RecordSearch::filter_perfection(RepeatList& container) const
{
  if (settings.min_perfection <= 0.0f && settings.max_perfection >= 100.0f)
    return;
  for (auto it = container.sats.begin(); it != container.sats.end();) {
    const float perfection = (*it)->perfection(settings.N_and_perfection_mode);
    if (settings.min_perfection > perfection || perfection > settings.max_perfection)
      it = container.remove(it);
    else
      ++it;
  }
}
