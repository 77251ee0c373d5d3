// The imperfect extension in both directions and the overlap filter: the two
// places where a wrong tie or bound changes results only in rare inputs.

#include "search/record_search.h"
#include "search/speedups/period_runs.h"
#include "search/unit_walk.h"
#include "settings/settings.h"
#include "test_random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

namespace {

using Edits = std::vector<std::pair<size_t, char>>; // residue offset, kind 'M', 'I' or 'D'

struct ExtensionCase {
  const char* label;
  const char* residues; // the seed is the first unit of three residues
  void (*settings)(Settings&);
  size_t end;
  int score;
  Edits edits;
  unsigned Ns;
};

const char* const ACG_T = "ACGACGACGACGTCGACGACGACGACG"; // ACG x 9, a T for the A at 12

const ExtensionCase cases[] = {
    {"mismatch", ACG_T, nullptr, 27, 18, {{12, 'M'}}, 0},
    {"insertion", "ACGACGACGACGAACGACGACGACGACG", nullptr, 28, 19, {{13, 'I'}}, 0}, // the first A matches
    {"deletion", "ACGACGACGACGCGACGACGACGACG", nullptr, 26, 18, {{12, 'D'}}, 0},     // A missing before the C
    // Score 9 both before the T at 12 and after it at 18.
    {"tie_prefers_longer", "ACGACGACGACGTCGACGTTTTT", nullptr, 18, 9, {{12, 'M'}}, 0},
    {"tie_prefers_shorter", "ACGACGACGACGTCGACGTTTTT", [](Settings& s) { s.prefer_longer_repeat = 0; }, 12, 9, {}, 0},
    // After the T the bound is reached at score 5, one below the best 6.
    {"restore_at_bound", "ACGACGACGTCGAC", nullptr, 9, 6, {}, 0},
    {"two_Ns_passed", "ACGACGACGNNGACGACG", nullptr, 18, 13, {}, 2}, // the N's stand for A and C
    {"three_Ns_stop", "ACGACGACGNNNACGACG", nullptr, 9, 6, {}, 0},
    {"N_as_missense", "ACGACGACGNCGACGACG", [](Settings& s) { s.treat_Ns_as_missense = true; }, 18, 9, {{9, 'M'}}, 0},
    // A mismatch costs 5: a reduction of 4 forbids it, 5 allows it.
    {"reduction_forbids_edit", ACG_T, [](Settings& s) { s.maximum_scorereduction = 4; }, 12, 9, {}, 0},
    {"reduction_allows_edit", ACG_T, [](Settings& s) { s.maximum_scorereduction = 5; }, 27, 18, {{12, 'M'}}, 0},
    {"deep_limit_is_bounded", ACG_T, [](Settings& s) { s.maximum_recursion_depth = 1000; }, 27, 18, {{12, 'M'}}, 0},
    // Looking one edit ahead, M, I and D at the T all promise 22: the tie
    // goes to M. The G after it is then a deletion (the unit's C missing).
    {"tie_goes_to_mismatch", "ACGACGACGACGACGACGACGACGACGACGTGACGACGACGACGACG",
     [](Settings& s) { s.maximum_recursion_depth = 1; }, 47, 33, {{30, 'M'}, {31, 'D'}}, 0},
};

// The extension to the right as documented, written plainly: every option
// looked ahead, nothing kept. The reference for the extension under a
// finite score reduction, where the prune bound follows the best score.
struct PlainExtension {
  const std::string& text;
  size_t L;
  const Settings& t;

