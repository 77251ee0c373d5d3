#include "search/record_search.h"

#include "search/speedups/deferred_marks.h"
#include "search/overlap_filter.h"
#include "search/speedups/seed_filter.h"
#include "search/unit_walk.h"
#include "settings/settings.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <utility>
#include <vector>

namespace {

// The edits of an extended record that are not (yet) in its list: those it
// made along walked paths, listed by reference, and the number of the
// list's entries made going forward.
struct ByReference {
  std::vector<FollowedEdits> followed;
  uint32_t forward_entries = 0;
};

// Puts the edits listed by reference, if any, into the record's list, which
// it then sorts into sequence order; forward is the number of its entries
// made going forward. The forward edits come in increasing order of
// position, the backward ones in decreasing order, all before the seed; at
// one position the deletions come first going forward and last going
// backward. So the sorted list is the backward part reversed, then the
// forward part.
void list_in_order(const RecordSearch& c, Repeat& sat, ByReference* by_reference, uint32_t forward)
{
  if (by_reference && !by_reference->followed.empty()) {
    const char* s = c.seq.residues.data();
    fastvector<missense_entry> all;
    uint32_t e = 0;
    for (const FollowedEdits& f : by_reference->followed) {
      for (; e < f.at_entry; ++e)
        all.push_back(sat.missense_list[e]);
      if (f.dir > 0)
        forward += f.to - f.from;
      followed_edits(c.search_id, s, f, s, s + c.seq.residues.size() + 1,
                     [&all](const char* at, char kind) { all.push_back({at, kind}); });
    }
    for (; e < sat.missense_list.size(); ++e)
      all.push_back(sat.missense_list[e]);
    sat.missense_list.swap(all);
    by_reference->followed.clear();
  }
  missense_entry* list = sat.missense_list.begin();
  std::reverse(list, sat.missense_list.end());
  std::reverse(list + (sat.missense_list.size() - forward), sat.missense_list.end());
}

// Extends a seed record both ways, trims N's at its ends and tests it
// against the thresholds of its unit length; an accepted record has its
// missense list in sequence order, unless by_reference is given and the
// record has more edits than a short list holds: then some may be left
// there. The outcome depends on the sequence, the seed and the settings
// only, so any thread may compute it ahead of its turn.
bool extend_seed(RecordSearch& controller, Repeat& sat, const char* first, const char* last, int32_t min_score,
                 int32_t min_length, ByReference* by_reference = nullptr)
{
  // Seeds come without a list.
  std::vector<FollowedEdits>* followed = by_reference ? &by_reference->followed : nullptr;
  if (followed)
    followed->clear();
  controller.extend_imperfect_forward(sat, last, followed);
  const uint32_t forward = sat.missense_list.size();
  controller.extend_imperfect_backward(sat, first - 1, followed);
  trim_Ns(sat);
  if (sat.score < min_score || static_cast<int32_t>(sat.normalized_length()) < min_length)
    return false;
  if (by_reference) {
    by_reference->forward_entries = forward;
    if (!by_reference->followed.empty() && sat.num_edits() > Repeat::SHORT_LIST)
      return true;
  }
  list_in_order(controller, sat, by_reference, forward);
  return true;
}

// A record's extension depends on its seed alone, so a record comes back
// the same, now with its list, when its seed is extended again: the seed
// unit (sat as init leaves it), its exact extension in the exact-then-extend
// mode, then the imperfect extension.
void extend_again(RecordSearch& controller, Repeat& sat, const char* first, const char* last)
{
  if (global_search_mode == 1)
    extend_exact(sat, first, last);
  extend_seed(controller, sat, first, last, INT32_MIN, INT32_MIN);
}

// Whether the seed [b, b + u) is tried: the anchor rule on the marks around
// it (SearchMarks::window_is_free), no N in the seed (next_N is the first N
// at or after b), and, for units of two or more, not one residue repeated.
template <typename Marks>
bool seed_is_tried(const char* s, size_t b, size_t u, size_t next_N, Marks& marks)
{
  if (!marks.window_is_free(b, b + u) || next_N < b + u)
    return false;
  if (u == 1)
    return true;
  for (size_t j = b + 1; j < b + u; ++j)
    if (s[j] != s[j - 1])
      return true;
  return false;
}

// Covers the residues of an accepted repeat within [lo, hi), except where it
// deviates from its unit: deviation positions stay seed candidates.
template <typename Marks>
void cover_repeat(const Repeat& sat, const char* s, ptrdiff_t lo, ptrdiff_t hi, Marks& marks)
{
  const ptrdiff_t b = std::max<ptrdiff_t>(sat.sat_begin - s, lo), e = std::min<ptrdiff_t>(sat.sat_end - s, hi);
  if (b < e)
    marks.cover(static_cast<size_t>(b), static_cast<size_t>(e));
  for (const missense_entry& m : sat.missense_list) {
    const ptrdiff_t i = m.pos - s;
    if (i >= lo && i < hi)
      marks.free_at(static_cast<size_t>(i));
  }
}

// A worker's copy of the marks of residues [lo, hi).
struct MarksCopy {
  ptrdiff_t lo;
  std::vector<char> free;

