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
