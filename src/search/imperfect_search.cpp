#include "search/CSearchController.h"

#include "settings/global-types-and-parameters.h"

#include <algorithm>

// Extends a seed record both ways, trims N's at its ends and tests it
// against the active thresholds; an accepted record has its missense list
// sorted.
static bool extend_seed(CSearchController& controller, Csat& sat, const char* first, const char* last)
{
  controller.extend_imperfect_forward(sat, last);
  controller.extend_imperfect_backward(sat, first - 1);
  trim_Ns(sat);
  if (!controller.passes_active_thresholds(sat))
    return false;
  std::sort(sat.missense_list.begin(), sat.missense_list.end(), Csat::lessThan_missense());
  return true;
}

void CSearchController::search_exact_and_extend_to_imperfect_repeats()
{
  std::fputs("  Searching for exact repeats.\n", stderr);
  std::fflush(stderr);
  minScores = minScores_intern;
  minLengths = minLengths_intern;
  exact_search_2();
  minScores = minScores_user;
  minLengths = minLengths_user;
  std::fputs("  Extend exact to imperfect repeats.\n", stderr);
  std::fflush(stderr);

  const char* first = seq.residues.data();
  const char* last = first + seq.residues.size();
  std::list<Csat*>& seeds = exact_sats.sats;
  for (auto it = seeds.begin(); it != seeds.end();) {
    auto next = std::next(it);
    if (extend_seed(*this, **it, first, last))
      imperfect_sats.sats.splice(imperfect_sats.sats.end(), seeds, it);
    else
      exact_sats.remove(it);
    it = next;
  }
  imperfect_sats.sats.sort(lessThan_sat);
}

void CSearchController::complete_imperfect_search(FILE*)
{
  CAnchorSeq marks(seq);
  unsigned int u = global_min_unit_length;
  if (u <= 1) {
    unit_len_1_complete_imperfect_search(marks, imperfect_sats.sats);
    // Mononucleotide runs do not keep longer units from seeding inside them.
    marks.reset();
    u = 2;
  }
  // A unit must be shorter than the sequence for any seed to exist.
  for (; u <= global_max_unit_length && u < seq.residues.size(); ++u)
    one_unit_len_complete_imperfect_search(u, marks, imperfect_sats.sats);
  imperfect_sats.sats.sort(lessThan_sat);
}

namespace {

// Takes an accepted record into the result: its residues are covered, except
// where it deviates from its unit, which stay seed candidates.
void accept(Csat* sat, CAnchorSeq& marks, const char* first, std::list<Csat*>& result)
{
  marks.cover(static_cast<size_t>(sat->sat_begin - first), static_cast<size_t>(sat->sat_end - first));
  for (const missense_entry& e : sat->missense_list)
    marks.free_at(static_cast<size_t>(e.pos - first));
  result.push_back(sat);
}

} // namespace

void CSearchController::unit_len_1_complete_imperfect_search(CAnchorSeq& marks, std::list<Csat*>& result)
{
  const uint32_t n = seq.residues.size();
  const char* s = seq.residues.data();
  Csat* spare = nullptr;
  size_t b = 0;
  while (b < n && s[b] == 'N')
    ++b;
  // Every non-N residue but the last seeds unless a repeat covers it.
  for (; b + 1 < n;) {
    progress(b, 1);
    if (marks.mark(static_cast<ptrdiff_t>(b)) == CAnchorSeq::FREE) {
      Csat* sat = spare ? spare : sat_alloc.get_new(s + b, s + b + 1);
      sat->init(s + b, s + b + 1);
      spare = sat;
      if (extend_seed(*this, *sat, s, s + n)) {
        accept(sat, marks, s, result);
        spare = nullptr;
      }
    }
    ++b;
    while (b < n && s[b] == 'N')
      ++b;
  }
  if (spare)
    sat_alloc.push_back(spare);
}

void CSearchController::one_unit_len_complete_imperfect_search(unsigned int u, CAnchorSeq& marks,
                                                               std::list<Csat*>& result)
{
  const uint32_t n = seq.residues.size();
  const char* s = seq.residues.data();
  Csat* spare = nullptr;
  size_t next_N = 0;
  while (next_N < n && s[next_N] != 'N')
    ++next_N;
  // Seeds [b, b + u) never include the last residue.
  for (size_t b = 0; b + u < n; ++b) {
    progress(b, u);
    if (next_N < b) {
      next_N = b;
      while (next_N < n && s[next_N] != 'N')
        ++next_N;
    }
    const size_t e = b + u;
    if (!marks.window_is_free(b, e) || next_N < e)
      continue;
    bool one_residue = true;
    for (size_t i = b + 1; i < e && one_residue; ++i)
      one_residue = s[i] == s[i - 1];
    if (one_residue)
      continue;

    Csat* sat = spare ? spare : sat_alloc.get_new(s + b, s + e);
    sat->init(s + b, s + e);
    spare = sat;
    if (extend_seed(*this, *sat, s, s + n)) {
      accept(sat, marks, s, result);
      spare = nullptr;
    }
  }
  if (spare)
    sat_alloc.push_back(spare);
}
