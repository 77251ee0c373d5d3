#include "output.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <htslib/tbx.h>

namespace {

std::vector<std::string> temporaries; // removed by fail()

bool ends_with(const std::string& text, const char* suffix)
{
  const size_t n = std::strlen(suffix);
  return text.size() >= n && text.compare(text.size() - n, n, suffix) == 0;
}

} // namespace

std::string system_error() { return std::strerror(errno); }

void fail(int status, const std::string& message)
{
  std::fprintf(stderr, "zerlan-convert: %s\n", message.c_str());
  for (const std::string& name : temporaries)
    unlink(name.c_str());
  std::exit(status);
}

Output::Output(const std::string& path) : path_(path)
{
  if (path == "-") {
    path_ = "standard output";
    file_ = bgzf_dopen(STDOUT_FILENO, "wu");
  } else {
    compressed_ = ends_with(path, ".gz");
    temporary_ = path + ".XXXXXX";
    const int fd = mkstemp(temporary_.data());
    if (fd < 0)
      fail(cannot_write, "cannot write " + path + ": " + system_error());
    temporaries.push_back(temporary_);
    // mkstemp makes the file private; give it the permissions of a new file.
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(fd, 0666 & ~mask);
    file_ = bgzf_dopen(fd, compressed_ ? "w" : "wu");
  }
  if (!file_)
    fail(cannot_write, "cannot write " + path_ + ": " + system_error());
}

std::FILE* Output::scratch_file()
{
  std::string name = temporary_.empty() ? std::string(std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp") + "/zerlan-convert"
                                        : temporary_;
  name += ".XXXXXX";
  const int fd = mkstemp(name.data());
  if (fd >= 0)
    unlink(name.c_str());
  std::FILE* file = fd >= 0 ? fdopen(fd, "w+") : nullptr;
  if (!file)
    fail(cannot_write, "cannot write a scratch file " + name + ": " + system_error());
  return file;
}

void Output::write(std::string_view text)
{
  if (bgzf_write(file_, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
    fail(cannot_write, "cannot write " + path_ + ": " + system_error());
}

void Output::finish(Index index)
{
  // On a failed flush bgzf_close returns early and keeps the handle: it
  // stays in file_ until the process ends.
  if (bgzf_close(file_) != 0)
    fail(cannot_write, "cannot write " + path_ + ": " + system_error());
  file_ = nullptr;
  if (temporary_.empty())
    return;

  std::string index_suffix;
  if (compressed_) {
    // A tabix index (.tbi) holds positions below 2^29; CSI goes further.
    const bool csi = max_position_ >= (int64_t(1) << 29);
    index_suffix = csi ? ".csi" : ".tbi";
    const std::string temporary_index = temporary_ + index_suffix;
    temporaries.push_back(temporary_index);
    const tbx_conf_t& conf = index == Index::bed ? tbx_conf_bed : tbx_conf_gff;
    if (tbx_index_build3(temporary_.c_str(), temporary_index.c_str(), csi ? 14 : 0, 1, &conf) != 0)
      fail(cannot_write, "cannot index " + path_);
  }
  if (std::rename(temporary_.c_str(), path_.c_str()) != 0)
    fail(cannot_write, "cannot write " + path_ + ": " + system_error());
  if (compressed_) {
    if (std::rename((temporary_ + index_suffix).c_str(), (path_ + index_suffix).c_str()) != 0) {
      const std::string error = system_error();
      unlink(path_.c_str());
      fail(cannot_write, "cannot write " + path_ + index_suffix + ": " + error);
    }
    // An index of the other kind left from an earlier run would not match.
    unlink((path_ + (index_suffix == ".tbi" ? ".csi" : ".tbi")).c_str());
  }
  temporaries.clear();
}
