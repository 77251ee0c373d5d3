#include "search/CSearchController.h"

#include "search/CThreadPool.h"
#include "search/unit_walk.h"
#include "search/walked_paths.h"
#include "settings/global-types-and-parameters.h"

#include <algorithm>
#include <iterator>
#include <vector>

// The imperfect extension aligns the residues beyond one end of a repeat
// against the endless repetition of its unit: +1 per match, 0 per passed N,
// and a mismatch, insertion or deletion where a residue does not fit, if a
// bounded look-ahead shows that the alignment can recover. Both directions
// share one implementation: a cursor points at the next residue to examine
// (forward: sat_end; backward: sat_begin - 1) and moves by Dir.

namespace {

// The settings the extension reads, gathered once per extension.
struct Scoring {
  int32_t mismatch, indel, prefer_longer;
  bool reduction_limited;
  int64_t max_reduction;
  unsigned max_depth;
  uint32_t allowed_Ns;
  bool pass_Ns;

  Scoring()
      : mismatch(global_mismatch_score), indel(global_indel_score), prefer_longer(global_prefer_longer_repeat),
        reduction_limited(global_maximum_scorereduction != SCOREREDUCTION_UNLIMITED),
        max_reduction(global_maximum_scorereduction),
        // The depth is carried in 8 bits, so deeper settings are clamped.
        max_depth(static_cast<unsigned>(std::min(global_maximum_recursion_depth, 255))),
        allowed_Ns(static_cast<uint32_t>(global_Ns_allowed_in_a_row)),
        pass_Ns(global_Ns_allowed_in_a_row != 0 && !global_treat_Ns_as_missense)
  {
  }

  // Paths whose score falls to this bound or below are not explored:
  // max(best - R, -L) - P, where floor is -L - P. With the reduction
  // unlimited only the floor remains. 64 bits hold best - R for any R.
  int64_t prune_bound(int32_t best, int64_t floor) const
  {
    return reduction_limited ? std::max(static_cast<int64_t>(best) - max_reduction - prefer_longer, floor) : floor;
  }
};

// The look-ahead of one extension: what stays fixed while it recurses.
template <int Dir>
struct LookAhead {
  const Scoring& g;
  const char* ub; // the unit
  const char* ue;
  int64_t floor; // -L - P
  const char* bound;

  // The best score reachable from cursor c (unit character u aligned with
  // it) with at most max_depth - depth further edits. Inlined into its
  // callers, so that the many paths that end after their exact phase cost
  // no call; only paths that go on branch into options().
  __attribute__((always_inline)) int32_t run(const char* c, const char* u, int32_t sc, unsigned depth,
                                             int32_t best) const
  {
    // Exact phase: consumes matches and passable N runs; stops at a differing
    // residue, at the bound or at an N run that is too long.
    uint32_t Ns_passed = 0; // the look-ahead does not count them
    if (!exact_phase<Dir>(c, u, ub, ue, bound, sc, Ns_passed, g.allowed_Ns, g.pass_Ns))
      return sc;
    if (depth == g.max_depth)
      return sc;
    best = std::max(best, sc);
    const int64_t bound_score = g.prune_bound(best, floor);
    if (bound_score >= static_cast<int64_t>(sc) + std::max(g.mismatch, g.indel))
      return sc; // no option can stay above the bound
    return options(c, u, sc, depth, best, bound_score);
  }

  // At a differing residue: the best of stopping here and of each edit that
  // can stay above the prune bound, tried in the order M, I, D.
  __attribute__((noinline)) int32_t options(const char* c, const char* u, int32_t sc, unsigned depth,
                                            int32_t best, int64_t bound_score) const
  {
    int32_t result = sc;
    if (bound_score < static_cast<int64_t>(sc) + g.mismatch)
      result = std::max(result, run(c + Dir, step_unit<Dir>(u, ub, ue), sc + g.mismatch, depth + 1, best));
    if (bound_score < static_cast<int64_t>(sc) + g.indel) {
      result = std::max(result, run(c + Dir, u, sc + g.indel, depth + 1, best));
      result = std::max(result, run(c, step_unit<Dir>(u, ub, ue), sc + g.indel, depth + 1, best));
    }
    return result;
  }
};

// The record at its best score so far, to return to when the extension
// cannot do better. The extension only appends to the missense list, so the
// list at its best is the first entries of the list as it is: only their
// number is kept, and a long extension costs no copying.
class BestState {
 public:
  explicit BestState(const Csat& sat) { save(sat); }

