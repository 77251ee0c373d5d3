// Repeat records: derived values, the record pool and containers, the
// orderings, and the normal form and class name of a repeat unit.

#include "report/CDnaString.h"
#include "report/Csat.h"
#include "settings/global-types-and-parameters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

class RecordTest : public ::testing::Test {
 protected:
  void SetUp() override { init_param(); }
  void TearDown() override { init_param(); }

  // A record over residues[begin, end) with unit residues[ub, ue).
  Csat* make(size_t begin, size_t end, size_t ub, size_t ue)
  {
    Csat* s = pool.get_new(residues + ub, residues + ue);
    s->sat_begin = residues + begin;
    s->sat_end = residues + end;
    return s;
  }

  const char residues[64] = "ACGTACGTACGTACGTACGTACGTACGTACGTACGTACGTACGTACGTACGTACGTACGTACG";
  Csat_garbagecollector pool;
};

std::string text(const CDnaString& s) { return std::string(s.data() ? s.data() : "", s.size()); }

// Makes s a one-unit record over the given text, which must outlive it.
void set_unit(Csat& s, const std::string& unit) { s.init(unit.data(), unit.data() + unit.size()); }

std::string repeat_name(const Csat& s)
{
  char* buf = nullptr;
  size_t len = 0;
  FILE* out = open_memstream(&buf, &len);
  s.print_repeat_name(out);
  std::fclose(out);
  std::string t(buf, len);
  std::free(buf);
  return t;
}

} // namespace

// ---------------------------------------------------------------------------
// Derived values

TEST_F(RecordTest, LengthsComeFromThePointersAndTheIndelCounts)
{
  Csat* s = make(3, 26, 3, 7); // 23 residues, unit of 4
  s->num_insertions = 2;
  s->num_deletions = 5;
  EXPECT_EQ(s->length(), 23u);
  EXPECT_EQ(s->unit_length(), 4u);
  EXPECT_EQ(s->normalized_length(), 26u); // 23 - 2 + 5
  pool.push_back(s);
}

TEST_F(RecordTest, PerfectionInTheThreeNModes)
{
  // BP 20: 20 residues, one of them inserted, one unit character deleted.
  Csat* s = make(0, 20, 0, 4);
  s->num_mismatches = 2;
  s->num_insertions = 1;
  s->num_deletions = 1;
  s->num_Ns = 1;
  ASSERT_EQ(s->normalized_length(), 20u);
  const std::pair<int, float> cases[] = {{0, 75.0f}, {1, 1500.0f / 19.0f}, {2, 80.0f}};
  for (const auto& c : cases) {
    global_N_and_perfection_mode = c.first;
    EXPECT_NEAR(s->perfection(), c.second, 1e-4) << "mode " << c.first;
  }
  global_N_and_perfection_mode = 1;
  EXPECT_NEAR(s->perfection(), 78.947f, 1e-3);
  pool.push_back(s);
}

TEST_F(RecordTest, PerfectRepeatIsAHundredInEveryMode)
{
  Csat* s = make(0, 12, 0, 3);
  for (int mode : {0, 1, 2}) {
    global_N_and_perfection_mode = mode;
    EXPECT_EQ(s->perfection(), 100.0f) << "mode " << mode;
  }
  pool.push_back(s);
}

TEST_F(RecordTest, NsAloneLowerPerfectionOnlyWhenCountedAsMismatches)
{
  Csat* s = make(0, 10, 0, 2);
  s->num_Ns = 2;
  global_N_and_perfection_mode = 0;
  EXPECT_NEAR(s->perfection(), 80.0f, 1e-4);
  global_N_and_perfection_mode = 1;
  EXPECT_NEAR(s->perfection(), 100.0f, 1e-4);
  global_N_and_perfection_mode = 2;
  EXPECT_NEAR(s->perfection(), 100.0f, 1e-4);
  pool.push_back(s);
}

TEST_F(RecordTest, UnknownPerfectionModeEndsTheProcess)
{
  Csat* s = make(0, 10, 0, 2);
  global_N_and_perfection_mode = 3;
  EXPECT_EXIT(s->perfection(), ::testing::ExitedWithCode(2), "");
  pool.push_back(s);
}

// ---------------------------------------------------------------------------
// Pool

TEST_F(RecordTest, NewRecordIsAOneUnitRepeat)
{
  Csat* s = pool.get_new(residues + 5, residues + 8);
  EXPECT_EQ(s->sat_begin, residues + 5);
  EXPECT_EQ(s->sat_end, residues + 8);
  EXPECT_EQ(s->unit_begin, residues + 5);
  EXPECT_EQ(s->unit_end, residues + 8);
  EXPECT_EQ(s->unit_phase_right, residues + 5);
  EXPECT_EQ(s->unit_phase_left, residues + 7);
  EXPECT_EQ(s->score, 0);
  EXPECT_EQ(s->num_mismatches + s->num_insertions + s->num_deletions + s->num_Ns, 0u);
  EXPECT_EQ(s->missense_list.size(), 0u);
  EXPECT_TRUE(pool.free_sats.empty());
  pool.push_back(s);
}