  bool is_free(ptrdiff_t i) const { return free[static_cast<size_t>(i - lo)] != 0; }
  bool window_is_free(size_t b, size_t e) const { return SearchMarks::anchored(*this, b, e); }
  void cover(size_t b, size_t e) { std::fill_n(free.begin() + (static_cast<ptrdiff_t>(b) - lo), e - b, 0); }
  void free_at(size_t i) { free[static_cast<size_t>(static_cast<ptrdiff_t>(i) - lo)] = 1; }
};

enum : uint8_t { UNTRIED, FAILED, ACCEPTED };

// At most this many missense entries (16 bytes each) are held by the
// accepted records of one chunk walked ahead.
constexpr size_t MAX_HELD_ENTRIES = 1 << 16;

// A stretch of seeds of one pass that a worker walks ahead of the ordered
// walk, with its own copy of the marks as they stood when it started: where
// its copy is right, the ordered walk finds each seed's outcome ready.
struct Chunk {
  size_t begin = 0, end = 0;
  std::vector<uint8_t> outcome;  // per seed
  std::vector<Repeat*> accepted;   // records of the accepted seeds, in seed order
  std::atomic<int> state{0};     // 0 free, 1 claimed, 2 outcomes ready
  uint64_t copied_after = 0;     // the number of changes to the marks its copy holds
  bool complete = false;         // every seed tried, every accepted record held
  bool copy_exact = false;       // its copy held no deferred marks
};

// One pass over the seeds of one unit length.
class Pass {
 public:
  Pass(RecordSearch& c, size_t u, SearchMarks& marks, std::list<Repeat*>& result)
      : c(c), u(u), marks(marks, c.search_id, c.seq.residues.data()), result(result), s(c.seq.residues.data()),
        n(c.seq.residues.size()),
        min_score(RecordSearch::minScores[u]), min_length(RecordSearch::minLengths[u]),
        filter(s, s + n, static_cast<uint32_t>(u), min_score)
  {
  }

  // Walks all seeds in order; with a pool, workers evaluate stretches of
  // seeds ahead of the walk.
  void run()
  {
    const size_t seeds = n - u; // the last residue never starts a seed
    const unsigned int threads = c.workers ? c.workers->size() : 1;
    const size_t size = std::clamp<size_t>(seeds / (8 * threads), 4096, 65536);
    next_N = first_N_from(s, n, 0);
    if (threads == 1 || seeds < 2 * size) {
      walk(0, seeds, nullptr);
    } else {
      run_in_parallel(seeds, size, threads);
    }
    if (spare)
      repeat_pool.push_back(spare);
    marks.settle_all();
  }

 private:
  void run_in_parallel(size_t seeds, size_t size, unsigned int threads)
  {
    // The walk first goes over the pass's first seeds alone: on a satellite
    // array a repeat over the whole array is found there, whose deferred
    // marks then keep the workers from walking ahead in vain.
    const size_t alone = std::min<size_t>(4096, size / 2);
    walk(0, alone, nullptr);
    std::vector<Chunk> chunks((seeds + size - 1) / size);
    for (size_t i = 0; i < chunks.size(); ++i) {
      chunks[i].begin = i == 0 ? alone : i * size;
      chunks[i].end = std::min(seeds, (i + 1) * size);
    }
    std::atomic<size_t> outstanding{0};
    size_t submitted = 0;
    const size_t ahead = 2 * threads;
    auto submit_up_to = [&](size_t limit) {
      for (; submitted < std::min(limit, chunks.size()); ++submitted) {
        // Where a long repeat covers the stretch, its marks are deferred and
        // a worker's copy would be stale: the walk is left to it.
        const Chunk& next = chunks[submitted];
        if (marks.deferred_within(static_cast<ptrdiff_t>(next.begin) - 1, static_cast<ptrdiff_t>(next.end + u) + 1))
          continue;
        ++outstanding;
        c.workers->submit([this, &chunk = chunks[submitted], &outstanding] {
          auto done = at_end([&] { --outstanding; });
          int free_state = 0;
          if (chunk.state.compare_exchange_strong(free_state, 1)) {
            // Outcomes left untried by an exception are computed in order.
            auto ready = at_end([&] { chunk.state = 2; });
            speculate(chunk);
          }
        });
      }
    };
    submit_up_to(ahead);
    for (size_t i = 0; i < chunks.size(); ++i) {
      Chunk& chunk = chunks[i];
      int free_state = 0;
      if (chunk.state.compare_exchange_strong(free_state, 1)) {
        walk(chunk.begin, chunk.end, nullptr); // its turn came before a worker's
      } else {
        c.workers->help_until([&] { return chunk.state == 2; });
        if (chunk.complete && chunk.copy_exact && copy_holds(chunk))
          take_all(chunk);
        else
          walk(chunk.begin, chunk.end, &chunk);
        for (Repeat* unused : chunk.accepted)
          if (unused)
            repeat_pool.push_back(unused);
        std::vector<uint8_t>().swap(chunk.outcome);
        std::vector<Repeat*>().swap(chunk.accepted);
      }
      submit_up_to(i + 1 + ahead);
    }
    c.workers->help_until([&] { return outstanding == 0; });
  }

