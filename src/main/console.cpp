#include "main/console.h"

#include "settings/number2cstring.h"

time_t time_analysis_started;
time_t time_next_status_report = time(nullptr);

// Standard error is written directly and flushed at once, so that messages
// are seen while a long search goes on; other streams are buffered.
static void put_strings(FILE* out, const char* const* parts, int count)
{
  for (int i = 0; i < count; ++i)
    std::fputs(parts[i], out);
  if (out == stderr)
    std::fflush(stderr);
}

void PrintMessage(FILE* out, const char* a)
{
  const char* p[] = {a};
  put_strings(out, p, 1);
}
void PrintMessage(FILE* out, const char* a, const char* b)
{
  const char* p[] = {a, b};
  put_strings(out, p, 2);
}
void PrintMessage(FILE* out, const char* a, const char* b, const char* c)
{
  const char* p[] = {a, b, c};
  put_strings(out, p, 3);
}
void PrintMessage(FILE* out, const char* a, const char* b, const char* c, const char* d)
{
  const char* p[] = {a, b, c, d};
  put_strings(out, p, 4);
}
void PrintMessage(FILE* out, const char* a, const char* b, const char* c, const char* d, const char* e)
{
  const char* p[] = {a, b, c, d, e};
  put_strings(out, p, 5);
}

void zerlan_welcome(FILE* out)
{
  PrintMessage(out, "\n\n", "      Welcome to Zerlan, version 3.3.11,\n",
                       "      a microsatellite and satellite search tool.\n", "\n");
}

void creator_message(FILE* out, const char* prefix)
{
  PrintMessage(out, prefix, "Results computed with:\n", prefix, "   Zerlan, version 3.3.11\n");
}

void report_status(unsigned int seq_number, const char* name, unsigned int unit_length, char)
{
  unsigned int e = static_cast<unsigned int>(time(nullptr) - time_analysis_started);
  std::fprintf(stderr, "%.2d.%.2d.%.2d - # %3d - %4dbp - %.70s\n", e / 3600, (e % 3600) / 60, e % 60,
               seq_number, unit_length, name);
  std::fflush(stderr);
}

bool check_report_status()
{
  time_t now = time(nullptr);
  if (now > time_next_status_report) {
    time_next_status_report = now + 59;
    return true;
  }
  return false;
}

void update_report_time() { time_next_status_report = time(nullptr) + 59; }

void good_bye()
{
  PrintMessage(stderr, "\nAnalysis finished successfully.\n\n", "Zerlan says goodbye.\n\n");
}

void good_bye_on_error(int code)
{
  if (code == -1)
    PrintMessage(stderr, "\n\n");
  else
    PrintMessage(stderr, "\nAnalysis has been aborted due to errors. Error number: ", number2str(code),
                         "\n\n");
}
