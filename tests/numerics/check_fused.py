#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Looks for fused multiply-add instructions in object code.

    check_fused.py OBJDUMP none|some FILE...

`none` fails when an instruction rounds a product and a sum at once; `some` fails when none does, which shows that
the search finds them. Either fails when the files hold next to no floating-point code.
"""
import re
import subprocess
import sys

FUSED = {
    # AVX2-era FMA3 and FMA4: vfmadd213ss, vfnmadd231ps, vfmsubadd..., vfmaddss.
    "x86": re.compile(r"vfn?m(add|sub)"),
    # vmla and vmls round the product first and are no concern; nor is vrecps of this unit.
    "arm": re.compile(r"vfn?m[as]"),
    # The vector steps frecps and frsqrts are fused here.
    "aarch64": re.compile(r"fn?m(add|sub)|fml[as]|fml[as]l|frecps|frsqrts|bfml|fcmla"),
}
PRODUCT = {"x86": re.compile(r"v?mul[ps][sd]"), "arm": re.compile(r"vn?mul\.f"), "aarch64": re.compile(r"fn?mul")}
FORMATS = ((r"elf64-x86-64|elf32-i386", "x86"), (r"elf32-littlearm", "arm"), (r"elf64-littleaarch64", "aarch64"))
# "  1c:\t66 0f 59 c1\tmulpd  %xmm1,%xmm0", with or without the bytes.
INSTRUCTION = re.compile(r"^\s*[0-9a-f]+: *\t(?:[0-9a-f ]+\t)?([a-z][\w.]*)(.*)$")


def main():
    objdump, wanted, files = sys.argv[1], sys.argv[2], sys.argv[3:]
    text = subprocess.run([objdump, "-d", "--no-show-raw-insn", *files], check=True, capture_output=True, text=True).stdout
    machine = next((m for pattern, m in FORMATS if re.search("file format (" + pattern + ")", text)), None)
    if machine is None or wanted not in ("none", "some"):
        print("unknown machine or usage")
        return 2
    products = 0
    fused = []
    for line in text.splitlines():
        match = INSTRUCTION.match(line)
        if not match:
            continue
        products += bool(PRODUCT[machine].match(match.group(1)) or FUSED[machine].match(match.group(1)))
        if FUSED[machine].match(match.group(1)):
            fused.append(line.strip())
    print(f"{machine}: {products} products, {len(fused)} of them fused")
    if products < 50:
        print("next to no floating-point code: this is not the library")
        return 1
    if wanted == "none":
        print("\n".join(fused))
        return 1 if fused else 0
    return 0 if fused else 1


if __name__ == "__main__":
    sys.exit(main())
