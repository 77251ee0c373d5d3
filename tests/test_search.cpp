// The search engine: exact search, imperfect extension in both directions,
// the two imperfect search modes and the result filters.
//
// The threshold tables are built once per process by the first controller,
// so every test here runs with the default unit lengths and score/length
// settings (minimum score max(6, k), no minimum length).

#include "main/console.h"
#include "search/CSearchController.h"
#include "settings/global-types-and-parameters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using Edit = std::pair<size_t, char>; // residue offset, kind 'M', 'I' or 'D'
using Edits = std::vector<Edit>;

// A found repeat: begin and end offsets, unit length, score, number of N's.
using Rep = std::tuple<size_t, size_t, unsigned, int, unsigned>;

class SearchTest : public ::testing::Test {
 protected:
  void SetUp() override
  {
    init_param();
    update_report_time(); // no progress lines in the test output
  }
  void TearDown() override { init_param(); }

  void set_sequence(const std::string& residues)
  {
    seq.residues.assign(residues.data(), static_cast<uint32_t>(residues.size()));
    seq.name.assign("seq1");
  }
  const char* at(size_t i) const { return seq.residues.data() + i; }
  size_t offset(const char* p) const { return static_cast<size_t>(p - seq.residues.data()); }

  std::vector<Rep> reps(const CsatContainer& c) const
  {
    std::vector<Rep> out;
    for (const Csat* s : c.sats)
      out.push_back({offset(s->sat_begin), offset(s->sat_end), s->unit_length(), s->score, s->num_Ns});
    return out;
  }
  Edits edits(const Csat& s) const
  {
    Edits out;
    for (const missense_entry& e : s.missense_list)
      out.push_back({offset(e.pos), e.kind});
    return out;
  }

  CSequence_Mol seq;
};

unsigned count(const Edits& edits, char kind)
{
  return static_cast<unsigned>(
      std::count_if(edits.begin(), edits.end(), [kind](const Edit& e) { return e.second == kind; }));
}

void Ns_as_missense() { global_treat_Ns_as_missense = true; }

// ---------------------------------------------------------------------------
// Imperfect extension

struct ExtensionCase {
  const char* label;
  const char* residues;
  unsigned unit_length; // the seed is the first unit_length residues
  void (*settings)();
  size_t end;
  int score;
  Edits edits;
  unsigned Ns;
};

// ACG repeated nine times with a T in place of the A at 12.
const char* const ACG_T = "ACGACGACGACGTCGACGACGACGACG";

const ExtensionCase extension_cases[] = {
    {"mismatch", ACG_T, 3, nullptr, 27, 18, {{12, 'M'}}, 0},
    {"insertion", "ACACACACACACGACACACACACAC", 2, nullptr, 25, 17, {{12, 'I'}}, 0},
    // The unit's A is missing before the C at 12.
    {"deletion", "ACGACGACGACGCGACGACGACGACG", 3, nullptr, 26, 18, {{12, 'D'}}, 0},
    // The first A matches; the second is the insertion.
    {"double_A", "ACGACGACGACGAACGACGACGACGACG", 3, nullptr, 28, 19, {{13, 'I'}}, 0},
    // Score 9 both before the T at 12 and after it at 18.
    {"tie_prefers_longer", "ACGACGACGACGTCGACGTTTTT", 3, nullptr, 18, 9, {{12, 'M'}}, 0},
    {"tie_prefers_shorter", "ACGACGACGACGTCGACGTTTTT", 3, [] { global_prefer_longer_repeat = 0; }, 12, 9, {}, 0},
    // The N's take the places of A and C, so G follows them.
    {"two_Ns_passed", "ACGACGACGNNGACGACG", 3, nullptr, 18, 13, {}, 2},
    {"three_Ns_stop", "ACGACGACGNNNACGACG", 3, nullptr, 9, 6, {}, 0},
    {"Ns_up_to_bound", "ACGACGACGNN", 3, nullptr, 11, 6, {}, 2}, // trimming is left to the callers
    {"N_as_missense", "ACGACGACGNCGACGACG", 3, Ns_as_missense, 18, 9, {{9, 'M'}}, 0},
    // A mismatch costs 5: a reduction of 4 forbids it, 5 allows it.
    {"reduction_forbids_edit", ACG_T, 3, [] { global_maximum_scorereduction = 4; }, 12, 9, {}, 0},
    {"reduction_allows_edit", ACG_T, 3, [] { global_maximum_scorereduction = 5; }, 27, 18, {{12, 'M'}}, 0},
    {"deep_limit_is_bounded", ACG_T, 3, [] { global_maximum_recursion_depth = 1000; }, 27, 18, {{12, 'M'}}, 0},
    {"at_bound_unchanged", "ACG", 3, nullptr, 3, 0, {}, 0},
    // Looking one edit ahead, M, I and D at the T all promise 22: the tie
    // goes to M. The G after it is then a deletion (the unit's C missing).
    {"tie_goes_to_mismatch", "ACGACGACGACGACGACGACGACGACGACGTGACGACGACGACGACG", 3,
     [] { global_maximum_recursion_depth = 1; }, 47, 33, {{30, 'M'}, {31, 'D'}}, 0},
};

