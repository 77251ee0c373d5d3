// Reads a one-per-line report (zerlan --outputFormat 3) line by line.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include <htslib/bgzf.h>
#include <htslib/kstring.h>

// One row of the report. The texts point into the current line and are
// valid until the next call of Report::next.
struct Repeat {
  std::string_view record;
  int64_t unit_length;
  std::string_view perfection; // as written, percent with three decimals
  double perfection_value;
  int64_t start, end; // 1-based, inclusive, gap characters counted
  int64_t length;     // residues, without gap characters
  std::string_view repeat_number;
  int64_t score, mismatches, insertions, deletions;
  std::string_view unit;     // as the report gives it (--reportUnit)
  std::string_view sequence; // the repeat's residues
};

// A record's length, from "##sequence-region" (--sequenceInfoAsComment).
struct Region {
  std::string_view record;
  int64_t length;
};

class Report {
public:
  explicit Report(const std::string& path); // "-" reads standard input
  ~Report();
  Report(const Report&) = delete;
  Report& operator=(const Report&) = delete;

  enum Item { repeat, region, end };
  // The next repeat or record length; end after zerlan's closing line.
  // Ends the process with a message naming the line on anything else.
  Item next();
  const Repeat& current_repeat() const { return repeat_; }
  const Region& current_region() const { return region_; }

private:
  [[noreturn]] void refuse(const std::string& problem) const;
  void read_header(std::string_view text);
  void read_row(std::string_view text);
  bool read_region(std::string_view text);
  void check_order();

  std::string name_;
  BGZF* file_;
  kstring_t line_ = {0, 0, nullptr};
  int64_t line_number_ = 0;
  enum class State { before_header, open, closed } state_ = State::before_header;
  int64_t header_line_ = 0;
  size_t columns_ = 0;
  Repeat repeat_{};
  Region region_{};
  // Order: the repeats of a record come together, by start and end.
  std::string record_;
  int64_t last_start_ = 0, last_end_ = 0, last_line_ = 0;
  std::unordered_set<std::string> finished_records_;
  std::unordered_map<std::string, int64_t> lengths_;
};
