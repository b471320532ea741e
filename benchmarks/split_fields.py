"""Reads a bulk data deck with the files that it includes, splits every line into its fields and counts them."""

import os
import sys


def lines(path):
    with open(path) as deck:
        for line in deck:
            if line.startswith("INCLUDE"):
                yield from lines(os.path.join(os.path.dirname(path), line[7:].strip().strip("'\"")))
            else:
                yield line


def fields(line):
    line = line.split("$")[0].rstrip("\n")
    if "," in line:
        return line.split(",")
    line = line.expandtabs(8)
    width = 16 if "*" in line[:8] else 8
    return [line[:8]] + [line[at:at + width] for at in range(8, min(len(line), 72), width)]


print(sum(len(fields(line)) for line in lines(sys.argv[1])))
