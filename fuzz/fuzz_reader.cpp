// Fuzz target: arbitrary bytes through the buffered reader and the FASTA
// reader, in both gap modes, the way the run driver reads a file, and each
// record back out through the masked writer.

#include "fuzz/fuzz_util.h"
#include "sequence/buffered_reader.h"
#include "sequence/fasta_record.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  const std::string path = fuzz_input_file(data, size);
  for (bool gaps_to_N : {false, true}) {
    BufferedReader in;
    FastaRecord seq;
    in.ffopen(path);
    while (!in.eof()) {
      if (gaps_to_N)
        seq.readFastaSequence_toupper_ambig2N_gaps2N(in);
      else
        seq.readFastaSequence_toupper_ambig2N_removegaps(in);
      if (in.fail() && !in.eof())
        break; // invalid FASTA
      seq.writeSequence_fill_in_gaps_and_stars(fuzz_sink(), 80);
    }
  }
  return 0;
}
