// Over long imperfect arrays the extension follows paths that earlier seeds
// walked (see walked_paths.h). A finite maximum score reduction too large
// to ever bind prunes exactly like the unlimited one but walks every seed
// on its own, so it gives the reference: every seed of a diverged array
// must extend to the same record, field by field and edit by edit, whether
// its walk is its own or follows others, and with its list or without.

#include "parallel/ordered_walk.h"
#include "parallel/thread_pool.h"
#include "search/record_search.h"
#include "search/speedups/alignment_bound.h"
#include "search/speedups/deferred_marks.h"
#include "search/speedups/seed_filter.h"
#include "search/speedups/self_alignment_bound.h"
#include "settings/settings.h"
#include "test_random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <limits>
#include <optional>
#include <random>
#include <string>

namespace {

// A (ATTCC)n array with 10% substitutions and 2% indels, or with every
// seventh residue a G over (AC)n, between random flanks.
std::string array(bool attcc, size_t length)
{
  TestRandom random{42};
  auto next = [&random] { return random.next(); };
  auto base = [&random] { return random.base(); };
  std::string s;
  for (int i = 0; i < 300; ++i)
    s += base();
  for (size_t i = 0; s.size() < 300 + length; ++i) {
    if (!attcc) {
      s += (i + 1) % 7 == 0 ? 'G' : "AC"[i % 2];
      continue;
    }
    const uint32_t dice = next() % 100;
    if (dice < 10)
      s += base();
    else if (dice == 10)
      s += std::string(1, "ATTCC"[i % 5]) + base();
    else if (dice != 11)
      s += "ATTCC"[i % 5];
  }
  for (int i = 0; i < 300; ++i)
    s += base();
  return s;
}

std::string describe(const Repeat& r, const char* s, bool with_list = true)
{
  std::string d = std::to_string(r.sat_begin - s) + "-" + std::to_string(r.sat_end - s) + " phases " +
                  std::to_string(r.unit_phase_left - s) + "," + std::to_string(r.unit_phase_right - s) + " score " +
                  std::to_string(r.score) + " M" + std::to_string(r.num_mismatches) + " I" +
                  std::to_string(r.num_insertions) + " D" + std::to_string(r.num_deletions) + " N" +
                  std::to_string(r.num_Ns) + ":";
  if (with_list)
    for (const missense_entry& e : r.missense_list)
      d += " " + std::to_string(e.pos - s) + e.kind;
  return d;
}

// The scores of the extension of the seed [b, b + u) of the record [s,
// end): as far as it went forward, and in all.
struct Extended {
  int32_t forward, score;
};
Extended extend_both_ways(RecordSearch& c, const char* s, const char* end, const char* b, uint32_t u)
{
  Repeat sat;
  sat.init(b, b + u);
  c.extend_imperfect_forward(sat, end, c.scratch[0]);
  const int32_t forward = sat.score;
  c.extend_imperfect_backward(sat, s - 1, c.scratch[0]);
  return {forward, sat.score};
}

TEST(WalkedPaths, FollowingAnEarlierWalkGivesTheRecordOfAnOwnWalk)
{
  for (bool attcc : {true, false}) {
    for (int prefer_longer : {1, 0}) {
      Settings settings;
      settings.prefer_longer_repeat = prefer_longer;
      Settings bounded = settings;
      bounded.maximum_scorereduction = SCOREREDUCTION_UNLIMITED - 1;
      const SearchSetup setup(settings), setup_bounded(bounded);
      FastaRecord seq;
      const std::string text = array(attcc, 1500);
      seq.residues.assign(text.data(), static_cast<uint32_t>(text.size()));
      const char* s = seq.residues.data();
      const char* end = s + seq.residues.size();
      RecordSearch shared(setup, 1, seq);
      SearchScratch& scratch = shared.scratch[0];
      for (size_t u : {2u, 5u, 7u, 10u}) {
        for (size_t b = 300; b + u < 1800; b += 11) {
          Repeat followed, own, counted;
          followed.init(s + b, s + b + u);
          shared.extend_imperfect_forward(followed, end, scratch);
          shared.extend_imperfect_backward(followed, s - 1, scratch);
          // A record without its list jumps over the followed stretches.
          counted.init(s + b, s + b + u);
          counted.missense_dropped = true;
          shared.extend_imperfect_forward(counted, end, scratch);
          shared.extend_imperfect_backward(counted, s - 1, scratch);
          RecordSearch alone(setup_bounded, 2, seq);
          own.init(s + b, s + b + u);
          alone.extend_imperfect_forward(own, end, alone.scratch[0]);
          alone.extend_imperfect_backward(own, s - 1, alone.scratch[0]);
          ASSERT_EQ(describe(followed, s), describe(own, s))
              << (attcc ? "ATTCC" : "AC/7") << " unit " << u << " seed " << b << " P " << prefer_longer;
          ASSERT_EQ(describe(counted, s, false), describe(own, s, false)) << "without list, seed " << b;
        }
      }
    }
  }
}

// A walk over 1 Mb of the array commits about 94,000 edits: the walk that
// follows it passes blocks of 65,536 points at once.
TEST(WalkedPaths, FollowingAPathLongerThanTheLargestBlock)
{
  Settings settings, bounded;
  bounded.maximum_scorereduction = SCOREREDUCTION_UNLIMITED - 1;
  const SearchSetup setup(settings), setup_bounded(bounded);
  FastaRecord seq;
  const std::string text = array(true, 1000000);
  seq.residues.assign(text.data(), static_cast<uint32_t>(text.size()));
  const char* s = seq.residues.data();
  const char* end = s + seq.residues.size();
  RecordSearch shared(setup, 1, seq), alone(setup_bounded, 2, seq);
  // Two seeds of one unit, five residues apart.
  const size_t first_seed = text.find("ATTCCATTCCATTCC", 300);
  for (size_t b : {first_seed, first_seed + 5}) {
    Repeat followed, own;
    followed.init(s + b, s + b + 5);
    shared.extend_imperfect_forward(followed, end, shared.scratch[0]);
    own.init(s + b, s + b + 5);
    alone.extend_imperfect_forward(own, end, alone.scratch[0]);
    ASSERT_GT(own.num_edits(), 90000u) << describe(own, s, false);
    ASSERT_EQ(describe(followed, s), describe(own, s)) << "seed " << b;
  }
}

// A copy of the marks of a window, as a worker walking ahead takes it,
// answers as the whole marks do for each residue of the window, at the
// record's ends and at word boundaries, also after covers and frees that
// cross word boundaries.
TEST(SearchMarks, ACopyOfAWindowAnswersAsTheWholeMarks)
{
  FastaRecord seq;
  const std::string text(1000, 'A');
  seq.residues.assign(text.data(), static_cast<uint32_t>(text.size()));
  SearchMarks whole(seq);
  std::mt19937 random(7);
  for (int k = 0; k < 40; ++k) {
    const size_t b = random() % 990;
    whole.cover(b, b + random() % 10);
  }
  const ptrdiff_t n = 1000;
  for (const auto& [lo, hi] : std::vector<std::pair<ptrdiff_t, ptrdiff_t>>{
           {-1, n + 1}, {-1, 63}, {62, 64}, {63, 127}, {100, 300}, {190, 192}, {n - 64, n + 1}}) {
    SearchMarks copy(whole, lo, hi), again = whole;
    for (int k = 0; k < 6; ++k) {
      const size_t b = static_cast<size_t>(lo + 1) + random() % static_cast<size_t>(hi - lo - 1);
      const size_t e = std::min<size_t>(b + random() % 80, static_cast<size_t>(hi));
      if (k % 2) {
        copy.cover(b, e);
        again.cover(b, e);
      } else {
        copy.free_at(b);
        again.free_at(b);
      }
      for (ptrdiff_t i = lo; i < hi; ++i)
        ASSERT_EQ(copy.is_free(i), again.is_free(i)) << "window " << lo << "-" << hi << " residue " << i;
    }
  }
}

// Seeds extended in order, each covered in the marks as it is accepted: the
// marks set when read, with the edits along walked paths listed by
// reference and their covering deferred, must be those of covering each
// record at once with its whole list, at every read and at the end.
TEST(DeferredMarks, AreThoseOfCoveringEachRecordAtOnce)
{
  for (bool attcc : {true, false}) {
    const Settings settings;
    const SearchSetup setup(settings);
    FastaRecord seq;
    const std::string text = array(attcc, 3000);
    seq.residues.assign(text.data(), static_cast<uint32_t>(text.size()));
    const char* s = seq.residues.data();
    const char* end = s + seq.residues.size();
    RecordSearch c(setup, 1, seq);
    SearchMarks set_later(seq), at_once(seq);
    EditsByReference followed;
    size_t by_reference = 0;
    for (size_t u : {5u, 7u}) {
      DeferredMarks deferred(set_later, c.scratch[0], walks_of_pass(c.search_id, static_cast<uint32_t>(u)), s);
      for (size_t b = 300; b + u < 3300; b += 3) {
        Repeat sat, whole;
        sat.init(s + b, s + b + u);
        followed.edits.clear();
        c.extend_imperfect_forward(sat, end, c.scratch[0], &followed);
        c.extend_imperfect_backward(sat, s - 1, c.scratch[0], &followed);
        whole.init(s + b, s + b + u);
        c.extend_imperfect_forward(whole, end, c.scratch[0]);
        c.extend_imperfect_backward(whole, s - 1, c.scratch[0]);
        size_t edits = sat.missense_list.size();
        for (const FollowedEdits& f : followed.edits)
          edits += f.to - f.from;
        ASSERT_EQ(edits, whole.missense_list.size()) << "seed " << b;
        by_reference += !followed.edits.empty();
        deferred.cover(sat, followed.edits);
        at_once.cover(static_cast<size_t>(whole.sat_begin - s), static_cast<size_t>(whole.sat_end - s));
        for (const missense_entry& m : whole.missense_list)
          at_once.free_at(static_cast<size_t>(m.pos - s));
        for (ptrdiff_t i = static_cast<ptrdiff_t>(b) - 1; i < static_cast<ptrdiff_t>(b + 40); ++i)
          ASSERT_EQ(deferred.is_free(i), at_once.is_free(i)) << "unit " << u << " seed " << b << " residue " << i;
      }
      // A repeat covered at once inside the deferred ones splits them; a
      // read in its residues settles the deferred ones after it.
      Repeat inner;
      inner.init(s + 1000, s + 1000 + u);
      inner.sat_end = s + 1050;
      deferred.cover(inner, {});
      at_once.cover(1000, 1050);
      for (ptrdiff_t i = 1010; i < 1400; ++i)
        ASSERT_EQ(deferred.is_free(i), at_once.is_free(i)) << "unit " << u << " residue " << i;
      deferred.settle_all();
      for (size_t i = 0; i < text.size(); ++i)
        ASSERT_EQ(set_later.is_free(static_cast<ptrdiff_t>(i)), at_once.is_free(static_cast<ptrdiff_t>(i)))
            << "unit " << u << " residue " << i;
    }
    EXPECT_GT(by_reference, 100u) << (attcc ? "ATTCC" : "AC/7");
  }
}

// A seed that the filter turns away must extend to a score below the
// threshold, under several scorings and thresholds, with N's, near the
// record's ends; and
// with the default scores the filter must turn away most seeds of random
// sequence.
TEST(SeedFilter, TurnsAwayOnlySeedsThatExtendBelowTheThreshold)
{
  struct Scoring {
    int32_t mismatch, indel, prefer_longer, reduction;
  };
  for (const Scoring& sc : {Scoring{-5, -5, 1, SCOREREDUCTION_UNLIMITED}, Scoring{-3, -7, 0, SCOREREDUCTION_UNLIMITED},
                            Scoring{-5, -5, 1, 10}, Scoring{-8, -2, 1, SCOREREDUCTION_UNLIMITED}}) {
    Settings settings;
    settings.mismatch_score = sc.mismatch;
    settings.indel_score = sc.indel;
    settings.prefer_longer_repeat = sc.prefer_longer;
    settings.maximum_scorereduction = sc.reduction;
    const SearchSetup setup(settings);
    FastaRecord seq;
    // First, after random residues, a seed ACGT that reads CGT exactly
    // before it and then, past one mismatch, GTACGT: it reaches 4 only
    // through what it gains backward.
    std::string text = array(false, 0).substr(0, 60) + "TATTTAGTACGTTCGTACGTGTTATTT" + array(true, 600) +
                       array(false, 300);
    for (size_t i = 100; i < text.size(); i += 97)
      text.replace(i, i % 3 + 1, i % 3 + 1, 'N');
    seq.residues.assign(text.data(), static_cast<uint32_t>(text.size()));
    const char* s = seq.residues.data();
    const char* end = s + seq.residues.size();
    RecordSearch c(setup, 1, seq);
    size_t seeds = 0, turned_away = 0;
    for (uint32_t u = 1; u <= 10; ++u) {
      for (int32_t min_score : {4, 5, 6, 10, 14}) {
        SeedFilter filter(s, end, u, min_score, setup.scoring);
        for (size_t b = 0; b + u < text.size(); ++b) {
          if (text.find('N', b) < b + u)
            continue;
          seeds += min_score == 6 && b < 300;
          if (!filter.falls_short(s + b))
            continue;
          ASSERT_LT(extend_both_ways(c, s, end, s + b, u).score, min_score)
              << "unit " << u << " seed " << b << " mismatch " << sc.mismatch;
          turned_away += min_score == 6 && b < 300;
        }
      }
    }
    // In the random flank, with edits of 5.
    if (sc.mismatch == sc.indel) {
      EXPECT_GT(turned_away * 2, seeds);
    }
  }
}

// Residues of a FASTA file of the oracle corpus, records joined, upper case.
std::string residues_of(const std::string& name)
{
  std::ifstream in(std::string(ZERLAN_ORACLE_INPUTS) + "/" + name);
  std::string line, s;
  while (std::getline(in, line))
    if (!line.empty() && line[0] != '>')
      for (char ch : line)
        if (std::isalpha(static_cast<unsigned char>(ch)))
          s += static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
  return s;
}

// A random unit of the given length repeated over length residues with 10%
// substitutions and 2% indels, between random flanks of 200.
std::string minisatellite(size_t unit_length, size_t length, uint64_t state)
{
  TestRandom random{state};
  auto next = [&random] { return random.next(); };
  auto base = [&random] { return random.base(); };
  std::string unit, s;
  while (unit.size() < unit_length)
    unit += base();
  for (int i = 0; i < 200; ++i)
    s += base();
  for (size_t i = 0; s.size() < 200 + length; ++i) {
    const uint32_t dice = next() % 100;
    if (dice < 10)
      s += base();
    else if (dice == 10)
      s += std::string(1, unit[i % unit_length]) + base();
    else if (dice != 11)
      s += unit[i % unit_length];
  }
  for (int i = 0; i < 200; ++i)
    s += base();
  return s;
}

// The default thresholds of the unit lengths up to 64: the unit length,
// and at least 6.
std::vector<int32_t> default_min_scores()
{
  std::vector<int32_t> min_score(65);
  for (uint32_t u = 0; u <= 64; ++u)
    min_score[u] = static_cast<int32_t>(std::max(u, 6u));
  return min_score;
}

// Calls f(t, text, s, end, search, bound) for each text the alignment
// bound is tried on: random sequence, minisatellite arrays of units of 23,
// 64 and 47, and real windows (E. coli, human blocks, flanks with an N run).
template <typename F>
void for_each_bound_text(const SearchSetup& setup, F f)
{
  const std::string minisatellites = residues_of("minisatellites.fa");
  const std::vector<std::string> texts = {
      array(false, 0) + array(false, 0), minisatellite(23, 900, 1), minisatellite(64, 1500, 2),
      minisatellite(47, 1000, 3), residues_of("ecoli_window.fa").substr(0, 1500),
      residues_of("human_blocks.fa").substr(5000, 1500), minisatellites.substr(minisatellites.find('N') - 700, 1500)};
  for (size_t t = 0; t < texts.size(); ++t) {
    FastaRecord seq;
    seq.residues.assign(texts[t].data(), static_cast<uint32_t>(texts[t].size()));
    const char* s = seq.residues.data();
    const char* end = s + seq.residues.size();
    RecordSearch search(setup, 1, seq);
    AlignmentBound bound(s, end, setup.scoring);
    f(t, texts[t], s, end, search, bound);
  }
}

// The bound of the alignments beside a seed is at least the score that its
// extension reaches forward, and then backward from there: for seeds of
// random sequence, of diverged minisatellite arrays at their own and at
// other unit lengths, and of real windows with N runs, at unit lengths up
// to 64, under several scorings. In random sequence it turns away nearly
// every seed of a long unit.
TEST(AlignmentBound, IsAtLeastTheScoreTheExtensionReaches)
{
  struct Scoring {
    int32_t mismatch, indel, prefer_longer, reduction;
  };
  for (const Scoring& sc : {Scoring{-5, -5, 1, SCOREREDUCTION_UNLIMITED}, Scoring{-3, -7, 0, SCOREREDUCTION_UNLIMITED},
                            Scoring{-8, -2, 1, 10}}) {
    Settings settings;
    settings.mismatch_score = sc.mismatch;
    settings.indel_score = sc.indel;
    settings.prefer_longer_repeat = sc.prefer_longer;
    settings.maximum_scorereduction = sc.reduction;
    const SearchSetup setup(settings);
    size_t random_seeds = 0, random_turned_away = 0;
    for_each_bound_text(setup, [&](size_t t, const std::string& text, const char* s, const char* end,
                                   RecordSearch& c, AlignmentBound& bound) {
      for (uint32_t u : {1u, 2u, 3u, 5u, 8u, 13u, 23u, 34u, 46u, 47u, 48u, 64u}) {
        const int64_t floor = setup.scoring.floor(u);
        for (size_t b = t % 5; b + u < text.size(); b += 5) {
          if (text.find('N', b) < b + u)
            continue;
          const char* ub = s + b;
          const char* ue = ub + u;
          const int64_t forward = bound.best_score<1>(ue, ub, ub, ue, end, 0, floor, INT64_MAX);
          Repeat sat;
          sat.init(ub, ue);
          c.extend_imperfect_forward(sat, end, c.scratch[0]);
          ASSERT_LE(sat.score, forward) << "text " << t << " unit " << u << " seed " << b;
          if (forward == INT64_MAX)
            continue; // alignments that live too long to follow: no bound
          const int64_t both = bound.best_score<-1>(ub - 1, ue - 1, ub, ue, s - 1, static_cast<int32_t>(forward),
                                                    floor, INT64_MAX);
          c.extend_imperfect_backward(sat, s - 1, c.scratch[0]);
          ASSERT_LE(sat.score, both) << "text " << t << " unit " << u << " seed " << b;
          if (t == 0 && u >= 23) {
            ++random_seeds;
            random_turned_away += bound.falls_short(ub, u, static_cast<int32_t>(u));
          }
        }
      }
    });
    if (sc.mismatch == sc.indel) {
      EXPECT_GT(random_turned_away * 100, random_seeds * 99);
    }
  }
}

// The rows of a table written out plainly: row i reads residues[i], in the
// walk's order; column j stands for the characters column(j) (a residue
// that matches either scores 1, an N that matches neither 0); seeds 0 to
// k - 1 start with the score start at row t, column t. A unit character
// may be left out, and a cell at low or below passes on nothing. Gives the
// best score of the living cells and the cells of their living spans, if
// they all die within the residues and take at most most cells.
struct PlainRows {
  int64_t best;
  uint64_t cells;
};
template <class Column>
std::optional<PlainRows> plain_best_score(const std::string& residues, Column column, size_t k, int64_t start,
                                          int64_t low, int64_t mismatch, int64_t indel, uint64_t most)
{
  const int64_t none = INT64_MIN / 4;
  const size_t width = residues.size() + k + static_cast<size_t>((start + residues.size() - low) / -indel) + 2;
  std::vector<int64_t> row(width, none), next(width);
  int64_t best = start;
  uint64_t cells = 0;
  // Carries each cell on to the next, cuts the row and gives its living
  // span.
  auto close = [&](std::vector<int64_t>& r) {
    size_t a = width, e = 0;
    for (size_t j = 0; j < width; ++j) {
      if (j > 0)
        r[j] = std::max(r[j], r[j - 1] + indel);
      r[j] = r[j] > low ? r[j] : none;
      if (r[j] != none) {
        a = std::min(a, j);
        e = j + 1;
      }
    }
    return e > a ? e - a : 0;
  };
  for (size_t i = 0;; ++i) {
    if (i < k) {
      row[i] = std::max(row[i], start);
      close(row);
    }
    if (i == residues.size())
      return std::nullopt;
    next[0] = row[0] + indel;
    for (size_t j = 1; j < width; ++j) {
      const std::pair<char, char> c = column(j - 1);
      const char x = residues[i];
      const int64_t score = x == c.first || x == c.second ? 1 : x == 'N' ? 0 : mismatch;
      next[j] = std::max(row[j] + indel, row[j - 1] + score);
    }
    row.swap(next);
    cells += close(row);
    for (const int64_t cell : row)
      best = std::max(best, cell);
    if (cells > most)
      return std::nullopt;
    if (i + 1 >= k && *std::max_element(row.begin(), row.end()) == none)
      return PlainRows{best, cells};
  }
}

// The bound of a single seed, and of a run of seeds, is no looser than its
// definition: each way, in rows of 16-bit cells in lanes and of plain
// 32-bit cells, a single seed's best score is that of the plainly written
// rows over the next 120 residues; a run falls short exactly where the
// plainly written rows of its seeds, each column standing for the residues
// that the run's seeds read there, stay below the threshold. Both count the
// living cells of the plain rows.
TEST(AlignmentBound, IsTheBestScoreOfTheRowsWrittenPlainly)
{
  const Settings settings;
  const SearchSetup setup(settings);
  const int64_t m = setup.scoring.mismatch, g = setup.scoring.indel;
  size_t runs_checked = 0;
  for_each_bound_text(setup, [&](size_t t, const std::string& text, const char* s, const char*, RecordSearch&,
                                 AlignmentBound& bound) {
    for (uint32_t u : {3u, 16u, 47u}) {
      const int64_t floor = setup.scoring.floor(u);
      for (size_t b = 120 + t % 11; b + u + 120 < text.size(); b += 11) {
        if (text.find('N', b) < b + u)
          continue;
        const char* ub = s + b;
        const char* ue = ub + u;
        const std::string unit = text.substr(b, u);
        std::string behind = text.substr(b - 120, 120), unit_behind = unit;
        std::reverse(behind.begin(), behind.end());
        std::reverse(unit_behind.begin(), unit_behind.end());
        auto unit_ahead = [&](size_t j) { return std::make_pair(unit[j % u], unit[j % u]); };
        auto unit_back = [&](size_t j) { return std::make_pair(unit_behind[j % u], unit_behind[j % u]); };
        const std::optional<PlainRows> ahead = plain_best_score(text.substr(b + u, 120), unit_ahead, 1, 0, floor, m,
                                                                g, UINT64_MAX);
        const std::optional<PlainRows> back = plain_best_score(behind, unit_back, 1, 5, floor, m, g, UINT64_MAX);
        for (const int64_t enough : {int64_t(16000), INT64_MAX}) {
          if (ahead) {
            const uint64_t cells = bound.living_cells;
            ASSERT_EQ(bound.best_score<1>(ue, ub, ub, ue, ue + 120, 0, floor, enough), ahead->best)
                << "text " << t << " unit " << u << " seed " << b << " up to " << enough;
            ASSERT_EQ(bound.living_cells - cells, ahead->cells) << "text " << t << " unit " << u << " seed " << b;
          }
          if (back) {
            const uint64_t cells = bound.living_cells;
            ASSERT_EQ(bound.best_score<-1>(ub - 1, ue - 1, ub, ue, ub - 121, 5, floor, enough), back->best)
                << "text " << t << " unit " << u << " seed " << b << " up to " << enough;
            ASSERT_EQ(bound.living_cells - cells, back->cells) << "text " << t << " unit " << u << " seed " << b;
          }
        }
        // The run of seeds [b, b + k): column j stands for the residues
        // q[j - c u], c from the fewest copies before it of the run's seeds
        // to the most, q the run's residues in the walk's order from its
        // first seed's start, each way.
        const uint32_t k = std::max(u / 4, 1u);
        if (u < 16 || text.find('N', b) < b + k - 1 + u)
          continue;
        auto run_best = [&](const std::string& q, const std::string& residues, int64_t start) {
          auto columns = [&](size_t j) {
            const size_t most = j / u, fewest = (j - std::min<size_t>(k - 1, j)) / u;
            return std::make_pair(q[j - most * u], q[j - fewest * u]);
          };
          // (Within the run's budget of cells, whose end leaves it to the
          // seeds one by one.)
          return plain_best_score(residues, columns, k, start, floor, m, g, uint64_t(u) * (k + 4 * u) / 2);
        };
        const std::optional<PlainRows> forward = run_best(text.substr(b, k - 1 + u), text.substr(b + u), 0);
        if (!forward)
          continue;
        std::string q = text.substr(b, k - 1 + u), residues = text.substr(0, b + k - 1);
        std::reverse(q.begin(), q.end());
        std::reverse(residues.begin(), residues.end());
        const std::optional<PlainRows> both = run_best(q, residues, forward->best);
        if (!both)
          continue;
        ++runs_checked;
        ASSERT_EQ(bound.stretch_falls_short(ub, k, u, static_cast<int32_t>(both->best)), false)
            << "text " << t << " unit " << u << " run " << b;
        // (Below the threshold both ways, the run's rows are made each way.)
        const uint64_t cells = bound.living_cells;
        ASSERT_EQ(bound.stretch_falls_short(ub, k, u, static_cast<int32_t>(both->best + 1)), true)
            << "text " << t << " unit " << u << " run " << b;
        ASSERT_EQ(bound.living_cells - cells, forward->cells + both->cells)
            << "text " << t << " unit " << u << " run " << b;
      }
    }
  });
  EXPECT_GT(runs_checked, 500u);
}

// Rows made in vector lanes, where the processor has them, give the scores
// of rows made cell by cell: for single seeds and runs of seeds, each way,
// with an N among the residues and under scorings with cheap and dear gaps,
// in vectors of 32 lanes and of 16. Lanes hold cells of 16 bits and serve
// where the scores stay within bounds (here up to enough), plain rows where
// they may grow without end; gaps of -1000 are the dearest that lanes take,
// and -1001 goes back to plain rows.
// Two runs tried at once, their tables made side by side, get the verdicts
// that each gets alone, from the same cells, whichever ways each one's
// proof takes (backward first where its forward gain is bounded, or
// forward, then backward or not) and whichever table ends first.
TEST(AlignmentBound, RunsTriedSideBySideGetTheirVerdictsAlone)
{
  const Settings settings;
  const SearchSetup setup(settings);
  size_t turned_away = 0, let_through = 0;
  for_each_bound_text(setup, [&](size_t t, const std::string& text, const char* s, const char* end, RecordSearch&,
                                 AlignmentBound&) {
    for (const int most_lanes : {32, 16, 0}) {
      AlignmentBound together(s, end, setup.scoring, most_lanes), alone(s, end, setup.scoring, most_lanes);
      for (uint32_t u : {16u, 47u, 64u, 100u}) {
        const int32_t min_score = static_cast<int32_t>(t % 2 ? u : u / 2);
        // Backward gains that, with a forward one of a few, just make the
        // threshold or just miss it, too.
        const int32_t near = min_score - static_cast<int32_t>(t % 8);
        const GainBounds ways[] = {GainBounds{}, GainBounds{min_score / 2, GainBounds::UNBOUNDED},
                                   GainBounds{GainBounds::UNBOUNDED, 0}, GainBounds{min_score - 1, 1},
                                   GainBounds{GainBounds::UNBOUNDED, near}, GainBounds{GainBounds::UNBOUNDED, near - 1}};
        for (size_t b = t % 5; b + 3 * u < text.size(); b += u / 2 + 3) {
          const uint32_t k[2] = {std::max(u / 4, 1u), std::max(u / static_cast<uint32_t>(4 + b % 3), 1u)};
          const char* const b0[2] = {s + b, s + b + k[0] + b % 5};
          const GainBounds most[2] = {ways[b % 6], ways[(b / 6) % 6]};
          bool verdicts[2];
          together.stretches_fall_short(b0, k, u, min_score, most, verdicts);
          for (int p = 0; p < 2; ++p) {
            ASSERT_EQ(verdicts[p], alone.stretch_falls_short(b0[p], k[p], u, min_score, most[p]))
                << "text " << t << " unit " << u << " run " << (b0[p] - s) << " lanes " << most_lanes;
            (verdicts[p] ? turned_away : let_through)++;
          }
          ASSERT_EQ(together.living_cells, alone.living_cells) << "text " << t << " unit " << u << " run " << b;
        }
      }
    }
  });
  EXPECT_GT(turned_away, 100u);
  EXPECT_GT(let_through, 100u);
}

TEST(AlignmentBound, RowsInLanesGiveTheScoresOfPlainRows)
{
  struct Scoring {
    int32_t mismatch, indel;
  };
  bool in_16_lanes = false;
  for (const Scoring& sc : {Scoring{-7, -7}, Scoring{-3, -7}, Scoring{-8, -2}, Scoring{-1000, -1000},
                            Scoring{-2, -1001}}) {
    Settings settings;
    settings.mismatch_score = sc.mismatch;
    settings.indel_score = sc.indel;
    const SearchSetup setup(settings);
    for_each_bound_text(setup, [&](size_t t, const std::string& text, const char* s, const char* end, RecordSearch&,
                                   AlignmentBound&) {
      for (const int most_lanes : {32, 16}) {
        AlignmentBound lanes(s, end, setup.scoring, most_lanes), plain(s, end, setup.scoring, 0);
        // Plain rows are slow, and tables that run up to no score live long.
        lanes.cells_per_unit_character = plain.cells_per_unit_character = 128;
        in_16_lanes |= lanes.lanes() == 16;
        SCOPED_TRACE(testing::Message() << "in " << lanes.lanes() << " lanes");
        for (uint32_t u : {3u, 16u, 47u, 64u}) {
          const int64_t floor = setup.scoring.floor(u);
          for (size_t b = t % 7 + 1; b + 2 * u < text.size(); b += 7) {
            const char* ub = s + b;
            const char* ue = ub + u;
            ASSERT_EQ(lanes.best_score<1>(ue, ub, ub, ue, end, 0, floor, INT64_MAX),
                      plain.best_score<1>(ue, ub, ub, ue, end, 0, floor, INT64_MAX))
                << "text " << t << " unit " << u << " seed " << b;
            ASSERT_EQ(lanes.best_score<-1>(ub - 1, ue - 1, ub, ue, s - 1, 3, floor, INT64_MAX),
                      plain.best_score<-1>(ub - 1, ue - 1, ub, ue, s - 1, 3, floor, INT64_MAX))
                << "text " << t << " unit " << u << " seed " << b;
            for (const int64_t enough : {int64_t(u), int64_t(16000)}) {
              ASSERT_EQ(lanes.best_score<1>(ue, ub, ub, ue, end, 0, -16000, enough),
                        plain.best_score<1>(ue, ub, ub, ue, end, 0, -16000, enough))
                  << "text " << t << " unit " << u << " seed " << b << " up to " << enough;
              ASSERT_EQ(lanes.best_score<-1>(ub - 1, ue - 1, ub, ue, s - 1, -3, floor, enough),
                        plain.best_score<-1>(ub - 1, ue - 1, ub, ue, s - 1, -3, floor, enough))
                  << "text " << t << " unit " << u << " seed " << b << " up to " << enough;
            }
            const uint32_t k = std::max(u / 4, 1u);
            ASSERT_EQ(lanes.stretch_falls_short(ub, k, u, static_cast<int32_t>(u)),
                      plain.stretch_falls_short(ub, k, u, static_cast<int32_t>(u)))
                << "text " << t << " unit " << u << " run " << b;
            // Both keep the same cells alive, also those just above the floor
            // that no best score shows.
            ASSERT_EQ(lanes.living_cells, plain.living_cells) << "text " << t << " unit " << u << " run " << b;
          }
        }
        // (Rows are counted as they are made.)
        ASSERT_GT(plain.living_cells, 0u);
      }
    });
  }
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
  // Not plain rows against plain rows where the processor has the lanes.
  if (__builtin_cpu_supports("x86-64-v3")) {
    EXPECT_TRUE(in_16_lanes);
  }
#endif
}

// When the bound turns away a run of consecutive seeds at once, every seed
// of the run extends to a score below the threshold: in random sequence,
// near and inside minisatellite arrays and in real windows, for runs of a
// quarter and of all of a unit, and for thresholds down to 6. In random
// sequence it turns away nearly every run.
TEST(AlignmentBound, TurnsAwayOnlyRunsWhoseEverySeedFallsShort)
{
  const Settings settings;
  const SearchSetup setup(settings);
  size_t random_runs = 0, random_turned_away = 0;
  for_each_bound_text(setup, [&](size_t t, const std::string& text, const char* s, const char* end,
                                 RecordSearch& c, AlignmentBound& bound) {
    for (uint32_t u : {16u, 23u, 34u, 47u, 64u}) {
      for (uint32_t k : {u / 4, u}) {
        for (int32_t min_score : {6, static_cast<int32_t>(u)}) {
          for (size_t b0 = t % 3; b0 + k + u < text.size(); b0 += k) {
            const bool turned_away = bound.stretch_falls_short(s + b0, k, u, min_score);
            if (t == 0 && min_score == static_cast<int32_t>(u) && k < u) {
              ++random_runs;
              random_turned_away += turned_away;
            }
            for (size_t b = b0; turned_away && b < b0 + k; ++b) {
              if (text.find('N', b) < b + u)
                continue;
              ASSERT_LT(extend_both_ways(c, s, end, s + b, u).score, min_score)
                  << "text " << t << " unit " << u << " run " << b0 << "+" << k << " seed " << b;
            }
          }
        }
      }
    }
  });
  EXPECT_GT(random_turned_away * 10, random_runs * 9);
}

// Gains known from elsewhere are taken as given: a bound on the forward
// gain lets the backward way alone turn a run away, and a bound on the
// backward gain turns it away once the forward way falls short by more.
// Two copies of a unit of 100 between random flanks, threshold 100: the
// seeds of the first copy reach it forward, those of the second backward.
TEST(AlignmentBound, TakesTheGainsItIsGivenAsBounds)
{
  const Settings settings;
  const SearchSetup setup(settings);
  const std::string flanks = minisatellite(100, 0, 11), unit = minisatellite(100, 0, 12).substr(0, 100);
  const std::string text = flanks.substr(0, 300) + unit + unit + flanks.substr(300, 300);
  const char* s = text.data();
  AlignmentBound bound(s, s + text.size(), setup.scoring);
  const GainBounds none, no_forward{0, GainBounds::UNBOUNDED}, no_backward{GainBounds::UNBOUNDED, 0};
  for (const size_t b0 : {size_t(300), size_t(400)}) {
    const bool first_copy = b0 == 300;
    EXPECT_FALSE(bound.stretch_falls_short(s + b0, 1, 100, 100, none)) << b0;
    EXPECT_FALSE(bound.falls_short(s + b0, 100, 100, none)) << b0;
    EXPECT_EQ(bound.stretch_falls_short(s + b0, 1, 100, 100, no_forward), first_copy) << b0;
    EXPECT_EQ(bound.falls_short(s + b0, 100, 100, no_forward), first_copy) << b0;
    EXPECT_EQ(bound.stretch_falls_short(s + b0, 1, 100, 100, no_backward), !first_copy) << b0;
    EXPECT_EQ(bound.falls_short(s + b0, 100, 100, no_backward), !first_copy) << b0;
  }
  // The second copy's forward way falls short; a backward gain that just
  // makes up the rest lets the seed through, one less does not.
  const char* ub = s + 400;
  const int64_t forward = bound.best_score<1>(ub + 100, ub, ub, ub + 100, s + text.size(), 0, setup.scoring.floor(100), 100);
  ASSERT_LT(forward, 100);
  EXPECT_FALSE(bound.falls_short(ub, 100, 100, GainBounds{GainBounds::UNBOUNDED, 100 - forward}));
  EXPECT_TRUE(bound.falls_short(ub, 100, 100, GainBounds{GainBounds::UNBOUNDED, 99 - forward}));
}

// The filter of long units tries runs of seeds, and the halves of runs
// that may reach the threshold: a seed it turns away extends to a score
// below the threshold, in random sequence, minisatellite arrays and real
// windows, whether the seeds come in order or jump back and forth.
TEST(SeedFilter, TurnsAwayOnlySeedsOfLongUnitsThatFallShort)
{
  const Settings settings;
  const SearchSetup setup(settings);
  size_t turned_away = 0;
  for_each_bound_text(setup, [&](size_t t, const std::string& text, const char* s, const char* end, RecordSearch& c,
                                 AlignmentBound&) {
    for (uint32_t u : {16u, 23u, 47u, 64u, 100u}) {
      for (int32_t min_score : {static_cast<int32_t>(u), static_cast<int32_t>(u / 2)}) {
        SeedFilter in_order(s, end, u, min_score, setup.scoring), jumping(s, end, u, min_score, setup.scoring);
        // One more in order that the record's alignment with itself
        // bounds, and tells what its seeds gain.
        std::vector<int32_t> min_scores(u + 1, min_score);
        const SelfAlignmentBound copies(s, end, setup.scoring, min_scores.data(), u, u);
        ASSERT_TRUE(copies.bounds(u));
        SeedFilter bounded(s, end, u, min_score, setup.scoring, &copies);
        // What the filters in order told, by seed.
        std::vector<int> told[2];
        told[0].assign(text.size(), -1);
        told[1].assign(text.size(), -1);
        for (size_t b = 0; b + u < text.size(); ++b) {
          if (text.find('N', b) < b + u)
            continue;
          // The jumping filter meets the seeds of each stretch of 40 from
          // its end backward.
          const size_t j = std::min(b / 40 * 40 + 39 - b % 40, text.size() - u - 1);
          for (int way = 0; way < 3; ++way) {
            const size_t seed = way == 1 ? j : b;
            if (text.find('N', seed) < seed + u)
              continue;
            const bool short_of_it = (way == 0 ? in_order : way == 1 ? jumping : bounded).falls_short(s + seed);
            if (way != 1)
              told[way / 2][seed] = short_of_it;
            if (!short_of_it)
              continue;
            ++turned_away;
            ASSERT_LT(extend_both_ways(c, s, end, s + seed, u).score, min_score)
                << "text " << t << " unit " << u << " seed " << seed;
          }
        }
        // Filters that meet the seeds from the last one back, which find
        // no run with the one before it, tell the same: a run's verdict
        // found with the one before it is its own.
        SeedFilter reversed(s, end, u, min_score, setup.scoring),
            bounded_reversed(s, end, u, min_score, setup.scoring, &copies);
        for (size_t b = text.size(); b-- > 0;) {
          for (int bound = 0; bound < 2; ++bound) {
            if (told[bound][b] >= 0) {
              ASSERT_EQ((bound ? bounded_reversed : reversed).falls_short(s + b), told[bound][b] == 1)
                  << "text " << t << " unit " << u << " seed " << b << (bound ? " bounded" : "");
            }
          }
        }
      }
    }
  });
  EXPECT_GT(turned_away, 10000u);

  // Two copies of a unit of 100 between random flanks: the last seed that
  // reaches the threshold, the second copy, is the first of a run.
  const std::string flanks = minisatellite(100, 0, 11), unit = minisatellite(100, 0, 12).substr(0, 100);
  const std::string text = flanks.substr(0, 200) + unit + unit + flanks.substr(200);
  FastaRecord seq;
  seq.residues.assign(text.data(), static_cast<uint32_t>(text.size()));
  const char* s = seq.residues.data();
  RecordSearch c(setup, 1, seq);
  SeedFilter filter(s, s + text.size(), 100, 100, setup.scoring);
  for (size_t b = 0; b + 100 < text.size(); ++b) {
    const int32_t score = extend_both_ways(c, s, s + text.size(), s + b, 100).score;
    if (b == 300 || b == 301) {
      EXPECT_EQ(score >= 100, b == 300);
    }
    ASSERT_TRUE(!filter.falls_short(s + b) || score < 100) << "seed " << b;
  }
}

// The record's alignment with itself bounds each way of every seed's
// extension: its cell at the seed is at least twice what the extension
// gains that way, as far as the threshold, the same whether the table's
// antidiagonals are kept in lanes or not; under several scorings and
// thresholds, on random sequence, diverged minisatellite arrays at their
// own and other unit lengths, and real windows with N runs.
TEST(SelfAlignmentBound, CellsBoundTheGainOfEachWay)
{
  struct Scoring {
    int32_t mismatch, indel, prefer_longer, reduction;
  };
  for (const Scoring& sc : {Scoring{-5, -5, 1, SCOREREDUCTION_UNLIMITED}, Scoring{-3, -7, 0, SCOREREDUCTION_UNLIMITED},
                            Scoring{-8, -2, 1, 10}, Scoring{-2, -2, 0, SCOREREDUCTION_UNLIMITED}}) {
    Settings settings;
    settings.mismatch_score = sc.mismatch;
    settings.indel_score = sc.indel;
    settings.prefer_longer_repeat = sc.prefer_longer;
    settings.maximum_scorereduction = sc.reduction;
    const SearchSetup setup(settings);
    for_each_bound_text(setup, [&](size_t t, const std::string& text, const char* s, const char* end,
                                   RecordSearch& c, AlignmentBound&) {
      for (uint32_t u : {2u, 3u, 5u, 8u, 13u, 16u, 23u, 34u, 47u, 64u, 80u}) {
        std::vector<int32_t> min_score(u + 1);
        std::vector<int32_t> forward[2], backward[2];
        const int32_t thresholds[2] = {6, static_cast<int32_t>(std::max(u, 6u))};
        for (int k = 0; k < 2; ++k) {
          min_score[u] = thresholds[k];
          const SelfAlignmentBound bound(s, end, setup.scoring, min_score.data(), u, u);
          std::vector<int32_t> tops[2];
          forward[k] = bound.cells_at_seeds<1>(u, 0, &tops[0]);
          backward[k] = bound.cells_at_seeds<-1>(u, 0, &tops[1]);
          // The table run with its antidiagonals in vectors of 32 or 16
          // lanes has the same cells and hands on the same highest ones.
          for (int most_lanes : {32, 16}) {
            std::vector<int32_t> tops_in_lanes[2];
            ASSERT_EQ(bound.cells_at_seeds<1>(u, most_lanes, &tops_in_lanes[0]), forward[k])
                << "text " << t << " unit " << u << " lanes " << most_lanes;
            ASSERT_EQ(bound.cells_at_seeds<-1>(u, most_lanes, &tops_in_lanes[1]), backward[k])
                << "text " << t << " unit " << u << " lanes " << most_lanes;
            ASSERT_EQ(tops_in_lanes[0], tops[0]) << "text " << t << " unit " << u << " lanes " << most_lanes;
            ASSERT_EQ(tops_in_lanes[1], tops[1]) << "text " << t << " unit " << u << " lanes " << most_lanes;
          }
        }
        for (size_t b = (t + u) % 4; b + u < text.size(); b += 4) {
          if (text.find('N', b) < b + u)
            continue;
          const Extended e = extend_both_ways(c, s, end, s + b, u);
          const int32_t f = e.forward;
          for (int k = 0; k < 2; ++k) {
            const int32_t S = thresholds[k];
            ASSERT_GE(forward[k][b], 2 * std::min(f, S)) << "text " << t << " unit " << u << " seed " << b;
            if (f < S) {
              ASSERT_GE(backward[k][b], 2 * std::min(e.score - f, S - f)) << "text " << t << " unit " << u << " seed " << b;
            }
          }
        }
      }
    });
  }
}

// The tables of long units, whose antidiagonals take up to 16 vectors of
// 32 lanes or 32 of 16, have the same cells and highest cells in lanes as
// through memory.
TEST(SelfAlignmentBound, LongUnitCellsInLanesAreThoseOfPlainTables)
{
  for (int32_t indel : {-5, -2}) {
    Settings settings;
    settings.indel_score = indel;
    const SearchSetup setup(settings);
    for_each_bound_text(setup, [&](size_t t, const std::string& text, const char* s, const char* end, RecordSearch&,
                                   AlignmentBound&) {
      for (uint32_t u : {100u, 200u, 400u, 700u}) {
        if (u >= text.size())
          continue;
        std::vector<int32_t> min_score(u + 1, static_cast<int32_t>(u));
        const SelfAlignmentBound bound(s, end, setup.scoring, min_score.data(), u, u);
        std::vector<int32_t> tops;
        const std::vector<int32_t> forward = bound.cells_at_seeds<1>(u, 0, &tops), backward = bound.cells_at_seeds<-1>(u);
        for (int most_lanes : {32, 16}) {
          std::vector<int32_t> tops_in_lanes;
          ASSERT_EQ(bound.cells_at_seeds<1>(u, most_lanes, &tops_in_lanes), forward)
              << "text " << t << " unit " << u << " lanes " << most_lanes;
          ASSERT_EQ(tops_in_lanes, tops) << "text " << t << " unit " << u << " lanes " << most_lanes;
          ASSERT_EQ(bound.cells_at_seeds<-1>(u, most_lanes), backward)
              << "text " << t << " unit " << u << " lanes " << most_lanes;
        }
      }
    });
  }
}

// Arrays whose period lies at the far edge of a band of more than 16
// vectors, where the last vector of each antidiagonal is cut to the band
// and made apart from the others, give the same cells in lanes as through
// memory: for units of 500, lags of about 200 to 800 in 19 half vectors,
// the last from about 775 on, whose cells below the cap reach lag 500
// through gaps.
TEST(SelfAlignmentBound, CellsAtTheFarEdgeOfWideBandsInLanesAreThoseOfPlainTables)
{
  const SearchSetup setup{Settings{}};
  const uint32_t u = 500;
  std::vector<int32_t> min_score(u + 1, static_cast<int32_t>(u));
  for (size_t period : {780u, 790u, 798u})
    for (size_t length : {2400u, 2700u, 3000u}) {
      const std::string text = minisatellite(period, length, period + length);
      const char* s = text.data();
      const SelfAlignmentBound bound(s, s + text.size(), setup.scoring, min_score.data(), u, u);
      const std::vector<int32_t> forward = bound.cells_at_seeds<1>(u), backward = bound.cells_at_seeds<-1>(u);
      for (int most_lanes : {32, 16}) {
        ASSERT_EQ(bound.cells_at_seeds<1>(u, most_lanes), forward) << period << " " << length << " " << most_lanes;
        ASSERT_EQ(bound.cells_at_seeds<-1>(u, most_lanes), backward) << period << " " << length << " " << most_lanes;
      }
    }
}

// Where gaps cost so much that the band ends just past the window, the
// window reaches into the last vector: for units 192-700 with indels of
// -100, lags of about 185 to 723 in 17 half vectors. The bound lets the
// same seeds through, with the same gains, in lanes as through memory.
TEST(SelfAlignmentBound, WindowInTheLastVectorOfAWideBandGivesTheSameSeedsInLanes)
{
  Settings settings;
  settings.indel_score = -100;
  const SearchSetup setup(settings);
  const uint32_t u1 = 192, u2 = 700;
  std::vector<int32_t> min_score(u2 + 1);
  for (uint32_t u = 0; u <= u2; ++u)
    min_score[u] = static_cast<int32_t>(u);
  for (size_t period : {696u, 700u}) {
    // Three copies with 5% substitutions (no indels, which cost too much
    // here), between random flanks.
    TestRandom random{period};
    std::string unit, text;
    while (unit.size() < period)
      unit += random.base();
    for (int i = 0; i < 200; ++i)
      text += random.base();
    for (size_t i = 0; i < 3 * period; ++i)
      text += random.next() % 20 == 0 ? random.base() : unit[i % period];
    for (int i = 0; i < 200; ++i)
      text += random.base();
    const char* s = text.data();
    const char* end = s + text.size();
    const SelfAlignmentBound plain(s, end, setup.scoring, min_score.data(), u1, u2, nullptr, 0,
                                   SelfAlignmentBound::KEPT_CELLS, 0);
    for (int most_lanes : {32, 16}) {
      const SelfAlignmentBound in_lanes(s, end, setup.scoring, min_score.data(), u1, u2, nullptr, 0,
                                        SelfAlignmentBound::KEPT_CELLS, most_lanes);
      for (uint32_t u = u1; u <= u2; ++u) {
        ASSERT_EQ(in_lanes.may_reach(u), plain.may_reach(u)) << period << " " << u << " " << most_lanes;
        for (size_t b = 0; b + u < text.size(); b += 97) {
          const GainBounds a = in_lanes.most_gained(b, 16, u), e = plain.most_gained(b, 16, u);
          ASSERT_EQ(a.forward, e.forward) << period << " " << u << " " << b;
          ASSERT_EQ(a.backward, e.backward) << period << " " << u << " " << b;
        }
      }
    }
    ASSERT_FALSE(plain.may_reach(period).empty()) << period;
  }
}

// The seeds that the bound built by stretches turns away all extend to
// scores below the threshold, over stretches of 5 and 100 seeds, and
// threads that share the stretches find the same; in random sequence it
// turns away nearly every seed of a unit from 16 on. With room for only
// some of the backward cells, or none, it lets through the same seeds and
// more, and still only turns away seeds that fall short.
TEST(SelfAlignmentBound, TurnsAwayOnlySeedsThatFallShort)
{
  const Settings settings;
  const SearchSetup setup(settings);
  size_t random_seeds = 0, random_turned_away = 0;
  for_each_bound_text(setup, [&](size_t t, const std::string& text, const char* s, const char* end, RecordSearch& c,
                                 AlignmentBound&) {
    const std::vector<int32_t> min_score = default_min_scores();
    ThreadPool pool(3);
    struct Range {
      uint32_t u1, u2;
      std::vector<uint32_t> units;
    };
    for (const Range& range :
         {Range{3, 5, {3, 4, 5}}, Range{6, 11, {6, 7, 11}}, Range{12, 64, {12, 16, 23, 31, 47, 64}}}) {
      for (size_t stretch : {size_t(5), size_t(100)}) {
        const SelfAlignmentBound bound(s, end, setup.scoring, min_score.data(), range.u1, range.u2, nullptr, stretch);
        const SelfAlignmentBound shared(s, end, setup.scoring, min_score.data(), range.u1, range.u2, &pool, stretch);
        const SelfAlignmentBound roomless(s, end, setup.scoring, min_score.data(), range.u1, range.u2, nullptr, stretch,
                                          0);
        const SelfAlignmentBound cramped(s, end, setup.scoring, min_score.data(), range.u1, range.u2, nullptr, stretch,
                                         256);
        for (uint32_t u : range.units) {
          ASSERT_EQ(bound.may_reach(u), shared.may_reach(u)) << "text " << t << " unit " << u;
          SelfAlignmentBound::Reader reader(&bound.may_reach(u)), loose(&roomless.may_reach(u)),
              partly(&cramped.may_reach(u));
          for (size_t b = t % 2; b + u < text.size(); b += 2) {
            const bool turned_away = bound.bounds(u) && reader.falls_short(b);
            if (bound.bounds(u) && (loose.falls_short(b) || partly.falls_short(b))) {
              ASSERT_TRUE(turned_away) << "text " << t << " unit " << u << " seed " << b << " stretch " << stretch;
            }
            if (t == 0 && u >= 16) {
              ++random_seeds;
              random_turned_away += turned_away;
            }
            if (!turned_away || text.find('N', b) < b + u)
              continue;
            ASSERT_LT(extend_both_ways(c, s, end, s + b, u).score, min_score[u])
                << "text " << t << " unit " << u << " seed " << b << " stretch " << stretch;
          }
        }
      }
    }
  });
  EXPECT_GT(random_turned_away * 100, random_seeds * 95);

  // A record that ends in copies of a unit: its last seed, which reads
  // them backward, is let through for the shortest unit of the range, also
  // as the only seed of the last stretch.
  const std::string ending = minisatellite(30, 0, 9).substr(0, 200) + std::string("ACGTTGCAAGCT") + "ACGTTGCAAGCT" + "ACGTTGCAAGCT";
  std::vector<int32_t> min_score(13, 12);
  for (const size_t stretch : {size_t(0), ending.size() - 13}) {
    const SelfAlignmentBound bound(ending.data(), ending.data() + ending.size(), setup.scoring, min_score.data(), 12,
                                   12, nullptr, stretch);
    SelfAlignmentBound::Reader reader(&bound.may_reach(12));
    EXPECT_FALSE(reader.falls_short(ending.size() - 13)) << "stretch " << stretch;
  }
}

// A seed whose own cells, forward and backward, reach twice the threshold
// is let through, whatever the stretches: of a few seeds, of about one
// word of seeds' bits or two, or as long as suits the units, shared by
// threads or not. Wide ranges hold it too, whose tables take more lags.
TEST(SelfAlignmentBound, LetsThroughEverySeedWhoseCellsReachTheThreshold)
{
  const Settings settings;
  const SearchSetup setup(settings);
  ThreadPool pool(3);
  size_t reaching = 0;
  for_each_bound_text(setup, [&](size_t t, const std::string& text, const char* s, const char* end, RecordSearch&,
                                 AlignmentBound&) {
    const std::vector<int32_t> min_score = default_min_scores();
    for (const uint32_t u : {4u, 12u, 23u, 64u}) {
      const SelfAlignmentBound alone(s, end, setup.scoring, min_score.data(), u, u);
      const std::vector<int32_t> forward = alone.cells_at_seeds<1>(u), backward = alone.cells_at_seeds<-1>(u);
      for (const uint32_t u1 : {u, std::min(u, 12u)}) {
        for (const size_t stretch : {size_t(5), size_t(63), size_t(130), size_t(0)}) {
          for (ThreadPool* workers : {static_cast<ThreadPool*>(nullptr), &pool}) {
            const SelfAlignmentBound bound(s, end, setup.scoring, min_score.data(), u1, std::max(u, 12u), workers,
                                           stretch);
            ASSERT_TRUE(bound.bounds(u));
            SelfAlignmentBound::Reader reader(&bound.may_reach(u));
            for (size_t b = 0; b + u < text.size(); ++b) {
              // (Cells the tables do not reach are left at INT32_MAX.)
              if (forward[b] == INT32_MAX || backward[b] == INT32_MAX ||
                  int64_t(forward[b]) + backward[b] < 2 * min_score[u])
                continue;
              reaching += stretch == 0 && !workers && u1 == u;
              ASSERT_FALSE(reader.falls_short(b)) << "text " << t << " unit " << u << " from " << u1 << " seed " << b
                                                  << " stretch " << stretch;
            }
          }
        }
      }
    }
  });
  EXPECT_GT(reaching, 1000u);
}

// What the bound says the seeds gain at most, one by one and by runs, is
// at least what each seed's extension gains each way, as far as the
// threshold, and the same with threads sharing the stretches; in random
// sequence it bounds the forward gain of most seeds below the threshold.
TEST(SelfAlignmentBound, MostGainedIsAtLeastWhatEachSeedGains)
{
  const Settings settings;
  const SearchSetup setup(settings);
  size_t random_seeds = 0, random_bounded = 0;
  ThreadPool pool(3);
  for_each_bound_text(setup, [&](size_t t, const std::string& text, const char* s, const char* end, RecordSearch& c,
                                 AlignmentBound&) {
    const std::vector<int32_t> min_score = default_min_scores();
    const SelfAlignmentBound bound(s, end, setup.scoring, min_score.data(), 12, 64, nullptr, 100);
    const SelfAlignmentBound shared(s, end, setup.scoring, min_score.data(), 12, 64, &pool, 100);
    for (uint32_t u : {12u, 16u, 31u, 47u, 64u}) {
      const int64_t S = min_score[u];
      for (size_t b = t % 3; b + u < text.size(); b += 3) {
        // The seed alone, and a run of 8 or 24 seeds around it.
        const size_t k = 8 + 16 * (b % 2), b0 = b - std::min(b, k / 2);
        const GainBounds one = bound.most_gained(b, 1, u), run = bound.most_gained(b0, std::min(k, text.size() - u - b0), u);
        const GainBounds one_shared = shared.most_gained(b, 1, u);
        ASSERT_EQ(one.forward, one_shared.forward) << "text " << t << " unit " << u << " seed " << b;
        ASSERT_EQ(one.backward, one_shared.backward) << "text " << t << " unit " << u << " seed " << b;
        if (t == 0) {
          ++random_seeds;
          random_bounded += one.forward < S;
        }
        if (text.find('N', b) < b + u)
          continue;
        const Extended e = extend_both_ways(c, s, end, s + b, u);
        const int64_t f = e.forward;
        for (const GainBounds& most : {one, run}) {
          ASSERT_GE(most.forward, std::min(f, S)) << "text " << t << " unit " << u << " seed " << b;
          if (f < S) {
            ASSERT_GE(most.backward, std::min(int64_t(e.score) - f, S - f)) << "text " << t << " unit " << u << " seed " << b;
          }
        }
      }
    }
  });
  EXPECT_GT(random_bounded * 10, random_seeds * 9);
}

// A record whose score after its forward way lies too far below the
// threshold for what its copies let it gain backward is turned away
// unextended backward: exactly the records that the whole extension would
// have turned away, and some of them; a bound equal to the gain turns none
// away.
TEST(SelfAlignmentBound, RecordsTurnedAwayAfterTheForwardWayAreThoseThatFallShort)
{
  const Settings settings;
  const SearchSetup setup(settings);
  size_t turned_away = 0;
  for_each_bound_text(setup, [&](size_t t, const std::string& text, const char* s, const char* end, RecordSearch& c,
                                 AlignmentBound&) {
    const std::vector<int32_t> min_score = default_min_scores();
    const SelfAlignmentBound bound(s, end, setup.scoring, min_score.data(), 12, 64, nullptr, 100);
    for (uint32_t u : {12u, 23u, 47u, 64u}) {
      const int32_t S = min_score[u];
      const SeedFilter filter(s, end, u, S, setup.scoring, &bound);
      for (size_t b = t % 3; b + u < text.size(); b += 3) {
        if (text.find('N', b) < b + u)
          continue;
        const int64_t most_backward = filter.most_gained_backward(s + b);
        Repeat whole, cut;
        whole.init(s + b, s + b + u);
        cut.init(s + b, s + b + u);
        const bool accepted = extend_seed(c, c.scratch[0], whole, S, 0);
        ASSERT_EQ(extend_seed(c, c.scratch[0], cut, S, 0, nullptr, most_backward), accepted)
            << "text " << t << " unit " << u << " seed " << b;
        if (accepted) {
          ASSERT_EQ(cut.sat_begin, whole.sat_begin) << "text " << t << " unit " << u << " seed " << b;
          ASSERT_EQ(cut.score, whole.score) << "text " << t << " unit " << u << " seed " << b;
        }
        const Extended e = extend_both_ways(c, s, end, s + b, u);
        turned_away += e.forward < S && e.forward + most_backward < S;
        // A bound that is exactly the gain backward, with the threshold
        // exactly at the record's score: the record reaches it.
        if (e.score > e.forward && accepted) {
          Repeat tight;
          tight.init(s + b, s + b + u);
          ASSERT_TRUE(extend_seed(c, c.scratch[0], tight, e.score, 0, nullptr, e.score - e.forward))
              << "text " << t << " unit " << u << " seed " << b;
        }
      }
    }
  });
  EXPECT_GT(turned_away, 0u);
}

// The chunks of a pass walked with workers cover its seeds after the first
// ones, each once and in order, none longer than the size; where only some
// seeds are let through, none holds more than its share of them, however
// they gather: all in one window, spread, or none at all.
// A seed that every bound lets through may still extend to a score below
// its threshold; then it leaves no record. The minisatellite arrays, joined
// and searched with units up to 60 on one thread, have such seeds (at
// units 21-60, 89 extended and 53 accepted), and every record the search
// keeps reaches its thresholds.
TEST(CompleteSearch, KeepsOnlyRecordsThatReachTheirThresholds)
{
  Settings settings;
  settings.max_unit_length = 60;
  SearchSetup setup(settings);
  const std::string text = residues_of("minisatellites.fa");
  FastaRecord seq;
  seq.residues.assign(text.data(), static_cast<uint32_t>(text.size()));
  setup.thresholds.cover(seq.residues.size());
  RecordSearch search(setup, 1, seq);
  search.complete_imperfect_search();
  ASSERT_GT(search.imperfect_sats.sats.size(), 50u);
  for (const Repeat* sat : search.imperfect_sats.sats) {
    const uint32_t u = sat->unit_length();
    EXPECT_GE(sat->score, setup.thresholds.user().score[u]) << "unit length " << u;
    EXPECT_GE(static_cast<int32_t>(sat->normalized_length()), setup.thresholds.user().length[u]);
  }
}

TEST(OrderedWalk, ChunksShareTheSeedsLetThrough)
{
  std::mt19937 random(7);
  const size_t seeds = 300000, alone = 2048, size = 65536;
  const unsigned int threads = 2;
  std::vector<std::vector<uint32_t>> cases = {{}, {1000, 4000}, {0, 300000}, {299990, 300000}, {}};
  // 16 ranges of exactly one share each.
  for (uint32_t b = 5000; cases.back().size() < 32; b += 1500) {
    cases.back().push_back(b);
    cases.back().push_back(b + 1000);
  }
  for (int c = 0; c < 20; ++c) {
    std::vector<uint32_t> ranges;
    for (uint32_t b = random() % 5000; b < seeds; b += 1 + random() % (c < 10 ? 500 : 50000)) {
      const uint32_t e = std::min<uint32_t>(b + 1 + random() % 3000, seeds);
      ranges.push_back(b);
      ranges.push_back(e);
      b = e;
    }
    cases.push_back(ranges);
  }
  for (const std::vector<uint32_t>& ranges : cases) {
    size_t through = 0;
    for (size_t k = 0; k < ranges.size(); k += 2)
      through += ranges[k + 1] - ranges[k];
    const size_t share = std::max<size_t>(through / (8 * threads), 1);
    for (const std::vector<uint32_t>* may_reach : {static_cast<const std::vector<uint32_t>*>(nullptr), &ranges}) {
      const std::vector<size_t> ends = chunk_ends(alone, seeds, size, threads, may_reach);
      ASSERT_FALSE(ends.empty());
      EXPECT_EQ(ends.back(), seeds);
      size_t begin = alone;
      for (size_t end : ends) {
        ASSERT_GT(end, begin);
        ASSERT_LE(end - begin, size);
        if (may_reach) {
          size_t held = 0;
          for (size_t k = 0; k < ranges.size(); k += 2)
            held += std::max<size_t>(std::min<size_t>(ranges[k + 1], end), std::max<size_t>(ranges[k], begin)) -
                    std::max<size_t>(ranges[k], begin);
          EXPECT_LE(held, share) << "chunk " << begin << "-" << end;
          // A chunk ends short of the size only once it holds its share,
          // right after the last seed of its share.
          if (end - begin < size && end < seeds) {
            EXPECT_EQ(held, share) << "chunk " << begin << "-" << end;
            bool last_let_through = false;
            for (size_t k = 0; k < ranges.size(); k += 2)
              last_let_through |= ranges[k] < end && end <= ranges[k + 1];
            EXPECT_TRUE(last_let_through) << "chunk " << begin << "-" << end;
          }
        } else if (end < seeds) {
          EXPECT_EQ(end - begin, size);
        }
        begin = end;
      }
    }
  }
}

} // namespace