  // The ordered walk over seeds [b0, b1) with the true marks. Outcomes that
  // a worker left in chunk are taken; seeds it did not try are extended here.
  void walk(size_t b0, size_t b1, Chunk* chunk)
  {
    size_t next_accepted = 0;
    for (size_t b = b0; b < b1; ++b) {
      c.progress(b, static_cast<unsigned int>(u));
      if (next_N < b)
        next_N = first_N_from(s, n, b);
      if (!seed_is_tried(s, b, u, next_N, marks))
        continue;
      const uint8_t outcome = chunk && b - b0 < chunk->outcome.size() ? chunk->outcome[b - b0] : uint8_t(UNTRIED);
      Repeat* sat;
      if (outcome == FAILED)
        continue;
      if (outcome == ACCEPTED) {
        while (chunk->accepted[next_accepted]->unit_begin != s + b) {
          repeat_pool.push_back(chunk->accepted[next_accepted]);
          chunk->accepted[next_accepted++] = nullptr;
        }
        sat = chunk->accepted[next_accepted];
        chunk->accepted[next_accepted++] = nullptr;
      } else {
        sat = spare ? spare : repeat_pool.get_new(s + b, s + b + u);
        sat->init(s + b, s + b + u);
        spare = sat;
        if (!extend(*sat, filter, by_reference))
          continue;
        spare = nullptr;
        commit(sat, b1, by_reference.followed);
        continue;
      }
      commit(sat, b1, {});
    }
  }

  // Covers an accepted repeat, found by the walk of seeds up to b1, in the
  // marks and adds it to the result. Changes that reach beyond b1 are noted
  // for the chunks there.
  void commit(Repeat* sat, size_t b1, const std::vector<FollowedEdits>& followed)
  {
    {
      std::lock_guard<std::mutex> hold(marks.guard);
      marks.cover(*sat, followed);
      ++changes;
    }
    const size_t last = static_cast<size_t>(sat->sat_end - s) - 1;
    if (last + 1 >= b1)
      reaching.push_back({changes, last});
    sat->drop_long_missense_list();
    result.push_back(sat);
  }

  // Whether the marks of a chunk's seeds are still those of its copy, with
  // its own repeats covered: no later change of the walk reached them.
  bool copy_holds(const Chunk& chunk)
  {
    reaching.erase(std::remove_if(reaching.begin(), reaching.end(),
                                  [&](const auto& change) { return change.second + 1 < chunk.begin; }),
                   reaching.end());
    return std::none_of(reaching.begin(), reaching.end(),
                        [&](const auto& change) { return change.first > chunk.copied_after; });
  }

  // The ordered walk over a chunk whose outcomes all hold: its repeats are
  // those the worker accepted.
  void take_all(Chunk& chunk)
  {
    for (Repeat*& sat : chunk.accepted) {
      commit(sat, chunk.end, {});
      sat = nullptr;
    }
    for (size_t b = (chunk.begin + 255) & ~size_t(255); b < chunk.end; b += 256)
      c.progress(b, static_cast<unsigned int>(u));
  }

