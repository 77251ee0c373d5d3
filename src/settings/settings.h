#ifndef SETTINGS_SETTINGS_H
#define SETTINGS_SETTINGS_H

#include <cstdio>
#include <string>

const int SCOREREDUCTION_UNLIMITED = 2147483647;
const unsigned int MAX_THREADS = 256;

// The settings of one run, with their defaults. The command line is read
// into one object once; from then on it is passed down as const.
struct Settings {
  std::string input_filename;
  std::string output_filename;

  int sequence_from = 1;
  int sequence_to = -1;             // -1: up to the last sequence
  int search_mode = 2;              // 0 exact, 1 extendExact, 2 imperfect
  int N_and_perfection_mode = 0;    // 0 asMismatch, 1 asNeutral, 2 asMatch
  int report_unit_mode = 2;         // 0 as is, 1 alphabetical, 2 alphabetical with reverse complement
  int print_sat_seq_mode = 2;       // 0 none, 1 sequence, 2 alignment
  int print_sat_mode = 1;           // 0 native, 1 extended, 2 GFF, 3 one-per-line, 4 FASTA
  bool sequenceInfoAsComment = false;
  int flanking = 0;
  int maximum_recursion_depth = 5;
  int maximum_scorereduction = SCOREREDUCTION_UNLIMITED;
  unsigned int min_unit_length = 1;
  unsigned int max_unit_length = 10;
  bool treat_Ns_as_missense = false;
  int Ns_allowed_in_a_row = 2;
  int min_score = 6;
  int min_score_a = 0;
  float min_score_bx = 1.0f;
  int min_length = 0;
  int min_length_a = 0;
  float min_length_bx = 0.0f;
  float min_perfection = 0.0f;
  float max_perfection = 100.0f;
  int mismatch_score = -5;
  int indel_score = -5;
  int prefer_longer_repeat = 1;     // 0 or 1
  bool remove_mostly_hidden = true;
  bool mask_X = false;
  bool mask_lower = false;
  bool gaps_to_Ns = false;
  bool VELTA_run = false;
  // Threads the search may use: ZERLAN_THREADS, or the CPUs the process may
  // run on. Not a command-line option and not part of the settings summary:
  // the results are the same for every value.
  unsigned int threads = 1;

  bool masking() const { return mask_X || mask_lower; }
};

// Fills settings from the command line. 0: go on; -1: command line refused;
// -2: a mode option carries an unknown number. Help, version and parse
// errors end the process inside the call.
int read_and_init_parameters(int argc, char** argv, Settings& settings);

// The settings block at the head of console and report; every line starts
// with prefix.
void print_search_parameters(FILE* out, const char* prefix, const Settings& settings);

#endif
