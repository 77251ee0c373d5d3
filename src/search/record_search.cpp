#include "search/record_search.h"

#include "main/console.h"
#include "settings/settings.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <vector>

int32_t* RecordSearch::minScores_user = nullptr;
int32_t* RecordSearch::minLengths_user = nullptr;
int32_t* RecordSearch::minScores_intern = nullptr;
int32_t* RecordSearch::minLengths_intern = nullptr;

namespace {

// The rule of a user threshold table: max(floor, ceil(a + k*b)), the sum in
// single precision as the thresholds have always been computed.
struct ThresholdRule {
  int32_t floor_value, a;
  float b;

  int32_t at(size_t k) const
  {
    float value = std::ceil(static_cast<float>(a) + static_cast<float>(k) * b);
    // A value outside the 32-bit range (or not a number) converts to the
    // smallest integer, as the processor's conversion does, so the floor decides.
    int32_t rounded = value >= -2147483648.0f && value < 2147483648.0f ? static_cast<int32_t>(value) : INT32_MIN;
    return rounded > floor_value ? rounded : floor_value;
  }
};

// The tables are fixed by the settings in force at the first construction.
// They cover every unit length up to global_max_unit_length, except that an
// enormous maximum is only covered as far as a record can use it: a unit
// must be shorter than its record, so entries beyond the longest record so
// far are added when a longer record comes.
struct ThresholdTables {
  bool built = false;
  ThresholdRule score_rule{}, length_rule{};
  std::vector<int32_t> scores_user, lengths_user, scores_intern, lengths_intern;

  void cover(size_t entries)
  {
    if (built && scores_user.size() >= entries)
      return;
    if (!built) {
      score_rule = {global_min_score, global_min_score_a, global_min_score_bx};
      length_rule = {global_min_length, global_min_length_a, global_min_length_bx};
      built = true;
    }
    for (size_t k = scores_user.size(); k < entries; ++k) {
      scores_user.push_back(score_rule.at(k));
      lengths_user.push_back(length_rule.at(k));
      scores_intern.push_back(k < 4 ? 4 : static_cast<int32_t>(k)); // seeds: max(k, 4)
      lengths_intern.push_back(0);
    }
    RecordSearch::minScores_user = scores_user.data();
    RecordSearch::minLengths_user = lengths_user.data();
    RecordSearch::minScores_intern = scores_intern.data();
    RecordSearch::minLengths_intern = lengths_intern.data();
  }
};

ThresholdTables tables;

std::atomic<uint64_t> searches{0};

// Entries a record of this many residues needs: every unit length up to the
// maximum that is shorter than the record.
size_t entries_for(size_t residues)
{
  const size_t usable = std::max<size_t>(residues, 1024);
  return std::min<size_t>(global_max_unit_length, usable) + 1;
}

} // namespace

bool RecordSearch::tables_cover(size_t residues)
{
  return tables.built && tables.scores_user.size() >= entries_for(residues);
}

RecordSearch::RecordSearch(unsigned int seq_number, FastaRecord& seq)
    : seq_number(seq_number), seq(seq), exact_sats(repeat_pool), imperfect_sats(repeat_pool), search_id(++searches)
{
  tables.cover(entries_for(seq.residues.size()));
  minScores = minScores_user;
  minLengths = minLengths_user;
}

void RecordSearch::release_tables()
{
  tables = ThresholdTables();
  minScores_user = minLengths_user = minScores_intern = minLengths_intern = nullptr;
  minScores = minLengths = nullptr;
}

RecordSearch::~RecordSearch() = default; // imperfect_sats first, then exact_sats

void RecordSearch::progress(size_t offset, unsigned int unit_length) const
{
  if ((offset & 0xff) == 0 && console && check_report_status())
    report_status(seq_number, seq.name.c_str(), unit_length, 'r');
}

void trim_Ns(Repeat& sat)
{
  while (sat.sat_end[-1] == 'N') {
    --sat.sat_end;
    sat.unit_phase_right = (sat.unit_phase_right == sat.unit_begin ? sat.unit_end : sat.unit_phase_right) - 1;
    --sat.num_Ns;
  }
  while (*sat.sat_begin == 'N') {
    ++sat.sat_begin;
    if (++sat.unit_phase_left == sat.unit_end)
      sat.unit_phase_left = sat.unit_begin;
    --sat.num_Ns;
  }
}
