#ifndef MAIN_CONSOLE_H
#define MAIN_CONSOLE_H

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
void good_bye(FILE* out);
void good_bye_on_error(int code);

#endif
