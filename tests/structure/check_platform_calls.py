"""Checks that the services call of the platform what the list says, and nothing else.

check_platform_calls.py NM LIBRARY LIST   fails with one line for each call that the list lacks, and
                                          for each of its [others] that nothing needs any more
check_platform_calls.py --self-check      checks the check against planted faults
"""

import re
import subprocess
import sys

PLATFORM = re.compile(r"(ORQ|omi_|aio_|atr_|ads_|mem_|VEX)")


def read_list(text):
    """(agreed names, agreed classes, others)."""
    names, classes, others, section = set(), set(), [], None
    for line in text.splitlines():
        line = line.strip()
        if not line or line.startswith("#"):
            continue
        if line in ("[agreed]", "[others]"):
            section = line
        elif section == "[agreed]":
            owner, _, operations = line.partition(":")
            if owner == "functions":
                names.update(operations.split())
            else:
                classes.add(owner)
                names.update(f"{owner}::{operation}" for operation in operations.split())
        else:
            others.append(line.split("|")[0].strip())
    return names, classes, others


def name_of(symbol):
    """Without its parameters."""
    symbol = re.sub(r"^(typeinfo|vtable|VTT) for ", "", symbol)
    return re.sub(r"(\(.*|\[abi:\w+\].*)$", "", symbol)


def is_other(other, symbol):
    if "(" in other:
        return symbol.removesuffix(" const") == other.removesuffix(" const")
    name = name_of(symbol)
    return name == other or name.startswith(other + "::")


def is_agreed(symbol, names, classes):
    name = name_of(symbol)
    owner, _, operation = name.rpartition("::")
    makes = owner in classes and operation in (owner, "~" + owner, "operator=")
    return name in names or name in classes or makes


def faults(symbols, text):
    names, classes, others = read_list(text)
    for symbol in sorted(symbols):
        if not is_agreed(symbol, names, classes) and not any(is_other(o, symbol) for o in others):
            yield f"not in the list: {symbol}"
    for other in others:
        if not any(is_other(other, symbol) for symbol in symbols):
            yield f"no longer needed: {other}"


def needed(nm, library):
    listing = subprocess.run([nm, "-D", "--undefined-only", "--demangle", library],
                             check=True, capture_output=True, text=True).stdout
    rows = [line.split(maxsplit=1)[1] for line in listing.splitlines()]
    symbols = {re.sub(r"@.*$", "", row) for row in rows}
    return {symbol for symbol in symbols if PLATFORM.match(re.sub(r"^\w+ for ", "", symbol))}


LIST = """[agreed]
ORQSimMap: Find
functions: mem_Free
[others]
ORQSimFTable::GetData(double*, int, int) | a reason
ORQBasFailure | another
"""


def self_check():
    sound = {"ORQSimMap::Find(ORQString const&) const", "ORQSimMap::ORQSimMap(int)",
             "vtable for ORQSimMap", "mem_Free(void*)", "typeinfo for ORQBasFailure",
             "ORQSimFTable::GetData(double*, int, int) const"}
    assert not list(faults(sound, LIST)), list(faults(sound, LIST))
    for planted in ("ORQSimMap::Remove(ORQString const&)", "ORQSimFTable::GetData(double*, int) const",
                    "mem_Malloc(unsigned long)", "ORQSimVector::ORQSimVector(int)"):
        assert len(list(faults(sound | {planted}, LIST))) == 1, planted
    for other in ("typeinfo for ORQBasFailure", "ORQSimFTable::GetData(double*, int, int) const"):
        assert len(list(faults(sound - {other}, LIST))) == 1, other


def main(arguments):
    if arguments == ["--self-check"]:
        self_check()
        return 0
    nm, library, path = arguments
    with open(path, encoding="utf-8") as file:
        found = list(faults(needed(nm, library), file.read()))
    print("\n".join(found))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
