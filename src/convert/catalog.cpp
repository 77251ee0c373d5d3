#include "catalog.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>

namespace {

char complement(char c)
{
  switch (c) {
  case 'A': return 'T';
  case 'C': return 'G';
  case 'G': return 'C';
  case 'T': return 'A';
  default: return c; // N
  }
}

void append(std::string& line, int64_t value) { line += std::to_string(value); }

} // namespace

bool parse_format(std::string_view name, Format& format)
{
  if (name == "bed")
    format = Format::bed;
  else if (name == "simplerepeat")
    format = Format::simplerepeat;
  else if (name == "trgt")
    format = Format::trgt;
  else if (name == "gff3")
    format = Format::gff3;
  else
    return false;
  return true;
}

std::string forward_unit(std::string_view unit, std::string_view sequence)
{
  const size_t k = unit.size();
  std::string reverse(unit.rbegin(), unit.rend());
  std::transform(reverse.begin(), reverse.end(), reverse.begin(), complement);
  // A few copies decide strand and phase; an indel further on shifts the phase.
  const size_t window = std::min(sequence.size(), std::max<size_t>(4 * k, 64));
  std::string best;
  size_t best_matches = 0;
  for (const std::string_view candidate : {unit, std::string_view(reverse)})
    for (size_t rotation = 0; rotation < k; ++rotation) {
      size_t matches = 0;
      for (size_t i = 0; i < window; ++i)
        matches += sequence[i] == candidate[(rotation + i) % k];
      if (best.empty() || matches > best_matches) {
        best_matches = matches;
        best = std::string(candidate.substr(rotation)).append(candidate.substr(0, rotation));
      }
    }
  return best;
}

std::string gff3_escape(std::string_view text, bool seqid)
{
  static const char hex[] = "0123456789ABCDEF";
  std::string escaped;
  for (const char c : text) {
    const unsigned char u = static_cast<unsigned char>(c);
    const bool plain = seqid ? std::isalnum(u) || std::string_view(".:^*$@!+_?-|").find(c) != std::string_view::npos
                             : u >= 32 && u != 127 && std::string_view(";=&,%").find(c) == std::string_view::npos;
    if (plain) {
      escaped += c;
    } else {
      escaped += '%';
      escaped += hex[u >> 4];
      escaped += hex[u & 15];
    }
  }
  return escaped;
}

Catalog::Catalog(Format format, Output& out) : format_(format), out_(out)
{
  if (format_ == Format::gff3) {
    directives_ = "##gff-version 3\n";
    features_ = out_.scratch_file();
  }
}

void Catalog::add_region(const Region& region)
{
  out_.note_position(region.length);
  if (format_ != Format::gff3 || region.length == 0)
    return;
  directives_ += "##sequence-region ";
  directives_ += gff3_escape(region.record, true);
  directives_ += " 1 ";
  append(directives_, region.length);
  directives_ += '\n';
}

std::string Catalog::identifier(const Repeat& r)
{
  std::string id = gff3_escape(r.record, false) + "_" + std::to_string(r.start - 1) + "_" + std::to_string(r.end);
  // The same interval twice (with another unit) gets _2, _3, ...: the
  // report lists such repeats one after the other.
  if (id == last_id_)
    return id + "_" + std::to_string(++duplicates_);
  last_id_ = id;
  duplicates_ = 1;
  return id;
}

void Catalog::add(const Repeat& r)
{
  out_.note_position(r.end);
  const std::string unit = forward_unit(r.unit, r.sequence);
  line_.clear();
  if (format_ != Format::gff3) { // BED coordinates: 0-based start, end excluded
    line_.append(r.record).append("\t");
    append(line_, r.start - 1);
    line_ += '\t';
    append(line_, r.end);
    line_ += '\t';
  }
  switch (format_) {
  case Format::bed:
    line_.append(unit).append("\t");
    append(line_, std::clamp<int64_t>(r.score, 0, 1000));
    line_ += "\t.\n";
    break;
  case Format::trgt:
    line_.append("ID=").append(identifier(r)).append(";MOTIFS=").append(unit);
    line_.append(";STRUC=(").append(unit).append(")n\n");
    break;
  case Format::simplerepeat: {
    int64_t count[4] = {0, 0, 0, 0};
    for (const char c : r.sequence)
      switch (c) {
      case 'A': ++count[0]; break;
      case 'C': ++count[1]; break;
      case 'G': ++count[2]; break;
      case 'T': ++count[3]; break;
      }
    const int64_t total = count[0] + count[1] + count[2] + count[3];
    const int64_t normalized = r.length - r.insertions + r.deletions;
    line_ += "zerlan\t";
    append(line_, r.unit_length); // period
    line_.append("\t").append(r.repeat_number).append("\t");
    append(line_, r.unit_length); // consensus size
    line_ += '\t';
    append(line_, std::lround(r.perfection_value));
    line_ += '\t';
    append(line_, normalized > 0 ? std::lround(100.0 * (r.insertions + r.deletions) / normalized) : 0);
    line_ += '\t';
    append(line_, std::max<int64_t>(r.score, 0));
    double entropy = 0;
    for (const int64_t n : count) {
      line_ += '\t';
      append(line_, total ? std::lround(100.0 * n / total) : 0);
      if (n)
        entropy -= double(n) / total * std::log2(double(n) / total);
    }
    char text[16];
    std::snprintf(text, sizeof text, "\t%.2f\t", entropy + 0.0); // + 0.0: no "-0.00"
    line_.append(text).append(unit).append("\n");
    break;
  }
  case Format::gff3:
    line_.append(gff3_escape(r.record, true)).append("\tZerlan\ttandem_repeat\t");
    append(line_, r.start);
    line_ += '\t';
    append(line_, r.end);
    line_.append("\t").append(r.perfection).append("\t.\t.\tID=").append(identifier(r));
    line_.append(";Name=").append(unit).append(";period=");
    append(line_, r.unit_length);
    line_.append(";copies=").append(r.repeat_number).append(";perfection=").append(r.perfection);
    line_.append(";unit=").append(r.unit).append(";score=");
    append(line_, r.score);
    line_ += ";mismatches=";
    append(line_, r.mismatches);
    line_ += ";insertions=";
    append(line_, r.insertions);
    line_ += ";deletions=";
    append(line_, r.deletions);
    line_ += '\n';
    break;
  }
  write_line();
}

void Catalog::write_line()
{
  if (!features_)
    out_.write(line_);
  else if (std::fwrite(line_.data(), 1, line_.size(), features_) != line_.size())
    fail(cannot_write, "cannot write a scratch file: " + system_error());
}

void Catalog::finish()
{
  if (features_) {
    out_.write(directives_);
    char block[65536];
    if (std::fflush(features_) != 0 || std::fseek(features_, 0, SEEK_SET) != 0)
      fail(cannot_write, "cannot write a scratch file: " + system_error());
    for (size_t n; (n = std::fread(block, 1, sizeof block, features_)) > 0;)
      out_.write(std::string_view(block, n));
    if (std::ferror(features_))
      fail(cannot_write, "cannot read back a scratch file: " + system_error());
    std::fclose(features_);
    features_ = nullptr;
  }
  out_.finish(format_ == Format::gff3 ? Index::gff : Index::bed);
}
