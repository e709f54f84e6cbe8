#!/usr/bin/env python3
"""Arrows point one way: the application to the core, the core's subsystems to Platform/."""
import os
import re
import sys

sources = sys.argv[1]
include = re.compile(r'^\s*#\s*include\s*[<"]([^">]+)[">]', re.MULTILINE)
problems = []


def includes(path):
    with open(path, encoding="utf-8") as text:
        return include.findall(text.read())


for folder, _, names in os.walk(sources):
    for name in names:
        if not name.endswith((".hpp", ".cpp")):
            continue
        path = os.path.join(folder, name)
        relative = os.path.relpath(path, sources)
        for included in includes(path):
            if relative.startswith("TarnoCore/Platform/") and included.startswith("TarnoCore/") \
                    and not included.startswith("TarnoCore/Platform/"):
                problems.append(f"{relative}: the platform includes a subsystem: {included}")
            if relative.startswith(("TarnoCore/", "TarnoCLI/")) and (included.startswith("Tarno/")
                                                                      or included.startswith("Q")):
                problems.append(f"{relative}: the core or the command line includes the application or Qt: {included}")

for problem in problems:
    print(problem)
print(f"layering: {len(problems)} problems")
sys.exit(1 if problems else 0)