  void save(const Csat& sat)
  {
    sat_begin = sat.sat_begin;
    sat_end = sat.sat_end;
    unit_phase_right = sat.unit_phase_right;
    unit_phase_left = sat.unit_phase_left;
    score = sat.score;
    num_mismatches = sat.num_mismatches;
    num_insertions = sat.num_insertions;
    num_deletions = sat.num_deletions;
    num_Ns = sat.num_Ns;
    entries = sat.missense_list.size();
  }

  void restore(Csat& sat) const
  {
    sat.sat_begin = sat_begin;
    sat.sat_end = sat_end;
    sat.unit_phase_right = unit_phase_right;
    sat.unit_phase_left = unit_phase_left;
    sat.score = score;
    sat.num_mismatches = num_mismatches;
    sat.num_insertions = num_insertions;
    sat.num_deletions = num_deletions;
    sat.num_Ns = num_Ns;
    sat.missense_list.resize_within_capacity(entries);
  }

  int32_t score;

 private:
  const char *sat_begin, *sat_end, *unit_phase_right, *unit_phase_left;
  uint32_t num_mismatches, num_insertions, num_deletions, num_Ns;
  uint32_t entries;
};

// The walked paths of this thread for one search and direction.
WalkedPaths& walked_paths(int dir, uint64_t search)
{
  static thread_local WalkedPaths paths[2];
  WalkedPaths& w = paths[dir > 0];
  w.reset_for(search);
  return w;
}

template <int Dir>
void extend(Csat& sat, const char* bound, uint64_t search)
{
  const Scoring g;
  const int32_t unit_length = static_cast<int32_t>(sat.unit_length());
  const uint32_t L = static_cast<uint32_t>(unit_length);
  const char* ub = sat.unit_begin;
  const char* ue = sat.unit_end;
  const char*& phase = Dir > 0 ? sat.unit_phase_right : sat.unit_phase_left;
  // The cursor: the next residue to examine; and the record's moving end for it.
  auto cursor = [&sat] { return Dir > 0 ? sat.sat_end : sat.sat_begin - 1; };
  auto move_end = [&sat](const char* c) {
    if (Dir > 0)
      sat.sat_end = c;
    else
      sat.sat_begin = c + 1;
  };

  const int64_t floor = -static_cast<int64_t>(unit_length) - g.prefer_longer;
  const LookAhead<Dir> look_ahead{g, ub, ue, floor, bound};
  BestState best(sat);
  bool best_is_current = true; // the record has not moved since the last save

  // Walked paths (see walked_paths.h) need the prune bound to be the fixed
  // floor, that is the score reduction unlimited. Above high_zone no option
  // of the extension or the look-ahead can reach the floor: a path of
  // max_depth edits loses at most max_depth times the dearest edit.
  WalkedPaths* walked = g.reduction_limited ? nullptr : &walked_paths(Dir, search);
  const int64_t high_zone = floor + static_cast<int64_t>(g.max_depth) * std::max(-g.mismatch, -g.indel);
  WalkedPaths::Family family{0, 0};
  int family_known = 0; // 0 not yet looked up, 1 known, -1 not worth it
  // The walk's own points in the high zone are kept when it finds a
  // recorded one, leaves the high zone or ends.
  auto settle = [&](uint32_t path, uint32_t index) {
    const WalkedPaths::Point walk{nullptr, 0, 0, sat.score, sat.num_mismatches, sat.num_insertions,
                                 sat.num_deletions, sat.num_Ns};
    walked->settle_fresh(family.id, path, index, walk);
  };
  auto settle_at_end = at_end([&] {
    if (walked && family_known == 1)
      settle(WalkedPaths::NONE, 0);
  });
  // Where the path just followed to its end went on, to be found without a look-up.
  std::pair<uint32_t, uint32_t> hint{WalkedPaths::NONE, 0};

  // A record whose list is dropped (made again from its seed when needed)
  // is extended without listing its edits: only the counts are kept.
  const bool listing = !sat.missense_dropped;
  // Commits an edit at the differing residue c.
  auto commit = [&](const char* c, char kind) {
    best_is_current = false;
    if (listing)
      sat.missense_list.push_back({kind == 'D' && Dir < 0 ? c + 1 : c, kind});
    switch (kind) {
    case 'M':
      sat.score += g.mismatch;
      ++sat.num_mismatches;
      move_end(c + Dir);
      phase = step_unit<Dir>(phase, ub, ue);
      break;
    case 'I':
      sat.score += g.indel;
      ++sat.num_insertions;
      move_end(c + Dir);
      break;
    default:
      // A deletion is recorded (above) at the residue that follows the
      // missing unit character in sequence order.
      sat.score += g.indel;
      ++sat.num_deletions;
      phase = step_unit<Dir>(phase, ub, ue);
      break;
    }
  };

  // Consumes matches and passable N runs, commits one edit at each differing
  // residue; stops at the bound, at an N run that is too long, or where no
  // edit can stay above the prune bound.
  for (;;) {
    const char* c = cursor();
    if (c == bound)
      break;
    if (*c == *phase) {
      ++sat.score;
      move_end(c + Dir);
      phase = step_unit<Dir>(phase, ub, ue);
      best_is_current = false;
      continue;
    }
    if (*c == 'N' && g.pass_Ns) {
      uint32_t run = N_run<Dir>(c, bound);
      if (run > g.allowed_Ns)
        break;
      for (uint32_t i = 0; i < run; ++i) {
        phase = step_unit<Dir>(phase, ub, ue);
        c += Dir;
        ++sat.num_Ns;
      }
      move_end(c);
      best_is_current = false;
      continue;
    }

    // A differing residue. With P = 1 an equal score also replaces the best
    // state, so that of two equally good alignments the longer one is kept.
    const int32_t sc = sat.score;
    if (sc > best.score - g.prefer_longer && !best_is_current) {
      best.save(sat);
      best_is_current = true;
    }

    uint32_t family_phase = 0;
    const bool in_high_zone = walked && sc > high_zone;
    if (in_high_zone && family_known == 0)
      family_known = walked->family_of(ub, L, family) ? 1 : -1;
    if (in_high_zone && family_known == 1) {
      family_phase = (static_cast<uint32_t>(phase - ub) + L - family.rotation) % L;
      uint32_t path = hint.first, index = hint.second;
      hint.first = WalkedPaths::NONE;
      const bool hinted = path != WalkedPaths::NONE && walked->at(path, index).at == c &&
                          walked->at(path, index).phase == family_phase;
      if (hinted || walked->find(family.id, c, family_phase, path, index)) {
        // Make the recorded walk's edits for as long as the score stays in
        // the high zone, then go on from where that leaves the record.
        settle(path, index);
        const WalkedPaths::Point base = walked->at(path, index);
        const uint32_t m0 = sat.num_mismatches, i0 = sat.num_insertions, d0 = sat.num_deletions, n0 = sat.num_Ns;
        // The record as it stands at point j of the path.
        auto stand_at = [&](size_t j) {
          const WalkedPaths::Point& p = walked->at(path, j);
          move_end(p.at);
          phase = ub + (p.phase + family.rotation) % L;
          sat.score = sc + (p.score - base.score);
          sat.num_mismatches = m0 + (p.mismatches - base.mismatches);
          sat.num_insertions = i0 + (p.insertions - base.insertions);
          sat.num_deletions = d0 + (p.deletions - base.deletions);
          sat.num_Ns = n0 + (p.Ns - base.Ns);
        };
        // The points after index whose score stays in the high zone.
        const int64_t offset = static_cast<int64_t>(sc) - base.score;
        const size_t out = walked->first_at_most(path, index + 1, high_zone - offset);
        if (listing) {
          // Point by point, listing the edits.
          for (size_t j = index; j < out; ++j) {
            if (j > index) {
              stand_at(j);
              if (sat.score > best.score - g.prefer_longer) {
                best.save(sat);
                best_is_current = true;
              }
            }
            commit(walked->at(path, j).at, walked->at(path, j).kind);
          }
        } else if (out > index + 1) {
          // Only the best point and the last one matter.
          const size_t top = walked->highest(path, index + 1, out, g.prefer_longer == 1);
          if (walked->at(path, top).score + offset > best.score - g.prefer_longer) {
            stand_at(top);
            best.save(sat);
          }
          stand_at(out - 1);
          commit(walked->at(path, out - 1).at, walked->at(path, out - 1).kind);
        } else {
          commit(base.at, base.kind);
        }
        if (out < walked->end_of(path))
          stand_at(out); // decided below, on the next turn of the loop
        else
          hint = walked->next_of(path); // where the recorded walk went on
        continue;
      }
    } else if (walked && family_known == 1) {
      settle(WalkedPaths::NONE, 0); // out of the high zone
    }

    const int64_t bound_score = g.prune_bound(best.score, floor);
    const char* next_u = step_unit<Dir>(phase, ub, ue);
    char choice = 0;
    int32_t chosen = 0;
    if (bound_score < static_cast<int64_t>(sc) + g.mismatch) {
      chosen = look_ahead.run(c + Dir, next_u, sc + g.mismatch, 1, best.score);
      choice = 'M';
    }
    if (bound_score < static_cast<int64_t>(sc) + g.indel) {
      int32_t r = look_ahead.run(c + Dir, phase, sc + g.indel, 1, best.score);
      if (!choice || r > chosen) {
        choice = 'I';
        chosen = r;
      }
      r = look_ahead.run(c, next_u, sc + g.indel, 1, best.score);
      if (r > chosen) {
        choice = 'D';
        chosen = r;
      }
    }
    if (!choice) {
      if (sc + g.prefer_longer < best.score)
        best.restore(sat);
      return;
    }
    if (in_high_zone && family_known == 1)
      walked->add_fresh({c, family_phase, choice, sc, sat.num_mismatches, sat.num_insertions, sat.num_deletions,
                         sat.num_Ns});
    // Commit the chosen edit whatever its look-ahead promised; the best state
    // is restored at the end if the path does not recover.
    commit(c, choice);
  }
  if (sat.score <= best.score - g.prefer_longer)
    best.restore(sat);
}

// Words of k residues (k <= 5) as codes of 2 bits per residue (A, C, G, T).
// WILD stands for a word with an N or one that runs off the sequence: such
// a word is taken as one that may be in phase with any unit.
namespace words {

constexpr unsigned K_MAX = 5;
constexpr uint32_t WILD = 1u << (2 * K_MAX);

// 0 to 3 for A, C, G, T; 4 for anything else.
struct Bases {
  uint8_t of[256];
  Bases()
  {
    std::fill(std::begin(of), std::end(of), 4);
    of['A'] = 0;
    of['C'] = 1;
    of['G'] = 2;
    of['T'] = 3;
  }
};
const Bases bases;

inline uint32_t base(char c) { return bases.of[static_cast<unsigned char>(c)]; }

// The codes of the words of a record that start in a stretch around the
// seeds being tested, made again when a test reaches beyond it. Each thread
// keeps its own, for one search at a time.
class Stretch {
 public:
  // The codes of the words starting at positions [from, to] of the record
  // [first, last) of search id; positions count from first.
  const uint16_t* cover(const char* first, const char* last, uint64_t id, unsigned k, ptrdiff_t from, ptrdiff_t to)
  {
    if (id != search || k != this->k || from < lo || to >= lo + static_cast<ptrdiff_t>(codes.size())) {
      search = id;
      this->k = k;
      lo = from - 256;
      codes.resize(static_cast<size_t>(to - lo) + 4096);
      // Rolling over the residues: the word starting at w is complete once
      // w + k - 1 is read, and WILD when an N came within its k residues.
      const ptrdiff_t n = last - first;
      const uint32_t mask = (1u << (2 * k)) - 1;
      uint32_t code = 0;
      unsigned since_N = 0;
      for (ptrdiff_t w = lo; w < lo + static_cast<ptrdiff_t>(codes.size()); ++w) {
        for (ptrdiff_t r = w == lo ? w : w + (k - 1); r < w + static_cast<ptrdiff_t>(k); ++r) {
          const uint32_t b = r >= 0 && r < n ? base(first[r]) : 4;
          code = (code << 2 | b) & mask;
          since_N = b > 3 ? 0 : since_N + 1;
        }
        codes[static_cast<size_t>(w - lo)] = static_cast<uint16_t>(since_N < k ? WILD : code);
      }
    }
    return codes.data() + (from - lo);
  }

