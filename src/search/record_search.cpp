#include "search/record_search.h"

#include "parallel/thread_pool.h"

#include <algorithm>
#include <atomic>
#include <cmath>

Scoring::Scoring(const Settings& settings)
    : mismatch(settings.mismatch_score), indel(settings.indel_score), prefer_longer(settings.prefer_longer_repeat),
      reduction_limited(settings.maximum_scorereduction != SCOREREDUCTION_UNLIMITED),
      max_reduction(settings.maximum_scorereduction),
      // The depth is carried in 8 bits, so deeper settings are clamped.
      max_depth(static_cast<unsigned>(std::min(settings.maximum_recursion_depth, 255))),
      allowed_Ns(static_cast<uint32_t>(settings.Ns_allowed_in_a_row)),
      pass_Ns(settings.Ns_allowed_in_a_row != 0 && !settings.treat_Ns_as_missense)
{
}

namespace {

// A user threshold: max(floor, ceil(a + k*b)), the sum in single precision
// as the thresholds have always been computed.
int32_t threshold(int32_t floor_value, int32_t a, float b, size_t k)
{
  float value = std::ceil(static_cast<float>(a) + static_cast<float>(k) * b);
  // A value outside the 32-bit range (or not a number) converts to the
  // smallest integer, as the processor's conversion does, so the floor decides.
  int32_t rounded = value >= -2147483648.0f && value < 2147483648.0f ? static_cast<int32_t>(value) : INT32_MIN;
  return rounded > floor_value ? rounded : floor_value;
}

// Entries a record of this many residues needs: every unit length up to the
// maximum that is shorter than the record.
size_t entries_for(size_t residues, unsigned int max_unit_length)
{
  const size_t usable = std::max<size_t>(residues, 1024);
  return std::min<size_t>(max_unit_length, usable) + 1;
}

std::atomic<uint64_t> searches{0};

} // namespace

Thresholds::Thresholds(const Settings& settings) : settings(settings) {}

bool Thresholds::covers(size_t residues) const
{
  return scores_user.size() >= entries_for(residues, settings.max_unit_length);
}

void Thresholds::cover(size_t residues)
{
  const Settings& s = settings;
  for (size_t k = scores_user.size(); k < entries_for(residues, s.max_unit_length); ++k) {
    scores_user.push_back(threshold(s.min_score, s.min_score_a, s.min_score_bx, k));
    lengths_user.push_back(threshold(s.min_length, s.min_length_a, s.min_length_bx, k));
    scores_seeds.push_back(k < 4 ? 4 : static_cast<int32_t>(k)); // seeds: max(k, 4)
    lengths_seeds.push_back(0);
  }
}

RecordSearch::RecordSearch(const SearchSetup& setup, unsigned int seq_number, FastaRecord& seq, ThreadPool* workers,
                           SearchProgress* progress)
    : settings(setup.settings), scoring(setup.scoring), thresholds(setup.thresholds), seq_number(seq_number),
      seq(seq), exact_sats(repeat_pool), imperfect_sats(repeat_pool), workers(workers), progress(progress),
      search_id(++searches), scratch(workers ? workers->size() : 1)
{
}

RepeatList& RecordSearch::search_and_filter()
{
  if (settings.search_mode == 0) {
    exact_search();
    remove_hidden(exact_sats);
    return exact_sats;
  }
  if (settings.search_mode == 1) {
    // It leaves out the mostly hidden repeats itself, before it makes
    // their records.
    search_exact_and_extend_to_imperfect_repeats();
  } else {
    complete_imperfect_search();
    remove_hidden(imperfect_sats);
  }
  filter_perfection(imperfect_sats);
  restore_missense_lists(imperfect_sats);
  return imperfect_sats;
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
