#!/usr/bin/env python3
"""Builds a deterministic tree of ordinary user files for the duplicates benchmark.

No dot names, no repositories, no packages, no build output and no hard links,
so every duplicate finder sees exactly the same files. About a third of the
files are copies (two to four of each), and same-length decoys differ from
their partners in the first, the middle or the last bytes.

    make_user_files.py DIR [--files N] [--seed S]

Writes DIR.manifest.json with the number of files, their bytes and the
duplicate sets by content digest.
"""
import argparse
import hashlib
import json
import os
import random
import shutil

FOLDERS = ["Documents/Reports", "Documents/Invoices/2024", "Documents/Invoices/2025", "Pictures/Holidays",
           "Pictures/Family", "Pictures/Scans", "Music/Albums", "Movies/Clips", "Downloads", "Desktop", "Public"]
EXTENSIONS = [".pdf", ".jpg", ".png", ".mp3", ".mov", ".docx", ".zip", ".txt"]


def size_for(generator):
    # Mostly small documents and photos, a few large media files: about 57 kB on average.
    roll = generator.random()
    if roll < 0.55:
        return generator.randint(500, 40_000)
    if roll < 0.95:
        return generator.randint(40_000, 300_000)
    return generator.randint(300_000, 1_500_000)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("root")
    parser.add_argument("--files", type=int, default=20_000)
    parser.add_argument("--seed", type=int, default=2026)
    arguments = parser.parse_args()
    generator = random.Random(arguments.seed)
    if os.path.exists(arguments.root):
        shutil.rmtree(arguments.root)

    written = 0
    total_bytes = 0
    sets = {}
    while written < arguments.files:
        content = generator.randbytes(size_for(generator))
        roll = generator.random()
        copies = 1 if roll < 0.85 else generator.randint(2, 4)
        variants = [content] * copies
        if generator.random() < 0.1:
            # A decoy of the same length, changed at the start, the middle or the end.
            changed = bytearray(content)
            changed[generator.choice([0, len(content) // 2, len(content) - 1])] ^= 0xFF
            variants.append(bytes(changed))
        for variant in variants:
            folder = os.path.join(arguments.root, generator.choice(FOLDERS))
            os.makedirs(folder, exist_ok=True)
            path = os.path.join(folder, f"file-{written:06d}{generator.choice(EXTENSIONS)}")
            with open(path, "wb") as out:
                out.write(variant)
            sets.setdefault(hashlib.sha256(variant).hexdigest(), []).append(path)
            written += 1
            total_bytes += len(variant)

    duplicates = sorted(sorted(paths) for paths in sets.values() if len(paths) > 1)
    with open(arguments.root.rstrip("/") + ".manifest.json", "w") as out:
        json.dump({"files": written, "bytes": total_bytes, "duplicateSets": duplicates}, out)


if __name__ == "__main__":
    main()
