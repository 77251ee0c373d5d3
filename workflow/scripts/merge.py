# All genomes in one tab-separated table: the rows of the one-per-line
# reports, each headed by the genome's name, under the column header once.
# Run by the merge rule of the Snakefile.

import os

output = snakemake.output[0]
# Line by line, so that the table may be larger than memory; written under a
# temporary name, so that only a complete table has the final name.
with open(output + ".tmp", "w") as table:
    for number, (genome, report) in enumerate(zip(snakemake.params.genomes, snakemake.input)):
        columns = None  # tabs in the column header of this report
        with open(report) as lines:
            for line in lines:
                if columns is not None:
                    # Rows have as many columns as the header; the comments
                    # on each sequence and the closing line have one.
                    if line.count("\t") == columns:
                        table.write(f"{genome}\t{line}")
                elif line.startswith("seq-name\t"):
                    columns = line.count("\t")
                    if number == 0:
                        table.write(f"genome\t{line}")
os.replace(output + ".tmp", output)
