#ifndef SEQUENCE_FASTA_RECORD_H
#define SEQUENCE_FASTA_RECORD_H

#include "sequence/buffered_reader.h"
#include "sequence/faststring.h"
#include "sequence/fastvector.h"

#include <cstdio>

// One FASTA record: the header, its name and description, and the cleaned
// residues the search works on (upper case, A C G T or 'N'), with counts by
// kind and the positions of the gap characters taken out, so that a masked
// copy can put them back.
class FastaRecord {
 public:
  FastaRecord();

  // Read the next record; gaps ('-', '*') are taken out and their positions kept.
  void readFastaSequence_toupper_ambig2N_removegaps(BufferedReader& in);
  // Read the next record; gaps become the ambiguity character.
  void readFastaSequence_toupper_ambig2N_gaps2N(BufferedReader& in);
  void find_fastaname_and_description();
  // FASTA with at most width residues per line and the gaps back in place.
  void writeSequence_fill_in_gaps_and_stars(FILE* out, unsigned int width);

  // Residues plus removed gaps: the record's length as written in the input.
  uint32_t input_length() const { return count_ACGTU + count_ambig + count_gaps; }

  faststring full_name;
  faststring name;
  faststring description;
  faststring residues;
  char ambig_char = 'N';
  uint32_t count_ACGTU = 0;
  uint32_t count_ambig = 0;
  uint32_t count_gaps = 0;
  fastvector<uint32_t> removed_pos;
  fastvector<uint32_t> dash_pos;
  fastvector<uint32_t> star_pos;

  // Positions are reported as signed 32-bit numbers, so a record may hold at
  // most this many residues and gaps. A longer one sets too_long and the
  // reader's fail flag.
  static uint32_t max_length;
  bool too_long = false;

 private:
  template <bool gaps_to_N>
  void read_fasta(BufferedReader& in);
};

#endif
