#include "search/CSearchController.h"

#include "main/console.h"
#include "settings/global-types-and-parameters.h"

#include <cmath>

int32_t* CSearchController::minScores_user = nullptr;
int32_t* CSearchController::minLengths_user = nullptr;
int32_t* CSearchController::minScores_intern = nullptr;
int32_t* CSearchController::minLengths_intern = nullptr;
int32_t* CSearchController::minScores = nullptr;
int32_t* CSearchController::minLengths = nullptr;

// max(floor, ceil(a + k*b)) for k = 0 … global_max_unit_length, the sum in
// single precision as the thresholds have always been computed.
static int32_t* threshold_table(int32_t floor_value, int32_t a, float b)
{
  const size_t entries = static_cast<size_t>(global_max_unit_length) + 1;
  int32_t* table = new int32_t[entries];
  for (size_t k = 0; k < entries; ++k) {
    float value = std::ceil(static_cast<float>(a) + static_cast<float>(k) * b);
    // A value outside the 32-bit range (or not a number) converts to the
    // smallest integer, as the processor's conversion does, so the floor decides.
    int32_t rounded = value >= -2147483648.0f && value < 2147483648.0f ? static_cast<int32_t>(value) : INT32_MIN;
    table[k] = rounded > floor_value ? rounded : floor_value;
  }
  return table;
}

CSearchController::CSearchController(unsigned int seq_number, CSequence_Mol& seq)
    : seq_number(seq_number), seq(seq), exact_sats(sat_alloc), imperfect_sats(sat_alloc)
{
  const size_t entries = static_cast<size_t>(global_max_unit_length) + 1;
  if (!minScores_user)
    minScores_user = threshold_table(global_min_score, global_min_score_a, global_min_score_bx);
  if (!minLengths_user)
    minLengths_user = threshold_table(global_min_length, global_min_length_a, global_min_length_bx);
  if (!minScores_intern) {
    minScores_intern = new int32_t[entries];
    for (size_t k = 0; k < entries; ++k)
      minScores_intern[k] = k < 4 ? 4 : static_cast<int32_t>(k);
  }
  if (!minLengths_intern)
    minLengths_intern = new int32_t[entries]();
  minScores = minScores_user;
  minLengths = minLengths_user;
}

void CSearchController::release_tables()
{
  for (int32_t** table : {&minScores_user, &minLengths_user, &minScores_intern, &minLengths_intern}) {
    delete[] *table;
    *table = nullptr;
  }
  minScores = minLengths = nullptr;
}

CSearchController::~CSearchController() = default; // imperfect_sats first, then exact_sats

void CSearchController::progress(size_t offset, unsigned int unit_length) const
{
  if ((offset & 0xff) == 0 && check_report_status())
    report_status(seq_number, seq.name.c_str(), unit_length, 'r');
}

void trim_Ns(Csat& sat)
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
