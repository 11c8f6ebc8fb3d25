#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Looks for fused multiply-add instructions in object code.

    check_fused.py OBJDUMP none|some FILE...

`none` fails when an instruction rounds a product and a sum at once; `some` fails when none does, which shows that
the search finds them. Either fails when the files hold next to no floating-point code. Of a machine whose
instructions are not listed here it says "not checked" and ends with 77.
"""
import os
import re
import subprocess
import sys
from typing import NamedTuple

NOT_CHECKED = 77


class Machine(NamedTuple):
    file_format: str
    product: str  # mnemonics, complete
    fused: str


MACHINES = (
    # FMA3 and FMA4: vfmadd213ss, vfnmadd231ps, vfmsubadd..., vfmaddss.
    Machine(r"elf64-x86-64|elf32-i386", r"v?mul[ps][sd]", r"vfn?m(add|sub).*"),
    # vmla and vmls round the product first and are no concern; nor is vrecps of this unit. Without a unit the compiler's
    # support library multiplies.
    Machine(r"elf32-littlearm", r"vn?mul\.f.*|__aeabi_[fd]mul", r"vfn?m[as].*"),
    # The vector steps frecps and frsqrts are fused here.
    Machine(r"elf64-littleaarch64", r"fn?mul.*", r"fn?m(add|sub)|fml[as].*|frecps|frsqrts|bfml.*|fcmla"),
    Machine(r"elf64-littleriscv", r"v?fmul\..*", r"fn?m(add|sub)\..*|vfn?m(acc|sac|add|sub)\..*|vfwn?m(acc|sac)\..*"),
    # Scalar, VSX (scalar and vector) and AltiVec.
    Machine(r"elf64-powerpc(le)?", r"fmuls?|x[sv]mul[ds]p", r"fn?m(add|sub)s?|x[sv]n?m(add|sub)[am][ds]p|vmaddfp|vnmsubfp"),
    # The relaxed vectors, whose results a machine may choose, count as fused.
    Machine(r"(?i:wasm)", r"f(32|64)(x\d)?\.mul", r"[fi]\d+x\d+\.(fm[as]|laneselect|relaxed_\w+)"),
    # vfmsb is a product, vfms a fused difference with its format as an operand.
    Machine(r"elf64-s390", r"m(ee|d|de|x)br?|[vw]fm(sb|db)", r"m[as][ed]br?|[vw]fn?m[as](sb|db|xb)?"),
)
# "  1c:\tmulpd  %xmm1,%xmm0" and "\t\t\t4c: R_ARM_CALL\t__aeabi_fmul".
INSTRUCTION = re.compile(r"^\s*[0-9a-f]+: *\t?(?:R_\w+\t)?([a-z_][\w.]*)")


def main():
    objdump, wanted, files = sys.argv[1], sys.argv[2], sys.argv[3:]
    if wanted not in ("none", "some"):
        print(__doc__)
        return 2
    # objdump says "file format" in the language of its user.
    text = subprocess.run([objdump, "-d", "-r", "--no-show-raw-insn", *files], check=True, capture_output=True, text=True,
                          env={**os.environ, "LC_ALL": "C"}).stdout
    formats = set(re.findall(r"file format (\S+)", text))
    machine = next((m for m in MACHINES if all(re.fullmatch(m.file_format, f) for f in formats)), None)
    if not formats or machine is None:
        print(f"not checked: the fused instructions of {', '.join(formats) or 'no machine'} are not listed")
        return NOT_CHECKED
    products = 0
    fused = []
    for line in text.splitlines():
        match = INSTRUCTION.match(line)
        if not match:
            continue
        if re.fullmatch(machine.fused, match.group(1)):
            fused.append(line.strip())
        elif re.fullmatch(machine.product, match.group(1)):
            products += 1
    print(f"{', '.join(formats)}: {products} products, {len(fused)} fused with a sum")
    if products + len(fused) < 50:
        print("next to no floating-point code: this is not the library")
        return 1
    if wanted == "none":
        print("\n".join(fused))
        return 1 if fused else 0
    return 0 if fused else 1


if __name__ == "__main__":
    sys.exit(main())
