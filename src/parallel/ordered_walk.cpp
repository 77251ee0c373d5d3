#include "parallel/ordered_walk.h"

#include "search/unit_walk.h"

#include <algorithm>
#include <atomic>
#include <utility>
#include <vector>

namespace {

// At most this many missense entries (16 bytes each) are held by the
// accepted records of one chunk walked ahead.
constexpr size_t MAX_HELD_ENTRIES = 1 << 16;

// A stretch of seeds that a worker walks ahead of the ordered walk, with
// its own copy of the marks as they stood when it started: where its copy
// is right, the ordered walk finds each seed's outcome ready.
struct Chunk : SeedsAhead {
  std::atomic<int> state{0}; // 0 free, 1 claimed, 2 outcomes ready
  uint64_t copied_after = 0; // the number of changes to the marks its copy holds
  bool complete = false;     // every seed tried, every accepted record held
  bool copy_exact = false;   // its copy held no deferred marks
};

// Covers the residues of an accepted repeat within [lo, hi), except where it
// deviates from its unit: deviation positions stay seed candidates.
void cover_repeat(const Repeat& sat, const char* s, ptrdiff_t lo, ptrdiff_t hi, SearchMarks& marks)
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

// The walk of one pass with workers ahead of it.
class OrderedWalk {
 public:
  OrderedWalk(SeedPass& pass, ThreadPool& pool) : pass(pass), pool(pool), s(pass.s), n(pass.n), u(pass.u) {}

  // ends: where the chunks after the first seeds end, in order.
  void run(size_t alone, const std::vector<size_t>& ends);

 private:
  // Whether the marks of a chunk's seeds are still those of its copy, with
  // its own repeats covered: no later change of the walk reached them.
  bool copy_holds(const Chunk& chunk)
  {
    auto& reaching = pass.reaching;
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
      pass.commit(sat, chunk.end, {});
      sat = nullptr;
    }
    for (size_t b = (chunk.begin + 255) & ~size_t(255); b < chunk.end; b += 256)
      pass.search.progress_at(b, static_cast<unsigned int>(u));
  }

  // What a worker's walk over a chunk keeps besides the outcomes.
  struct Ahead {
    Ahead(ptrdiff_t lo, ptrdiff_t hi, SearchMarks local, SeedFilter filter, SearchScratch& scratch)
        : lo(lo), hi(hi), local(std::move(local)), filter(std::move(filter)), scratch(scratch)
    {
    }
    // A copy of the marks of residues [lo, hi), as they stood when the walk
    // started.
    ptrdiff_t lo, hi;
    SearchMarks local;
    SeedFilter filter;
    SearchScratch& scratch; // of the worker's thread
    Repeat* spare = nullptr;
    size_t held = 0;
    bool all_held = true;
    ByReference references;
  };

  void speculate(Chunk& chunk, unsigned int thread);
  void grow_ahead(Chunk& chunk, size_t b, Ahead& ahead);

  SeedPass& pass;
  ThreadPool& pool;
  const char* const s;
  const size_t n, u;
};

void OrderedWalk::run(size_t alone, const std::vector<size_t>& ends)
{
  const unsigned int threads = pool.size();
  // The walk first goes over the pass's first seeds alone: on a satellite
  // array a repeat over the whole array is found there, whose deferred
  // marks then keep the workers from walking ahead in vain.
  pass.walk(0, alone, nullptr);
  std::vector<Chunk> chunks(ends.size());
  for (size_t i = 0; i < chunks.size(); ++i) {
    chunks[i].begin = i == 0 ? alone : ends[i - 1];
    chunks[i].end = ends[i];
  }
  TaskGroup tasks(pool);
  size_t submitted = 0;
  const size_t ahead = 2 * threads;
  auto submit_up_to = [&](size_t limit) {
    for (; submitted < std::min(limit, chunks.size()); ++submitted) {
      // Where a long repeat covers the stretch, its marks are deferred and
      // a worker's copy would be stale: the walk is left to it.
      const Chunk& next = chunks[submitted];
      if (pass.marks.deferred_within(static_cast<ptrdiff_t>(next.begin) - 1,
                                     static_cast<ptrdiff_t>(next.end + u) + 1))
        continue;
      tasks.submit([this, &chunk = chunks[submitted]](unsigned int thread) {
        int free_state = 0;
        if (chunk.state.compare_exchange_strong(free_state, 1)) {
          // Outcomes left untried by an exception are computed in order.
          auto ready = at_end([&] { chunk.state = 2; });
          speculate(chunk, thread);
        }
      });
    }
  };
  submit_up_to(ahead);
  for (size_t i = 0; i < chunks.size(); ++i) {
    Chunk& chunk = chunks[i];
    int free_state = 0;
    if (chunk.state.compare_exchange_strong(free_state, 1)) {
      pass.walk(chunk.begin, chunk.end, nullptr); // its turn came before a worker's
    } else {
      pool.help_until([&] { return chunk.state == 2; });
      if (chunk.complete && chunk.copy_exact && copy_holds(chunk))
        take_all(chunk);
      else
        pass.walk(chunk.begin, chunk.end, &chunk);
      for (Repeat* unused : chunk.accepted)
        if (unused)
          repeat_pool.push_back(unused);
      std::vector<uint8_t>().swap(chunk.outcome);
      std::vector<Repeat*>().swap(chunk.accepted);
    }
    submit_up_to(i + 1 + ahead);
  }
  tasks.wait();
}

