# SPDX-License-Identifier: MIT
"""The rules: each walks over masked code and proposes small changes that a mistaken hand could have made.

The tree is formatted by clang-format, so that binary operators stand between blanks and template brackets do not.
"""
from __future__ import annotations

import math
import re
import struct
from collections.abc import Callable, Iterator
from dataclasses import dataclass

from scan import closing


@dataclass(frozen=True)
class Change:
    start: int
    end: int
    text: str


Rule = Callable[[str], Iterator[Change]]

_NUMBER = re.compile(
    r"(?<![\w.])(?:0x[0-9a-fA-F]+(?:\.[0-9a-fA-F]*)?p[-+]?\d+f?"  # hexadecimal float
    r"|0x[0-9a-fA-F]+u?|\d+\.\d*(?:e[-+]?\d+)?f?|\d+u?)(?![\w.])"
)


def _next_float(value: float, single: bool) -> float:
    if not single:
        return math.nextafter(value, math.inf)
    bits = struct.unpack("<I", struct.pack("<f", value))[0]
    return struct.unpack("<f", struct.pack("<I", bits + 1))[0]


def number_variants(literal: str) -> list[str]:
    """The neighbours of a whole number; the next representable number and the double of another."""
    hexadecimal = literal.startswith("0x")
    if "." not in literal and not (hexadecimal and "p" in literal):
        suffix = "u" if literal.endswith("u") else ""
        value = int(literal.rstrip("u"), 0)
        return [f"{v}{suffix}" for v in (value + 1, value - 1) if v >= 0]
    single = literal.endswith("f")
    suffix = "f" if single else ""
    digits = literal[:-1] if single else literal
    value = float.fromhex(digits) if hexadecimal else float(digits)
    if single:
        value = struct.unpack("<f", struct.pack("<f", value))[0]
    if value == 0.0:
        return [f"1.0{suffix}"]
    return [f"{v.hex()}{suffix}" for v in (_next_float(value, single), 2.0 * value)]


def constant(code: str) -> Iterator[Change]:
    """A number becomes a neighbour of itself, or twice itself; true becomes false."""
    for match in _NUMBER.finditer(code):
        for variant in number_variants(match.group()):
            yield Change(match.start(), match.end(), variant)
    for match in re.finditer(r"\b(true|false)\b", code):
        yield Change(match.start(), match.end(), "false" if match.group() == "true" else "true")


def _operators(code: str, table: dict[str, tuple[str, ...]]) -> Iterator[Change]:
    signs = "|".join(re.escape(sign) for sign in sorted(table, key=len, reverse=True))
    for match in re.finditer(rf"(?<=[\w)\]}}.] )({signs})(?=[ \n])", code):
        for other in table[match.group()]:
            yield Change(match.start(), match.end(), other)


_ARITHMETIC = {
    "+": ("-",), "-": ("+",), "*": ("/",), "/": ("*",), "%": ("*",), "+=": ("-=",), "-=": ("+=",), "/=": ("*=",),
    "*=": ("/=",), "&": ("|",), "|": ("&",), "<<": (">>",), ">>": ("<<",),
}  # fmt: skip


def arithmetic(code: str) -> Iterator[Change]:
    """An operator becomes its opposite; a minus sign goes."""
    yield from _operators(code, _ARITHMETIC)
    for match in re.finditer(r"(?<=[(,={?:] )-(?=[\w(])|(?<=[({])-(?=[\w(])|(?<=return )-(?=[\w(])", code):
        yield Change(match.start(), match.end(), "")


def strictness(code: str) -> Iterator[Change]:
    """A comparison takes in its limit, or leaves it out; equal becomes unequal."""
    table = {"<": ("<=",), "<=": ("<",), ">": (">=",), ">=": (">",), "==": ("!=",), "!=": ("==",)}
    yield from _operators(code, table)


def logic(code: str) -> Iterator[Change]:
    """And becomes or; a condition is turned round."""
    yield from _operators(code, {"&&": ("||",), "||": ("&&",)})
    for match in re.finditer(r"!(?=[\w(])", code):
        yield Change(match.start(), match.end(), "")
    for match in re.finditer(r"\bif (?:constexpr )?(\()", code):
        end = closing(code, match.start(1))
        if end > 0:
            yield Change(match.start(1), end + 1, f"(!{code[match.start(1):end + 1]})")


def bound(code: str) -> Iterator[Change]:
    """A loop starts one late, or ends one early or late."""
    for match in re.finditer(r"\bfor (\()", code):
        end = closing(code, match.start(1))
        head = code[match.start(1) + 1 : end]
        parts = head.split(";")
        if end < 0 or len(parts) != 3:
            continue
        start = re.search(r"= ([^,;]+)$", parts[0])
        at = match.start(1) + 1
        if start:
            yield Change(at + start.start(1), at + start.end(1), f"({start.group(1)}) + 1")
        at += len(parts[0]) + 1
        limit = re.search(r" (?:<|<=|>|>=) (.+)$", parts[1], re.DOTALL)
        if limit:
            for sign in "-+":
                yield Change(at + limit.start(1), at + limit.end(1), f"({limit.group(1)}) {sign} 1")


def _operand_end(code: str, at: int, sums: bool) -> int:
    """The end of the operand of a product (or, with `sums`, of a sum) that starts at `at`."""
    while at < len(code):
        if code[at] in "([{":
            at = closing(code, at) + 1
            if at <= 0:
                return -1
        elif code[at] in ")]},;?:" or re.match(r" (?:[-+<>=!&|]|<=|>=)+ ", code[at : at + 4]):
            return at
        elif not sums and re.match(r" [*/%] ", code[at : at + 3]):
            return at
        else:
            at += 1
    return -1