 private:
  uint64_t search = 0;
  unsigned k = 0;
  ptrdiff_t lo = 0;
  std::vector<uint16_t> codes;
};

// The cyclic words of the unit [ub, ub + u), one per phase: the words that
// a run in phase with the unit reads. seed_words: the codes of the words
// of the sequence that start in the unit. Those that fit in the unit are
// its own; one that wraps around joins the head of the sequence's word to
// the head of the unit's first word, unless an N follows the unit: then the
// words are made residue by residue. Seeds hold no N.
inline void cyclic_words(const uint16_t* seed_words, const char* ub, uint32_t u, unsigned k, uint16_t* out)
{
  uint32_t i = 0;
  for (; i + k <= u; ++i)
    out[i] = seed_words[i];
  bool joined = i > 0;
  for (uint32_t j = i; joined && j < u; ++j)
    joined = seed_words[j] != WILD;
  if (joined) {
    for (; i < u; ++i) {
      const unsigned tail = 2 * (u - i), head = 2 * k - tail;
      out[i] = static_cast<uint16_t>((seed_words[i] >> head) << head | seed_words[0] >> tail);
    }
    return;
  }
  const uint32_t mask = (1u << (2 * k)) - 1;
  uint32_t code = 0;
  for (uint32_t r = 0, j = 0; r < u + k - 1; ++r, j = j + 1 == u ? 0 : j + 1) {
    code = (code << 2 | base(ub[j])) & mask;
    if (r + 1 >= k)
      out[r + 1 - k] = static_cast<uint16_t>(code);
  }
}

// A set of words that always holds WILD.
class Set {
 public:
  Set() { bits[WILD >> 6] = uint64_t(1) << (WILD & 63); }

