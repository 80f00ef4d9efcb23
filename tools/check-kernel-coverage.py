#!/usr/bin/env python3
"""Fails when a vector kernel of the library is never executed by the tests.

A vector kernel is any function of the library's sources (not the tests')
whose name, or the name of a function it sits in (a lambda inside a kernel),
contains "Sse2" or "Avx2", or that is declared with LY_TARGET_AVX2. Template
instantiations count one by one, so PeriodicRunAvx2<true, false> must run on
its own. The set is found afresh from the sources and the coverage data on
every run, so kernels added or renamed later need no list kept here.

Usage: check-kernel-coverage.py --llvm-cov llvm-cov-14 --cxxfilt llvm-cxxfilt-14
           --profdata merged.profdata --source-root DIR BINARY...
"""

import argparse
import json
import os
import re
import subprocess
import sys

LIBRARY_DIRS = ("threading", "memory", "format", "pixel", "surface", "video", "audio", "include")
NAME_MARK = re.compile(r"(Sse2|Avx2)")
# LY_TARGET_AVX2, then anything but a body, statement end or bracket, then the
# declared name and its parameter list. Lambdas ("(...) LY_TARGET_AVX2 {") and
# the macro's own definition do not match.
TARGET_DECL = re.compile(r"LY_TARGET_AVX2\s+([^;{}()#]*?)\b([A-Za-z_]\w*)\s*\(")


def library_file(path, root):
    rel = os.path.relpath(os.path.realpath(path), root)
    return not rel.startswith("..") and rel.split(os.sep)[0] in LIBRARY_DIRS, rel


def avx2_declarations(root):
    """{relative source path: set of names declared with LY_TARGET_AVX2}."""
    found = {}
    for top in LIBRARY_DIRS:
        for dirpath, _, files in os.walk(os.path.join(root, top)):
            for f in files:
                if not f.endswith((".cpp", ".h")):
                    continue
                path = os.path.join(dirpath, f)
                with open(path, encoding="utf-8", errors="replace") as fh:
                    text = fh.read()
                names = {m.group(2) for m in TARGET_DECL.finditer(text) if not m.group(2).startswith("__")}
                if names:
                    found[os.path.relpath(path, root)] = names
    return found


def demangle(names, cxxfilt):
    out = subprocess.run([cxxfilt], input="\n".join(names), capture_output=True, text=True, check=True).stdout
    lines = out.split("\n")
    return lines[: len(names)]


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--llvm-cov", default="llvm-cov-14")
    ap.add_argument("--cxxfilt", default="llvm-cxxfilt-14")
    ap.add_argument("--profdata", required=True)
    ap.add_argument("--source-root", required=True)
    ap.add_argument("binaries", nargs="+")
    args = ap.parse_args()
    root = os.path.realpath(args.source_root)

    cmd = [args.llvm_cov, "export", "-format=text", "-skip-expansions", "-instr-profile=" + args.profdata,
           args.binaries[0]]
    for b in args.binaries[1:]:
        cmd += ["-object", b]
    data = json.loads(subprocess.run(cmd, capture_output=True, text=True, check=True).stdout)

    records = {}  # (mangled name, file) -> highest count
    for export in data["data"]:
        for fn in export["functions"]:
            ok, rel = library_file(fn["filenames"][0], root)
            if ok:
                key = (fn["name"], rel)
                records[key] = max(records.get(key, 0), fn["count"])
    keys = sorted(records)
    pretty = dict(zip(keys, demangle([k[0] for k in keys], args.cxxfilt)))

    with open("/proc/cpuinfo", encoding="utf-8", errors="replace") as fh:
        has_avx2 = " avx2" in fh.read()
    declared = avx2_declarations(root)

    kernels, missed = 0, []
    for key in keys:
        name = pretty[key]
        tokens = set(re.findall(r"[A-Za-z_]\w*", name))
        marked = NAME_MARK.search(name) is not None
        targeted = bool(tokens & declared.get(key[1], set()))
        if not (marked or targeted):
            continue
        if not has_avx2 and ("Avx2" in name or targeted):
            continue
        kernels += 1
        if records[key] == 0:
            missed.append(f"{key[1]}: {name}")

    print(f"vector kernel functions found: {kernels}, never executed: {len(missed)}")
    for m in missed:
        print("  never executed: " + m)
    if kernels == 0:
        print("no vector kernel found: the coverage data or the source root is wrong")
        return 1
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