// A worker's walk over a chunk, ahead of the ordered walk: the same seed
// tests on a copy of the marks from b - 1 to the chunk end + u, kept up to
// date with the repeats this walk accepts.
void OrderedWalk::speculate(Chunk& chunk, unsigned int thread)
{
  const ptrdiff_t lo = static_cast<ptrdiff_t>(chunk.begin) - 1, hi = static_cast<ptrdiff_t>(chunk.end + u) + 1;
  auto copy_marks = [&] {
    std::lock_guard<std::mutex> hold(pass.marks.guard);
    chunk.copied_after = pass.changes;
    // Deferred marks are set by the walk's thread: the seeds this walk
    // tries may then differ, and the walk takes only its outcomes.
    chunk.copy_exact = !pass.marks.deferred_within(lo, hi);
    return pass.marks.as_set(lo, hi);
  };
  Ahead ahead(lo, hi, copy_marks(),
              SeedFilter(s, s + n, static_cast<uint32_t>(u), pass.min_score, pass.search.scoring, pass.copies),
              pass.search.scratch[thread]);
  SearchMarks& local = ahead.local;
  chunk.outcome.assign(chunk.end - chunk.begin, SeedsAhead::UNTRIED);
  ahead.spare = repeat_pool.get_new(s, s + u);
  // The N's are looked for no further than the chunk's seeds read: a
  // record without them is not read to its end for each chunk.
  const size_t N_bound = std::min(n, chunk.end + u);
  size_t N_at = first_N_from(s, N_bound, chunk.begin);
  for (size_t b = chunk.begin; b < chunk.end; ++b) {
    const size_t through = ahead.filter.let_through_from(b);
    if (through > b) {
      b = std::min(through, chunk.end) - 1; // turned away: left untried
      continue;
    }
    if (N_at < b)
      N_at = first_N_from(s, N_bound, b);
    if (!seed_is_tried(s, b, u, N_at, local))
      continue;
    if (ahead.filter.falls_short(s + b))
      chunk.outcome[b - chunk.begin] = SeedsAhead::FAILED;
    else
      grow_ahead(chunk, b, ahead);
  }
  repeat_pool.push_back(ahead.spare);
  chunk.complete = ahead.all_held;
}

// Extends a seed that the filter let pass on a worker's walk over a chunk
// (out of its loop, which most seeds leave before).
[[gnu::noinline]] void OrderedWalk::grow_ahead(Chunk& chunk, size_t b, Ahead& ahead)
{
  Repeat* sat = ahead.spare;
  sat->init(s + b, s + b + u);
  if (!extend_seed(pass.search, ahead.scratch, *sat, pass.min_score, pass.min_length, &ahead.references,
                   ahead.filter.most_gained_backward(s + b))) {
    chunk.outcome[b - chunk.begin] = SeedsAhead::FAILED;
    return;
  }
  const ptrdiff_t lo = ahead.lo, hi = ahead.hi;
  cover_repeat(*sat, s, lo, hi, ahead.local);
  for (const FollowedEdits& f : ahead.references.followed.edits)
    ahead.scratch.followed_edits(walks_of_pass(pass.search.search_id, static_cast<uint32_t>(pass.u)), s, f, s + lo, s + hi,
                                 [&](const char* at, char) { ahead.local.free_at(at - s); });
  // The lists that a chunk holds for the ordered walk are bounded; a
  // repeat beyond that is left to the walk, which extends it again.
  if (ahead.held + sat->num_edits() > MAX_HELD_ENTRIES) {
    ahead.all_held = false;
    return;
  }
  // The paths referred to are this thread's: the list is made whole.
  if (!ahead.references.followed.edits.empty())
    list_in_order(pass.search, ahead.scratch, *sat, &ahead.references, ahead.references.forward_entries);
  sat->missense_list.shrink_to_fit();
  ahead.held += sat->missense_list.size();
  chunk.outcome[b - chunk.begin] = SeedsAhead::ACCEPTED;
  chunk.accepted.push_back(sat);
  ahead.spare = repeat_pool.get_new(s, s + u);
}

} // namespace

// With long units the seeds let through gather in a few windows of real
// duplications, whose work one chunk would otherwise hold.
std::vector<size_t> chunk_ends(size_t alone, size_t seeds, size_t size, unsigned int threads,
                               const std::vector<uint32_t>* may_reach)
{
  std::vector<size_t> ends;
  size_t share = SIZE_MAX;
  if (may_reach) {
    size_t through = 0;
    for (size_t k = 0; k < may_reach->size(); k += 2)
      through += std::min<size_t>((*may_reach)[k + 1], seeds) - std::min<size_t>((*may_reach)[k], seeds);
    share = std::max<size_t>(through / (8 * threads), 1);
  }
  size_t begin = alone, k = 0;
  while (begin < seeds) {
    size_t end = std::min(begin + size, seeds), held = 0;
    // The seeds let through from begin on, up to the chunk's share.
    for (; may_reach && k < may_reach->size(); k += 2) {
      const size_t b = std::max<size_t>((*may_reach)[k], begin), e = (*may_reach)[k + 1];
      if (b >= end)
        break;
      if (e <= b)
        continue;
      if (held + (std::min(e, end) - b) >= share) {
        end = b + (share - held);
        break;
      }
      held += std::min(e, end) - b;
      if (e > end)
        break;
    }
    ends.push_back(end);
    begin = end;
  }
  return ends;
}

bool walk_with_workers(SeedPass& pass, ThreadPool& pool, size_t seeds)
{
  const unsigned int threads = pool.size();
  const size_t size = std::clamp<size_t>(seeds / (8 * threads), 4096, 65536);
  if (threads == 1 || seeds < 2 * size)
    return false;
  const size_t alone = std::min<size_t>(4096, size / 2);
  OrderedWalk(pass, pool).run(alone, chunk_ends(alone, seeds, size, threads, pass.may_reach));
  return true;
}
