#include "report/output_formats.h"

#include "report/unit_normal_form.h"
#include "settings/settings.h"

void print_output_format(FILE* out, const char* prefix, const Settings& settings)
{
  const int mode = settings.print_sat_mode;
  if (mode == 0 || mode == 1) {
    std::fprintf(out, "%s\n%sColumns in lines of output providing repeat information:\n", prefix, prefix);
    std::fprintf(out, "%sColumn %2d: Repeat unit length\n", prefix, 1);
    std::fprintf(out, "%sColumn %2d: Position at which repeat starts in current sequence\n", prefix, 2);
    std::fprintf(out, "%sColumn %2d: Position at which repeat ends in current sequence\n", prefix, 3);
    std::fprintf(out, "%sColumn %2d: Length of repeat in original sequence, i.e. (end-start+1)\n", prefix, 4);
    std::fprintf(out, "%sColumn %2d: Normalized repeat length, i.e. (end-start+1-insertions+deletions)\n",
                 prefix, 5);
    std::fprintf(out, "%sColumn %2d: Repeat score\n", prefix, 6);
    std::fprintf(out, "%sColumn %2d: Repeat perfection\n", prefix, 7);
    int column = 8;
    if (mode == 1) {
      std::fprintf(out, "%sColumn %2d: Number of mismatches\n", prefix, column++);
      std::fprintf(out, "%sColumn %2d: Number of insertions\n", prefix, column++);
      std::fprintf(out, "%sColumn %2d: Number of deletions\n", prefix, column++);
      if (!settings.treat_Ns_as_missense)
        std::fprintf(out, "%sColumn %2d: Number of N's\n", prefix, column++);
    }
    std::fprintf(out, "%sColumn %2d: Repeat unit\n", prefix, column);
    std::fprintf(out, "%s\n", prefix);
  } else if (mode == 3) {
    std::fputs("seq-name\tunit-length\tperfection\tstart\tend\tlength\trepeat-number\tscore\tmismatches\t"
               "insertions\tdeletions\tNs\tunit\trepeat-seq", out);
    if (settings.flanking != 0)
      std::fputs("\tleft-flanking-seq\tright-flanking-seq", out);
    std::fputs("\n", out);
  }
}

void report_SATList(FILE* out, const std::list<Repeat*>& sats, FastaRecord& seq, const Settings& settings)
{
  const int mode = settings.print_sat_mode;
  const char* full_name = seq.full_name.c_str();
  unsigned int gap_position_counter = 0;

  if (mode == 0 || mode == 1) {
    if (settings.VELTA_run)
      std::fprintf(out, ">%s\nsequence length: %d\n", full_name, seq.input_length());
    else
      std::fprintf(out, ">%s\nsequence length: %d\nnumber of ACGTU characters: %d\n", full_name,
                   seq.input_length(), seq.count_ACGTU);
  } else if ((mode == 2 || mode == 3) && settings.sequenceInfoAsComment) {
    std::fprintf(out, "# Full sequence name:\n#>%s\n##sequence-region %s 1 %d\n", full_name, seq.name.c_str(),
                 seq.input_length());
  }

  for (Repeat* sat : sats)
    sat->report_sat(out, seq, gap_position_counter, settings);

  if (!settings.VELTA_run) {
    if (mode == 0 || mode == 1)
      std::fprintf(out, "# Analysis of sequence \"%s\" completed.\n", full_name);
    else if ((mode == 2 || mode == 3) && settings.sequenceInfoAsComment)
      std::fprintf(out, "# Analysis of sequence \"%s\" completed.\n", seq.name.c_str());
  }
  std::fflush(out);
}

void Repeat::print_repeat_name(FILE* out) const
{
  const int32_t length = static_cast<int32_t>(unit_length());
  if (length <= 6)
    std::fprintf(out, "%16s", REPEAT_NAMES[length]);
  else
    std::fprintf(out, "%5d-nucleotide", length);
}

