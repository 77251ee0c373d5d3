#include "search/record_search.h"

#include "search/search_marks.h"
#include "search/speedups/period_runs.h"
#include "search/unit_walk.h"

#include <algorithm>

// Extends a record to the right and then to the left as long as the residues
// repeat its unit exactly. A run of up to allowed_Ns N's is passed with
// score 0 (unless N's count as mismatches); N's left at either end are
// trimmed afterwards. The seed unit itself scores nothing.
void extend_exact(Repeat& sat, const char* begin, const char* end, const Scoring& g)
{
  const char* c = sat.sat_end;
  exact_phase<1>(c, sat.unit_phase_right, sat.unit_begin, sat.unit_end, end, sat.score, sat.num_Ns, g.allowed_Ns,
                 g.pass_Ns);
  sat.sat_end = c;

  c = sat.sat_begin - 1;
  exact_phase<-1>(c, sat.unit_phase_left, sat.unit_begin, sat.unit_end, begin - 1, sat.score, sat.num_Ns,
                  g.allowed_Ns, g.pass_Ns);
  sat.sat_begin = c + 1;
  trim_Ns(sat);
}

void RecordSearch::exact_search()
{
  find_exact_repeats(thresholds.user(), [this](Repeat* sat) {
    exact_sats.sats.push_back(sat);
    return true;
  });
  exact_sats.sats.sort(lessThan_sat);
}

void RecordSearch::find_exact_repeats(const ThresholdTable& active, const std::function<bool(Repeat*)>& take)
{
  const uint32_t n = seq.residues.size();
  if (n == 0)
    return;
  const char* s = seq.residues.data();
  const char* s_end = s + n;
  const ThresholdTable user = thresholds.user();
  SearchMarks marks(seq);
  Repeat* spare = nullptr;
  auto take_spare = [&](const char* b, const char* e) {
    if (!spare)
      spare = repeat_pool.get_new(b, e);
    else
      spare->init(b, e);
    return spare;
  };
  // Only seeds next to a run of at least active.score[k] residues that agree
  // with the residue one unit earlier can reach that score; all others fail
  // the acceptance test without changing anything, so the scan skips them.
  // (A minimum score of 0 or less lets every seed pass; then all are tried.)
  auto for_each_candidate_range = [&](size_t k, auto&& visit) {
    const int32_t min_score = active.score[k];
    if (min_score <= 0) {
      visit(size_t(0), size_t(n));
      return;
    }
    for_each_period_run(s, n, k, static_cast<size_t>(min_score), visit,
                        [&](size_t base) { progress_at(base, static_cast<unsigned int>(k)); });
  };

  // Unit length 1: after an accepted run the next seed is the residue after
  // it. The seed p extends over the agreeing positions through p and p + 1.
  if (settings.min_unit_length <= 1) {
    size_t p = 0;
    auto skip_Ns = [&] {
      while (p < n && s[p] == 'N')
        ++p;
    };
    skip_Ns();
    for_each_candidate_range(1, [&](size_t x0, size_t x1) {
      if (p + 1 < x0) {
        p = x0 - 1;
        skip_Ns();
      }
      while (p + 1 < n && p + 1 <= x1) {
        progress_at(p, 1);
        Repeat* sat = take_spare(s + p, s + p + 1);
        extend_exact(*sat, s, s_end, scoring);
        if (active.passes(*sat)) {
          p = static_cast<size_t>(sat->sat_end - s) - 1;
          if (take(sat))
            spare = nullptr;
        }
        ++p;
        skip_Ns();
      }
    });
  }

  // A unit must be shorter than the sequence for any window to exist.
  for (size_t k = settings.min_unit_length < 2 ? 2 : settings.min_unit_length; k <= settings.max_unit_length && k < n;
       ++k) {
    // The first N at or after the window start.
    size_t next_N = first_N_from(s, n, 0);
    // The window [w, w + k) extends over the agreeing positions through
    // w + k - 1 and w + k. Windows end one residue before the sequence end
    // at the latest: a repeat touching the last residue is found from an
    // earlier window.
    for_each_candidate_range(k, [&](size_t x0, size_t x1) {
      const size_t last = std::min(x1 < k ? 0 : x1 - k, static_cast<size_t>(n) - k - 1);
      for (size_t w = x0 < k ? 0 : x0 - k; w <= last; ++w) {
        progress_at(w, static_cast<unsigned int>(k));
        if (next_N < w)
          next_N = first_N_from(s, n, w);
        if (!marks.window_is_free(w, w + k) || next_N < w + k)
          continue;
        const char* ws = s + w;
        bool one_residue = true;
        for (size_t i = 1; i < k && one_residue; ++i)
          one_residue = ws[i] == ws[0];
        if (one_residue)
          continue; // such stretches belong to unit length 1

        Repeat* sat = take_spare(ws, ws + k);
        extend_exact(*sat, s, s_end, scoring);
        if (!active.passes(*sat))
          continue;
        // Only a repeat the user would see keeps the windows inside it from
        // being tried again, now and for longer units.
        if (user.passes(*sat)) {
          const float perfection = sat->perfection(settings.N_and_perfection_mode);
          if (settings.min_perfection <= perfection && perfection <= settings.max_perfection) {
            marks.cover(static_cast<size_t>(sat->sat_begin - s), static_cast<size_t>(sat->sat_end - s));
            for (const missense_entry& e : sat->missense_list)
              marks.free_at(static_cast<size_t>(e.pos - s));
          }
        }
        if (take(sat))
          spare = nullptr;
      }
    });
  }

  if (spare)
    repeat_pool.push_back(spare);
}