class ImperfectExtension : public SearchTest, public ::testing::WithParamInterface<ExtensionCase> {};

// Backward the same cases are read from right to left: the seed is the last
// unit of the reversed sequence, and every position is mirrored. A deletion
// is recorded at the residue that follows the missing unit character, which
// after the mirror is the one on the other side of the gap.
TEST_P(ImperfectExtension, ForwardAndMirroredBackward)
{
  const ExtensionCase& c = GetParam();
  for (bool backward : {false, true}) {
    init_param();
    if (c.settings)
      c.settings();
    const std::string forward = c.residues;
    const size_t n = forward.size();
    set_sequence(backward ? std::string(forward.rbegin(), forward.rend()) : forward);
    CSearchController ctl(1, seq);
    const size_t seed = backward ? n - c.unit_length : 0;
    Csat* sat = sat_alloc.get_new(at(seed), at(seed + c.unit_length));
    Edits expected = c.edits;
    if (backward) {
      ctl.extend_imperfect_backward(*sat, at(0) - 1);
      for (Edit& e : expected)
        e.first = e.second == 'D' ? n - e.first : n - 1 - e.first;
    } else {
      ctl.extend_imperfect_forward(*sat, at(n));
      // The phase on the right is the unit character the residue at sat_end must match.
      EXPECT_EQ(offset(sat->unit_phase_right), (c.end - count(c.edits, 'I') + count(c.edits, 'D')) % c.unit_length);
    }
    const Rep span = backward ? Rep{n - c.end, n, c.unit_length, c.score, c.Ns}
                              : Rep{0, c.end, c.unit_length, c.score, c.Ns};
    EXPECT_EQ((Rep{offset(sat->sat_begin), offset(sat->sat_end), sat->unit_length(), sat->score, sat->num_Ns}), span)
        << (backward ? "backward" : "forward");
    EXPECT_EQ(edits(*sat), expected) << (backward ? "backward" : "forward");
    EXPECT_EQ(sat->num_mismatches, count(c.edits, 'M'));
    EXPECT_EQ(sat->num_insertions, count(c.edits, 'I'));
    EXPECT_EQ(sat->num_deletions, count(c.edits, 'D'));
    sat_alloc.push_back(sat);
  }
}

INSTANTIATE_TEST_SUITE_P(WorkedSequences, ImperfectExtension, ::testing::ValuesIn(extension_cases),
                         [](const ::testing::TestParamInfo<ExtensionCase>& info) {
                           return std::string(info.param.label);
                         });

