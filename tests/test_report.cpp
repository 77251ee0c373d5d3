// The reported form of a repeat unit in the three modes, with the refusal of
// units that repeat a shorter unit, the class names by unit length, and the
// order of a repeat's edits.

#include "report/unit_normal_form.h"
#include "report/repeat.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

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
    Repeat sat;
    sat.init(c.unit.data(), c.unit.data() + c.unit.size());
    UnitText unit;
    const bool accepted = unit_normal_form(sat, unit, c.mode);
    EXPECT_EQ(accepted ? std::string(unit.data(), unit.size()) : "", c.reported) << c.mode << " " << c.unit;
  }
}

// Units longer than the table of prime factors (10000) are cut by the factors
// found by trial division: 10002 = 2 * 3 * 1667 and 10010 = 2 * 5 * 7 * 11 * 13.
TEST(UnitNormalForm, LongUnitsByTheirPrimeFactors)
{
  std::srand(7);
  auto random_text = [](size_t n) {
    std::string t;
    while (t.size() < n)
      t += "ACGT"[std::rand() % 4];
    return t;
  };
  struct Case {
    size_t piece, copies;
    bool refused;
  };
  for (const Case& c : {Case{5001, 2, true}, Case{3334, 3, true}, Case{1430, 7, true}, Case{10002, 1, false},
                        Case{10010, 1, false}}) {
    std::string unit;
    const std::string piece = random_text(c.piece);
    for (size_t i = 0; i < c.copies; ++i)
      unit += piece;
    Repeat sat;
    sat.init(unit.data(), unit.data() + unit.size());
    UnitText text;
    EXPECT_EQ(!unit_normal_form(sat, text, 0), c.refused) << c.copies << " copies of " << c.piece;
  }
}

TEST(UnitNormalForm, RepeatClassNames)
{
  const char* const names[] = {"  mononucleotide", "    dinucleotide", "   trinucleotide", " tetranucleotide",
                               " pentanucleotide", "  hexanucleotide", "    7-nucleotide"};
  const std::string text(7, 'A');
  for (size_t length = 1; length <= 7; ++length) {
    Repeat sat;
    sat.init(text.data(), text.data() + length);
    char* buffer = nullptr;
    size_t size = 0;
    FILE* out = open_memstream(&buffer, &size);
    sat.print_repeat_name(out);
    std::fclose(out);
    EXPECT_EQ(std::string(buffer, size), names[length - 1]);
    std::free(buffer);
  }
}

// The order of a repeat's edits: by position, and at one position a deletion
// before an insertion before a mismatch.
TEST(MissenseOrder, ByPositionThenDeletionInsertionMismatch)
{
  const char* r = "ACGTACGT";
  std::vector<missense_entry> list = {{r + 5, 'M'}, {r + 6, 'D'}, {r + 5, 'I'}, {r + 4, 'M'}, {r + 5, 'D'}};
  std::sort(list.begin(), list.end(), Repeat::lessThan_missense());
  std::string order;
  for (const missense_entry& e : list)
    order += std::to_string(e.pos - r) + e.kind + " ";
  EXPECT_EQ(order, "4M 5D 5I 5M 6D ");
}