  // A worker's walk over a chunk, ahead of the ordered walk: the same seed
  // tests on a copy of the marks from b - 1 to the chunk end + u, kept up to
  // date with the repeats this walk accepts.
  void speculate(Chunk& chunk)
  {
    const ptrdiff_t lo = static_cast<ptrdiff_t>(chunk.begin) - 1, hi = static_cast<ptrdiff_t>(chunk.end + u) + 1;
    Ahead ahead(MarksCopy{lo, std::vector<char>(static_cast<size_t>(hi - lo))},
                SeedFilter(s, s + n, static_cast<uint32_t>(u), min_score));
    MarksCopy& local = ahead.local;
    {
      std::lock_guard<std::mutex> hold(marks.guard);
      for (ptrdiff_t i = lo; i < hi; ++i)
        local.free[static_cast<size_t>(i - lo)] = marks.as_set(i);
      chunk.copied_after = changes;
      // Deferred marks are set by the walk's thread: the seeds this walk
      // tries may then differ, and the walk takes only its outcomes.
      chunk.copy_exact = !marks.deferred_within(lo, hi);
    }
    chunk.outcome.assign(chunk.end - chunk.begin, UNTRIED);
    ahead.spare = repeat_pool.get_new(s, s + u);
    size_t N_at = first_N_from(s, n, chunk.begin);
    for (size_t b = chunk.begin; b < chunk.end; ++b) {
      if (N_at < b)
        N_at = first_N_from(s, n, b);
      if (!seed_is_tried(s, b, u, N_at, local))
        continue;
      if (ahead.filter.falls_short(s + b))
        chunk.outcome[b - chunk.begin] = FAILED;
      else
        grow_ahead(chunk, b, ahead);
    }
    repeat_pool.push_back(ahead.spare);
    chunk.complete = ahead.all_held;
  }

  // What a worker's walk over a chunk keeps besides the outcomes.
  struct Ahead {
    Ahead(MarksCopy local, SeedFilter filter) : local(std::move(local)), filter(std::move(filter)) {}
    MarksCopy local;
    SeedFilter filter;
    Repeat* spare = nullptr;
    size_t held = 0;
    bool all_held = true;
    ByReference references;
  };

  // Extends a seed that the filter let pass on a worker's walk over a chunk
  // (out of its loop, which most seeds leave before).
  [[gnu::noinline]] void grow_ahead(Chunk& chunk, size_t b, Ahead& ahead)
  {
    Repeat* sat = ahead.spare;
    sat->init(s + b, s + b + u);
    if (!extend_seed(c, *sat, s, s + n, min_score, min_length, &ahead.references)) {
      chunk.outcome[b - chunk.begin] = FAILED;
      return;
    }
    const ptrdiff_t lo = ahead.local.lo, hi = lo + static_cast<ptrdiff_t>(ahead.local.free.size());
    cover_repeat(*sat, s, lo, hi, ahead.local);
    for (const FollowedEdits& f : ahead.references.followed)
      followed_edits(c.search_id, s, f, s + lo, s + hi, [&](const char* at, char) { ahead.local.free_at(at - s); });
    // The lists that a chunk holds for the ordered walk are bounded; a
    // repeat beyond that is left to the walk, which extends it again.
    if (ahead.held + sat->num_edits() > MAX_HELD_ENTRIES) {
      ahead.all_held = false;
      return;
    }
    // The paths referred to are this thread's: the list is made whole.
    if (!ahead.references.followed.empty())
      list_in_order(c, *sat, &ahead.references, ahead.references.forward_entries);
    sat->missense_list.shrink_to_fit();
    ahead.held += sat->missense_list.size();
    chunk.outcome[b - chunk.begin] = ACCEPTED;
    chunk.accepted.push_back(sat);
    ahead.spare = repeat_pool.get_new(s, s + u);
  }

  // Extends the seed that sat holds, unless it is sure to fall short.
  bool extend(Repeat& sat, SeedFilter& seeds, ByReference& references)
  {
    return !seeds.falls_short(sat.unit_begin) && extend_seed(c, sat, s, s + n, min_score, min_length, &references);
  }

  RecordSearch& c;
  const size_t u;
  DeferredMarks marks;
  uint64_t changes = 0; // made to the marks by the ordered walk
  std::vector<std::pair<uint64_t, size_t>> reaching; // (change, last residue) beyond the seeds walked
  std::list<Repeat*>& result;
  const char* s;
  const size_t n;
  const int32_t min_score, min_length;
  SeedFilter filter;        // for the ordered walk
  ByReference by_reference; // of the ordered walk's extensions
  Repeat* spare = nullptr;
  size_t next_N = 0;
};

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
  std::atomic<bool> done{false};
};

} // namespace

