#include "search/complete_search.h"
#include "search/overlap_filter.h"

#include "parallel/batches.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace {

// A seed of the exact-then-extend mode as the exact search found it.
struct Seed {
  const char *sat_begin, *sat_end, *unit_begin, *unit_end, *unit_phase_right, *unit_phase_left;
  int32_t score;
  uint32_t num_Ns;
  size_t order; // found as the order-th seed
};

// A seed that the extension turned into a repeat of the user's thresholds,
// kept small (positions from the record's first residue), as arrays that
// are periodic at a longer unit turn most of their exact seeds into
// repeats: what the overlap filter reads, and what decides the repeat's
// place in the result: the seeds come sorted by their exact extent, in the
// order found, and the result is sorted stably by the extended extent. The
// repeats that stay are made again from their seeds.
struct Extended {
  uint32_t begin, end, unit_begin, unit_length;
  int32_t score;
  uint32_t seed_begin, seed_end;
  size_t order;
  bool operator<(const Extended& o) const
  {
    if (begin != o.begin)
      return begin < o.begin;
    if (end != o.end)
      return end < o.end;
    if (seed_begin != o.seed_begin)
      return seed_begin < o.seed_begin;
    if (seed_end != o.seed_end)
      return seed_end < o.seed_end;
    return order < o.order;
  }
};

struct SeedBatch {
  std::vector<Seed> seeds;
  std::vector<Extended> extended;
};

// Extends the seeds of a batch with the scratch of the thread that runs it.
void extend_batch(const RecordSearch& search, SearchScratch& scratch, SeedBatch& batch)
{
  const char* first = search.seq.residues.data();
  const ThresholdTable user = search.thresholds.user();
  Repeat* spare = nullptr;
  for (const Seed& seed : batch.seeds) {
    Repeat* sat = spare ? spare : repeat_pool.get_new(seed.unit_begin, seed.unit_end);
    sat->init(seed.unit_begin, seed.unit_end);
    sat->sat_begin = seed.sat_begin;
    sat->sat_end = seed.sat_end;
    sat->unit_phase_right = seed.unit_phase_right;
    sat->unit_phase_left = seed.unit_phase_left;
    sat->score = seed.score;
    sat->num_Ns = seed.num_Ns;
    // Extended without listing its edits: the few repeats that are
    // reported get their lists from their seeds again.
    sat->missense_dropped = true;
    spare = sat;
    const uint32_t k = sat->unit_length();
    if (!extend_seed(search, scratch, *sat, user.score[k], user.length[k]))
      continue;
    auto at = [first](const char* p) { return static_cast<uint32_t>(p - first); };
    batch.extended.push_back({at(sat->sat_begin), at(sat->sat_end), at(sat->unit_begin), k, sat->score,
                              at(seed.sat_begin), at(seed.sat_end), seed.order});
  }
  if (spare)
    repeat_pool.push_back(spare);
  std::vector<Seed>().swap(batch.seeds);
  batch.extended.shrink_to_fit();
}

} // namespace

void RecordSearch::search_exact_and_extend_to_imperfect_repeats()
{
  if (progress)
    progress->step("  Searching for exact repeats.\n");
  const char* first = seq.residues.data();

  // Every seed is extended on its own, so the seeds are extended in batches
  // as the exact search finds them, on all threads; only the seeds that
  // become repeats are kept.
  std::vector<std::unique_ptr<SeedBatch>> batches;
  Batches running(workers);
  auto dispatch = [&] {
    SeedBatch& batch = *batches.back();
    running.run([this, &batch](unsigned int thread) { extend_batch(*this, scratch[thread], batch); });
  };
  const size_t batch_size = 1024;
  size_t found = 0;
  find_exact_repeats(thresholds.seeds(), [&](Repeat* sat) {
    if (batches.empty() || batches.back()->seeds.size() == batch_size) {
      if (!batches.empty())
        dispatch();
      batches.push_back(std::make_unique<SeedBatch>());
      batches.back()->seeds.reserve(batch_size);
    }
    batches.back()->seeds.push_back({sat->sat_begin, sat->sat_end, sat->unit_begin, sat->unit_end,
                                     sat->unit_phase_right, sat->unit_phase_left, sat->score, sat->num_Ns,
                                     found++});
    return false;
  });
  if (!batches.empty())
    dispatch();
  running.finish();
  if (progress)
    progress->step("  Extend exact to imperfect repeats.\n");

  std::vector<const Extended*> sorted;
  for (const auto& batch : batches)
    for (const Extended& e : batch->extended)
      sorted.push_back(&e);
  std::sort(sorted.begin(), sorted.end(), [](const Extended* a, const Extended* b) { return *a < *b; });
  std::vector<bool> hidden(sorted.size());
  if (settings.remove_mostly_hidden)
    hidden = mostly_hidden(sorted.size(), [&sorted](size_t i) {
      const Extended& e = *sorted[i];
      return Span{e.begin, e.end, e.unit_length, e.score};
    });
  for (size_t i = 0; i < sorted.size(); ++i) {
    if (hidden[i])
      continue;
    const Extended& e = *sorted[i];
    imperfect_sats.sats.push_back(make_again(first + e.unit_begin, first + e.unit_begin + e.unit_length));
  }
}
