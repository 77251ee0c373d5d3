#ifndef E2E_UTIL_H
#define E2E_UTIL_H

#include <string>
#include <vector>

// What one run of the zerlan binary left behind.
struct RunResult {
  int status = -1;        // exit status as the shell sees it (0 … 255)
  std::string out;        // standard output
  std::string err;        // standard error, progress times masked as "TT.TT.TT"
};

// A scratch directory per test, removed when the object goes.
class Scratch {
 public:
  Scratch();
  ~Scratch();
  std::string path(const std::string& name) const { return dir + "/" + name; }
  std::string write(const std::string& name, const std::string& content) const;
  std::string read(const std::string& name) const;
  bool exists(const std::string& name) const;

  std::string dir;
};

// Runs the binary with args (argv[1] …) in the scratch directory, with
// standard input empty.
RunResult run_zerlan(const Scratch& where, const std::vector<std::string>& args);

std::string read_file(const std::string& path);

bool ends_with(const std::string& s, const std::string& tail);

// What the settings block of a run shows, as text. The defaults are those of
// a run given only the input file name "in.fa".
struct Shown {
  std::string input = "in.fa";
  std::string output;                          // no line when empty
  std::string range = "1 - last sequence";
  std::string searched = "imperfect repeats";  // "exact repeats" drops the four alignment lines
  std::string recursion = "5";
  std::string score_reduction = "-";
  std::string min_unit = "1";
  std::string max_unit = "10";
  std::string min_score = "maximum (6, 0+1*unitlength )";
  std::string min_length = "maximum (0, 0+0*unitlength )";
  std::string perfection = "0 % - 100 %";
  std::string ns = "neutral";
  std::string succ_ns = "2";
  std::string mismatch = "-5";
  std::string indel = "-5";
  std::string shorter = "no";
  std::string flanking = "0";
  std::string overlapping = "yes";
  std::string mask = "no";
  std::string n_perfection = "asMismatch";
  std::string unit = "alphabetical normal form using reverse complement";
  std::string format = "extended zerlan format";  // gff and one-per-line use tabs
  std::string seq_mode = "print alignment";
  std::string info_as_comment = "no";            // shown for gff and one-per-line only
  std::string gaps_to_ns = "no";
  bool velta = false;
};

// The settings block, every line starting with prefix.
std::string settings_block(const Shown& s, const std::string& prefix);

// Column legends of the report as written after the settings block.
std::string legend_native();                     // outputFormat 0
std::string legend_extended(bool n_column);      // outputFormat 1
std::string legend_one_per_line(bool flanks);    // outputFormat 3

// Head of the report: creator lines and settings with "# ", then the legend.
std::string report_head(const Shown& s, const std::string& legend);

// Standard error of a run up to the first progress line, and after the last.
std::string console_head(const Shown& s);
std::string console_tail();
std::string progress_line(int record, int unit_length, const std::string& name);

extern const std::string kBanner;
extern const std::string kFinished;   // closing line of native and one-per-line reports

#endif
