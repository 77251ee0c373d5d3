// The catalog formats, one line per repeat.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

#include "output.h"
#include "report.h"

enum class Format { bed, simplerepeat, trgt, gff3 };

// "bed", "simplerepeat", "trgt" or "gff3"; false for any other name.
bool parse_format(std::string_view name, Format& format);

// The unit as it reads on the forward strand from the repeat's first
// residue: of the rotations of the reported unit and of its reverse
// complement, the one that matches the start of the sequence best (the
// reported unit's own rotations first on a tie).
std::string forward_unit(std::string_view unit, std::string_view sequence);

// Escapes a text for a GFF3 column (seqid) or attribute value with %XX.
std::string gff3_escape(std::string_view text, bool seqid);

class Catalog {
public:
  Catalog(Format format, Output& out);
  void add_region(const Region& region);
  void add(const Repeat& repeat);
  void finish();

private:
  std::string identifier(const Repeat& r); // <record>_<start-1>_<end>, unique
  void write_line();

  Format format_;
  Output& out_;
  std::string line_;
  // GFF3: the directives must come first, before any feature, for tabix:
  // the features wait in a scratch file until the report has given all
  // record lengths.
  std::string directives_;
  std::FILE* features_ = nullptr;
  std::string last_id_;
  int duplicates_ = 0;
};
