#ifndef MAIN_CONSOLE_H
#define MAIN_CONSOLE_H

#include "search/record_search.h"

#include <cstdio>
#include <ctime>

// Fixed texts around a run, the progress lines on standard error and the
// timer that paces them.

extern time_t time_analysis_started;   // zero point of the elapsed time
extern time_t time_next_status_report; // a timed progress line is due after this

void PrintMessage(FILE* out, const char* a);
void PrintMessage(FILE* out, const char* a, const char* b);
void PrintMessage(FILE* out, const char* a, const char* b, const char* c);
void PrintMessage(FILE* out, const char* a, const char* b, const char* c, const char* d);
void PrintMessage(FILE* out, const char* a, const char* b, const char* c, const char* d, const char* e);

void zerlan_welcome(FILE* out);
void creator_message(FILE* out, const char* prefix);
void report_status(unsigned int seq_number, const char* name, unsigned int unit_length, char ignored);
bool check_report_status();
void update_report_time();
void good_bye();
void good_bye_on_error(int code);

// The progress lines of one record's search on standard error.
class ConsoleProgress : public SearchProgress {
 public:
  ConsoleProgress(unsigned int seq_number, const char* name) : seq_number(seq_number), name(name) {}
  void step(const char* text) override { PrintMessage(stderr, text); }
  void at_unit_length(unsigned int unit_length) override
  {
    if (check_report_status())
      report_status(seq_number, name, unit_length, 'r');
  }

 private:
  unsigned int seq_number;
  const char* name;
};

#endif
