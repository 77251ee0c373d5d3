#include "sequence/fasta_record.h"

#include <algorithm>

namespace {

// What the reader does with each input byte, after upper-casing.
enum CharKind : unsigned char { INVALID, BLANK, LINE_END, NUCLEOTIDE, RNA_U, AMBIGUOUS, DASH, STAR };

struct CharTable {
  CharKind kind[256];
  CharTable()
  {
    for (CharKind& k : kind)
      k = INVALID;
    auto set_both_cases = [this](const char* letters, CharKind k) {
      for (const char* p = letters; *p; ++p) {
        kind[static_cast<unsigned char>(*p)] = k;
        kind[static_cast<unsigned char>(*p - 'A' + 'a')] = k;
      }
    };
    set_both_cases("ACGT", NUCLEOTIDE);
    set_both_cases("U", RNA_U);
    set_both_cases("NXRYKMSWBDHV", AMBIGUOUS);
    kind[static_cast<unsigned char>('?')] = AMBIGUOUS;
    kind[static_cast<unsigned char>('-')] = DASH;
    kind[static_cast<unsigned char>('*')] = STAR;
    kind[static_cast<unsigned char>(' ')] = BLANK;
    kind[static_cast<unsigned char>('\t')] = BLANK;
    kind[static_cast<unsigned char>('\v')] = BLANK;
    kind[static_cast<unsigned char>('\f')] = BLANK;
    kind[static_cast<unsigned char>('\r')] = LINE_END;
    kind[static_cast<unsigned char>('\n')] = LINE_END;
  }
};

const CharTable char_table;

inline bool is_space(char c)
{
  CharKind k = char_table.kind[static_cast<unsigned char>(c)];
  return k == BLANK || k == LINE_END;
}

inline void mark_invalid(BufferedReader& in) { in.state = BufferedReader::fail_flag; }

} // namespace

uint32_t FastaRecord::max_length = 2147483647;

FastaRecord::FastaRecord() { residues.reserve(0); }

void FastaRecord::readFastaSequence_toupper_ambig2N_removegaps(BufferedReader& in) { read_fasta<false>(in); }

void FastaRecord::readFastaSequence_toupper_ambig2N_gaps2N(BufferedReader& in) { read_fasta<true>(in); }

template <bool gaps_to_N>
void FastaRecord::read_fasta(BufferedReader& in)
{
  full_name.clear();
  residues.clear();
  count_ACGTU = count_ambig = count_gaps = 0;
  removed_pos.clear();
  dash_pos.clear();
  star_pos.clear();
  too_long = false;

  char c = in.getchar();
  while (!in.fail() && is_space(c))
    c = in.getchar();
  // Comment lines are allowed only before the first record.
  while (!in.fail() && c == '#') {
    do
      c = in.getchar();
    while (c != '\n' && in.good());
    c = in.getchar();
    while (!in.fail() && is_space(c))
      c = in.getchar();
  }
  if (in.fail() || c != '>') {
    mark_invalid(in);
    return;
  }

  c = in.getchar();
  while (!in.fail() && c != '\n') {
    full_name.push_back(c);
    c = in.getchar();
  }
  if (in.fail()) {
    // The input ended inside the header. An empty header is the caller's
    // sign of a last, empty record; otherwise the record goes on normally.
    if (full_name.empty())
      return;
    in.state &= ~BufferedReader::fail_flag;
  }
  find_fastaname_and_description();

  // Index of the next residue or gap in the record's text as read.
  uint32_t position = 0;
  for (;;) {
    c = in.peekchar();
    if (in.fail() || c == '>')
      return;
    // One sequence line: consumes bytes up to and including its line break;
    // stops early at the end of the input or at an invalid byte.
    for (c = in.getchar(); !in.fail() && c != '\n'; c = in.getchar()) {
      switch (char_table.kind[static_cast<unsigned char>(c)]) {
      case NUCLEOTIDE: {
        residues.push_back(static_cast<char>(c & ~0x20));
        ++count_ACGTU;
        // The bases that follow in the current block are taken in one go,
        // up to the first byte of another kind (a line break, mostly).
        const char* run = in.buffer_pos;
        const size_t room = max_length > position ? max_length - position - 1 : 0;
        const char* stop = run + std::min<size_t>(in.buffer_end - run, room);
        const char* q = run;
        while (q != stop && char_table.kind[static_cast<unsigned char>(*q)] == NUCLEOTIDE)
          ++q;
        const uint32_t taken = static_cast<uint32_t>(q - run);
        residues.append_upper(run, taken);
        count_ACGTU += taken;
        position += taken;
        in.buffer_pos += taken;
        break;
      }
      case RNA_U:
        residues.push_back('T');
        ++count_ACGTU;
        break;
      case AMBIGUOUS:
        residues.push_back(ambig_char);
        ++count_ambig;
        break;
      case DASH:
      case STAR:
        if (gaps_to_N) {
          residues.push_back(ambig_char);
          ++count_ambig;
        } else {
          removed_pos.push_back(position);
          (c == '-' ? dash_pos : star_pos).push_back(position);
          ++count_gaps;
        }
        break;
      case BLANK:
        continue; // white space takes no position
      default:
        mark_invalid(in);
        return;
      }
      if (++position > max_length) {
        too_long = true;
        mark_invalid(in);
        return;
      }
    }
  }
}

void FastaRecord::find_fastaname_and_description()
{
  const char* begin = full_name.begin();
  const char* end = full_name.end();
  const char* blank = begin;
  while (blank != end && *blank != ' ')
    ++blank;
  name.assign(begin ? begin : "", static_cast<uint32_t>(blank - begin));
  const char* rest = blank;
  while (rest != end && *rest == ' ')
    ++rest;
  // Without a blank the description is cleared; no output reads it.
  description.assign(rest ? rest : "", static_cast<uint32_t>(end - rest));
}

void FastaRecord::writeSequence_fill_in_gaps_and_stars(FILE* out, unsigned int width)
{
  std::putc('>', out);
  std::fwrite(full_name.data(), 1, full_name.size(), out);
  std::putc('\n', out);

  const uint64_t total = static_cast<uint64_t>(residues.size()) + removed_pos.size();
  uint32_t next_residue = 0, next_gap = 0, next_dash = 0;
  unsigned int on_line = 0;
  for (uint64_t pos = 0; pos < total; ++pos) {
    char c;
    if (next_gap < removed_pos.size() && removed_pos[next_gap] == pos) {
      ++next_gap;
      if (next_dash < dash_pos.size() && dash_pos[next_dash] == pos) {
        c = '-';
        ++next_dash;
      } else {
        c = '*';
      }
    } else {
      c = residues[next_residue++];
    }
    std::putc(c, out);
    if (++on_line == width) {
      std::putc('\n', out);
      on_line = 0;
    }
  }
  if (on_line > 0)
    std::putc('\n', out);
}
