#ifndef REPORT_OUTPUT_FORMATS_H
#define REPORT_OUTPUT_FORMATS_H

#include "report/repeat.h"
#include "sequence/fasta_record.h"

#include <cstdio>
#include <list>

// The column description (or header line) of the chosen output format,
// written once at the head of the report.
void print_output_format(FILE* out, const char* prefix, const Settings& settings);

// One record's part of the report: header, one entry per repeat (in list
// order, which must be ascending by begin) and footer; flushes out.
void report_SATList(FILE* out, const std::list<Repeat*>& sats, FastaRecord& seq, const Settings& settings);

// The closing line of the report, after the last record.
void print_report_end(FILE* out, const Settings& settings);

#endif
