#include "e2e_util.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <regex>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

std::string read_file(const std::string& path)
{
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

bool ends_with(const std::string& s, const std::string& tail)
{
  return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

Scratch::Scratch()
{
  char tmpl[] = "/tmp/zerlan-e2e-XXXXXX";
  dir = mkdtemp(tmpl);
}

Scratch::~Scratch() { std::system(("rm -rf '" + dir + "'").c_str()); }

std::string Scratch::write(const std::string& name, const std::string& content) const
{
  std::ofstream(path(name), std::ios::binary) << content;
  return path(name);
}

std::string Scratch::read(const std::string& name) const { return read_file(path(name)); }

bool Scratch::exists(const std::string& name) const
{
  struct stat st;
  return stat(path(name).c_str(), &st) == 0;
}

RunResult run_zerlan(const Scratch& where, const std::vector<std::string>& args)
{
  const std::string out_path = where.path(".stdout"), err_path = where.path(".stderr");
  pid_t pid = fork();
  if (pid == 0) {
    if (chdir(where.dir.c_str()) != 0)
      _exit(126);
    int in = open("/dev/null", O_RDONLY);
    int out = open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    int err = open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(in, 0);
    dup2(out, 1);
    dup2(err, 2);
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>("zerlan"));
    for (const std::string& a : args)
      argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(ZERLAN_BINARY, argv.data());
    _exit(127);
  }
  int wstatus = 0;
  waitpid(pid, &wstatus, 0);
  RunResult r;
  r.status = WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : 128 + WTERMSIG(wstatus);
  r.out = read_file(out_path);
  static const std::regex clock("[0-9]{2,}\\.[0-9]{2}\\.[0-9]{2} - #");
  r.err = std::regex_replace(read_file(err_path), clock, "TT.TT.TT - #");
  unlink(out_path.c_str());
  unlink(err_path.c_str());
  return r;
}

const std::string kBanner =
    "\n\n      Welcome to Zerlan, version 3.3.11,\n"
    "      a microsatellite and satellite search tool.\n\n";
const std::string kFinished = "## Finished successfully. ##\n";

std::string settings_block(const Shown& s, const std::string& prefix)
{
  const bool tabbed = s.format == "gff" || s.format == "one-per-line format";
  const std::string sep = tabbed ? "\t" : " ";
  const bool aligning = s.searched != "exact repeats";
  std::string b;
  auto line = [&](const std::string& label, const std::string& value) {
    b += prefix + label + sep + value + "\n";
  };
  if (s.velta)
    b += prefix + "   This Zerlan search has been initiated by one of the VELTA modules.\n";
  b += prefix + "Parameter settings used in this search:" + sep + "\n";
  line("Input file name:                        ", s.input);
  if (!s.output.empty())
    line("Output file name:                       ", s.output);
  line("   Sequence range to process:           ", s.range);
  line("   Satellites searched for:             ", s.searched);
  if (aligning) {
    line("   Recursion depth:                     ", s.recursion);
    line("   Maximum score reduction:             ", s.score_reduction);
  }
  line("   Minimum unit length:                 ", s.min_unit);
  line("   Maximum unit length:                 ", s.max_unit);
  line("   Minimum score:                       ", s.min_score);
  line("   Minimum length:                      ", s.min_length);
  line("   Min. to max. perfection range:       ", s.perfection);
  line("   Treat N's as:                        ", s.ns);
  line("   Max. succesive N's allowed:          ", s.succ_ns);
  if (aligning) {
    line("   Mismatch score:                      ", s.mismatch);
    line("   Indel score:                         ", s.indel);
  }
  line("   Show shorter (not longer) of two repeat variants with equal score: ", s.shorter);
  line("   Number of flanking nucletides:       ", s.flanking);
  line("   Remove mostly overlapping satellites:", s.overlapping);
  line("   Write file with masked seq.          ", s.mask);
  line("   Computing perfections treat N's:     ", s.n_perfection);
  line("   Report units as:                     ", s.unit);
  line("   Output format:                       ", s.format);
  line("   Print sequence mode:                 ", s.seq_mode);
  if (tabbed)
    line("   Print seq. info as comment:          ", s.info_as_comment);
  line("   Convert gaps and *s to Ns :          ", s.gaps_to_ns);
  return b;
}

static std::string legend_lines(const std::vector<std::string>& columns)
{
  std::string b = "# \n# Columns in lines of output providing repeat information:\n";
  char num[24];
  for (size_t i = 0; i < columns.size(); ++i) {
    std::snprintf(num, sizeof num, "%2zu", i + 1);
    b += std::string("# Column ") + num + ": " + columns[i] + "\n";
  }
  return b + "# \n";
}

static const std::vector<std::string> kNativeFirst = {
    "Repeat unit length",
    "Position at which repeat starts in current sequence",
    "Position at which repeat ends in current sequence",
    "Length of repeat in original sequence, i.e. (end-start+1)",
    "Normalized repeat length, i.e. (end-start+1-insertions+deletions)",
    "Repeat score",
    "Repeat perfection",
};

std::string legend_native()
{
  std::vector<std::string> c = kNativeFirst;
  c.push_back("Repeat unit");
  return legend_lines(c);
}

std::string legend_extended(bool n_column)
{
  std::vector<std::string> c = kNativeFirst;
  c.push_back("Number of mismatches");
  c.push_back("Number of insertions");
  c.push_back("Number of deletions");
  if (n_column)
    c.push_back("Number of N's");
  c.push_back("Repeat unit");
  return legend_lines(c);
}

std::string legend_one_per_line(bool flanks)
{
  return std::string("seq-name\tunit-length\tperfection\tstart\tend\tlength\trepeat-number\t"
                     "score\tmismatches\tinsertions\tdeletions\tNs\tunit\trepeat-seq") +
         (flanks ? "\tleft-flanking-seq\tright-flanking-seq" : "") + "\n";
}

std::string report_head(const Shown& s, const std::string& legend)
{
  return "# Results computed with:\n#    Zerlan, version 3.3.11\n" + settings_block(s, "# ") + legend;
}

std::string console_head(const Shown& s)
{
  return kBanner + "Results computed with:\n   Zerlan, version 3.3.11\n" + settings_block(s, "") +
         "\n\nSearch progress:\n\nTime     - SeqNr - PatLen - Seq-Name\n" + std::string(72, '-') +
         "\n";
}

std::string console_tail() { return "\nAnalysis finished successfully.\n\nZerlan says goodbye.\n\n"; }

std::string progress_line(int record, int unit_length, const std::string& name)
{
  char head[64];
  std::snprintf(head, sizeof head, "TT.TT.TT - # %3d - %4dbp - ", record, unit_length);
  return head + name + "\n";
}