  // Makes the set that of the u words.
  void make(const uint16_t* words, uint32_t u)
  {
    for (; touched; touched &= touched - 1)
      bits[__builtin_ctz(touched)] = 0;
    bits[WILD >> 6] = uint64_t(1) << (WILD & 63);
    for (uint32_t i = 0; i < u; ++i) {
      bits[words[i] >> 6] |= uint64_t(1) << (words[i] & 63);
      touched |= 1u << (words[i] >> 6);
    }
  }

  bool has(uint32_t code) const { return bits[code >> 6] >> (code & 63) & 1; }

  // Whether any of count codes is in the set; four at a time, as the
  // answer is mostly no.
  bool has_any(const uint16_t* codes, size_t count) const
  {
    auto bit = [this](uint32_t code) { return bits[code >> 6] >> (code & 63); };
    size_t i = 0;
    for (; i + 4 <= count; i += 4)
      if ((bit(codes[i]) | bit(codes[i + 1]) | bit(codes[i + 2]) | bit(codes[i + 3])) & 1)
        return true;
    for (; i < count; ++i)
      if (has(codes[i]))
        return true;
    return false;
  }

 private:
  uint64_t bits[(WILD >> 6) + 1] = {};
  uint32_t touched = 0; // the words of bits that hold a word other than WILD
};

// How often each word occurs around a seed [b, b + u): starting within
// [b + u, b + u + length] after it, and ending within [b - 1 - length, b - 1]
// before it. Kept up to date as the seeds of a pass advance.
class Around {
 public:
  void move_to(Stretch& stretch, const char* first, const char* last, uint64_t id, unsigned k, uint32_t u,
               ptrdiff_t length, ptrdiff_t b)
  {
    if (id != search || k != this->k || u != this->u || length != this->length || b < at || b - at > 4 * length) {
      std::fill(std::begin(after), std::end(after), 0);
      std::fill(std::begin(before), std::end(before), 0);
      search = id;
      this->k = k;
      this->u = u;
      this->length = length;
      at = b;
      const uint16_t* codes = stretch.cover(first, last, id, k, b - length - k, b + u + length);
      for (ptrdiff_t i = 0; i <= length; ++i) {
        ++before[codes[i]];
        ++after[codes[i + length + k + u]];
      }
      return;
    }
    // Word starts relative to the codes: before, [at - length - k, at - k]
    // leaves at 0 and enters at length + 1; after, [at + u, at + u + length]
    // leaves at length + k + u and enters at 2 * length + k + u + 1.
    const uint16_t* codes = stretch.cover(first, last, id, k, at - length - k, b + u + length);
    for (ptrdiff_t i = 0; at < b; ++at, ++i) {
      --before[codes[i]];
      ++before[codes[i + length + 1]];
      --after[codes[i + length + k + u]];
      ++after[codes[i + 2 * length + k + u + 1]];
    }
  }