TEST_F(RecordTest, ReturnedRecordIsReusedAndReset)
{
  Csat* s = pool.get_new(residues, residues + 2);
  s->sat_end = residues + 30;
  s->unit_phase_right = residues + 1;
  s->score = 17;
  s->num_mismatches = 1;
  s->num_insertions = 2;
  s->num_deletions = 3;
  s->num_Ns = 4;
  for (int i = 0; i < 9; ++i)
    s->missense_list.push_back({residues + i, 'M'});
  const uint32_t capacity = s->missense_list.capacity();
  pool.push_back(s);

  Csat* again = pool.get_new(residues + 10, residues + 13);
  EXPECT_EQ(again, s);
  EXPECT_TRUE(pool.free_sats.empty());
  EXPECT_EQ(again->sat_begin, residues + 10);
  EXPECT_EQ(again->sat_end, residues + 13);
  EXPECT_EQ(again->unit_phase_right, residues + 10);
  EXPECT_EQ(again->unit_phase_left, residues + 12);
  EXPECT_EQ(again->score, 0);
  EXPECT_EQ(again->num_mismatches + again->num_insertions + again->num_deletions + again->num_Ns, 0u);
  EXPECT_EQ(again->missense_list.size(), 0u);
  EXPECT_EQ(again->missense_list.capacity(), capacity); // storage kept
  pool.push_back(again);
}

TEST_F(RecordTest, PoolIsLastInFirstOut)
{
  Csat* a = pool.get_new(residues, residues + 1);
  Csat* b = pool.get_new(residues, residues + 1);
  Csat* c = pool.get_new(residues, residues + 1);
  EXPECT_NE(a, b);
  EXPECT_NE(b, c);
  pool.push_back(a);
  pool.push_back(b);
  pool.push_back(c);
  EXPECT_EQ(pool.get_new(residues, residues + 1), c);
  EXPECT_EQ(pool.get_new(residues, residues + 1), b);
  EXPECT_EQ(pool.get_new(residues, residues + 1), a);
  pool.push_back(a);
  pool.push_back(b);
  pool.push_back(c);
}

TEST_F(RecordTest, MissenseListGrowsFromFourByDoubling)
{
  Csat* s = pool.get_new(residues, residues + 1);
  EXPECT_EQ(s->missense_list.capacity(), 0u);
  const uint32_t expected[] = {4, 4, 4, 4, 8, 8, 8, 8, 16};
  for (uint32_t cap : expected) {
    s->missense_list.push_back({residues, 'I'});
    EXPECT_EQ(s->missense_list.capacity(), cap);
  }
  EXPECT_EQ(s->missense_list.size(), 9u);
  pool.push_back(s);
}

// ---------------------------------------------------------------------------
// Containers

TEST_F(RecordTest, DestroyedContainerReturnsItsRecordsToThePoolInListOrder)
{
  Csat* earlier = pool.get_new(residues, residues + 1);
  Csat *a, *b, *c;
  {
    CsatContainer container(pool);
    a = pool.get_new(residues, residues + 1);
    b = pool.get_new(residues, residues + 1);
    c = pool.get_new(residues, residues + 1);
    pool.push_back(earlier);
    container.sats.push_back(a);
    container.sats.push_back(b);
    container.sats.push_back(c);
  }
  EXPECT_EQ(pool.free_sats, (std::list<Csat*>{earlier, a, b, c}));
  EXPECT_EQ(pool.get_new(residues, residues + 1), c);
  pool.push_back(c);
}

TEST_F(RecordTest, RemovingFromAContainerHandsTheRecordBack)
{
  CsatContainer container(pool);
  Csat* a = pool.get_new(residues, residues + 1);
  Csat* b = pool.get_new(residues, residues + 1);
  container.sats.push_back(a);
  container.sats.push_back(b);
  auto next = container.remove(container.sats.begin());
  EXPECT_EQ(*next, b);
  EXPECT_EQ(container.sats, (std::list<Csat*>{b}));
  EXPECT_EQ(pool.free_sats, (std::list<Csat*>{a}));
}

// ---------------------------------------------------------------------------
// Orderings

