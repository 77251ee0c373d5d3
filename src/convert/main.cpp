// zerlan-convert FORMAT [REPORT|-] [OUTPUT]: a one-per-line report of
// zerlan (--outputFormat 3) as a catalog in BED, UCSC simpleRepeat, TRGT or
// GFF3, line by line, plain or, for an OUTPUT ending in .gz, BGZF with a
// tabix index.

#include <cstdio>
#include <cstring>
#include <string>

#include "catalog.h"
#include "output.h"
#include "report.h"

namespace {

const char* const usage =
    "Usage: zerlan-convert FORMAT [REPORT|-] [OUTPUT]\n"
    "\n"
    "Reads a one-per-line report of zerlan (--outputFormat 3; plain or gzip-compressed;\n"
    "standard input when REPORT is - or missing) and writes the repeats as a catalog to\n"
    "OUTPUT (standard output when it is - or missing). FORMAT is one of\n"
    "  bed           BED6: record, start, end, unit, score (at most 1000), strand .\n"
    "  simplerepeat  UCSC simpleRepeat (bed4+12)\n"
    "  trgt          TRGT repeat catalog\n"
    "  gff3          GFF3 with the Sequence Ontology type tandem_repeat\n"
    "An OUTPUT ending in .gz is written as BGZF with a tabix index beside it\n"
    "(OUTPUT.tbi, or OUTPUT.csi for positions from 2^29 on).\n"
    "Starts are 0-based in the BED formats and 1-based in GFF3. See zerlan-convert(1).\n";

} // namespace

int main(int argc, char** argv)
{
  if (argc == 2 && (std::strcmp(argv[1], "-h") == 0 || std::strcmp(argv[1], "--help") == 0)) {
    std::fputs(usage, stdout);
    return 0;
  }
  if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
    std::puts("zerlan-convert " ZERLAN_VERSION);
    return 0;
  }
  if (argc < 2 || argc > 4) {
    std::fputs(usage, stderr);
    return bad_command_line;
  }
  Format format;
  if (!parse_format(argv[1], format))
    fail(bad_command_line, "unknown FORMAT '" + std::string(argv[1]) + "'; known are bed, simplerepeat, trgt and gff3");

  Report report(argc > 2 ? argv[2] : "-");
  Output out(argc > 3 ? argv[3] : "-");
  Catalog catalog(format, out);
  for (Report::Item item; (item = report.next()) != Report::end;) {
    if (item == Report::region)
      catalog.add_region(report.current_region());
    else
      catalog.add(report.current_repeat());
  }
  catalog.finish();
  return 0;
}
