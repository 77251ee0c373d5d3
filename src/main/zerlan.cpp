// Zerlan: searches DNA sequences in FASTA format for tandem repeats.

#include "main/run.h"

int main(int argc, char** argv) { return run_zerlan(argc, argv); }