TEST_F(RecordTest, RecordsOrderByBeginThenEnd)
{
  struct Case {
    size_t begin_a, end_a, begin_b, end_b;
    bool less;
  };
  const Case cases[] = {
      {2, 10, 3, 5, true},  // begin decides, even with a later end
      {3, 5, 2, 10, false},
      {2, 8, 2, 10, true},  // equal begin: end decides
      {2, 10, 2, 8, false},
      {2, 10, 2, 10, false}, // equal: neither is less
  };
  for (const Case& c : cases) {
    Csat* a = make(c.begin_a, c.end_a, 0, 1);
    Csat* b = make(c.begin_b, c.end_b, 0, 1);
    EXPECT_EQ(lessThan_sat(a, b), c.less) << c.begin_a << "-" << c.end_a << " vs " << c.begin_b << "-" << c.end_b;
    pool.push_back(a);
    pool.push_back(b);
  }
}

TEST_F(RecordTest, SortKeepsTheInsertionOrderOfEqualRecords)
{
  // (begin, end, tag): tags give the insertion order.
  const int spans[][3] = {{5, 9, 0}, {1, 4, 1}, {5, 9, 2}, {5, 7, 3}, {1, 4, 4}, {5, 9, 5}, {0, 30, 6}};
  std::list<Csat*> list;
  for (const auto& s : spans) {
    Csat* r = make(static_cast<size_t>(s[0]), static_cast<size_t>(s[1]), 0, 1);
    r->score = s[2];
    list.push_back(r);
  }
  list.sort(lessThan_sat);
  std::vector<int> tags;
  for (Csat* r : list)
    tags.push_back(r->score);
  EXPECT_EQ(tags, (std::vector<int>{6, 1, 4, 3, 0, 2, 5}));
  for (Csat* r : list)
    pool.push_back(r);
}

TEST_F(RecordTest, MissenseEntriesOrderByPositionThenKind)
{
  Csat::lessThan_missense less;
  const missense_entry d5{residues + 5, 'D'}, i5{residues + 5, 'I'}, m5{residues + 5, 'M'};
  const missense_entry m4{residues + 4, 'M'}, d6{residues + 6, 'D'};
  EXPECT_TRUE(less(d5, i5));
  EXPECT_TRUE(less(i5, m5));
  EXPECT_TRUE(less(d5, m5));
  EXPECT_FALSE(less(m5, d5));
  EXPECT_FALSE(less(i5, i5));
  EXPECT_TRUE(less(m4, d5)); // position before kind
  EXPECT_TRUE(less(m5, d6));

  std::vector<missense_entry> list = {m5, d6, i5, m4, d5};
  std::sort(list.begin(), list.end(), less);
  std::string order;
  for (const missense_entry& e : list)
    order += std::to_string(e.pos - residues) + e.kind + " ";
  EXPECT_EQ(order, "4M 5D 5I 5M 6D ");
}

// ---------------------------------------------------------------------------
// Smallest rotation and reverse complement

TEST(UnitNormalForm, SmallestRotationAndPeriodicity)
{
  struct Case {
    std::string src, rotation;
    bool periodic;
  };
  const Case cases[] = {
      {"GCA", "AGC", false},       {"TA", "AT", false},         {"A", "A", false},
      {"CAG", "AGC", false},       {"ACGT", "ACGT", false},     {"TTAGG", "AGGTT", false},
      {"CTG", "CTG", false},       {"GTAC", "ACGT", false},     {"AACAAG", "AACAAG", false},
      {"CAAGAA", "AACAAG", false}, {"ATAT", "ATAT", true},      {"TATA", "ATAT", true},
      {"AAAA", "AAAA", true},      {"AAA", "AAA", true},        {"ACGACG", "ACGACG", true},
      {"GACGAC", "ACGACG", true},  {"CACACA", "ACACAC", true},
      // Bytes compare as unsigned: 'A' (65) before 0x80.
      {"\x80" "A", "A\x80", false},
  };
  for (const Case& c : cases) {
    CDnaString src(c.src.data(), static_cast<uint32_t>(c.src.size()));
    CDnaString result;
    EXPECT_EQ(result.setToMinAlphaRepModCyclicPermOf(src), c.periodic) << c.src;
    EXPECT_EQ(text(result), c.rotation) << c.src;
  }
}

TEST(UnitNormalForm, ReverseComplement)
{
  const std::pair<std::string, std::string> cases[] = {
      {"", ""},
      {"A", "T"},
      {"AAC", "GTT"},
      {"ACGT", "ACGT"},
      {"CAG", "CTG"},
      {"RYKMBVDHN", "NDHBVKMRY"},
      {"SWUacgt-X", "?????????"},
  };
  for (const auto& c : cases) {
    CDnaString s(c.first.data(), static_cast<uint32_t>(c.first.size()));
    EXPECT_EQ(text(reverse_complement(s)), c.second) << c.first;
  }
}

