"""Compares the cards of two bulk data decks as sets that count: numbers as numbers, blanks as blanks.

compare_decks.py FIRST SECOND   prints a line for each kind of card of which cards are in one deck alone, and fails then

Its own small parser: included files (beside the including or the main file), parts (BEGIN SUPER), small, wide and free
fields, tabs, continuations in their order, and repeated cards ("=", "=(4)"). Control statements are compared as lines.
"""
import collections
import os
import re
import sys


def number(text):
    """A field as it counts: a number, or a word in upper case."""
    spelt = text.upper().replace("D", "E") if re.fullmatch(r"[-+.\dDdEe]+", text) else text
    match = re.fullmatch(r"([-+]?[\d.]+)([-+]\d+)", spelt)
    spelt = match.group(1) + "E" + match.group(2) if match else spelt
    try:
        return float(spelt) if re.search(r"\d", spelt) else text.upper()
    except ValueError:
        return text.upper()


def lines_of(path, main, missing):
    """Lines with included ones; a file that is not there leaves its INCLUDE."""
    lines = open(path, encoding="latin-1").read().splitlines()
    at = 0
    while at < len(lines):
        line = lines[at]
        at += 1
        if not re.match(r"\s*INCLUDE\b", line, re.I):
            yield line
            continue
        text = line.strip()[7:].strip().lstrip("=").strip()
        quote = text[:1] if text[:1] in "'\"" else ""
        while quote and text.count(quote) < 2 and at < len(lines):
            text += lines[at].strip()
            at += 1
        name = text.split(quote)[1] if quote else text.split()[0]
        places = [os.path.join(os.path.dirname(p), n) for n in (name, name.replace("\\", "/")) for p in (path, main)]
        found = next((p for p in places if os.path.isfile(p)), None)
        if found:
            yield from lines_of(found, main, missing)
        else:
            missing.append(name)
            yield "INCLUDE '" + name + "'"


def fields_of(line):
    """Name and fields, and whether they are wide."""
    comma = line.find(",")
    head = line[:comma].strip() if comma >= 0 else ""
    bare = head.rstrip("*").strip()
    match = re.fullmatch(r"(\S+)\s+(\d+)", head)
    if comma >= 0 and (re.fullmatch(r"\S{0,8}", bare) or match):
        parts = [p.strip() for p in line.split(",")]
        if match:
            parts[0:1] = [match.group(1), match.group(2)]
        name, parts = parts[0], parts[1:]
        split = []
        for part in parts:
            words = part.split()
            numbers = len(words) > 1 and all(isinstance(number(w), float) for w in words)
            split += words if numbers else [part]
        wide = "*" in name[:1] + name[-1:]
        count = 4 if wide else 8
        while split and not split[-1]:
            split.pop()
        if len(split) == count + 1 and (split[-1][0] in "+*" or not isinstance(number(split[-1]), float)):
            split.pop()
        return name, split + [""] * (-len(split) % count), wide
    line = line.expandtabs(8)
    name = line[:8].strip()
    wide = name.startswith("*") or name.endswith("*")
    width = 16 if wide else 8
    return name, [line[at:min(at + width, 72)].strip() for at in range(8, 72, width)], wide


def repeated(before, rule):
    """The fields after these by a rule of "=", "==", "*(x)" and values."""
    fields = []
    for i, said in enumerate(rule):
        old = before[i] if i < len(before) else ""
        if said == "==":
            return fields + before[i:]
        if said.startswith("*"):
            step, value = number(said[1:].strip("()")), number(old or "0")
            total = value + step
            both = not re.search(r"[.eE]", said + old)
            fields.append(str(int(total)) if both else repr(total))
        else:
            fields.append(old if said == "=" else said)
    return fields


def cards_of(path):
    missing = []
    control, cards = [], []
    lines = list(lines_of(path, path, missing))
    first = next((l for l in lines if l.strip() and not l.strip().startswith("$")), "")
    state = "control" if any(re.match(r"\s*(CEND|BEGIN)\b", l, re.I) for l in lines) or re.match(
        r"\s*(SOL|ID|NASTRAN|INIT|ASSIGN|TIME)\b", first, re.I) else "bulk"
    part, rule, half = "", None, False
    for line in lines:
        if re.match(r"\s*BEGIN\b", line, re.I):
            state = "bulk"
            part = re.sub(r"\s*=\s*", "=", " ".join(line.split("$")[0].upper().split()))
            part = re.sub(r"^BEGIN( BULK)?\s*", "", part)
            continue
        if state == "control":
            if line.strip() and not line.strip().startswith("$"):
                control.append(" ".join(line.split()))
            continue
        if re.match(r"\s*ENDDATA\b", line, re.I):
            break
        line = line.split("$")[0].rstrip()
        if not line.strip():
            continue
        if re.match(r"INCLUDE ", line):
            cards.append([part, line])
            continue
        name, fields, wide = fields_of(line)
        if name == "" or name[0] in "+*":
            if cards:
                if half and not wide:
                    cards[-1] += [""] * 4
                cards[-1] += fields
                half = wide and not half
            continue
        half = wide
        if name.startswith("="):
            count = name[1:].strip("() ") or "1"
            rule = fields if any(fields) else rule
            for _ in range(int(count)):
                cards.append(cards[-1][:2] + repeated(cards[-1][2:], rule))
            continue
        cards.append([part, name.rstrip("*").strip().upper()] + fields)
    counted = collections.Counter()
    for card in cards:
        values = [number(f) if f else "" for f in card[2:]]
        while values and values[-1] == "":
            values.pop()
        counted[(card[0], card[1], tuple(values))] += 1
    return counted, collections.Counter(control)


def main():
    (first, control), (second, control2) = cards_of(sys.argv[1]), cards_of(sys.argv[2])
    differ = collections.defaultdict(lambda: [0, 0, []])
    for mine, other, side in ((first, second, 0), (second, first, 1)):
        for card, count in (mine - other).items():
            differ[card[1]][side] += count
            differ[card[1]][2].append((side, card))
    for lines, other, side in ((control, control2, 0), (control2, control, 1)):
        for line, count in (lines - other).items():
            differ["(control)"][side] += count
            differ["(control)"][2].append((side, line))
    for kind, (lost, new, examples) in sorted(differ.items()):
        print(f"{kind}: {lost} lost, {new} new")
        for side, card in examples[:4]:
            print("   ", "+" if side else "-", card)
    return 1 if differ else 0


if __name__ == "__main__":
    sys.exit(main())
