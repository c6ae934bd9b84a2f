"""Expected result files as rows of formats and values, and their comparison with written ones.

A row is (format of one line, values) or (format, values, group). Values of a named group are
compared relative to the largest of that group in the file, others relative to themselves. All
other text, integers included, must agree byte for byte, and every number must be printed by
exactly the conversion that the format names.
"""

import re
from dataclasses import dataclass, field
from functools import lru_cache
from typing import Callable, Optional

import numpy as np

TOLERANCE = 1e-5
NUMBER = r"(-?nan|-?inf|-?\d+(?:\.\d+)?(?:e[+-]\d+)?)"
CONVERSION = re.compile(r"(%%|%(?:\d*)(?:\.\d+)?[gfds])")


@dataclass
class ResultFile:
    name: str
    rows: list
    # (expected rows, actual rows) of values -> the same, brought to a comparable form in place.
    adjust: Optional[Callable] = None
    notes: list = field(default_factory=list)


@lru_cache(maxsize=None)
def compiled(fmt, strings):
    """Regular expression of a line and the conversions of its numbers."""
    pattern, conversions, texts = "", [], iter(strings)
    for part in CONVERSION.split(fmt):
        if part == "%%":
            pattern += "%"
        elif CONVERSION.fullmatch(part) and part[-1] == "s":
            pattern += re.escape(next(texts))
        elif CONVERSION.fullmatch(part):
            pattern += r"( *-?\d+)" if part[-1] == "d" else NUMBER
            conversions.append(part)
        else:
            pattern += re.escape(part)
    return re.compile(pattern), conversions


def print_slack(conversion, value):
    """Half a unit of the last printed digit."""
    if conversion[-1] == "f":
        return 0.5e-6
    digits = int(conversion[2:-1]) if "." in conversion else 6
    return 0.5 * 10.0**(np.floor(np.log10(abs(value))) - digits + 1) if value else 0.0


def parse_row(row, line):
    """Float and integer values of a written line: (floats expected, actual, slack), or a fault."""
    fmt, values = row[0], row[1]
    strings = tuple(v for v in values if isinstance(v, str))
    numbers = [v for v in values if not isinstance(v, str)]
    regex, conversions = compiled(fmt, strings)
    found = regex.fullmatch(line)
    if not found:
        return None, f"expected {fmt % tuple(values)!r}, found {line!r}"
    expected, actual, slack = [], [], []
    for conversion, value, text in zip(conversions, numbers, found.groups()):
        if conversion[-1] == "d":
            if conversion % value != text:
                return None, f"expected {fmt % tuple(values)!r}, found {line!r}"
            continue
        if conversion % float(text) != text and "nan" not in text:
            return None, f"{text} is not printed as {conversion} in {line!r}"
        expected.append(value)
        actual.append(float(text))
        slack.append(print_slack(conversion, actual[-1]))
    return (expected, actual, slack), None


def largest_deviation(names, expected, actual, slack):
    """Largest deviation beyond print precision, in units of the largest value of the group."""
    expected, actual, slack = map(np.array, (expected, actual, slack))
    ignored = np.isnan(expected) & np.isnan(actual)
    difference = np.where(ignored | (expected == actual), 0, np.abs(expected - actual))
    difference = np.maximum(difference - slack * ~np.isnan(difference), 0)
    difference[np.isnan(difference)] = np.inf
    worst = 0.0, "", 0
    for name in set(names):
        chosen = np.array([n == name for n in names])
        size = np.abs(expected[chosen])
        scale = np.maximum(np.nanmax(size) if name and not np.all(np.isnan(size)) else size, 1e-9)
        ratio = np.nan_to_num(difference[chosen] / scale, nan=0.0, posinf=np.inf)
        if ratio.max() >= worst[0]:
            worst = ratio.max(), name, int(np.flatnonzero(chosen)[ratio.argmax()])
    return worst


def compare_file(result, path):
    """Largest relative deviation and a fault message (or None)."""
    try:
        with open(path) as stream:
            lines = stream.read().splitlines(keepends=True)
    except OSError as error:
        return np.inf, str(error)
    if len(lines) != len(result.rows):
        first = next((i for i, (row, line) in enumerate(zip(result.rows, lines))
                      if parse_row(row, line)[1]), min(len(lines), len(result.rows)))
        return np.inf, f"{len(lines)} lines, expected {len(result.rows)}; differ at {first + 1}"
    parsed = []
    for number, (row, line) in enumerate(zip(result.rows, lines), 1):
        values, fault = parse_row(row, line)
        if fault:
            return np.inf, f"line {number}: {fault}"
        parsed.append(values)
    expected, actual, slack = (list(column) for column in zip(*parsed))
    if result.adjust:
        result.adjust(expected, actual)
    names = [name for row, e in zip(result.rows, expected)
             for name in group_names(row[2] if len(row) > 2 else "", len(e))]
    owners = [n for n, e in enumerate(expected, 1) for _ in e]
    flat = [[v for values in column for v in values] for column in (expected, actual, slack)]
    if not names:
        return 0.0, None
    worst, name, position = largest_deviation(names, *flat)
    if worst > TOLERANCE:
        return worst, (f"line {owners[position]}: {flat[1][position]:g} should be "
                       f"{flat[0][position]:g} (group '{name}')")
    return worst, None


def group_names(group, n):
    return [group] * n if isinstance(group, str) else list(group)