  // The residue count of the N run from s, if the rules pass N's.
  size_t passable_Ns(size_t s) const
  {
    if (text[s] != 'N' || t.Ns_allowed_in_a_row == 0 || t.treat_Ns_as_missense)
      return 0;
    size_t r = 0;
    while (s + r < text.size() && text[s + r] == 'N')
      ++r;
    return r;
  }
  int64_t prune_bound(int64_t best) const
  {
    const int64_t reduced = t.maximum_scorereduction == SCOREREDUCTION_UNLIMITED ? INT64_MIN / 2
                                                                                 : best - t.maximum_scorereduction;
    return std::max(reduced, -static_cast<int64_t>(L)) - t.prefer_longer_repeat;
  }
  int look(size_t s, size_t u, const std::string& unit, int sc, int depth, int best) const
  {
    for (;;) {
      if (s == text.size())
        return sc;
      if (text[s] == unit[u]) {
        ++sc, ++s, u = (u + 1) % L;
        continue;
      }
      const size_t Ns = passable_Ns(s);
      if (Ns > static_cast<size_t>(t.Ns_allowed_in_a_row))
        return sc;
      if (Ns == 0)
        break;
      s += Ns, u = (u + Ns) % L;
    }
    if (depth == t.maximum_recursion_depth)
      return sc;
    best = std::max(best, sc);
    const int64_t T = prune_bound(best);
    int result = sc;
    if (T < sc + t.mismatch_score)
      result = std::max(result, look(s + 1, (u + 1) % L, unit, sc + t.mismatch_score, depth + 1, best));
    if (T < sc + t.indel_score) {
      result = std::max(result, look(s + 1, u, unit, sc + t.indel_score, depth + 1, best));
      result = std::max(result, look(s, (u + 1) % L, unit, sc + t.indel_score, depth + 1, best));
    }
    return result;
  }
  // The end, score and edits of the seed [b, b + L) extended to the right.
  std::string extend(size_t b) const
  {
    const std::string unit = text.substr(b, L);
    size_t end = b + L, u = 0;
    int score = 0;
    std::string edits;
    size_t best_end = end;
    int best = score;
    std::string best_edits;
    auto restore = [&] { end = best_end, score = best, edits = best_edits; };
    for (;;) {
      if (end == text.size()) {
        if (score <= best - t.prefer_longer_repeat)
          restore();
        break;
      }
      if (text[end] == unit[u]) {
        ++score, ++end, u = (u + 1) % L;
        continue;
      }
      const size_t Ns = passable_Ns(end);
      if (Ns > static_cast<size_t>(t.Ns_allowed_in_a_row)) {
        if (score <= best - t.prefer_longer_repeat)
          restore();
        break;
      }
      if (Ns > 0) {
        end += Ns, u = (u + Ns) % L;
        continue;
      }
      const int sc = score;
      if (sc > best - t.prefer_longer_repeat)
        best_end = end, best = sc, best_edits = edits;
      const int64_t T = prune_bound(best);
      char choice = 0;
      int chosen = 0;
      if (T < sc + t.mismatch_score) {
        chosen = look(end + 1, (u + 1) % L, unit, sc + t.mismatch_score, 1, best);
        choice = 'M';
      }
      if (T < sc + t.indel_score) {
        int r = look(end + 1, u, unit, sc + t.indel_score, 1, best);
        if (!choice || r > chosen)
          choice = 'I', chosen = r;
        r = look(end, (u + 1) % L, unit, sc + t.indel_score, 1, best);
        if (r > chosen)
          choice = 'D', chosen = r;
      }
      if (!choice) {
        if (sc + t.prefer_longer_repeat < best)
          restore();
        break;
      }
      edits += " " + std::to_string(end) + choice;
      score += choice == 'M' ? t.mismatch_score : t.indel_score;
      if (choice != 'D')
        ++end;
      if (choice != 'I')
        u = (u + 1) % L;
    }
    return std::to_string(end) + " score " + std::to_string(score) + ":" + edits;
  }
};

class ImperfectExtension : public ::testing::TestWithParam<ExtensionCase> {};

// Backward the same cases are read from right to left: the seed is the last
// unit of the reversed sequence and every position is mirrored. A deletion
// is recorded at the residue that follows the missing unit character, which
// after the mirror is the one on the other side of the gap.
TEST_P(ImperfectExtension, ForwardAndMirroredBackward)
{
  const ExtensionCase& c = GetParam();
  for (bool backward : {false, true}) {
    Settings settings;
    if (c.settings)
      c.settings(settings);
    const SearchSetup setup(settings);
    std::string text = c.residues;
    const size_t n = text.size();
    if (backward)
      text.assign(text.rbegin(), text.rend());
    FastaRecord seq;
    seq.residues.assign(text.data(), static_cast<uint32_t>(n));
    const char* s = seq.residues.data();
    RecordSearch ctl(setup, 1, seq);
    Repeat* sat = repeat_pool.get_new(s + (backward ? n - 3 : 0), s + (backward ? n : 3));
    Edits expected = c.edits;
    if (backward) {
      ctl.extend_imperfect_backward(*sat, s - 1, ctl.scratch[0]);
      for (auto& e : expected)
        e.first = e.second == 'D' ? n - e.first : n - 1 - e.first;
    } else {
      ctl.extend_imperfect_forward(*sat, s + n, ctl.scratch[0]);
    }
    Edits got;
    unsigned counts[3] = {sat->num_mismatches, sat->num_insertions, sat->num_deletions}, expected_counts[3] = {};
    for (const missense_entry& e : sat->missense_list)
      got.push_back({static_cast<size_t>(e.pos - s), e.kind});
    for (const auto& e : c.edits)
      ++expected_counts[e.second == 'M' ? 0 : e.second == 'I' ? 1 : 2];
    const size_t begin = backward ? n - c.end : 0, end = backward ? n : c.end;
    EXPECT_EQ(std::make_tuple(size_t(sat->sat_begin - s), size_t(sat->sat_end - s), sat->score, sat->num_Ns),
              std::make_tuple(begin, end, c.score, c.Ns))
        << (backward ? "backward" : "forward");
    EXPECT_EQ(got, expected) << (backward ? "backward" : "forward");
    EXPECT_EQ(std::vector<unsigned>(counts, counts + 3), std::vector<unsigned>(expected_counts, expected_counts + 3));
    repeat_pool.push_back(sat);
  }
}

INSTANTIATE_TEST_SUITE_P(WorkedSequences, ImperfectExtension, ::testing::ValuesIn(cases),
                         [](const ::testing::TestParamInfo<ExtensionCase>& info) { return info.param.label; });

// The look-ahead keeps the gains of the points it meets for reuse within an
// extension, and later seeds follow the paths that earlier ones walked:
// every record must still end where the plain rules end it, with the same
// score and edits. Under every score reduction, limited or not, over random
// sequence and over a diverged array of a 64-mer with N's in it for long
// units, and over arrays of short units, from clean to nearly random, under
// scores, depths and ties drawn at random (where the prune bound cuts often).
TEST(ImperfectExtension, FollowsThePlainRules)
{
  TestRandom random{11};
  auto next = [&random] { return random.next(); };
  auto base = [&random] { return random.base(); };
  // A unit repeated to a length, with substitutions at the given per cent
  // and one per cent each of insertions and deletions.
  auto array = [&](const std::string& unit, size_t length, uint32_t substitutions) {
    std::string a;
    for (size_t i = 0; a.size() < length; ++i) {
      const uint32_t dice = next() % 100;
      if (dice < substitutions)
        a += base();
      else if (dice == substitutions)
        a += std::string(1, unit[i % unit.size()]) + base();
      else if (dice != substitutions + 1)
        a += unit[i % unit.size()];
    }
    return a;
  };
  // The first difference from the plain rules, if any, of seeds every step
  // residues extended to the right, one search serving them all.
  auto differences = [](const std::string& text, const Settings& settings, std::vector<size_t> units,
                        size_t step) {
    const SearchSetup setup(settings);
    FastaRecord seq;
    seq.residues.assign(text.data(), static_cast<uint32_t>(text.size()));
    const char* s = seq.residues.data();
    RecordSearch search(setup, 1, seq);
    for (size_t u : units) {
      const PlainExtension plain{text, u, settings};
      for (size_t b = 0; b + u < text.size(); b += step) {
        Repeat sat;
        sat.init(s + b, s + b + u);
        search.extend_imperfect_forward(sat, s + text.size(), search.scratch[0]);
        std::string got = std::to_string(sat.sat_end - s) + " score " + std::to_string(sat.score) + ":";
        for (const missense_entry& e : sat.missense_list)
          got += " " + std::to_string(e.pos - s) + e.kind;
        const std::string expected = plain.extend(b);
        if (got != expected)
          return "unit " + std::to_string(u) + " seed " + std::to_string(b) + ": " + got + " against " + expected;
      }
    }
    return std::string();
  };

  std::string text, unit;
  for (int i = 0; i < 64; ++i)
    unit += base();
  for (int i = 0; i < 1000; ++i)
    text += base();
  text += array(unit, 3000, 10);
  text.replace(2000, 2, "NN");
  text.replace(2700, 1, "N");
  for (int i = 0; i < 500; ++i)
    text += base();
  void (*const variants[])(Settings&) = {
      [](Settings&) {},
      [](Settings& t) { t.prefer_longer_repeat = 0; },
      [](Settings& t) { t.mismatch_score = -3, t.indel_score = -7; },
      [](Settings& t) { t.maximum_recursion_depth = 2; },
      [](Settings& t) { t.maximum_recursion_depth = 6; },
      [](Settings& t) { t.Ns_allowed_in_a_row = 0; },
      [](Settings& t) { t.maximum_scorereduction = 30; },
  };
  for (auto variant : variants) {
    Settings settings;
    variant(settings);
    ASSERT_EQ(differences(text, settings, {17, 31, 64, 65}, 97), "");
  }

  for (int trial = 0; trial < 80; ++trial) {
    std::string short_unit;
    for (size_t i = 2 + next() % 6; i > 0; --i)
      short_unit += base();
    const std::string short_array = array(short_unit, 300, next() % 40);
    Settings settings;
    settings.mismatch_score = -2 - static_cast<int>(next() % 4);
    settings.indel_score = -2 - static_cast<int>(next() % 4);
    settings.maximum_recursion_depth = 1 + static_cast<int>(next() % 6);
    settings.prefer_longer_repeat = static_cast<int>(next() % 2);
    for (int reduction : {SCOREREDUCTION_UNLIMITED, 3, 8, 20}) {
      settings.maximum_scorereduction = reduction;
      ASSERT_EQ(differences(short_array, settings, {2, 3, 4, 5, 6, 7, 8}, 5), "")
          << "trial " << trial << " reduction " << reduction;
    }
  }
}

// A slot of the look-ahead's memo answers only for the point it holds, and
// only within the extension that kept it: other points that fall into the
// same slot, with another residue, unit character or depth, are not found.
TEST(LookAheadMemo, FindsOnlyThePointItKept)
{
  const std::string text(20100, 'A');
  LookAheadMemo memo;
  memo.start();
  memo.keep(text.data() + 5, 7, 2, 13);
  int32_t gain = 0;
  ASSERT_TRUE(memo.find(text.data() + 5, 7, 2, gain));
  EXPECT_EQ(gain, 13);
  size_t found = 0;
  for (uint32_t other = 0; other < 20000; ++other) {
    found += memo.find(text.data() + 5, 7, other + 3, gain);
    found += memo.find(text.data() + 5, other + 8, 2, gain);
    found += memo.find(text.data() + 6 + other, 7, 2, gain);
  }
  EXPECT_EQ(found, 0u);
  // Nor in any later extension, however many there are.
  for (int extension = 0; extension < 600; ++extension) {
    memo.start();
    ASSERT_FALSE(memo.find(text.data() + 5, 7, 2, gain)) << extension;
  }
  // Points of units longer than the tags hold are not kept.
  memo.keep(text.data() + 5, 70000, 2, 13);
  EXPECT_FALSE(memo.find(text.data() + 5, 70000, 2, gain));
  EXPECT_FALSE(memo.find(text.data() + 5, 70000 - 65536, 2, gain));
}

// The exact phase by blocks of 16 residues stops where the one that walks
// residue by residue stops, with the same score, N's and unit character,
// each way: across the unit's wrap, at N runs passed or too long, and with
// fewer than 16 residues left before the bound.
TEST(ExactPhase, InBlocksStopsWhereResidueByResidueDoes)
{
  TestRandom random{5};
  auto next = [&random] { return random.next(); };
  auto base = [&random] { return random.base(); };
  UnitInBlocks blocks;
  for (int trial = 0; trial < 3000; ++trial) {
    const uint32_t L = 1 + next() % 90;
    std::string unit;
    for (uint32_t i = 0; i < L; ++i)
      unit += base();
    // The unit repeated, with substitutions at a per cent of up to 20 (none
    // in a third of the trials) and N runs at 1 or 6 per cent of the places.
    const uint32_t substitutions = next() % 3 == 0 ? 0 : next() % 21;
    const uint32_t N_runs = next() % 2 == 0 ? 10 : 60;
    std::string text;
    const size_t length = 1 + next() % 400;
    for (size_t i = 0; text.size() < length; ++i) {
      const uint32_t dice = next() % 1000;
      if (dice < N_runs)
        text += std::string(1 + next() % 4, 'N');
      else
        text += dice < N_runs + 10 * substitutions ? base() : unit[i % L];
    }
    const char* ub = unit.data();
    const char* ue = ub + L;
    blocks.lay_out(ub, L);
    const uint32_t allowed_Ns = next() % 4;
    const bool pass_Ns = next() % 4 != 0;
    const size_t from = next() % text.size();
    const char* const phase = ub + next() % L;
    auto compare = [&](auto dir, const char* bound) {
      constexpr int Dir = decltype(dir)::value;
      const char *c1 = text.data() + from, *c2 = c1, *u1 = phase, *u2 = phase;
      int32_t score1 = 3, score2 = 3;
      uint32_t Ns1 = 1, Ns2 = 1;
      const bool stopped1 = exact_phase<Dir>(c1, u1, ub, ue, bound, score1, Ns1, allowed_Ns, pass_Ns);
      const bool stopped2 = exact_phase_in_blocks<Dir>(c2, u2, ub, ue, blocks, bound, score2, Ns2, allowed_Ns, pass_Ns);
      EXPECT_EQ(std::make_tuple(stopped2, c2 - text.data(), u2 - ub, score2, Ns2),
                std::make_tuple(stopped1, c1 - text.data(), u1 - ub, score1, Ns1))
          << "trial " << trial << " direction " << Dir << " unit length " << L;
    };
    const char* const near = text.data() + from + next() % 40;
    compare(std::integral_constant<int, 1>{}, text.data() + text.size());
    compare(std::integral_constant<int, 1>{}, std::min<const char*>(near, text.data() + text.size()));
    compare(std::integral_constant<int, -1>{}, text.data() - 1);
    compare(std::integral_constant<int, -1>{}, text.data() + from - std::min<size_t>(from + 1, next() % 40));
    if (HasFailure())
      return;
  }
}

TEST(RemoveHidden, KeepsTheHigherScoreOfMostlyOverlappingRepeats)
{
  struct Case {
    const char* label;
    std::vector<std::tuple<size_t, size_t, size_t, int>> records; // begin, end, unit length, score
    std::vector<size_t> kept;
  };
  const Case cases[] = {
      {"inside, lower score", {{0, 30, 3, 10}, {5, 20, 5, 5}}, {0}},
      {"inside, higher score", {{0, 30, 3, 10}, {5, 20, 5, 15}}, {1}},
      {"exactly one unit outside", {{0, 6, 3, 20}, {3, 30, 3, 10}}, {0, 1}},
      {"less than one unit outside", {{0, 5, 3, 20}, {2, 30, 3, 10}}, {0}},
      {"equal scores keep the first", {{0, 30, 3, 10}, {0, 30, 3, 10}, {5, 20, 5, 10}}, {0}},
      // B keeps whole units outside A; C, after B, still lies inside A.
      {"scan reaches past", {{0, 40, 2, 30}, {30, 50, 2, 10}, {35, 39, 2, 3}}, {0, 1}},
      {"scan goes on after a removal", {{0, 30, 3, 5}, {5, 20, 5, 10}, {10, 20, 2, 20}}, {2}},
      {"filter off", {{0, 30, 3, 10}, {5, 20, 5, 5}}, {0, 1}},
  };
  FastaRecord seq;
  seq.residues.assign(std::string(60, 'A').c_str());
  const char* s = seq.residues.data();
  for (const Case& c : cases) {
    Settings settings;
    settings.remove_mostly_hidden = std::string(c.label) != "filter off";
    const SearchSetup setup(settings);
    RecordSearch ctl(setup, 1, seq);
    std::vector<Repeat*> made, kept;
    for (const auto& [begin, end, unit, score] : c.records) {
      made.push_back(repeat_pool.get_new(s + begin, s + begin + unit));
      made.back()->sat_end = s + end;
      made.back()->score = score;
      ctl.imperfect_sats.sats.push_back(made.back());
    }
    for (size_t i : c.kept)
      kept.push_back(made[i]);
    ctl.remove_hidden(ctl.imperfect_sats);
    EXPECT_EQ(std::vector<Repeat*>(ctl.imperfect_sats.sats.begin(), ctl.imperfect_sats.sats.end()), kept) << c.label;
  }
}

// The exact search scans for runs of positions that agree with the
// residue one unit earlier (N agreeing with anything), 64 positions at a
// time and with vector compares where it can. Checked against the
// definition on sequences with N's near block edges and stretches of
// period 1 to 12, for short and long minimum runs.
TEST(PeriodRuns, AreTheMaximalRunsOfAgreeingPositions)
{
  TestRandom random{7};
  auto next = [&random] { return random.next(); };
  // The last length holds one N only, a few positions before the scan's
  // batch of 4096 positions begins.
  for (size_t length : {1u, 63u, 64u, 65u, 700u, 5000u, 4300u}) {
    std::string s;
    const bool one_N = length == 4300;
    while (s.size() < length) {
      const size_t period = 1 + next() % 12, copies = next() % 8;
      std::string unit;
      for (size_t i = 0; i < period; ++i)
        unit += "ACGTN"[next() % (!one_N && next() % 9 == 0 ? 5 : 4)];
      for (size_t i = 0; i < copies * period; ++i)
        s += unit[i % period];
      s += "ACGT"[next() % 4];
    }
    s.resize(length);
    if (one_N)
      s[4090] = 'N';
    for (size_t k = 1; k <= 12; ++k) {
      for (size_t min_run : {1u, 3u, 8u, 20u, 70u}) {
        std::vector<std::pair<size_t, size_t>> expected, found;
        for (size_t x = 0, run = 0; x <= s.size(); ++x) {
          const bool agrees = x < s.size() && x >= k && (s[x] == s[x - k] || s[x] == 'N' || s[x - k] == 'N');
          if (agrees) {
            ++run;
            continue;
          }
          if (run >= min_run)
            expected.push_back({x - run, x});
          run = 0;
        }
        for_each_period_run(
            s.data(), s.size(), k, min_run, [&](size_t x0, size_t x1) { found.push_back({x0, x1}); },
            [](size_t) {});
        ASSERT_EQ(found, expected) << "length " << length << " unit " << k << " minimum run " << min_run;
      }
    }
  }
}

// The complete search seeds from the record's first residue on, but never
// where an N lies in the seed: a unit of N and A over alternating N's and
// A's would match itself throughout.
TEST(CompleteSearch, SeedsFromTheFirstResidueButNotOverNs)
{
  Settings settings;
  SearchSetup setup(settings);
  std::string text;
  for (int i = 0; i < 30; ++i)
    text += "NA";
  text = "GTGTGTGTGTGTGTGTGTGT" + text + "GATTACAGGCTT";
  FastaRecord seq;
  seq.residues.assign(text.c_str());
  setup.thresholds.cover(seq.residues.size());
  RecordSearch search(setup, 1, seq);
  const RepeatList& found = search.search_and_filter();
  const char* s = seq.residues.data();
  bool first_seeded = false;
  for (const Repeat* sat : found.sats) {
    EXPECT_EQ(std::string(sat->unit_begin, sat->unit_end).find('N'), std::string::npos);
    first_seeded |= sat->unit_begin == s && sat->unit_length() == 2;
  }
  EXPECT_TRUE(first_seeded) << "the repeat of GT is seeded at the first residue";
}

} // namespace
