// Zerlan: searches DNA sequences in FASTA format for tandem repeats.

#include "main/console.h"
#include "main/run.h"

#include <new>

int main(int argc, char** argv)
{
  try {
    return run_zerlan(argc, argv);
  } catch (const std::bad_alloc&) {
    // What was written so far stays; the user learns why the rest is missing.
    PrintMessage(stderr, "\nSorry! Zerlan ran out of memory.\n");
    good_bye_on_error(-107);
    return -107;
  }
}
