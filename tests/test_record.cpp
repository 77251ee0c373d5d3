// Repeat records: perfection, the record pool and containers, the
// orderings, and the normal form and class name of a repeat unit.

#include "report/CDnaString.h"
#include "report/Csat.h"
#include "settings/global-types-and-parameters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

class RecordTest : public ::testing::Test {
 protected:
  void SetUp() override { init_param(); }
  void TearDown() override { init_param(); }

  // A record over residues[begin, end) with a unit of unit_length residues.
  Csat* make(size_t begin, size_t end, size_t unit_length = 1)
  {
    Csat* s = pool.get_new(residues, residues + unit_length);
    s->sat_begin = residues + begin;
    s->sat_end = residues + end;
    return s;
  }

  const char residues[41] = "ACGTACGTACGTACGTACGTACGTACGTACGTACGTACGT";
  Csat_garbagecollector pool;
};

} // namespace

TEST_F(RecordTest, PerfectionInTheThreeNModes)
{
  struct Case {
    uint32_t length, mismatches, insertions, deletions, Ns;
    float as_mismatch, as_neutral, as_match; // N mode 0, 1, 2
  };
  const Case cases[] = {
      {12, 0, 0, 0, 0, 100.0f, 100.0f, 100.0f},
      // BP 20 with one N: (20 - 2 - 1 - 1 - 1) / 20, 15 / 19, 16 / 20.
      {20, 2, 1, 1, 1, 75.0f, 1500.0f / 19.0f, 80.0f},
      {10, 0, 0, 0, 2, 80.0f, 100.0f, 100.0f}, // N's alone count only as mismatches
  };
  for (const Case& c : cases) {
    Csat* s = make(0, c.length, 2);
    s->num_mismatches = c.mismatches, s->num_insertions = c.insertions;
    s->num_deletions = c.deletions, s->num_Ns = c.Ns;
    const float expected[] = {c.as_mismatch, c.as_neutral, c.as_match};
    for (int mode : {0, 1, 2}) {
      global_N_and_perfection_mode = mode;
      EXPECT_NEAR(s->perfection(), expected[mode], 1e-4) << "length " << c.length << ", mode " << mode;
    }
    pool.push_back(s);
  }
}

TEST_F(RecordTest, PoolIsLastInFirstOutAndResetsReusedRecords)
{
  Csat* a = make(0, 1);
  Csat* b = make(0, 30, 2);
  b->unit_phase_right = residues + 1;
  b->score = 17;
  b->num_mismatches = 1, b->num_insertions = 2, b->num_deletions = 3, b->num_Ns = 4;
  for (int i = 0; i < 9; ++i)
    b->missense_list.push_back({residues + i, 'M'});
  const uint32_t capacity = b->missense_list.capacity();
  pool.push_back(a);
  pool.push_back(b);

  Csat* again = pool.get_new(residues + 10, residues + 13);
  ASSERT_EQ(again, b);
  // begin, end, unit begin and end, right phase at the unit's first and left phase at its last residue
  EXPECT_EQ((std::vector<const char*>{again->sat_begin, again->sat_end, again->unit_begin, again->unit_end,
                                      again->unit_phase_right, again->unit_phase_left}),
            (std::vector<const char*>{residues + 10, residues + 13, residues + 10, residues + 13, residues + 10,
                                      residues + 12}));
  EXPECT_EQ(again->score + again->num_mismatches + again->num_insertions + again->num_deletions + again->num_Ns, 0u);
  EXPECT_EQ(again->missense_list.size(), 0u);
  EXPECT_EQ(again->missense_list.capacity(), capacity); // storage kept
  EXPECT_EQ(pool.get_new(residues, residues + 1), a);
  EXPECT_TRUE(pool.free_sats.empty());
  pool.push_back(a);
  pool.push_back(b);
}

TEST_F(RecordTest, ContainerHandsItsRecordsBackToThePoolInListOrder)
{
  Csat* earlier = make(0, 1);
  Csat *a, *b, *c;
  {
    CsatContainer container(pool);
    a = make(0, 1), b = make(0, 1), c = make(0, 1);
    pool.push_back(earlier);
    container.sats = {a, b, c};
    EXPECT_EQ(*container.remove(container.sats.begin()), b);
    EXPECT_EQ(pool.free_sats, (std::list<Csat*>{earlier, a}));
  }
  EXPECT_EQ(pool.free_sats, (std::list<Csat*>{earlier, a, b, c}));
}