// ---------------------------------------------------------------------------
// Unit normal form in the three report modes

TEST(UnitNormalForm, ReportModes)
{
  struct Case {
    int mode;
    std::string unit, reported;
    bool accepted;
  };
  const Case cases[] = {
      // 0: as it is; refused when its length's prime factors cut it into equal pieces.
      {0, "GCA", "GCA", true},
      {0, "ACGT", "ACGT", true},
      {0, "AAA", "AAA", true}, // length 3 is prime: never tested
      {0, "AAAAA", "AAAAA", true},
      {0, "A", "A", true},
      {0, "ATAT", "ATAT", false},
      {0, "ACGACG", "ACGACG", false}, // p = 2: ACG | ACG
      {0, "ACACAC", "ACACAC", false}, // p = 3: AC | AC | AC
      {0, "ACACAG", "ACACAG", true},  // p = 3 pieces AC AC AG differ in the last
      {0, "ACGACT", "ACGACT", true},
      {0, "AAAAAAAA", "AAAAAAAA", false},
      {0, "ACGTACGA", "ACGTACGA", true},
      // 1: smallest rotation; refused when periodic.
      {1, "GCA", "AGC", true},
      {1, "TA", "AT", true},
      {1, "A", "A", true},
      {1, "CTG", "CTG", true},
      {1, "ATAT", "", false},
      {1, "AAAA", "", false},
      {1, "ACGACG", "", false},
      {1, "AAA", "", false},
      // 2: smaller of the smallest rotations of the unit and of its reverse complement.
      {2, "CTG", "AGC", true},
      {2, "GGC", "CCG", true},
      {2, "CAG", "AGC", true},
      {2, "A", "A", true},
      {2, "T", "A", true},
      {2, "G", "C", true},
      {2, "AC", "AC", true},
      {2, "TG", "AC", true},
      {2, "ATAT", "", false},
      {2, "AAAA", "", false},
      {2, "ACGACG", "", false},
      {2, "AAA", "", false},
  };
  for (const Case& c : cases) {
    init_param();
    global_report_unit_mode = c.mode;
    Csat sat;
    set_unit(sat, c.unit);
    CDnaString unit;
    EXPECT_EQ(unit_normal_form(sat, unit), c.accepted) << "mode " << c.mode << " unit " << c.unit;
    if (c.accepted) {
      EXPECT_EQ(text(unit), c.reported) << "mode " << c.mode << " unit " << c.unit;
    }
  }
  init_param();
}

TEST(UnitNormalForm, PrimeFactorRows)
{
  struct Case {
    uint32_t n;
    std::vector<uint32_t> factors;
  };
  const Case cases[] = {
      {0, {}},        {1, {}},        {2, {}},       {3, {}},          {4, {2}},
      {6, {2, 3}},    {8, {2}},       {12, {2, 3}},  {30, {2, 3, 5}},  {49, {7}},
      {97, {}},       {7919, {}},     {2310, {2, 3, 5, 7, 11}},          {9999, {3, 11, 101}},
      {10000, {2, 5}}, {9973, {}},    {9998, {2, 4999}},
  };
  for (const Case& c : cases) {
    const uint32_t* row = prime_factors_row(c.n);
    std::vector<uint32_t> got;
    for (int i = 0; i < 6 && row[i] != 0; ++i)
      got.push_back(row[i]);
    EXPECT_EQ(got, c.factors) << "row " << c.n;
    EXPECT_EQ(row[c.factors.size()], 0u) << "row " << c.n; // zero-terminated
  }
}

TEST(UnitNormalForm, RepeatClassNames)
{
  const char* const names[] = {"***  ERROR  ***", "mononucleotide",  "dinucleotide",  "trinucleotide",
                               "tetranucleotide", "pentanucleotide", "hexanucleotide"};
  for (int i = 0; i < 7; ++i)
    EXPECT_STREQ(REPEAT_NAMES[i], names[i]);

  const std::pair<std::string, std::string> cases[] = {
      {"A", "  mononucleotide"},
      {"AC", "    dinucleotide"},
      {"ACG", "   trinucleotide"},
      {"ACGT", " tetranucleotide"},
      {"ACGTA", " pentanucleotide"},
      {"ACGTAC", "  hexanucleotide"},
      {"ACGTACG", "    7-nucleotide"},
      {"ACGTACGTAC", "   10-nucleotide"},
      {std::string(123, 'A') + "C", "  124-nucleotide"},
  };
  for (const auto& c : cases) {
    Csat sat;
    set_unit(sat, c.first);
    EXPECT_EQ(repeat_name(sat), c.second) << c.first.size();
  }
}
