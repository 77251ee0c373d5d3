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

#endif