TEST_F(SearchTest, LookAheadScoreAtTheDepthLimitAndAtNRuns)
{
  // ACG matches (3), then T differs. One edit more is worth 4 (the T as an
  // insertion, then six matches); at the depth limit (5) the look-ahead
  // returns the exact-phase score. The depth travels in 8 bits, so a limit
  // above 255 behaves as 255. Backward runs over the reversed residues.
  struct Case {
    const char* residues;
    int limit, depth;
    bool backward;
    int expected;
  };
  const Case cases[] = {
      {"ACGTACGACG", 5, 4, false, 4}, {"ACGTACGACG", 5, 5, false, 3},  {"GCAGCATGCA", 5, 4, true, 4},
      {"GCAGCATGCA", 5, 5, true, 3},  {"ACGTACGACG", 1000, 255, false, 3}, {"ACGNNNACG", 5, 1, false, 3},
      {"ACGNNGACG", 5, 1, false, 7},
  };
  for (const Case& c : cases) {
    global_maximum_recursion_depth = c.limit;
    set_sequence(c.residues);
    CSearchController ctl(1, seq);
    const size_t n = seq.residues.size();
    const uint8_t depth = static_cast<uint8_t>(c.depth);
    EXPECT_EQ(c.backward ? ctl.extend_imperfect_backward_leap_ahead(at(n), at(n - 1), at(n - 3), at(n), 0, 3, depth,
                                                                    at(0) - 1, 0)
                         : ctl.extend_imperfect_forward_leap_ahead(at(0), at(0), at(0), at(3), 0, 3, depth, at(n), 0),
              c.expected)
        << c.residues << " depth " << c.depth;
  }
}

// ---------------------------------------------------------------------------
// The three search modes

TEST_F(SearchTest, SearchModes)
{
  enum Mode { exact, extend_exact, complete };
  struct Case {
    Mode mode;
    const char* residues;
    void (*settings)();
    std::vector<Rep> expected;
    std::vector<size_t> unit_begins; // checked when given
  };
  const Case cases[] = {
      // Windows inside an accepted repeat are not tried again; single residues score 0.
      {exact, "ACACACACACAC", nullptr, {{0, 12, 2, 10, 0}}, {}},
      {exact, "ACACACNNACACAC", nullptr, {{0, 14, 2, 10, 2}}, {}},
      {exact, "ACACACNNNACACAC", nullptr, {}, {}}, // three N's stop both sides, each scoring 4 < 6
      {exact, "ACACACACNNG", nullptr, {{0, 8, 2, 6, 0}}, {}}, // trailing N's trimmed
      {exact, "ACACACACNNACACACAC", Ns_as_missense, {{0, 8, 2, 6, 0}, {10, 18, 2, 6, 0}}, {}},
      {exact, "GACACACACAC", nullptr, {{1, 11, 2, 8, 0}}, {1}}, // reaches the last residue from an earlier window
      // After an accepted run the next seed of unit length 1 starts at its end.
      {exact, "AAAAAAAACCCCCCCC", nullptr, {{0, 8, 1, 7, 0}, {8, 16, 1, 7, 0}}, {}},
      {exact, "AC", nullptr, {}, {}},
      // Seeds ACG at 0..12 (score 9) and CGA at 13..27 (score 11) grow over
      // the T from either side to the same record; the filters decide later.
      {extend_exact, ACG_T, nullptr, {{0, 27, 3, 18, 0}, {0, 27, 3, 18, 0}}, {0, 13}},
      {extend_exact, "ACACAC", nullptr, {}, {}}, // four seeds of score 4 that do not grow
      {extend_exact, "NNACACACACACNN", nullptr, {{2, 12, 2, 8, 0}}, {2}}, // N's passed at both ends are trimmed
      // Units of length 1 and 2 cannot pay the mismatch; ACG at 0 grows over
      // the T at 12, and its residues keep every other seed out.
      {complete, ACG_T, nullptr, {{0, 27, 3, 18, 0}}, {0}},
      {complete, "AAAAAAAAAAAA", nullptr, {{0, 12, 1, 11, 0}}, {}}, // one-residue seeds of longer units are never tried
      {complete, "ACACACNNACACAC", nullptr, {{0, 14, 2, 10, 2}}, {}},
      {complete, "", nullptr, {}, {}},
  };
  for (const Case& c : cases) {
    init_param();
    if (c.settings)
      c.settings();
    set_sequence(c.residues);
    CSearchController ctl(1, seq);
    ::testing::internal::CaptureStderr();
    if (c.mode == exact)
      ctl.exact_search_2();
    else if (c.mode == extend_exact)
      ctl.search_exact_and_extend_to_imperfect_repeats();
    else
      ctl.complete_imperfect_search(nullptr);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              c.mode == extend_exact ? "  Searching for exact repeats.\n  Extend exact to imperfect repeats.\n" : "");
    const CsatContainer& found = c.mode == exact ? ctl.exact_sats : ctl.imperfect_sats;
    EXPECT_EQ(reps(found), c.expected) << c.mode << " " << c.residues;
    EXPECT_TRUE((c.mode == exact ? ctl.imperfect_sats : ctl.exact_sats).sats.empty());
    std::vector<size_t> unit_begins;
    for (const Csat* s : found.sats)
      unit_begins.push_back(offset(s->unit_begin));
    if (!c.unit_begins.empty()) {
      EXPECT_EQ(unit_begins, c.unit_begins) << c.residues;
    }
    // The exact-then-extend mode puts back the thresholds of the user.
    EXPECT_EQ(CSearchController::minScores, CSearchController::minScores_user);
    EXPECT_EQ(CSearchController::minLengths, CSearchController::minLengths_user);
  }

  // After trimming, the phases point at the unit characters that the
  // residues just outside the repeat would have to match: A at 11, G at 1.
  set_sequence("NNACGACGACGNN");
  CSearchController trimmed(1, seq);
  trimmed.complete_imperfect_search(nullptr);
  ASSERT_EQ(reps(trimmed.imperfect_sats), (std::vector<Rep>{{2, 11, 3, 6, 0}}));
  EXPECT_EQ(*trimmed.imperfect_sats.sats.front()->unit_phase_right, 'A');
  EXPECT_EQ(*trimmed.imperfect_sats.sats.front()->unit_phase_left, 'G');
}

