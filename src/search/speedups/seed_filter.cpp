#include "search/speedups/seed_filter.h"

#include "search/unit_walk.h"

#include <algorithm>
#include <iterator>

// Why a seed may be turned away. From the seed the extension first reads
// the residues that repeat its unit exactly, each way; then, at the first
// differing residue m with the score S, it may pay for edits. Each edit
// costs at least c > 0 and needs a headroom h = S - floor above c. Between
// edits the path reads runs of residues in phase with the unit: a run
// shorter than c loses at least 1 with its edit and spans at most c
// residues with it; a longer run gains at most its words of k <= c residues
// less one, and all of them are cyclic words of the unit. So a path that
// has met H such words has made at most h - c + H edits, its next run starts
// within reach(h, H) = c * (h - c + H - 1) + 1 + k * H residues from m, and
// it can gain at most H - 1 over S, or nothing without a word. The
// backward extension starts from the best score of the forward one.

namespace {

// 0 to 3 for A, C, G, T; 4 for anything else.
struct Bases {
  uint8_t of[256];
  Bases()
  {
    std::fill(std::begin(of), std::end(of), 4);
    of[uint8_t('A')] = 0;
    of[uint8_t('C')] = 1;
    of[uint8_t('G')] = 2;
    of[uint8_t('T')] = 3;
  }
};
const Bases bases;

inline uint32_t base(char c) { return bases.of[static_cast<unsigned char>(c)]; }

// Calls f with each cyclic word of the unit [ub, ub + u), one per phase:
// the words of its endless repetition.
template <typename F>
void for_each_cyclic_word(const char* ub, uint32_t u, unsigned k, F f)
{
  const uint32_t mask = (1u << (2 * k)) - 1;
  uint32_t code = 0;
  for (uint32_t r = 0, j = 0; r < u + k - 1; ++r, j = j + 1 == u ? 0 : j + 1) {
    code = (code << 2 | base(ub[j])) & mask;
    if (r + 1 >= k)
      f(code);
  }
}

int64_t reach(int32_t c, unsigned k, int64_t h, int64_t H)
{
  return c * (h - c + H - 1) + 1 + static_cast<int64_t>(k) * H;
}

} // namespace

SeedFilter::SeedFilter(const char* first, const char* last, uint32_t u, int32_t min_score, const Scoring& g,
                       const SelfAlignmentBound* copies)
    : first(first), last(last), u(u), min_score(min_score), c(std::min(-g.mismatch, -g.indel)),
      k(static_cast<unsigned>(std::clamp<int32_t>(c, 1, K_MAX))), floor(g.floor(u)), allowed_Ns(g.allowed_Ns),
      pass_Ns(g.pass_Ns),
      // Long enough to hold the whole reach for the seeds that read up to
      // four residues exactly and meet up to two words.
      length(static_cast<ptrdiff_t>(reach(c, k, u + g.prefer_longer + 4, 2) + 2)), after(WILD + 1),
      before(WILD + 1), alignments(first, last, g), copies(copies),
      self_alignment(copies ? &copies->may_reach(u) : nullptr),
      next_of_self_alignment(copies ? &copies->may_reach(u) : nullptr),
      // A quarter of a unit: the alignments of a seed in random sequence die
      // within a third of a unit or so; runs of half or all of a unit let
      // more seeds through one by one and are slower.
      run(u >= 16 ? u / 4 : 0)
{
  for (uint32_t size = run; size > 0; size = size >= 2 * MIN_RUN ? (size + 1) / 2 : 0)
    verdicts.emplace_back();
  next_runs.resize(verdicts.size());
  unit_set[WILD >> 6] = uint64_t(1) << (WILD & 63);
}

void SeedFilter::make_codes(ptrdiff_t from, ptrdiff_t to)
{
  lo = from - 256;
  hi = to + 4096;
  stretch.resize(static_cast<size_t>(hi - lo));
  // Rolling over the residues: the word starting at w is complete once
  // w + k - 1 is read, and WILD when an N came within its k residues.
  const ptrdiff_t n = last - first;
  const uint32_t mask = (1u << (2 * k)) - 1;
  uint32_t code = 0;
  unsigned since_N = 0;
  for (ptrdiff_t r = lo; r < hi + static_cast<ptrdiff_t>(k) - 1; ++r) {
    const uint32_t b = r >= 0 && r < n ? base(first[r]) : 4;
    code = (code << 2 | b) & mask;
    since_N = b > 3 ? 0 : since_N + 1;
    if (r >= lo + static_cast<ptrdiff_t>(k) - 1)
      stretch[static_cast<size_t>(r - (k - 1) - lo)] = static_cast<uint16_t>(since_N < k ? WILD : code);
  }
}

