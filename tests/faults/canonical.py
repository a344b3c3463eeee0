"""The canonical form of JSON as docs/format.md has it, written a second time, so that names can be foretold."""

import hashlib
import json
import math
import sys

DEEPEST = 512
sys.setrecursionlimit(5000)  # several calls a level


def name_of(body):
    """The name of an object that came as these bytes."""
    return hashlib.sha256(canonical(body)).hexdigest()


def canonical(body):
    """What is stored of these bytes: the canonical form of JSON, anything else as it is."""
    try:
        value = json.loads(body.decode("utf-8"), parse_int=_whole, parse_float=_number, parse_constant=_refuse)
        text = _written(value, 0)
        return text.encode("utf-8")  # refuses lone surrogates
    except (ValueError, RecursionError):
        return body


def _refuse(text):
    raise ValueError(text)


def _number(text):
    value = float(text)
    if math.isinf(value):
        raise ValueError("no double holds it")
    return value


def _whole(text):
    if len(text) < 400 and -2**63 <= int(text) < 2**64:
        return int(text)
    return _number(text)


def _written(value, level):
    if level >= DEEPEST and isinstance(value, (dict, list)):
        raise ValueError("too deep")
    inner, outer = "  " * (level + 1), "  " * level
    if isinstance(value, dict):
        parts = [f"{inner}{_text(key)} : {_written(value[key], level + 1)}"
                 for key in sorted(value, key=lambda key: key.encode("utf-8"))]
        return "{\n" + ",\n".join(parts) + f"\n{outer}}}"
    if isinstance(value, list):
        return "[\n" + ",\n".join(inner + _written(each, level + 1) for each in value) + f"\n{outer}]"
    if isinstance(value, str):
        return _text(value)
    if value is None or isinstance(value, bool):
        return {None: "null", True: "true", False: "false"}[value]
    return str(value) if isinstance(value, int) else _double(value)


def _text(text):
    marks = {'"': '\\"', "\\": "\\\\", "\b": "\\b", "\f": "\\f", "\n": "\\n", "\r": "\\r", "\t": "\\t"}
    return '"' + "".join(marks.get(c) or (f"\\u{ord(c):04x}" if c < " " else c) for c in text) + '"'


def _double(value):
    if value == int(value) and abs(value) < 2**53:
        return "-0" if value == 0 and math.copysign(1, value) < 0 else str(int(value))
    digits, exponent = f"{value!r}", 0
    sign = "-" if digits.startswith("-") else ""
    mantissa, _, power = digits.lstrip("-").partition("e")
    before, _, after = mantissa.partition(".")
    after = "" if after == "0" else after
    exponent = int(power or 0) - len(after)
    digits = (before + after).lstrip("0")
    stripped = digits.rstrip("0")
    exponent += len(digits) - len(stripped)
    point = len(stripped) + exponent  # where the decimal point stands, counted from the first digit
    spread = stripped[0] + ("." + stripped[1:] if len(stripped) > 1 else "")
    scientific = f"{spread}e{'-' if point < 1 else '+'}{abs(point - 1):02d}"
    if exponent >= 0:
        plain, length = str(int(abs(value))), len(stripped) + exponent
    elif point > 0:
        plain = stripped[:point] + "." + stripped[point:]
        length = len(plain)
    else:
        plain = "0." + "0" * -point + stripped
        length = len(plain)
    return sign + (plain if length <= len(scientific) else scientific)