void RecordSearch::search_exact_and_extend_to_imperfect_repeats()
{
  if (console) {
    std::fputs("  Searching for exact repeats.\n", stderr);
    std::fflush(stderr);
  }
  const char* first = seq.residues.data();
  const char* last = first + seq.residues.size();
  const bool parallel = workers && workers->size() > 1;

  // Every seed is extended on its own, so the seeds are extended in batches
  // as the exact search finds them, on all threads; only the seeds that
  // become repeats are kept.
  std::vector<std::unique_ptr<SeedBatch>> batches;
  std::atomic<size_t> outstanding{0};
  auto extend_batch = [this, first, last](SeedBatch& batch) {
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
      if (!extend_seed(*this, *sat, first, last, minScores_user[k], minLengths_user[k]))
        continue;
      auto at = [first](const char* p) { return static_cast<uint32_t>(p - first); };
      batch.extended.push_back({at(sat->sat_begin), at(sat->sat_end), at(sat->unit_begin), k, sat->score,
                                at(seed.sat_begin), at(seed.sat_end), seed.order});
    }
    if (spare)
      repeat_pool.push_back(spare);
    std::vector<Seed>().swap(batch.seeds);
    batch.extended.shrink_to_fit();
  };
  auto dispatch = [&] {
    SeedBatch& batch = *batches.back();
    if (!parallel) {
      extend_batch(batch);
      return;
    }
    ++outstanding;
    workers->submit([&extend_batch, &batch, &outstanding] {
      auto done = at_end([&] {
        batch.done = true;
        --outstanding;
      });
      extend_batch(batch);
    });
    // A bounded number of batches waits for a thread.
    const size_t limit = 4 * workers->size();
    workers->help_until([&] { return outstanding <= limit; });
  };
  const size_t batch_size = 1024;
  size_t found = 0;

  minScores = minScores_intern;
  minLengths = minLengths_intern;
  find_exact_repeats([&](Repeat* sat) {
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
  minScores = minScores_user;
  minLengths = minLengths_user;
  if (!batches.empty())
    dispatch();
  if (parallel)
    workers->help_until([&] { return outstanding == 0; });
  if (console) {
    std::fputs("  Extend exact to imperfect repeats.\n", stderr);
    std::fflush(stderr);
  }

  std::vector<const Extended*> sorted;
  for (const auto& batch : batches)
    for (const Extended& e : batch->extended)
      sorted.push_back(&e);
  std::sort(sorted.begin(), sorted.end(), [](const Extended* a, const Extended* b) { return *a < *b; });
  std::vector<bool> hidden(sorted.size());
  if (global_remove_mostly_hidden)
    hidden = mostly_hidden(sorted.size(), [&sorted](size_t i) {
      const Extended& e = *sorted[i];
      return Span{e.begin, e.end, e.unit_length, e.score};
    });
  for (size_t i = 0; i < sorted.size(); ++i) {
    if (hidden[i])
      continue;
    const Extended& e = *sorted[i];
    Repeat* sat = repeat_pool.get_new(first + e.unit_begin, first + e.unit_begin + e.unit_length);
    extend_again(*this, *sat, first, last);
    imperfect_sats.sats.push_back(sat);
  }
}

void RecordSearch::restore_missense_lists(RepeatList& sats)
{
  const char* first = seq.residues.data();
  const char* last = first + seq.residues.size();
  Repeat again;
  for (Repeat* sat : sats.sats) {
    if (!sat->missense_dropped)
      continue;
    again.init(sat->unit_begin, sat->unit_end);
    extend_again(*this, again, first, last);
    sat->missense_list.swap(again.missense_list);
    sat->missense_dropped = false;
  }
}

void RecordSearch::complete_imperfect_search(FILE*)
{
  SearchMarks marks(seq);
  unsigned int u = global_min_unit_length;
  if (u <= 1) {
    unit_len_1_complete_imperfect_search(marks, imperfect_sats.sats);
    // Mononucleotide runs do not keep longer units from seeding inside them.
    marks.reset();
    u = 2;
  }
  // A unit must be shorter than the sequence for any seed to exist.
  for (; u <= global_max_unit_length && u < seq.residues.size(); ++u)
    one_unit_len_complete_imperfect_search(u, marks, imperfect_sats.sats);
  imperfect_sats.sats.sort(lessThan_sat);
}

void RecordSearch::unit_len_1_complete_imperfect_search(SearchMarks& marks, std::list<Repeat*>& result)
{
  // Every residue but the last and the N's seeds unless a repeat covers it.
  if (seq.residues.size() > 1)
    Pass(*this, 1, marks, result).run();
}

void RecordSearch::one_unit_len_complete_imperfect_search(unsigned int u, SearchMarks& marks,
                                                               std::list<Repeat*>& result)
{
  // Seeds [b, b + u) never include the last residue.
  if (u < seq.residues.size())
    Pass(*this, u, marks, result).run();
}