// Brings the counts to the seed at b: slides them from the last seed, or
// counts afresh after a step back or a long jump.
void SeedFilter::move_to(ptrdiff_t b)
{
  if (at < 0 || b < at || b - at > 4 * length) {
    std::fill(after.begin(), after.end(), 0);
    std::fill(before.begin(), before.end(), 0);
    at = b;
    const uint16_t* w = codes(b - length - k, b + u + length);
    for (ptrdiff_t i = 0; i <= length; ++i) {
      ++before[w[i]];
      ++after[w[i + length + k + u]];
    }
    return;
  }
  // Word starts relative to w: before, [at - length - k, at - k] leaves at
  // i and enters at i + length + 1; after, [at + u, at + u + length] leaves
  // at i + length + k + u and enters at i + 2 * length + k + u + 1.
  const uint16_t* w = codes(at - length - k, b + u + length);
  for (ptrdiff_t i = 0; at < b; ++at, ++i) {
    --before[w[i]];
    ++before[w[i + length + 1]];
    --after[w[i + length + k + u]];
    ++after[w[i + 2 * length + k + u + 1]];
  }
}

// Makes the set of the words of the unit [ub, ub + u), clearing only what
// the last one set.
void SeedFilter::make_unit_set(const char* ub)
{
  for (; touched; touched &= touched - 1)
    unit_set[__builtin_ctz(touched)] = 0;
  unit_set[WILD >> 6] = uint64_t(1) << (WILD & 63);
  for_each_cyclic_word(ub, u, k, [this](uint32_t w) {
    unit_set[w >> 6] |= uint64_t(1) << (w & 63);
    touched |= 1u << (w >> 6);
  });
}

// The bound on what the extension can gain beyond the differing residue m
// with headroom h, in the direction Dir; counting stops once it exceeds
// enough. Backward, a run that starts at x reads the word that ends at x.
template <int Dir>
int64_t SeedFilter::gain_bound(const char* m, int64_t h, int64_t enough)
{
  if (h <= c || enough <= 0)
    return 0;
  const ptrdiff_t from_m = m - first;
  int64_t H = 0;
  for (ptrdiff_t y = 0, end = static_cast<ptrdiff_t>(reach(c, k, h, 0)); y <= end;
       end = static_cast<ptrdiff_t>(reach(c, k, h, H))) {
    // The codes of offsets [y, end]; backward in the reverse order.
    const ptrdiff_t y0 = y;
    const ptrdiff_t from = Dir > 0 ? from_m + y0 : from_m - end - (k - 1);
    const uint16_t* w = codes(from, from + (end - y0));
    for (; y <= end; ++y)
      if (in_unit(w[Dir > 0 ? y - y0 : end - y]) && ++H > enough)
        return H - 1;
  }
  return H > 0 ? H - 1 : 0;
}

bool SeedFilter::words_fall_short(const char* b)
{
  if (c < 1)
    return false;
  const char* ub = b;
  const char* ue = b + u;
  // The first exact phase each way: the score if no edit ever pays off.
  int32_t score = 0;
  uint32_t Ns = 0;
  const char* forward = ue;
  const char* phase = ub;
  const bool forward_stopped = exact_phase<1>(forward, phase, ub, ue, last, score, Ns, allowed_Ns, pass_Ns);
  const int32_t forward_score = score;
  const char* backward = b - 1;
  phase = ue - 1;
  const bool backward_stopped = exact_phase<-1>(backward, phase, ub, ue, first - 1, score, Ns, allowed_Ns, pass_Ns);
  if (score >= min_score)
    return false;
  // Where the headroom allows no edit, the extension ends at the deviation.
  const int64_t forward_room = forward_stopped ? forward_score - floor : 0;
  const int64_t backward_room = backward_stopped ? score - floor : 0;
  if (forward_room <= c && backward_room <= c)
    return true;
  const int64_t needed = static_cast<int64_t>(min_score) - score;

  // The cyclic words of the unit, one per phase. Those that fit in the unit
  // are the record's; one that wraps around joins the head of the record's
  // word at its start to the head of the unit's first word, unless an N
  // follows the unit: then the words are made residue by residue.
  move_to(b - first);
  const uint16_t* seed_words = codes(b - first, b - first + u - 1);
  uint32_t words_after = after[WILD], words_before = before[WILD];
  auto count = [&](uint32_t w) {
    words_after += after[w];
    words_before += before[w];
  };
  uint32_t i = 0;
  for (; i + k <= u; ++i)
    count(seed_words[i]);
  bool joined = i > 0;
  for (uint32_t j = i; joined && j < u; ++j)
    joined = seed_words[j] != WILD;
  if (joined) {
    for (; i < u; ++i) {
      const unsigned tail = 2 * (u - i), head = 2 * k - tail;
      count((seed_words[i] >> head) << head | seed_words[0] >> tail);
    }
  } else {
    for_each_cyclic_word(ub, u, k, count);
  }

  // First the bound from the words counted around the seed, which hold the
  // whole reach of each way for most seeds.
  {
    const int64_t forward_gain = forward_room > c ? std::max<int64_t>(words_after, 1) - 1 : 0;
    const int64_t backward_top = backward_stopped ? backward_room + forward_gain : 0;
    const int64_t backward_gain = backward_top > c ? std::max<int64_t>(words_before, 1) - 1 : 0;
    const bool held = (forward_room <= c || (forward - ue) + reach(c, k, forward_room, words_after) <= length) &&
                      (backward_top <= c || (b - 1 - backward) + reach(c, k, backward_top, words_before) <= length);
    if (held)
      return forward_gain + backward_gain < needed;
  }
  // Otherwise the words met along each way's reach, as it widens.
  make_unit_set(ub);
  const int64_t forward_gain = gain_bound<1>(forward, forward_room, needed);
  if (forward_gain >= needed)
    return false;
  const int64_t backward_gain =
      gain_bound<-1>(backward, backward_room + (backward_stopped ? forward_gain : 0), needed - forward_gain);
  return forward_gain + backward_gain < needed;
}

