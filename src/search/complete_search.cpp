#include "search/complete_search.h"

#include "search/unit_walk.h"
#include "search/work_counts.h"

#include <algorithm>
#include <memory>

void list_in_order(const RecordSearch& search, SearchScratch& scratch, Repeat& sat, ByReference* by_reference,
                   uint32_t forward)
{
  if (by_reference && !by_reference->followed.edits.empty()) {
    const char* s = search.seq.residues.data();
    fastvector<missense_entry> all;
    uint32_t e = 0;
    for (const FollowedEdits& f : by_reference->followed.edits) {
      for (; e < f.at_entry; ++e)
        all.push_back(sat.missense_list[e]);
      if (f.dir > 0)
        forward += f.to - f.from;
      scratch.followed_edits(walks_of_pass(search.search_id, sat.unit_length()), s, f, s, s + search.seq.residues.size() + 1,
                             [&all](const char* at, char kind) { all.push_back({at, kind}); });
    }
    for (; e < sat.missense_list.size(); ++e)
      all.push_back(sat.missense_list[e]);
    sat.missense_list.swap(all);
    by_reference->followed.edits.clear();
  }
  // The forward edits come in increasing order of position, the backward
  // ones in decreasing order, all before the seed; at one position the
  // deletions come first going forward and last going backward. So the
  // sorted list is the backward part reversed, then the forward part.
  missense_entry* list = sat.missense_list.begin();
  std::reverse(list, sat.missense_list.end());
  std::reverse(list + (sat.missense_list.size() - forward), sat.missense_list.end());
}

bool extend_seed(const RecordSearch& search, SearchScratch& scratch, Repeat& sat, int32_t min_score,
                 int32_t min_length, ByReference* by_reference, int64_t most_backward)
{
  const char* first = search.seq.residues.data();
  const char* last = first + search.seq.residues.size();
  // Seeds come without a list.
  EditsByReference* followed = by_reference ? &by_reference->followed : nullptr;
  if (followed)
    followed->edits.clear();
  search.extend_imperfect_forward(sat, last, scratch, followed);
  // The record ends with a score that its backward extension reaches
  // (trimming leaves it as it is), which is sure to stay below the
  // threshold where the gain backward is bounded too low.
  if (sat.score < min_score && sat.score + most_backward < min_score)
    return false;
  const uint32_t forward = sat.missense_list.size();
  search.extend_imperfect_backward(sat, first - 1, scratch, followed);
  trim_Ns(sat);
  if (sat.score < min_score || static_cast<int32_t>(sat.normalized_length()) < min_length)
    return false;
  if (by_reference) {
    by_reference->forward_entries = forward;
    if (!by_reference->followed.edits.empty() && sat.num_edits() > Repeat::SHORT_LIST)
      return true;
  }
  list_in_order(search, scratch, sat, by_reference, forward);
  return true;
}

SeedPass::SeedPass(RecordSearch& search, size_t u, SearchMarks& marks, std::list<Repeat*>& result,
                   const SelfAlignmentBound* copies)
    : search(search), scratch(search.scratch[0]), u(u),
      marks(marks, search.scratch[0], walks_of_pass(search.search_id, static_cast<uint32_t>(u)), search.seq.residues.data()), result(result),
      s(search.seq.residues.data()), n(search.seq.residues.size()),
      min_score(search.thresholds.user().score[u]), min_length(search.thresholds.user().length[u]),
      copies(copies), may_reach(copies ? &copies->may_reach(static_cast<uint32_t>(u)) : nullptr),
      filter(s, s + n, static_cast<uint32_t>(u), min_score, search.scoring, copies)
{
}

void SeedPass::run()
{
  const size_t seeds = n - u; // the last residue never starts a seed
  // The record is looked through for its first N once, for all passes.
  if (search.first_N == SIZE_MAX)
    search.first_N = first_N_from(s, n, 0);
  next_N = search.first_N;
  if (!search.workers || !search.walk_with_workers || !search.walk_with_workers(*this, *search.workers, seeds))
    walk(0, seeds, nullptr);
  if (spare)
    repeat_pool.push_back(spare);
  marks.settle_all();
}

void SeedPass::walk(size_t b0, size_t b1, SeedsAhead* ahead)
{
  size_t next_accepted = 0;
  COUNT_WORK(SEEDS, u, b1 - b0);
  for (size_t b = b0; b < b1; ++b) {
    search.progress_at(b, static_cast<unsigned int>(u));
    // Seeds that the record's alignment with itself turns away are passed
    // over at once.
    const size_t through = filter.let_through_from(b);
    if (through > b) {
      search.progress_in(static_cast<unsigned int>(u));
      b = std::min(through, b1) - 1;
      continue;
    }
    COUNT_WORK(PAST_COPIES, u, 1);
    if (next_N < b)
      next_N = first_N_from(s, n, b);
    if (!seed_is_tried(s, b, u, next_N, marks))
      continue;
    COUNT_WORK(TRIED, u, 1);
    const uint8_t outcome =
        ahead && b - b0 < ahead->outcome.size() ? ahead->outcome[b - b0] : uint8_t(SeedsAhead::UNTRIED);
    if (outcome == SeedsAhead::FAILED)
      continue;
    if (outcome == SeedsAhead::ACCEPTED) {
      // Records accepted ahead on marks that turned out otherwise go back.
      while (ahead->accepted[next_accepted]->unit_begin != s + b) {
        repeat_pool.push_back(ahead->accepted[next_accepted]);
        ahead->accepted[next_accepted++] = nullptr;
      }
      Repeat* sat = ahead->accepted[next_accepted];
      ahead->accepted[next_accepted++] = nullptr;
      commit(sat, b1, {});
      continue;
    }
    // Most seeds are sure to fall short and turned away unextended.
    if (filter.falls_short(s + b))
      continue;
    COUNT_WORK(EXTENDED, u, 1);
    START_SEED();
    Repeat* sat = spare ? spare : repeat_pool.get_new(s + b, s + b + u);
    sat->init(s + b, s + b + u);
    spare = sat;
    const bool accepted =
        extend_seed(search, scratch, *sat, min_score, min_length, &by_reference, filter.most_gained_backward(s + b));
    SETTLE_SEED(u, accepted);
    if (!accepted)
      continue;
    COUNT_WORK(ACCEPTED, u, 1);
    spare = nullptr;
    commit(sat, b1, by_reference.followed.edits);
  }
}