namespace {

// The repeat's positions in the input as read, gap characters counted.
// removed_pos is ascending and the records come in ascending order of their
// begin, so the counter of gaps before the begin only moves forward.
struct InputPositions {
  uint32_t start, end;
};

InputPositions map_to_input(const Repeat& sat, const FastaRecord& seq, unsigned int& gap_counter)
{
  const char* first = seq.residues.data();
  const uint32_t n = seq.removed_pos.size();
  uint32_t k = gap_counter;
  uint32_t start = static_cast<uint32_t>(sat.sat_begin - first) + 1 + k;
  while (k < n && seq.removed_pos[k] < start) {
    ++k;
    ++start;
  }
  gap_counter = k;
  uint32_t end = static_cast<uint32_t>(sat.sat_end - first) + k;
  while (k < n && seq.removed_pos[k] < end) {
    ++k;
    ++end;
  }
  return {start, end};
}

// Three rows: residues, match markers and the unit characters aligned with
// them, walking the repeat together with its sorted missense list.
void print_alignment(FILE* out, const Repeat& sat, const char* left_flank, const char* right_flank, int flanking)
{
  const uint32_t size = sat.length() + sat.num_insertions + sat.num_deletions + 2 * flanking + 2;
  faststring top, middle, bottom;
  top.reserve(size);
  middle.reserve(size);
  bottom.reserve(size);
  auto column = [&](char t, char m, char b) {
    top.push_back(t);
    middle.push_back(m);
    bottom.push_back(b);
  };

  if (flanking > 0) {
    for (const char* p = left_flank; p < sat.sat_begin; ++p)
      column(*p, ' ', ' ');
    column(':', ' ', ' ');
  }

  const char* unit = sat.unit_phase_left + 1;
  if (unit == sat.unit_end)
    unit = sat.unit_begin;
  auto next_unit = [&]() {
    if (++unit == sat.unit_end)
      unit = sat.unit_begin;
  };
  const missense_entry* entry = sat.missense_list.begin();
  const missense_entry* entries_end = sat.missense_list.end();
  const char* deviation = entry != entries_end ? entry->pos : sat.sat_end;

  for (const char* p = sat.sat_begin; p < sat.sat_end;) {
    if (p != deviation) {
      column(*p, *p == 'N' ? '*' : '|', *unit);
      next_unit();
      ++p;
      continue;
    }
    switch (entry->kind) {
    case 'M':
      column(*p, ' ', *unit);
      next_unit();
      ++p;
      break;
    case 'I':
      column(*p, ' ', '-');
      ++p;
      break;
    default: // 'D': a unit character without a residue
      column('-', ' ', *unit);
      next_unit();
      break;
    }
    ++entry;
    deviation = entry != entries_end ? entry->pos : sat.sat_end;
  }

  if (flanking > 0) {
    column(':', ' ', ' ');
    for (const char* p = sat.sat_end; p < right_flank; ++p)
      column(*p, ' ', ' ');
  }
  std::fprintf(out, "%.*s\n", static_cast<int>(top.size()), top.data());
  std::fprintf(out, "%.*s\n", static_cast<int>(middle.size()), middle.data());
  std::fprintf(out, "%.*s\n", static_cast<int>(bottom.size()), bottom.data());
}

} // namespace