bool SeedFilter::falls_short(const char* b)
{
  if (self_alignment.falls_short(static_cast<size_t>(b - first)))
    return true;
  if (run > 0) {
    // The seeds of long units are tried by runs of consecutive seeds first,
    // and where a run may reach the threshold, by its halves, and so on; the
    // last run of the record ends at its last seed.
    const ptrdiff_t offset = b - first, seeds = (last - first) - u;
    const ptrdiff_t at0 = offset / run * run, end0 = std::min<ptrdiff_t>(at0 + run, seeds);
    // A run is tried with the next one of its size where the walk comes
    // to that next: the next whole run anywhere in the record, the next
    // half within the same run, and so on.
    ptrdiff_t size = run, next_within = seeds;
    for (size_t level = 0; level < verdicts.size(); ++level) {
      const ptrdiff_t at = at0 + (offset - at0) / size * size;
      if (at != verdicts[level].at)
        try_runs(level, at, size, end0, next_within);
      if (verdicts[level].falls_short)
        return true;
      next_within = std::min(at + size, end0);
      size = (size + 1) / 2;
    }
  }
  return words_fall_short(b) ||
         alignments.falls_short(b, u, min_score, most_gained(static_cast<size_t>(b - first), 1));
}

void SeedFilter::try_runs(size_t level, ptrdiff_t at, ptrdiff_t size, ptrdiff_t end0, ptrdiff_t next_within)
{
  RunVerdict& verdict = verdicts[level];
  RunVerdict& next = next_runs[level];
  if (next.at == at) {
    verdict = next;
    return;
  }
  verdict.at = at;
  const ptrdiff_t k = std::min(at + size, end0) - at;
  // The next run goes with it where the record's alignment with itself
  // lets a seed of it through; a whole run may lie anywhere in the
  // record, a shorter one within the same whole run.
  const ptrdiff_t next_at = at + size;
  const ptrdiff_t next_k = std::min(next_at + size, level == 0 ? (last - first) - u : end0) - next_at;
  if (next_at >= next_within || next_k <= 0 ||
      next_of_self_alignment.let_through_from(static_cast<size_t>(next_at)) >=
          static_cast<size_t>(next_at + next_k)) {
    verdict.falls_short =
        alignments.stretch_falls_short(first + at, static_cast<uint32_t>(k), u, min_score,
                                       most_gained(static_cast<size_t>(at), static_cast<size_t>(k)));
    return;
  }
  const char* const b0[2] = {first + at, first + next_at};
  const uint32_t ks[2] = {static_cast<uint32_t>(k), static_cast<uint32_t>(next_k)};
  const GainBounds most[2] = {most_gained(static_cast<size_t>(at), ks[0]),
                              most_gained(static_cast<size_t>(next_at), ks[1])};
  bool falls_short[2];
  alignments.stretches_fall_short(b0, ks, u, min_score, most, falls_short);
  verdict.falls_short = falls_short[0];
  next.at = next_at;
  next.falls_short = falls_short[1];
}