  // The words of the unit, and WILD, counted after and before the seed.
  void count(const uint16_t* words, uint32_t n, uint32_t& in_after, uint32_t& in_before) const
  {
    in_after = after[WILD];
    in_before = before[WILD];
    for (uint32_t i = 0; i < n; ++i) {
      in_after += after[words[i]];
      in_before += before[words[i]];
    }
  }

 private:
  uint64_t search = 0;
  unsigned k = 0;
  uint32_t u = 0;
  ptrdiff_t length = 0, at = 0;
  uint32_t after[WILD + 1], before[WILD + 1];
};

} // namespace words

// An upper bound on what an extension that stopped at the differing residue
// m with headroom h (its score above the prune floor) can gain over its
// score there; counting stops once the bound reaches enough. Each edit costs
// at least c > 0 and needs a headroom above c. Between edits the path reads
// runs of residues in phase with the unit: a run shorter than c loses at
// least 1 with its edit and spans at most c residues with it; a longer run
// gains at most its words of k <= c residues less one, all of them words of
// the unit. So a path that has met H such words has made at most h - c + H
// edits, and its next run starts within c * (h - c + H - 1) + 1 + k * H
// residues from m, in the direction Dir. The words met up to there bound the
// gain: H - 1, and none without a word. Backward, a run that starts at x
// reads the word that ends at x.
template <int Dir>
int64_t gain_bound(const words::Set& unit, words::Stretch& stretch, const char* m, int64_t h, int32_t c,
                   unsigned k, const char* first, const char* last, uint64_t search, int64_t enough)
{
  if (h <= c || enough <= 0)
    return 0;
  auto reach = [&](int64_t H) { return c * (h - c + H - 1) + 1 + static_cast<int64_t>(k) * H; };
  // Most stretches hold no word of the unit at all.
  const ptrdiff_t at = m - first;
  auto codes_from = [&](ptrdiff_t y, ptrdiff_t count) {
    const ptrdiff_t from = Dir > 0 ? at + y : at - y - count - (k - 1);
    return stretch.cover(first, last, search, k, from, from + count);
  };
  const ptrdiff_t plain = static_cast<ptrdiff_t>(reach(0));
  if (!unit.has_any(codes_from(0, plain), static_cast<size_t>(plain) + 1))
    return 0;
  int64_t H = 0;
  for (ptrdiff_t y = 0, end = plain; y <= end; end = static_cast<ptrdiff_t>(reach(H))) {
    // Backward, the codes come in the reverse order of y.
    const ptrdiff_t y0 = y;
    const uint16_t* codes = codes_from(y0, end - y0);
    for (; y <= end; ++y)
      if (unit.has(codes[Dir > 0 ? y - y0 : end - y]) && ++H > enough)
        return H - 1;
  }
  return H > 0 ? H - 1 : 0;
}
} // namespace