void Repeat::report_sat(FILE* out, FastaRecord& seq, unsigned int& gap_position_counter, const Settings& settings)
{
  const float perf = perfection(settings.N_and_perfection_mode);
  if (settings.min_perfection > perf || perf > settings.max_perfection)
    return;
  UnitText unit_text;
  if (!unit_normal_form(*this, unit_text, settings.report_unit_mode))
    return;
  const char* unit = unit_text.c_str();
  const InputPositions at = map_to_input(*this, seq, gap_position_counter);
  const int start = static_cast<int>(at.start);
  const int end = static_cast<int>(at.end);
  const int len = static_cast<int>(length());
  const int bp = static_cast<int>(normalized_length());
  const int ulen = static_cast<int>(unit_length());
  const double perf_d = perf;
  const double repeat_number = static_cast<float>(normalized_length()) / static_cast<float>(unit_length());

  // Flanks, cut at the ends of the sequence.
  const char* first = seq.residues.data();
  const char* last = first + seq.residues.size();
  const char* left_flank = sat_begin - first > settings.flanking ? sat_begin - settings.flanking : first;
  const char* right_flank = last - sat_end > settings.flanking ? sat_end + settings.flanking : last;
  const int left_len = static_cast<int>(sat_begin - left_flank);
  const int right_len = static_cast<int>(right_flank - sat_end);

  switch (settings.print_sat_mode) {
  case 0:
    print_repeat_name(out);
    std::fprintf(out, " %9d : %9d | %6d bp | %6d BP | %6d pt | %7.3f %% | unit %s\n", start, end, len, bp, score,
                 perf_d, unit);
    break;
  case 1:
    print_repeat_name(out);
    std::fprintf(out, " %9d : %9d | %6d bp | %6d BP | %6d pt | %7.3f %% | %3d mis | %3d ins | %3d del | ", start,
                 end, len, bp, score, perf_d, num_mismatches, num_insertions, num_deletions);
    if (!settings.treat_Ns_as_missense)
      std::fprintf(out, "%3d N | ", num_Ns);
    std::fprintf(out, " unit %s\n", unit);
    std::fputs("Missense: ", out);
    for (const missense_entry& e : missense_list)
      std::fprintf(out, "(%d,%c),", static_cast<int>(e.pos - sat_begin + 1), e.kind);
    std::fputs("\n", out);
    break;
  case 2:
    if (ulen <= 50)
      std::fprintf(out,
                   "%s\tZerlan\ttandem-repeat\t%d\t%d\t%.2f\t.\t.\tName=\"repeat_region %d-%d unit_size %d "
                   "repeat_number %.3f perfection %.3f unit %s\"\n",
                   seq.name.c_str(), start, end, perf_d, start, end, ulen, repeat_number, perf_d, unit);
    else
      std::fprintf(out,
                   "%s\tZerlan\ttandem-repeat\t%d\t%d\t%.2f\t.\t.\tName=\"repeat_region %d-%d unit_size %d "
                   "repeat_number %.3f perfection %.3f unit .\"\n",
                   seq.name.c_str(), start, end, perf_d, start, end, ulen, repeat_number, perf_d);
    break;
  case 3:
    std::fprintf(out, "%s\t%d\t%.3f\t%d\t%d\t%d\t%7.3f\t%d\t%d\t%d\t%d", seq.name.c_str(), ulen, perf_d, start, end,
                 len, repeat_number, score, num_mismatches, num_insertions, num_deletions);
    if (!settings.treat_Ns_as_missense)
      std::fprintf(out, "\t%d", num_Ns);
    else
      std::fputs("\t.", out);
    std::fprintf(out, "\t%s", unit);
    std::fprintf(out, "\t%.*s", len, sat_begin);
    if (settings.flanking != 0) {
      std::fprintf(out, "\t%.*s", left_len, left_flank);
      std::fprintf(out, "\t%.*s", right_len, sat_end);
    }
    std::fputs("\n", out);
    break;
  case 4:
    std::fprintf(out, ">%s %d %d %d %d %d %.3f %d %.3f %d %d %d\n", seq.name.c_str(), start, end, ulen, start, end,
                 repeat_number, score, perf_d, num_mismatches, num_insertions, num_deletions);
    std::fprintf(out, "%.*s\n", static_cast<int>(right_flank - left_flank), left_flank);
    return;
  default:
    std::fputs("Internal error. Unknown output format. Please report this bug", out);
    return;
  }

  if (settings.print_sat_mode == 0 || settings.print_sat_mode == 1) {
    if (settings.print_sat_seq_mode == 1) {
      if (settings.flanking > 0) {
        std::fprintf(out, "%.*s:", left_len, left_flank);
        std::fprintf(out, "%.*s:", len, sat_begin);
        std::fprintf(out, "%.*s\n", right_len, sat_end);
      } else {
        std::fprintf(out, "%.*s\n", len, sat_begin);
      }
    } else if (settings.print_sat_seq_mode == 2) {
      print_alignment(out, *this, left_flank, right_flank, settings.flanking);
    }
  }
}

void print_report_end(FILE* out, const Settings& settings)
{
  if (settings.print_sat_mode == 2)
    std::fputs("# End tandem repeats\n", out);
  else if (settings.print_sat_mode != 4)
    std::fputs("## Finished successfully. ##\n", out);
}