// ---------------------------------------------------------------------------
// Filters

TEST_F(SearchTest, RemoveHidden)
{
  struct Case {
    const char* label;
    std::vector<std::tuple<size_t, size_t, size_t, int>> records; // begin, end, unit, score
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
  set_sequence(std::string(60, 'A'));
  for (const Case& c : cases) {
    global_remove_mostly_hidden = std::string(c.label) != "filter off";
    CSearchController ctl(1, seq);
    std::vector<Csat*> made, kept;
    for (const auto& [begin, end, unit, score] : c.records) {
      made.push_back(sat_alloc.get_new(at(begin), at(begin + unit)));
      made.back()->sat_end = at(end);
      made.back()->score = score;
      ctl.imperfect_sats.sats.push_back(made.back());
    }
    for (size_t i : c.kept)
      kept.push_back(made[i]);
    const size_t free_before = sat_alloc.free_sats.size();
    ctl.remove_hidden(ctl.imperfect_sats);
    EXPECT_EQ(std::vector<Csat*>(ctl.imperfect_sats.sats.begin(), ctl.imperfect_sats.sats.end()), kept) << c.label;
    EXPECT_EQ(sat_alloc.free_sats.size() - free_before, made.size() - kept.size()) << "back to the pool";
  }
}

TEST_F(SearchTest, PerfectionRangeIsInclusive)
{
  // Length 4, unit 2: no mismatch 100 %, one 75 %, two 50 %, five -25 %;
  // the full range 0..100 is not even looked at.
  const std::tuple<float, float, std::vector<uint32_t>> cases[] = {
      {0.0f, 100.0f, {0, 1, 2, 5}}, {100.0f, 100.0f, {0}}, {50.0f, 75.0f, {1, 2}}, {75.5f, 99.5f, {}}};
  set_sequence("ACAC");
  for (const auto& [min, max, expected] : cases) {
    global_min_perfection = min;
    global_max_perfection = max;
    CSearchController ctl(1, seq);
    for (uint32_t mismatches : {0, 1, 2, 5}) {
      Csat* s = sat_alloc.get_new(at(0), at(2));
      s->sat_end = at(4);
      s->num_mismatches = mismatches;
      ctl.imperfect_sats.sats.push_back(s);
    }
    ctl.filter_perfection(ctl.imperfect_sats);
    std::vector<uint32_t> kept;
    for (const Csat* s : ctl.imperfect_sats.sats)
      kept.push_back(s->num_mismatches);
    EXPECT_EQ(kept, expected) << min << ".." << max;
  }
}

} // namespace