bool CSearchController::seed_falls_short(const char* first, const char* last, const char* b, uint32_t u,
                                         int32_t min_score, uint64_t search)
{
  const Scoring g;
  const int32_t c = std::min(-g.mismatch, -g.indel);
  if (c < 1)
    return false;
  const int64_t floor = -static_cast<int64_t>(u) - g.prefer_longer;
  const char* ub = b;
  const char* ue = b + u;
  // The first exact phase each way: the score if no edit ever pays off.
  int32_t score = 0;
  uint32_t Ns = 0;
  const char* forward = ue;
  const char* phase = ub;
  const bool forward_stopped = exact_phase<1>(forward, phase, ub, ue, last, score, Ns, g.allowed_Ns, g.pass_Ns);
  const int32_t forward_score = score;
  const char* backward = b - 1;
  phase = ue - 1;
  const bool backward_stopped =
      exact_phase<-1>(backward, phase, ub, ue, first - 1, score, Ns, g.allowed_Ns, g.pass_Ns);
  if (score >= min_score)
    return false;
  // Backward, the extension starts from the forward score. Where the
  // headroom allows no edit, the extension ends at the first deviation.
  const int64_t forward_room = forward_stopped ? forward_score - floor : 0;
  const int64_t backward_room = backward_stopped ? score - floor : 0;
  if (forward_room <= c && backward_room <= c)
    return true;
  const unsigned k = static_cast<unsigned>(std::min<int32_t>(c, words::K_MAX));
  static thread_local words::Stretch stretch;
  // The backward extension starts from the forward one's best score.
  const int64_t needed = static_cast<int64_t>(min_score) - score;
  auto reach = [&](int64_t h, int64_t H) { return c * (h - c + H - 1) + 1 + static_cast<int64_t>(k) * H; };
  // First a bound from the words counted in fixed stretches around the
  // seed, which hold the whole reach of each way for most seeds.
  const ptrdiff_t length = static_cast<ptrdiff_t>(reach(u + g.prefer_longer + 4, 2) + 2);
  static thread_local words::Around around;
  around.move_to(stretch, first, last, search, k, u, length, b - first);
  static thread_local std::vector<uint16_t> unit_words;
  unit_words.resize(u);
  words::cyclic_words(stretch.cover(first, last, search, k, b - first, b - first + u - 1), ub, u, k, unit_words.data());
  {
    uint32_t after = 0, before = 0;
    around.count(unit_words.data(), u, after, before);
    const int64_t forward_gain = forward_room > c ? std::max<int64_t>(after, 1) - 1 : 0;
    const int64_t backward_top = backward_stopped ? backward_room + forward_gain : 0;
    const int64_t backward_gain = backward_top > c ? std::max<int64_t>(before, 1) - 1 : 0;
    const bool held = (forward_room <= c || (forward - ue) + reach(forward_room, after) <= length) &&
                      (backward_top <= c || (b - 1 - backward) + reach(backward_top, before) <= length);
    if (held)
      return forward_gain + backward_gain < needed;
  }
  static thread_local words::Set unit;
  unit.make(unit_words.data(), u);
  const int64_t forward_gain = gain_bound<1>(unit, stretch, forward, forward_room, c, k, first, last, search, needed);
  if (forward_gain >= needed)
    return false;
  const int64_t backward_gain =
      gain_bound<-1>(unit, stretch, backward, backward_room + (backward_stopped ? forward_gain : 0), c, k, first,
                     last, search, needed - forward_gain);
  return forward_gain + backward_gain < needed;
}