def _top_level_operator(code: str) -> int:
    """The place of the last sum, else product, of an expression outside brackets; -1 without one."""
    for signs in ("+-", "*/"):
        depth = 0
        for at in range(len(code) - 2, 0, -1):
            depth += (code[at] in ")]}") - (code[at] in "([{")
            if depth == 0 and code[at] in signs and code[at - 1] in " \n" and code[at + 1] in " \n":
                return at
    return -1


def rounding(code: str) -> Iterator[Change]:
    """A conversion goes, or comes before the operation; three operands are taken in another order."""
    for match in re.finditer(r"\b(static_cast<(?:float|double)>|rounded_to_float|narrow|widen)(\()", code):
        end = closing(code, match.start(2))
        inner = code[match.end() : end]
        if end < 0 or re.match(r"[\w:]+ \w+[,)]?$", inner):  # a declaration of that name
            continue
        yield Change(match.start(1), match.end(1), "")
        at = _top_level_operator(inner)
        if at > 0:
            name = match.group(1)
            yield Change(match.start(1), end + 1,
                         f"({name}({inner[:at].strip()}) {inner[at]} {name}({inner[at + 1:].strip()}))")  # fmt: skip
    # A op B op C becomes A op (B op C).
    for match in re.finditer(r"(?<=[\w)\]}.]) ([+*])[ \n]\s*", code):
        sums = match.group(1) == "+"
        middle = match.end()
        end = _operand_end(code, middle, sums)
        if end < 0 or not code.startswith(f" {match.group(1)} ", end):
            continue
        last = _operand_end(code, end + 3, sums)
        if last > 0:
            yield Change(middle, last, f"({code[middle:last]})")
    # (A op B) op C becomes (A op (B op C)), and A op (B op C) becomes A op B op C.
    for match in re.finditer(r"(?<![\w>])\(", code):
        opening, end = match.start(), closing(code, match.start())
        inner = code[opening + 1 : end]
        at = _top_level_operator(inner)
        if end < 0 or at < 0 or inner[at] not in "+*" or ";" in inner:
            continue
        sign = inner[at]
        if code.startswith(f" {sign} ", end + 1):
            last = _operand_end(code, end + 4, sign == "+")
            if last > 0:
                text = f"({inner[:at]}{sign} ({inner[at + 1:].strip()} {sign} {code[end + 4:last]}))"
                yield Change(opening, last, text)
        if re.search(rf"[\w)\]}}] {re.escape(sign)} $", code[max(0, opening - 4) : opening]):
            yield Change(opening, end + 1, inner)


_NAMES = (
    ("plus_product", "minus_product"), ("greater", "greater_equal"), ("interleave", "deinterleave"),
    ("shifted_left", "shifted_right"), ("std::min", "std::max"), ("std::cos", "std::sin"),
)  # fmt: skip
_INTRINSICS = (
    ("_mm_add_", "_mm_sub_"), ("_mm_mul_", "_mm_add_"), ("_mm_unpacklo_", "_mm_unpackhi_"), ("_mm_cmpgt_", "_mm_cmpge_"),
    ("_mm_and_", "_mm_or_"), ("_mm_andnot_", "_mm_and_"), ("_mm_slli_", "_mm_srli_"), ("_mm_srai_", "_mm_srli_"),
    ("_mm_movehl_", "_mm_movelh_"), ("_mm_max_", "_mm_min_"), ("vaddq_", "vsubq_"), ("vmulq_", "vaddq_"),
    ("vmlaq_", "vmlsq_"), ("vget_low_", "vget_high_"), ("vcgtq_", "vcgeq_"), ("vandq_", "vorrq_"), ("vshlq_", "vshrq_"),
)  # fmt: skip


def lane(code: str) -> Iterator[Change]:
    """An operation of the lane types becomes its neighbour; real and imaginary parts change places."""
    for match in re.finditer(r"(?<=[\w\])])\.(re|im|lo|hi)\b", code):
        other = {"re": "im", "im": "re", "lo": "hi", "hi": "lo"}[match.group(1)]
        yield Change(match.start(1), match.end(1), other)
    for pair in _NAMES:
        for name, other in (pair, pair[::-1]):
            for match in re.finditer(rf"(?<![\w:.]){re.escape(name)}(?=[(<])", code):
                yield Change(match.start(), match.end(), other)
    for pair in _INTRINSICS:
        for name, other in (pair, pair[::-1]):
            for match in re.finditer(rf"(?<!\w){name}", code):
                yield Change(match.start(), match.end(), other)
    for match in re.finditer(r"\bselect(\()", code):
        end = closing(code, match.start(1))
        parts = _arguments(code[match.end() : end])
        if len(parts) == 3 and " mask" not in parts[0]:
            yield Change(match.end(), end, f"{parts[0]}, {parts[2].strip()}, {parts[1].strip()}")
    for match in re.finditer(r"\btimes_conj(\()(?!Pairs)", code):
        end = closing(code, match.start(1))
        parts = _arguments(code[match.end() : end])
        if len(parts) == 2:
            yield Change(match.start(), end + 1, f"({parts[0]} * {parts[1].strip()})")


def _arguments(text: str) -> list[str]:
    parts, depth, begin = [], 0, 0
    for at, sign in enumerate(text):
        depth += (sign in "([{") - (sign in ")]}")
        if sign == "," and depth == 0:
            parts.append(text[begin:at])
            begin = at + 1
    return [*parts, text[begin:]]


RULES: tuple[Rule, ...] = (constant, arithmetic, strictness, logic, bound, rounding, lane)
