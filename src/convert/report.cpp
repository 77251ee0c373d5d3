#include "report.h"

#include <cmath>
#include <cstdlib>
#include <vector>

#include "output.h"

namespace {

const char* const base_columns[] = {"seq-name",   "unit-length", "perfection",    "start",      "end",
                                    "length",     "repeat-number", "score",       "mismatches", "insertions",
                                    "deletions",  "Ns",          "unit"};
const char* const closing_line = "## Finished successfully. ##";

std::vector<std::string_view> split(std::string_view text, char separator)
{
  std::vector<std::string_view> fields;
  size_t from = 0;
  for (size_t tab; (tab = text.find(separator, from)) != std::string_view::npos; from = tab + 1)
    fields.push_back(text.substr(from, tab - from));
  fields.push_back(text.substr(from));
  return fields;
}

bool starts_with(std::string_view text, std::string_view prefix) { return text.substr(0, prefix.size()) == prefix; }

// A short, printable excerpt of a line for messages.
std::string excerpt(std::string_view text)
{
  std::string shown;
  for (char c : text.substr(0, 60))
    shown += c == '\t' ? ' ' : (static_cast<unsigned char>(c) < 32 ? '?' : c);
  return "'" + shown + (text.size() > 60 ? "...'" : "'");
}

bool whole_number(std::string_view text, int64_t& value)
{
  size_t i = !text.empty() && text[0] == '-';
  if (i == text.size() || text.size() > 18)
    return false;
  value = 0;
  for (; i < text.size(); ++i) {
    if (text[i] < '0' || text[i] > '9')
      return false;
    value = 10 * value + (text[i] - '0');
  }
  if (text[0] == '-')
    value = -value;
  return true;
}

bool residues(std::string_view text)
{
  for (char c : text)
    if (c != 'A' && c != 'C' && c != 'G' && c != 'T' && c != 'N')
      return false;
  return true;
}

} // namespace

Report::Report(const std::string& path) : name_(path == "-" ? "standard input" : path)
{
  file_ = bgzf_open(path.c_str(), "r"); // plain or gzip-compressed
  if (!file_)
    fail(bad_report, "cannot read " + name_ + ": " + system_error());
}

Report::~Report()
{
  bgzf_close(file_);
  free(line_.s);
}

void Report::refuse(const std::string& problem) const
{
  fail(bad_report, name_ + " line " + std::to_string(line_number_) + ": " + problem);
}

Report::Item Report::next()
{
  for (;;) {
    const int got = bgzf_getline(file_, '\n', &line_);
    if (got < -1)
      fail(bad_report, "cannot read " + name_ + " after line " + std::to_string(line_number_) +
                           ": the compressed data are corrupt or cut short");
    if (got == -1) {
      if (line_number_ == 0)
        fail(bad_report, name_ + " is empty, not a one-per-line report (zerlan --outputFormat 3)");
      if (state_ == State::before_header)
        refuse("the report ends without the column header of a one-per-line report (zerlan --outputFormat 3)");
      if (state_ == State::open)
        refuse("the report ends without zerlan's closing line \"" + std::string(closing_line) +
               "\": it is incomplete (zerlan did not finish, or the file was cut)");
      return end;
    }
    ++line_number_;
    const std::string_view text(line_.s, line_.l);
    if (text.empty())
      continue;
    if (starts_with(text, "##sequence-region ") && read_region(text))
      return region;
    if (text[0] == '#') {
      if (state_ == State::open && text == closing_line)
        state_ = State::closed;
      continue;
    }
    if (starts_with(text, "seq-name\t")) {
      if (state_ == State::open)
        refuse("a second column header before zerlan's closing line: the report above it is incomplete");
      read_header(text);
      continue;
    }
    if (state_ == State::closed)
      refuse("a line after zerlan's closing line: " + excerpt(text));
    if (state_ == State::before_header) {
      const std::vector<std::string_view> fields = split(text, '\t');
      std::string found = "found " + excerpt(text);
      if (text[0] == '>')
        found = "found a record header of a native, extended or FASTA report (--outputFormat 0, 1 or 4), "
                "or of a FASTA file: " + excerpt(text);
      else if (fields.size() == 9 && fields[1] == "Zerlan")
        found = "found a line of a GFF report (--outputFormat 2): " + excerpt(text);
      refuse("expected the column header of a one-per-line report (zerlan --outputFormat 3), " + found);
    }
    read_row(text);
    check_order();
    return repeat;
  }
}

void Report::read_header(std::string_view text)
{
  const std::vector<std::string_view> names = split(text, '\t');
  bool zerlan = names.size() >= 13;
  for (size_t i = 0; zerlan && i < 13; ++i)
    zerlan = names[i] == base_columns[i];
  if (zerlan && names.size() == 13)
    refuse("the report has no repeat-seq column; the catalogs need the repeat's sequence");
  if (zerlan && names[13] != "repeat-seq")
    zerlan = false;
  if (zerlan && names.size() == 16)
    zerlan = names[14] == "left-flanking-seq" && names[15] == "right-flanking-seq";
  else if (names.size() != 14)
    zerlan = false;
  if (!zerlan)
    refuse("not the column header of a one-per-line report (zerlan --outputFormat 3): " + excerpt(text));
  state_ = State::open;
  columns_ = names.size();
  header_line_ = line_number_;
}