void SeedPass::commit(Repeat* sat, size_t b1, const std::vector<FollowedEdits>& followed)
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

namespace {

// The unit length from which the seeds are first bounded by the record's
// alignment with itself (measured with its antidiagonals in lanes: from 3
// the default search is a fifth faster than from 6, 5 or 4, and slower from
// 2).
constexpr unsigned SELF_ALIGNMENT_FROM = 3;

} // namespace

void RecordSearch::complete_imperfect_search()
{
  SearchMarks marks(seq);
  unsigned int u = settings.min_unit_length;
  // Every residue but the last and the N's seeds unless a repeat covers it.
  if (u <= 1) {
    if (seq.residues.size() > 1)
      SeedPass(*this, 1, marks, imperfect_sats.sats).run();
    // Mononucleotide runs do not keep longer units from seeding inside them.
    marks.reset();
    u = 2;
  }
  // A unit must be shorter than the sequence for any seed to exist: seeds
  // [b, b + u) never include the last residue.
  // Long units are first bounded for a whole record at once, by ranges of
  // unit lengths that grow by 5/2: a table costs by its width of lags, and
  // the lags of neighbouring ranges overlap, while a wide range bounds its
  // shorter units less tightly. (Measured with tables in 512-bit vectors,
  // against ranges that double, with a last range of at least half of u:
  // on E. coli a fifth quicker with units up to 20 or 30, a tenth up to 50
  // or 500, 3-5% up to 100 or 200, the same up to 10; a tenth and 5% on
  // U. maydis up to 500 and 100.) Where the tables run in narrower vectors,
  // or cell by cell, their lags cost more against the seeds they let
  // through, and ranges grow by 4. (Measured with 256-bit vectors, against
  // 5/2, on E. coli, one thread: 0.76x with units up to 10, 0.80x up to 50,
  // 0.87x up to 100, 0.99x up to 200, 0.94x up to 500.)
  const size_t growth_in_halves = SelfAlignmentBound::in_512_bit_lanes() ? 5 : 8;
  std::unique_ptr<SelfAlignmentBound> copies;
  const char* first = seq.residues.data();
  for (; u <= settings.max_unit_length && u < seq.residues.size(); ++u) {
    if (u >= SELF_ALIGNMENT_FROM && (!copies || !copies->covers(u))) {
      // A range that would leave fewer than u unit lengths to the next takes
      // them: a narrow last table costs nearly as much as a wide one.
      uint32_t last_u =
          static_cast<uint32_t>(std::min<size_t>(settings.max_unit_length, growth_in_halves * u / 2 - 1));
      if (settings.max_unit_length - last_u < u)
        last_u = settings.max_unit_length;
      copies.reset();
      copies = std::make_unique<SelfAlignmentBound>(first, first + seq.residues.size(), scoring,
                                                    thresholds.user().score, u, last_u, workers);
    }
    const bool bounded = copies && copies->bounds(u);
    SeedPass(*this, u, marks, imperfect_sats.sats, bounded ? copies.get() : nullptr).run();
  }
  imperfect_sats.sats.sort(lessThan_sat);
}

namespace {

// A record's extension depends on its seed alone, so a record comes back
// the same, now with its list, when its seed is extended again: the seed
// unit (sat as init leaves it), its exact extension in the exact-then-extend
// mode, then the imperfect extension.
void extend_again(RecordSearch& search, Repeat& sat)
{
  const char* first = search.seq.residues.data();
  if (search.settings.search_mode == 1)
    extend_exact(sat, first, first + search.seq.residues.size(), search.scoring);
  extend_seed(search, search.scratch[0], sat, INT32_MIN, INT32_MIN);
}

} // namespace

void RecordSearch::restore_missense_lists(RepeatList& sats)
{
  Repeat again;
  for (Repeat* sat : sats.sats) {
    if (!sat->missense_dropped)
      continue;
    again.init(sat->unit_begin, sat->unit_end);
    extend_again(*this, again);
    sat->missense_list.swap(again.missense_list);
    sat->missense_dropped = false;
  }
}

Repeat* RecordSearch::make_again(const char* unit_begin, const char* unit_end)
{
  Repeat* sat = repeat_pool.get_new(unit_begin, unit_end);
  extend_again(*this, *sat);
  return sat;
}
