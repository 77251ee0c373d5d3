#ifndef E2E_UTIL_H
#define E2E_UTIL_H

#include <map>
#include <string>
#include <vector>

// What one run of the zerlan binary left behind.
struct RunResult {
  int status = -1;   // exit status as the shell sees it (0 … 255)
  std::string out;   // standard output
  std::string err;   // standard error, progress times masked as "TT.TT.TT"
};

// A scratch directory per test, removed when the object goes.
struct Scratch {
  Scratch();
  ~Scratch();
  std::string path(const std::string& name) const { return dir + "/" + name; }
  void write(const std::string& name, const std::string& content) const;
  std::string read(const std::string& name) const;
  std::string dir;
};

// Runs the binary as "zerlan" in the scratch directory, standard input empty.
RunResult run_zerlan(const Scratch& where, const std::vector<std::string>& args);
// The same in a fresh scratch directory whose in.fa holds fasta.
RunResult run_on(const std::string& fasta, const std::vector<std::string>& args);

bool ends_with(const std::string& s, const std::string& tail);

// Settings that differ from a run given only "in.fa", keyed by part of their
// label: {{"Output format", "gff"}}. "Output file name" adds that line,
// "exact repeats" drops the alignment lines, "VELTA" adds the VELTA line.
using Settings = std::map<std::string, std::string>;

// The settings block, every line starting with prefix.
std::string settings_block(const Settings& changed, const std::string& prefix);
// Creator lines and settings with "# ", then the legend of the format.
std::string report_head(const Settings& changed);
// Standard error up to the first progress line.
std::string console_head(const Settings& changed);
std::string progress_line(int record, int unit_length, const std::string& name);

extern const std::string kBanner;
extern const std::string kGoodbye;   // closing messages of a successful run
extern const std::string kFinished;  // closing line of native and one-per-line reports

#endif