void CSearchController::extend_imperfect_forward(Csat& sat, const char* bound) { extend<1>(sat, bound, search_id); }

void CSearchController::extend_imperfect_backward(Csat& sat, const char* bound)
{
  extend<-1>(sat, bound, search_id);
}

int32_t CSearchController::extend_imperfect_forward_leap_ahead(const char* pos, const char* unit_pos,
                                                               const char* unit_begin, const char* unit_end,
                                                               int32_t score, int32_t unit_length, uint8_t depth,
                                                               const char* bound, int32_t best)
{
  const Scoring g;
  const int64_t floor = -static_cast<int64_t>(unit_length) - g.prefer_longer;
  return LookAhead<1>{g, unit_begin, unit_end, floor, bound}.run(pos, unit_pos, score, depth, best);
}

int32_t CSearchController::extend_imperfect_backward_leap_ahead(const char* pos, const char* unit_pos,
                                                                const char* unit_begin, const char* unit_end,
                                                                int32_t score, int32_t unit_length, uint8_t depth,
                                                                const char* bound, int32_t best)
{
  // The residue compared next is the one before pos.
  const Scoring g;
  const int64_t floor = -static_cast<int64_t>(unit_length) - g.prefer_longer;
  return LookAhead<-1>{g, unit_begin, unit_end, floor, bound}.run(pos - 1, unit_pos, score, depth, best);
}