TEST_F(RecordTest, SortByBeginThenEndKeepsTheOrderOfEqualRecords)
{
  // (begin, end); the score tags the insertion order.
  const int spans[][2] = {{5, 9}, {1, 4}, {5, 9}, {5, 7}, {1, 4}, {5, 9}, {0, 30}};
  std::list<Csat*> list;
  for (const auto& s : spans) {
    list.push_back(make(static_cast<size_t>(s[0]), static_cast<size_t>(s[1])));
    list.back()->score = static_cast<int>(list.size()) - 1;
  }
  list.sort(lessThan_sat);
  std::vector<int> tags;
  for (Csat* r : list) {
    tags.push_back(r->score);
    pool.push_back(r);
  }
  EXPECT_EQ(tags, (std::vector<int>{6, 1, 4, 3, 0, 2, 5}));
}

TEST_F(RecordTest, MissenseEntriesOrderByPositionThenKind)
{
  std::vector<missense_entry> list = {
      {residues + 5, 'M'}, {residues + 6, 'D'}, {residues + 5, 'I'}, {residues + 4, 'M'}, {residues + 5, 'D'}};
  std::sort(list.begin(), list.end(), Csat::lessThan_missense());
  std::string order;
  for (const missense_entry& e : list)
    order += std::to_string(e.pos - residues) + e.kind + " ";
  EXPECT_EQ(order, "4M 5D 5I 5M 6D ");
  EXPECT_FALSE(Csat::lessThan_missense()(list[2], list[2]));
}

// ---------------------------------------------------------------------------
// Unit normal form and class name

TEST(UnitNormalForm, ReportModes)
{
  struct Case {
    int mode;
    std::string unit, reported; // "": refused as a repetition of a shorter unit
  };
  const Case cases[] = {
      // 0: as it is; refused when a prime factor of its length cuts it into equal pieces.
      {0, "GCA", "GCA"}, {0, "AAA", "AAA"}, // length 3 is prime: never tested
      {0, "ATAT", ""}, {0, "ACGACG", ""}, {0, "ACACAC", ""}, {0, "ACACAG", "ACACAG"}, {0, "AAAAAAAA", ""},
      // 1: smallest rotation; refused when it equals one of its own rotations.
      {1, "GCA", "AGC"}, {1, "TTAGG", "AGGTT"}, {1, "CAAGAA", "AACAAG"}, {1, "TATA", ""}, {1, "AAA", ""},
      // 2: smaller of the smallest rotations of the unit and of its reverse complement.
      {2, "CTG", "AGC"}, {2, "GGC", "CCG"}, {2, "T", "A"}, {2, "G", "C"}, {2, "GACGAC", ""}, {2, "AAA", ""},
  };
  for (const Case& c : cases) {
    init_param();
    global_report_unit_mode = c.mode;
    Csat sat;
    sat.init(c.unit.data(), c.unit.data() + c.unit.size());
    CDnaString unit;
    const bool accepted = unit_normal_form(sat, unit);
    EXPECT_EQ(accepted, !c.reported.empty()) << "mode " << c.mode << " unit " << c.unit;
    if (accepted) {
      EXPECT_EQ(std::string(unit.data(), unit.size()), c.reported) << "mode " << c.mode << " unit " << c.unit;
    }
  }
  init_param();
}

TEST(UnitNormalForm, PrimeFactorRows)
{
  const std::pair<uint32_t, std::vector<uint32_t>> cases[] = {
      {0, {}}, {1, {}}, {3, {}}, {4, {2}}, {12, {2, 3}}, {49, {7}}, {9973, {}}, {9998, {2, 4999}},
      {2310, {2, 3, 5, 7, 11}},
  };
  for (const auto& c : cases) {
    const uint32_t* row = prime_factors_row(c.first);
    std::vector<uint32_t> got;
    for (int i = 0; i < 6 && row[i] != 0; ++i)
      got.push_back(row[i]);
    EXPECT_EQ(got, c.second) << "row " << c.first;
    EXPECT_EQ(row[c.second.size()], 0u) << "row " << c.first; // zero-terminated
  }
}

TEST(UnitNormalForm, RepeatClassNames)
{
  const std::pair<size_t, std::string> cases[] = {
      {1, "  mononucleotide"}, {2, "    dinucleotide"}, {4, " tetranucleotide"}, {5, " pentanucleotide"},
      {6, "  hexanucleotide"}, {7, "    7-nucleotide"}, {124, "  124-nucleotide"},
  };
  const std::string text(124, 'A');
  for (const auto& c : cases) {
    Csat sat;
    sat.init(text.data(), text.data() + c.first);
    char* buf = nullptr;
    size_t len = 0;
    FILE* out = open_memstream(&buf, &len);
    sat.print_repeat_name(out);
    std::fclose(out);
    EXPECT_EQ(std::string(buf, len), c.second) << c.first;
    std::free(buf);
  }
}