void Report::read_row(std::string_view text)
{
  const std::vector<std::string_view> fields = split(text, '\t');
  if (fields.size() != columns_)
    refuse("the line has " + std::to_string(fields.size()) + " columns, the header on line " +
           std::to_string(header_line_) + " has " + std::to_string(columns_) +
           (fields.size() < columns_ ? ": the line is cut short" : ""));
  auto number = [&](size_t column, int64_t minimum) {
    int64_t value;
    if (!whole_number(fields[column], value) || value < minimum)
      refuse("column " + std::string(base_columns[column]) + " holds " + excerpt(fields[column]) +
             ", not a whole number" + (minimum == 0 ? " of 0 or more" : minimum == 1 ? " above 0" : ""));
    return value;
  };
  auto decimal = [&](size_t column) {
    // strtod stops at the tab or the line end after the field.
    char* after;
    const double value = std::strtod(fields[column].data(), &after);
    if (fields[column].empty() || after != fields[column].data() + fields[column].size() || !std::isfinite(value))
      refuse("column " + std::string(base_columns[column]) + " holds " + excerpt(fields[column]) +
             ", not a number");
    return value;
  };

  Repeat& r = repeat_;
  r.record = fields[0];
  if (r.record.empty())
    refuse("the record name (column seq-name) is empty");
  r.unit_length = number(1, 1);
  r.perfection = fields[2];
  r.perfection_value = decimal(2);
  if (r.perfection_value < 0 || r.perfection_value > 100)
    refuse("the perfection " + std::string(r.perfection) + " lies outside 0 to 100");
  r.start = number(3, 1);
  r.end = number(4, 1);
  r.length = number(5, 1);
  r.repeat_number = fields[6];
  decimal(6);
  while (!r.repeat_number.empty() && r.repeat_number[0] == ' ') // written with %7.3f
    r.repeat_number.remove_prefix(1);
  r.score = number(7, INT64_MIN);
  r.mismatches = number(8, 0);
  r.insertions = number(9, 0);
  r.deletions = number(10, 0);
  if (fields[11] != ".") // Ns, or '.' with --NsAsMissense
    number(11, 0);
  r.unit = fields[12];
  r.sequence = fields[13];

  if (r.end < r.start)
    refuse("the repeat ends (" + std::to_string(r.end) + ") before it starts (" + std::to_string(r.start) + ")");
  if (r.length > r.end - r.start + 1)
    refuse("the length " + std::to_string(r.length) + " exceeds end - start + 1");
  if (static_cast<int64_t>(r.unit.size()) != r.unit_length || !residues(r.unit))
    refuse("the unit " + excerpt(r.unit) + " is not " + std::to_string(r.unit_length) + " of A, C, G, T and N");
  if (static_cast<int64_t>(r.sequence.size()) != r.length || !residues(r.sequence))
    refuse("the repeat's sequence is not " + std::to_string(r.length) + " of A, C, G, T and N: the line is cut "
           "short or was changed");
  const auto known = lengths_.find(std::string(r.record));
  if (known != lengths_.end() && r.end > known->second)
    refuse("the repeat ends at " + std::to_string(r.end) + ", after the end of record " + std::string(r.record) +
           " (" + std::to_string(known->second) + ")");
}

void Report::check_order()
{
  const Repeat& r = repeat_;
  if (r.record == record_) {
    if (r.start < last_start_ || (r.start == last_start_ && r.end < last_end_))
      refuse("the repeat at " + std::to_string(r.start) + "-" + std::to_string(r.end) + " of " + record_ +
             " comes after the one at " + std::to_string(last_start_) + "-" + std::to_string(last_end_) +
             " (line " + std::to_string(last_line_) + "): the report is not in zerlan's order");
  } else {
    if (!record_.empty())
      finished_records_.insert(record_);
    record_ = r.record;
    if (finished_records_.count(record_))
      refuse("the repeats of record " + record_ + " go on after those of other records; a catalog needs each "
             "record's repeats together (are two FASTA records named alike?)");
  }
  last_start_ = r.start;
  last_end_ = r.end;
  last_line_ = line_number_;
}

// "##sequence-region NAME 1 LENGTH", written with --sequenceInfoAsComment.
bool Report::read_region(std::string_view text)
{
  const std::vector<std::string_view> words = split(text, ' ');
  int64_t length;
  if (words.size() != 4 || words[1].empty() || words[2] != "1" || !whole_number(words[3], length) || length < 0)
    return false;
  const auto [at, added] = lengths_.emplace(std::string(words[1]), length);
  if (!added || finished_records_.count(at->first) || at->first == record_)
    refuse("a second record named " + at->first + "; a catalog needs distinct record names");
  region_ = {words[1], length};
  return true;
}
