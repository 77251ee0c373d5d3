// The catalog being written, and the way out on failure.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include <htslib/bgzf.h>

// Exit statuses of zerlan-convert.
enum Status { bad_report = 1, bad_command_line = 2, cannot_write = 3 };

// Writes "zerlan-convert: " and the message to standard error, removes the
// temporary files of the output and ends the process with the status.
[[noreturn]] void fail(int status, const std::string& message);

// The text of errno, for messages.
std::string system_error();

enum class Index { bed, gff }; // column layout of a tabix index

// Standard output ("-"), or a file written under a temporary name beside
// its final name and renamed to it when complete, so that the final name
// never holds a partial catalog. A name ending in ".gz" is written as BGZF
// and gets a tabix index: .tbi, or .csi when a position reaches 2^29.
class Output {
public:
  explicit Output(const std::string& path);
  void write(std::string_view text);
  // An anonymous scratch file beside the output (in TMPDIR for standard
  // output), gone when closed or when the process ends.
  std::FILE* scratch_file();
  // A position of the catalog (end of a feature or length of a record).
  void note_position(int64_t position) { if (position > max_position_) max_position_ = position; }
  // Closes, indexes a compressed file and gives it its final name.
  void finish(Index index);

private:
  std::string path_, temporary_;
  BGZF* file_ = nullptr;
  bool compressed_ = false;
  int64_t max_position_ = 0;
};
