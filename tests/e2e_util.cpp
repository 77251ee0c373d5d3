#include "e2e_util.h"

#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <regex>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

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

void Scratch::write(const std::string& name, const std::string& content) const
{
  std::ofstream(path(name), std::ios::binary) << content;
}

std::string Scratch::read(const std::string& name) const
{
  std::ifstream in(path(name), std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

RunResult run_zerlan(const Scratch& where, const std::vector<std::string>& args)
{
  pid_t pid = fork();
  if (pid == 0) {
    if (chdir(where.dir.c_str()) != 0)
      _exit(126);
    dup2(open("/dev/null", O_RDONLY), 0);
    dup2(open(where.path(".stdout").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), 1);
    dup2(open(where.path(".stderr").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), 2);
    std::vector<char*> argv{const_cast<char*>("zerlan")};
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
  r.out = where.read(".stdout");
  static const std::regex clock("[0-9]{2,}\\.[0-9]{2}\\.[0-9]{2} - #");
  r.err = std::regex_replace(where.read(".stderr"), clock, "TT.TT.TT - #");
  return r;
}

RunResult run_on(const std::string& fasta, const std::vector<std::string>& args)
{
  Scratch s;
  s.write("in.fa", fasta);
  return run_zerlan(s, args);
}

const std::string kBanner =
    "\n\n      Welcome to Zerlan, version 3.3.11,\n      a microsatellite and satellite search tool.\n\n";
const std::string kGoodbye = "\nAnalysis finished successfully.\n\nZerlan says goodbye.\n\n";
const std::string kFinished = "## Finished successfully. ##\n";

// Label and value of each line in a default run, in the order of the block.
static const std::vector<std::pair<std::string, std::string>> kDefaults = {
    {"Input file name:                        ", "in.fa"},
    {"Output file name:                       ", ""},
    {"   Sequence range to process:           ", "1 - last sequence"},
    {"   Satellites searched for:             ", "imperfect repeats"},
    {"   Recursion depth:                     ", "5"},
    {"   Maximum score reduction:             ", "-"},
    {"   Minimum unit length:                 ", "1"},
    {"   Maximum unit length:                 ", "10"},
    {"   Minimum score:                       ", "maximum (6, 0+1*unitlength )"},
    {"   Minimum length:                      ", "maximum (0, 0+0*unitlength )"},
    {"   Min. to max. perfection range:       ", "0 % - 100 %"},
    {"   Treat N's as:                        ", "neutral"},
    {"   Max. succesive N's allowed:          ", "2"},
    {"   Mismatch score:                      ", "-5"},
    {"   Indel score:                         ", "-5"},
    {"   Show shorter (not longer) of two repeat variants with equal score: ", "no"},
    {"   Number of flanking nucletides:       ", "0"},
    {"   Remove mostly overlapping satellites:", "yes"},
    {"   Write file with masked seq.          ", "no"},
    {"   Computing perfections treat N's:     ", "asMismatch"},
    {"   Report units as:                     ", "alphabetical normal form using reverse complement"},
    {"   Output format:                       ", "extended zerlan format"},
    {"   Print sequence mode:                 ", "print alignment"},
    {"   Print seq. info as comment:          ", "no"},
    {"   Convert gaps and *s to Ns :          ", "no"},
};

// The value a run with the given changes shows for the line whose label
// is or contains key.
static std::string shown(const Settings& changed, const std::string& key)
{
  for (const auto& c : changed)
    if (key.find(c.first) != std::string::npos)
      return c.second;
  for (const auto& d : kDefaults)
    if (d.first.find(key) != std::string::npos)
      return d.second;
  return "";
}

std::string settings_block(const Settings& changed, const std::string& prefix)
{
  const std::string format = shown(changed, "Output format");
  const bool tabbed = format == "gff" || format == "one-per-line format";
  const bool exact = shown(changed, "Satellites") == "exact repeats";
  const std::string sep = tabbed ? "\t" : " ";
  std::string b;
  if (changed.count("VELTA"))
    b += prefix + "   This Zerlan search has been initiated by one of the VELTA modules.\n";
  b += prefix + "Parameter settings used in this search:" + sep + "\n";
  for (const auto& d : kDefaults) {
    const std::string value = shown(changed, d.first);
    bool aligning = false;
    for (const char* word : {"Recursion", "reduction", "Mismatch", "Indel"})
      aligning |= d.first.find(word) != std::string::npos;
    const bool info = d.first.find("info as") != std::string::npos;
    if (!(d.first[0] == 'O' && value.empty()) && !(aligning && exact) && !(info && !tabbed))
      b += prefix + d.first + sep + value + "\n";
  }
  return b;
}

std::string report_head(const Settings& changed)
{
  const std::string head = "# Results computed with:\n#    Zerlan, version 3.3.11\n" + settings_block(changed, "# ");
  const std::string format = shown(changed, "Output format");
  if (format == "one-per-line format")
    return head + "seq-name\tunit-length\tperfection\tstart\tend\tlength\trepeat-number\tscore\tmismatches\t"
                  "insertions\tdeletions\tNs\tunit\trepeat-seq" +
           (shown(changed, "flanking") != "0" ? "\tleft-flanking-seq\tright-flanking-seq" : "") + "\n";
  if (format != "zerlan format" && format != "extended zerlan format")
    return head;
  std::vector<std::string> columns = {
      "Repeat unit length", "Position at which repeat starts in current sequence",
      "Position at which repeat ends in current sequence",
      "Length of repeat in original sequence, i.e. (end-start+1)",
      "Normalized repeat length, i.e. (end-start+1-insertions+deletions)", "Repeat score", "Repeat perfection"};
  if (format == "extended zerlan format")
    columns.insert(columns.end(), {"Number of mismatches", "Number of insertions", "Number of deletions"});
  if (format == "extended zerlan format" && shown(changed, "Treat N's") == "neutral")
    columns.push_back("Number of N's");
  columns.push_back("Repeat unit");
  std::string b = head + "# \n# Columns in lines of output providing repeat information:\n";
  for (size_t i = 0; i < columns.size(); ++i)
    b += std::string("# Column ") + (i < 9 ? " " : "") + std::to_string(i + 1) + ": " + columns[i] + "\n";
  return b + "# \n";
}

std::string console_head(const Settings& changed)
{
  return kBanner + "Results computed with:\n   Zerlan, version 3.3.11\n" + settings_block(changed, "") +
         "\n\nSearch progress:\n\nTime     - SeqNr - PatLen - Seq-Name\n" + std::string(72, '-') + "\n";
}

std::string progress_line(int record, int unit_length, const std::string& name)
{
  char head[64];
  std::snprintf(head, sizeof head, "TT.TT.TT - # %3d - %4dbp - ", record, unit_length);
  return head + name + "\n";
}
