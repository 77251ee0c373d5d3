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
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace {

using Edit = std::pair<size_t, char>; // residue offset, kind 'M', 'I' or 'D'
using Edits = std::vector<Edit>;

// A found repeat as residue offsets and the values the search decides.
struct Rep {
  size_t begin, end;
  unsigned unit_length;
  int score;
  unsigned Ns;
  bool operator==(const Rep& o) const
  {
    return begin == o.begin && end == o.end && unit_length == o.unit_length && score == o.score && Ns == o.Ns;
  }
};

std::ostream& operator<<(std::ostream& os, const Rep& r)
{
  return os << "[" << r.begin << "," << r.end << ") unit " << r.unit_length << " score " << r.score << " Ns "
            << r.Ns;
}

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
    seq.full_name.assign("seq1");
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

std::string reversed(std::string s)
{
  std::reverse(s.begin(), s.end());
  return s;
}

unsigned count_kind(const Edits& edits, char kind)
{
  return static_cast<unsigned>(std::count_if(edits.begin(), edits.end(), [kind](const Edit& e) { return e.second == kind; }));
}

// ---------------------------------------------------------------------------
// Exact search

struct ExactCase {
  const char* label;
  const char* residues;
  void (*settings)();
  std::vector<Rep> expected;
};

void PrintTo(const ExactCase& c, std::ostream* os) { *os << c.label; }

class ExactSearch : public SearchTest, public ::testing::WithParamInterface<ExactCase> {};

TEST_P(ExactSearch, FindsTheExpectedRepeats)
{
  const ExactCase& c = GetParam();
  if (c.settings)
    c.settings();
  set_sequence(c.residues);
  CSearchController ctl(1, seq);
  ctl.exact_search_2();
  EXPECT_EQ(reps(ctl.exact_sats), c.expected);
  EXPECT_TRUE(ctl.imperfect_sats.sats.empty());
}

void Ns_as_missense() { global_treat_Ns_as_missense = true; }
void no_Ns_allowed() { global_Ns_allowed_in_a_row = 0; }

INSTANTIATE_TEST_SUITE_P(
    Sequences, ExactSearch,
    ::testing::Values(
        // Unit length 2 covers the whole stretch; windows inside it, also of
        // length 4, are not tried again, and single residues score 0.
        ExactCase{"dinucleotide", "ACACACACACAC", nullptr, {{0, 12, 2, 10, 0}}},
        ExactCase{"homopolymer", "AAAAAAAAAA", nullptr, {{0, 10, 1, 9, 0}}},
        ExactCase{"two_Ns_passed", "ACACACNNACACAC", nullptr, {{0, 14, 2, 10, 2}}},
        // Three N's stop both sides; each side alone scores 4 < 6.
        ExactCase{"three_Ns_stop", "ACACACNNNACACAC", nullptr, {}},
        ExactCase{"trailing_Ns_trimmed", "ACACACACNNG", nullptr, {{0, 8, 2, 6, 0}}},
        ExactCase{"Ns_neutral_join", "ACACACACNNACACACAC", nullptr, {{0, 18, 2, 14, 2}}},
        ExactCase{"Ns_as_missense_split", "ACACACACNNACACACAC", Ns_as_missense, {{0, 8, 2, 6, 0}, {10, 18, 2, 6, 0}}},
        ExactCase{"no_Ns_allowed_split", "ACACACACNNACACACAC", no_Ns_allowed, {{0, 8, 2, 6, 0}, {10, 18, 2, 6, 0}}},
        // The repeat reaches the last residue, found from an earlier window.
        ExactCase{"touches_end", "GACACACACAC", nullptr, {{1, 11, 2, 8, 0}}},
        ExactCase{"homopolymer_touches_end", "ACGTTTTTTTT", nullptr, {{3, 11, 1, 7, 0}}},
        // After an accepted run the next unit-length-1 seed starts at its end.
        ExactCase{"two_homopolymers", "AAAAAAAACCCCCCCC", nullptr, {{0, 8, 1, 7, 0}, {8, 16, 1, 7, 0}}},
        ExactCase{"leading_Ns_skipped", "NNNAAAAAAAA", nullptr, {{3, 11, 1, 7, 0}}},
        ExactCase{"only_Ns", "NNNNNNNN", nullptr, {}},
        ExactCase{"empty", "", nullptr, {}},
        ExactCase{"shorter_than_unit", "AC", nullptr, {}}),
    [](const ::testing::TestParamInfo<ExactCase>& info) { return std::string(info.param.label); });

TEST_F(SearchTest, ExactSeedsWithSeedThresholdsLeaveResiduesUncovered)
{
  // With the seed tables active the repeat scores 4, enough for a seed but
  // below the user minimum, so it is found again from each of its windows;
  // the window ending at the sequence end is never tried.
  set_sequence("ACACAC");
  CSearchController ctl(1, seq);
  CSearchController::minScores = CSearchController::minScores_intern;
  CSearchController::minLengths = CSearchController::minLengths_intern;
  ctl.exact_search_2();
  CSearchController::minScores = CSearchController::minScores_user;
  CSearchController::minLengths = CSearchController::minLengths_user;

  ASSERT_EQ(ctl.exact_sats.sats.size(), 4u);
  size_t window = 0;
  for (const Csat* s : ctl.exact_sats.sats) {
    EXPECT_EQ((Rep{offset(s->sat_begin), offset(s->sat_end), s->unit_length(), s->score, s->num_Ns}),
              (Rep{0, 6, 2, 4, 0}));
    EXPECT_EQ(offset(s->unit_begin), window++) << "equal records keep their window order";
  }
}

TEST_F(SearchTest, ExactRepeatOutsidePerfectionRangeDoesNotCoverItsResidues)
{
  // The two N's count as mismatches in perfection mode 0 (12/14 = 85.7 %),
  // so with a minimum of 90 the repeat is accepted but covers nothing, and
  // every N-free unit-length-2 window finds it again.
  global_min_perfection = 90.0f;
  set_sequence("ACACACNNACACAC");
  CSearchController ctl(1, seq);
  ctl.exact_search_2();
  std::vector<Rep> dinucleotides;
  for (const Rep& r : reps(ctl.exact_sats))
    if (r.unit_length == 2)
      dinucleotides.push_back(r);
  // Windows 0-4 and 8-11; 5, 6 and 7 hold an N.
  EXPECT_EQ(dinucleotides, std::vector<Rep>(9, Rep{0, 14, 2, 10, 2}));
}

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

void prefer_shorter() { global_prefer_longer_repeat = 0; }
void reduction_4() { global_maximum_scorereduction = 4; }
void reduction_5() { global_maximum_scorereduction = 5; }
void depth_1000() { global_maximum_recursion_depth = 1000; }
void depth_1() { global_maximum_recursion_depth = 1; }

void PrintTo(const ExtensionCase& c, std::ostream* os) { *os << c.label; }

const ExtensionCase extension_cases[] = {
    {"mismatch", "ACGACGACGACGTCGACGACGACGACG", 3, nullptr, 27, 18, {{12, 'M'}}, 0},
    {"insertion", "ACACACACACACGACACACACACAC", 2, nullptr, 25, 17, {{12, 'I'}}, 0},
    // The unit's A is missing before the C at 12.
    {"deletion", "ACGACGACGACGCGACGACGACGACG", 3, nullptr, 26, 18, {{12, 'D'}}, 0},
    // The first A matches; the second is the insertion.
    {"double_A", "ACGACGACGACGAACGACGACGACGACG", 3, nullptr, 28, 19, {{13, 'I'}}, 0},
    {"G_tail_does_not_recover", "ACGACGACGACGACGACGACGGGGGGGGG", 3, nullptr, 21, 18, {}, 0},
    // Score 9 both before the T at 12 and after it at 18.
    {"tie_prefers_longer", "ACGACGACGACGTCGACGTTTTT", 3, nullptr, 18, 9, {{12, 'M'}}, 0},
    {"tie_prefers_shorter", "ACGACGACGACGTCGACGTTTTT", 3, prefer_shorter, 12, 9, {}, 0},
    // The N's take the places of A and C, so G follows them.
    {"two_Ns_passed", "ACGACGACGNNGACGACG", 3, nullptr, 18, 13, {}, 2},
    {"three_Ns_stop", "ACGACGACGNNNACGACG", 3, nullptr, 9, 6, {}, 0},
    // Trimming N's at the ends is left to the callers.
    {"Ns_up_to_bound", "ACGACGACGNN", 3, nullptr, 11, 6, {}, 2},
    {"N_neutral", "ACGACGACGNCGACGACG", 3, nullptr, 18, 14, {}, 1},
    {"N_as_missense", "ACGACGACGNCGACGACG", 3, Ns_as_missense, 18, 9, {{9, 'M'}}, 0},
    // A mismatch costs 5: a reduction of 4 forbids it, 5 allows it.
    {"reduction_forbids_edit", "ACGACGACGACGTCGACGACGACGACG", 3, reduction_4, 12, 9, {}, 0},
    {"reduction_allows_edit", "ACGACGACGACGTCGACGACGACGACG", 3, reduction_5, 27, 18, {{12, 'M'}}, 0},
    {"deep_limit_is_bounded", "ACGACGACGACGTCGACGACGACGACG", 3, depth_1000, 27, 18, {{12, 'M'}}, 0},
    {"at_bound_unchanged", "ACG", 3, nullptr, 3, 0, {}, 0},
    // Looking one edit ahead, M, I and D at the T all promise 22: the tie
    // goes to M. The G after it is then a deletion (the unit's C missing).
    {"tie_goes_to_mismatch", "ACGACGACGACGACGACGACGACGACGACGTGACGACGACGACGACG", 3, depth_1, 47, 33,
     {{30, 'M'}, {31, 'D'}}, 0},
};

class ImperfectExtension : public SearchTest, public ::testing::WithParamInterface<ExtensionCase> {};

TEST_P(ImperfectExtension, Forward)
{
  const ExtensionCase& c = GetParam();
  if (c.settings)
    c.settings();
  set_sequence(c.residues);
  CSearchController ctl(1, seq);
  Csat* sat = sat_alloc.get_new(at(0), at(c.unit_length));
  ctl.extend_imperfect_forward(*sat, at(seq.residues.size()));

  EXPECT_EQ(offset(sat->sat_begin), 0u);
  EXPECT_EQ(offset(sat->sat_end), c.end);
  EXPECT_EQ(sat->score, c.score);
  EXPECT_EQ(edits(*sat), c.edits);
  EXPECT_EQ(sat->num_mismatches, count_kind(c.edits, 'M'));
  EXPECT_EQ(sat->num_insertions, count_kind(c.edits, 'I'));
  EXPECT_EQ(sat->num_deletions, count_kind(c.edits, 'D'));
  EXPECT_EQ(sat->num_Ns, c.Ns);
  // The phase on the right is the unit character the residue at sat_end must match.
  EXPECT_EQ(offset(sat->unit_phase_right), (c.end - count_kind(c.edits, 'I') + count_kind(c.edits, 'D')) % c.unit_length);
  sat_alloc.push_back(sat);
}

// The same cases read from right to left: the seed is the last unit of the
// reversed sequence, and every position is mirrored. A deletion is recorded
// at the residue that follows the missing unit character, which after the
// mirror is the one on the other side of the gap.
TEST_P(ImperfectExtension, BackwardIsTheMirrorImage)
{
  const ExtensionCase& c = GetParam();
  if (c.settings)
    c.settings();
  const std::string residues = reversed(c.residues);
  const size_t n = residues.size();
  set_sequence(residues);
  CSearchController ctl(1, seq);
  Csat* sat = sat_alloc.get_new(at(n - c.unit_length), at(n));
  ctl.extend_imperfect_backward(*sat, at(0) - 1);

  Edits mirrored;
  for (const Edit& e : c.edits)
    mirrored.push_back({e.second == 'D' ? n - e.first : n - 1 - e.first, e.second});
  EXPECT_EQ(offset(sat->sat_begin), n - c.end);
  EXPECT_EQ(offset(sat->sat_end), n);
  EXPECT_EQ(sat->score, c.score);
  EXPECT_EQ(edits(*sat), mirrored);
  EXPECT_EQ(sat->num_mismatches, count_kind(c.edits, 'M'));
  EXPECT_EQ(sat->num_insertions, count_kind(c.edits, 'I'));
  EXPECT_EQ(sat->num_deletions, count_kind(c.edits, 'D'));
  EXPECT_EQ(sat->num_Ns, c.Ns);
  sat_alloc.push_back(sat);
}

INSTANTIATE_TEST_SUITE_P(WorkedSequences, ImperfectExtension, ::testing::ValuesIn(extension_cases),
                         [](const ::testing::TestParamInfo<ExtensionCase>& info) {
                           return std::string(info.param.label);
                         });

TEST_F(SearchTest, ExtensionsInBothDirectionsAccumulate)
{
  // Seeded in the middle: forward over one mismatch, then backward over
  // another; the backward call starts from the score the forward call left.
  //                0         1         2
  //                0123456789012345678901234567
  set_sequence("ACGACTACGACGACGACGACGTCGACG");
  CSearchController ctl(1, seq);
  Csat* sat = sat_alloc.get_new(at(12), at(15));
  ctl.extend_imperfect_forward(*sat, at(seq.residues.size()));
  EXPECT_EQ(offset(sat->sat_end), 27u);
  EXPECT_EQ(sat->score, 6 + -5 + 5);
  ctl.extend_imperfect_backward(*sat, at(0) - 1);
  EXPECT_EQ(offset(sat->sat_begin), 0u);
  EXPECT_EQ(sat->score, 6 + 6 - 5 + 5);
  EXPECT_EQ(edits(*sat), (Edits{{21, 'M'}, {5, 'M'}})) << "entries in the order committed";
  EXPECT_EQ(sat->num_mismatches, 2u);
  sat_alloc.push_back(sat);
}

TEST_F(SearchTest, LookAheadStopsAtTheDepthLimit)
{
  // ACG matches (3), then T differs. One edit more is worth 4 (the T as an
  // insertion, then six matches); at the depth limit the look-ahead returns
  // the exact-phase score.
  set_sequence("ACGTACGACG");
  CSearchController ctl(1, seq);
  const char* end = at(10);
  EXPECT_EQ(ctl.extend_imperfect_forward_leap_ahead(at(0), at(0), at(0), at(3), 0, 3, 4, end, 0), 4);
  EXPECT_EQ(ctl.extend_imperfect_forward_leap_ahead(at(0), at(0), at(0), at(3), 0, 3, 5, end, 0), 3);
}

TEST_F(SearchTest, BackwardLookAheadMirrorsForward)
{
  // Reverse of ACGTACGACG; the residue compared first is the one before
  // pos, aligned with the last unit character.
  set_sequence("GCAGCATGCA");
  CSearchController ctl(1, seq);
  const char* before = at(0) - 1;
  EXPECT_EQ(ctl.extend_imperfect_backward_leap_ahead(at(10), at(9), at(7), at(10), 0, 3, 4, before, 0), 4);
  EXPECT_EQ(ctl.extend_imperfect_backward_leap_ahead(at(10), at(9), at(7), at(10), 0, 3, 5, before, 0), 3);
}

TEST_F(SearchTest, LookAheadEndsAtAnNRunThatIsTooLong)
{
  CSearchController ctl(1, seq);
  set_sequence("ACGNNNACG");
  EXPECT_EQ(ctl.extend_imperfect_forward_leap_ahead(at(0), at(0), at(0), at(3), 0, 3, 1, at(9), 0), 3);
  set_sequence("ACGNNGACG");
  EXPECT_EQ(ctl.extend_imperfect_forward_leap_ahead(at(0), at(0), at(0), at(3), 0, 3, 1, at(9), 0), 7);
}

TEST_F(SearchTest, RecursionLimitAbove255IsClamped)
{
  // The depth travels in 8 bits; a limit beyond its range behaves as 255.
  global_maximum_recursion_depth = 1000;
  set_sequence("ACGTACGACG");
  CSearchController ctl(1, seq);
  EXPECT_EQ(ctl.extend_imperfect_forward_leap_ahead(at(0), at(0), at(0), at(3), 0, 3, 255, at(10), 0), 3);
}

TEST_F(SearchTest, HugeRecursionLimitGivesTheSameExtensionAs255)
{
  // A sequence full of differences, where the look-ahead branches at every
  // step; the extension must finish and agree with the largest usable limit.
  const std::string residues = "ACGACGACGATGTCGAACGTTACGGACGACTTGACGACG";
  set_sequence(residues);
  CSearchController ctl(1, seq);
  auto extend = [&](int depth) {
    global_maximum_recursion_depth = depth;
    Csat* sat = sat_alloc.get_new(at(0), at(3));
    ctl.extend_imperfect_forward(*sat, at(residues.size()));
    Rep r{offset(sat->sat_begin), offset(sat->sat_end), sat->unit_length(), sat->score, sat->num_Ns};
    Edits e = edits(*sat);
    sat_alloc.push_back(sat);
    return std::make_pair(r, e);
  };
  const auto at_255 = extend(255);
  const auto at_1000 = extend(1000);
  EXPECT_EQ(at_1000.first, at_255.first);
  EXPECT_EQ(at_1000.second, at_255.second);
}

// ---------------------------------------------------------------------------
// Exact-then-extend and complete imperfect search

TEST_F(SearchTest, ExactThenExtendGrowsBothSeedsOverTheMismatch)
{
  // Seeds: ACG at 0..12 (score 9) and CGA at 13..27 (score 11). The first
  // grows right over the T, the second left; both end as 0..27 with score
  // 18, and the filters decide between them later.
  set_sequence("ACGACGACGACGTCGACGACGACGACG");
  CSearchController ctl(1, seq);
  ::testing::internal::CaptureStderr();
  ctl.search_exact_and_extend_to_imperfect_repeats();
  const std::string messages = ::testing::internal::GetCapturedStderr();

  EXPECT_EQ(messages, "  Searching for exact repeats.\n  Extend exact to imperfect repeats.\n");
  EXPECT_EQ(reps(ctl.imperfect_sats), (std::vector<Rep>{{0, 27, 3, 18, 0}, {0, 27, 3, 18, 0}}));
  std::vector<size_t> unit_begins;
  for (const Csat* s : ctl.imperfect_sats.sats) {
    unit_begins.push_back(offset(s->unit_begin));
    EXPECT_EQ(edits(*s), (Edits{{12, 'M'}}));
    EXPECT_EQ(s->num_mismatches, 1u);
  }
  EXPECT_EQ(unit_begins, (std::vector<size_t>{0, 13}));
  EXPECT_TRUE(ctl.exact_sats.sats.empty());
  EXPECT_EQ(CSearchController::minScores, CSearchController::minScores_user);
  EXPECT_EQ(CSearchController::minLengths, CSearchController::minLengths_user);
}

TEST_F(SearchTest, ExactThenExtendDropsSeedsThatStayBelowTheUserMinimum)
{
  // Four seeds of score 4; none grows, so all go back to the pool.
  set_sequence("ACACAC");
  CSearchController ctl(1, seq);
  ::testing::internal::CaptureStderr();
  ctl.search_exact_and_extend_to_imperfect_repeats();
  ::testing::internal::GetCapturedStderr();
  EXPECT_TRUE(ctl.imperfect_sats.sats.empty());
  EXPECT_TRUE(ctl.exact_sats.sats.empty());
  EXPECT_EQ(CSearchController::minScores, CSearchController::minScores_user);
}

TEST_F(SearchTest, ExactThenExtendTrimsNsAtTheEnds)
{
  // The extension passes the N pairs at both ends; the record is trimmed.
  set_sequence("NNACACACACACNN");
  CSearchController ctl(1, seq);
  ::testing::internal::CaptureStderr();
  ctl.search_exact_and_extend_to_imperfect_repeats();
  ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(reps(ctl.imperfect_sats), (std::vector<Rep>{{2, 12, 2, 8, 0}}));
}

TEST_F(SearchTest, CompleteSearchFindsOneRepeatOverTheMismatch)
{
  // Seeds of unit length 1 and 2 cannot pay a mismatch; ACG at 0 grows over
  // the T at 12, and its residues keep all other seeds out (position 12 is
  // free again, but no seed starting or ending there passes the anchor test).
  set_sequence("ACGACGACGACGTCGACGACGACGACG");
  CSearchController ctl(1, seq);
  ctl.complete_imperfect_search(nullptr);
  ASSERT_EQ(reps(ctl.imperfect_sats), (std::vector<Rep>{{0, 27, 3, 18, 0}}));
  const Csat& s = *ctl.imperfect_sats.sats.front();
  EXPECT_EQ(offset(s.unit_begin), 0u);
  EXPECT_EQ(edits(s), (Edits{{12, 'M'}}));
}

TEST_F(SearchTest, CompleteSearchCases)
{
  struct Case {
    const char* residues;
    std::vector<Rep> expected;
  } cases[] = {
      {"ACACAC", {}},                     // score 4 < 6
      {"AAAAAAAAAAAA", {{0, 12, 1, 11, 0}}}, // one-residue seeds of longer units are never tried
      {"NNACACACACACNN", {{2, 12, 2, 8, 0}}},
      {"ACACACNNACACAC", {{0, 14, 2, 10, 2}}},
      {"AC", {}},
      {"", {}},
  };
  for (const Case& c : cases) {
    set_sequence(c.residues);
    CSearchController ctl(1, seq);
    ctl.complete_imperfect_search(nullptr);
    EXPECT_EQ(reps(ctl.imperfect_sats), c.expected) << c.residues;
  }
}

TEST_F(SearchTest, CompleteSearchTrimmingKeepsThePhases)
{
  // After trimming, the phases point at the unit characters that the
  // residues just outside the repeat would have to match: A at 11, G at 1.
  set_sequence("NNACGACGACGNN");
  CSearchController ctl(1, seq);
  ctl.complete_imperfect_search(nullptr);
  ASSERT_EQ(reps(ctl.imperfect_sats), (std::vector<Rep>{{2, 11, 3, 6, 0}}));
  const Csat& s = *ctl.imperfect_sats.sats.front();
  EXPECT_EQ(*s.unit_phase_right, 'A');
  EXPECT_EQ(*s.unit_phase_left, 'G');
}

// ---------------------------------------------------------------------------
// Filters

class FilterTest : public SearchTest {
 protected:
  void SetUp() override
  {
    SearchTest::SetUp();
    set_sequence(std::string(60, 'A'));
  }
  // A hand-built record [begin, end) whose unit is its first unit_length residues.
  Csat* record(CsatContainer& c, size_t begin, size_t end, size_t unit_length, int score)
  {
    Csat* s = sat_alloc.get_new(at(begin), at(begin + unit_length));
    s->sat_end = at(end);
    s->score = score;
    c.sats.push_back(s);
    return s;
  }
  std::vector<Csat*> list(const CsatContainer& c) { return {c.sats.begin(), c.sats.end()}; }
};

TEST_F(FilterTest, RecordInsideAnotherLosesOnScore)
{
  // 5..20 unit 5 lies wholly inside 0..30 unit 3: nothing of it is outside.
  {
    CSearchController ctl(1, seq);
    Csat* outer = record(ctl.imperfect_sats, 0, 30, 3, 10);
    Csat* inner = record(ctl.imperfect_sats, 5, 20, 5, 5);
    ctl.remove_hidden(ctl.imperfect_sats);
    EXPECT_EQ(list(ctl.imperfect_sats), std::vector<Csat*>{outer});
    EXPECT_EQ(sat_alloc.free_sats.back(), inner) << "removed records go back to the pool";
  }
  {
    CSearchController ctl(1, seq);
    Csat* outer = record(ctl.imperfect_sats, 0, 30, 3, 10);
    Csat* inner = record(ctl.imperfect_sats, 5, 20, 5, 15);
    ctl.remove_hidden(ctl.imperfect_sats);
    EXPECT_EQ(list(ctl.imperfect_sats), std::vector<Csat*>{inner});
    EXPECT_EQ(sat_alloc.free_sats.back(), outer);
  }
}

TEST_F(FilterTest, MostlyHiddenMeansLessThanOneUnitOutsideTheOverlap)
{
  struct Case {
    size_t a_begin, a_end, b_begin, b_end, unit;
    bool b_kept;
  } cases[] = {
      {0, 20, 18, 40, 2, true}, // overlap 2; 18 and 20 residues outside
      {0, 6, 3, 30, 3, true},   // A keeps exactly one unit outside
      {0, 5, 2, 30, 3, false},  // A keeps two residues, less than its unit
  };
  for (const Case& c : cases) {
    CSearchController ctl(1, seq);
    Csat* a = record(ctl.imperfect_sats, c.a_begin, c.a_end, c.unit, 20);
    Csat* b = record(ctl.imperfect_sats, c.b_begin, c.b_end, c.unit, 10);
    ctl.remove_hidden(ctl.imperfect_sats);
    EXPECT_EQ(list(ctl.imperfect_sats), c.b_kept ? (std::vector<Csat*>{a, b}) : std::vector<Csat*>{a})
        << c.a_begin << ".." << c.a_end << " / " << c.b_begin << ".." << c.b_end;
  }
}

TEST_F(FilterTest, EqualScoresKeepTheFirst)
{
  CSearchController ctl(1, seq);
  Csat* first = record(ctl.imperfect_sats, 0, 30, 3, 10);
  record(ctl.imperfect_sats, 0, 30, 3, 10);
  record(ctl.imperfect_sats, 5, 20, 5, 10);
  ctl.remove_hidden(ctl.imperfect_sats);
  EXPECT_EQ(list(ctl.imperfect_sats), std::vector<Csat*>{first});
}

TEST_F(FilterTest, ScanReachesPastRecordsThatAreNotHidden)
{
  // B overlaps A but keeps whole units outside; C, after B, lies inside A.
  CSearchController ctl(1, seq);
  Csat* a = record(ctl.imperfect_sats, 0, 40, 2, 30);
  Csat* b = record(ctl.imperfect_sats, 30, 50, 2, 10);
  record(ctl.imperfect_sats, 35, 39, 2, 3);
  ctl.remove_hidden(ctl.imperfect_sats);
  EXPECT_EQ(list(ctl.imperfect_sats), (std::vector<Csat*>{a, b}));
}

TEST_F(FilterTest, AfterARemovalTheScanGoesOnWithTheFollowingRecord)
{
  // A loses to B, then B loses to C.
  CSearchController ctl(1, seq);
  record(ctl.imperfect_sats, 0, 30, 3, 5);
  record(ctl.imperfect_sats, 5, 20, 5, 10);
  Csat* c = record(ctl.imperfect_sats, 10, 20, 2, 20);
  ctl.remove_hidden(ctl.imperfect_sats);
  EXPECT_EQ(list(ctl.imperfect_sats), std::vector<Csat*>{c});
}

TEST_F(FilterTest, RemoveHiddenOffKeepsEverything)
{
  global_remove_mostly_hidden = false;
  CSearchController ctl(1, seq);
  Csat* a = record(ctl.imperfect_sats, 0, 30, 3, 10);
  Csat* b = record(ctl.imperfect_sats, 5, 20, 5, 5);
  ctl.remove_hidden(ctl.imperfect_sats);
  EXPECT_EQ(list(ctl.imperfect_sats), (std::vector<Csat*>{a, b}));
}

TEST_F(FilterTest, PerfectionRangeIsInclusive)
{
  // Length 4, unit 2: no mismatch 100 %, one 75 %, two 50 %, five -25 %.
  struct Case {
    float min, max;
    std::vector<int> kept; // by number of mismatches
  } cases[] = {
      {0.0f, 100.0f, {0, 1, 2, 5}}, // the full range is not even looked at
      {100.0f, 100.0f, {0}},
      {75.0f, 100.0f, {0, 1}},
      {50.0f, 75.0f, {1, 2}},
      {75.5f, 99.5f, {}},
  };
  for (const Case& c : cases) {
    global_min_perfection = c.min;
    global_max_perfection = c.max;
    CSearchController ctl(1, seq);
    for (int mismatches : {0, 1, 2, 5})
      record(ctl.imperfect_sats, 0, 4, 2, 0)->num_mismatches = static_cast<uint32_t>(mismatches);
    ctl.filter_perfection(ctl.imperfect_sats);
    std::vector<int> kept;
    for (const Csat* s : ctl.imperfect_sats.sats)
      kept.push_back(static_cast<int>(s->num_mismatches));
    EXPECT_EQ(kept, c.kept) << c.min << ".." << c.max;
  }
}

} // namespace
