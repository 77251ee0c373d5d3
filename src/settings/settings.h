#ifndef SETTINGS_SETTINGS_H
#define SETTINGS_SETTINGS_H

#include <cstdio>
#include <string>

// Process-wide run settings. init_param() gives them their defaults,
// read_and_init_parameters() overwrites them once from the command line;
// from then on every other part of the program only reads them.

extern std::string global_input_filename;
extern std::string global_output_filename;

extern int global_sequence_from;
extern int global_sequence_to;            // -1: up to the last sequence
extern int global_search_mode;            // 0 exact, 1 extendExact, 2 imperfect
extern int global_N_and_perfection_mode;  // 0 asMismatch, 1 asNeutral, 2 asMatch
extern int global_report_unit_mode;       // 0 as is, 1 alphabetical, 2 alphabetical with reverse complement
extern int global_print_sat_seq_mode;     // 0 none, 1 sequence, 2 alignment
extern int global_print_sat_mode;         // 0 native, 1 extended, 2 GFF, 3 one-per-line, 4 FASTA
extern bool global_sequenceInfoAsComment;
extern int global_flanking;
extern int global_maximum_recursion_depth;
extern int global_maximum_scorereduction; // 2147483647: unlimited
extern unsigned int global_min_unit_length;
extern unsigned int global_max_unit_length;
extern bool global_treat_Ns_as_missense;
extern int global_Ns_allowed_in_a_row;
extern int global_min_score;
extern int global_min_score_a;
extern float global_min_score_bx;
extern int global_min_length;
extern int global_min_length_a;
extern float global_min_length_bx;
extern float global_min_perfection;
extern float global_max_perfection;
extern int global_mismatch_score;
extern int global_indel_score;
extern int global_prefer_longer_repeat;   // 0 or 1
extern bool global_remove_mostly_hidden;
extern bool global_mask_X;
extern bool global_mask_lower;
extern bool global_gaps_to_Ns;
extern bool global_VELTA_run;
// Threads the search may use: ZERLAN_THREADS, or the CPUs the process may
// run on. Not a command-line option and not part of the settings summary:
// the results are the same for every value.
extern unsigned int global_threads;

const int SCOREREDUCTION_UNLIMITED = 2147483647;
const unsigned int MAX_THREADS = 256;

void init_param();

// 0: go on; -1: command line refused; -2: a mode option carries an unknown
// number. Help, version and parse errors end the process inside the call.
int read_and_init_parameters(int argc, char** argv);

// The settings block at the head of console and report; every line starts
// with prefix.
void print_search_parameters(FILE* out, const char* prefix);

#endif
