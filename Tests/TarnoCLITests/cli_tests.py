#!/usr/bin/env python3
"""Runs tarno-cli as a user would: arguments in, text and an exit status out.

Usage: cli_tests.py PATH-TO-tarno-cli [unittest options]
"""

import json
import os
import stat
import subprocess
import sys
import tempfile
import unittest

CLI = None

NEWEST = 1714555800  # 2024-05-01T09:30:00Z
OLDER = 1600000000


def run(*arguments, cwd=None, home=None):
    environment = dict(os.environ)
    if home is not None:
        environment["HOME"] = home
    return subprocess.run([CLI, *arguments], capture_output=True, text=True, cwd=cwd, env=environment, timeout=60)


def expected_size(paths):
    """What the measure should say, worked out independently with lstat."""
    seen = set()
    result = {"bytes": 0, "files": 0, "newest": None}

    def count_file(status):
        if status.st_nlink >= 2:
            key = (status.st_dev, status.st_ino)
            if key in seen:
                return
            seen.add(key)
        result["bytes"] += status.st_blocks * 512
        result["files"] += 1
        mtime = int(status.st_mtime)
        result["newest"] = mtime if result["newest"] is None else max(result["newest"], mtime)

    for path in paths:
        try:
            status = os.lstat(path)
        except FileNotFoundError:
            continue
        if not stat.S_ISDIR(status.st_mode):
            count_file(status)
            continue
        for folder, folders, files in os.walk(path):
            for name in folders + files:
                entry = os.lstat(os.path.join(folder, name))
                if stat.S_ISREG(entry.st_mode):
                    count_file(entry)
                elif not stat.S_ISDIR(entry.st_mode):
                    result["bytes"] += entry.st_blocks * 512  # links and the like: their own blocks, no file
    return result


class MeasureTests(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="tarno-cli-test-")
        self.root = self.folder.name
        self.tree = os.path.join(self.root, "tree")
        self.other = os.path.join(self.root, "other")

        def write(relative, size):
            path = os.path.join(self.root, relative)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "wb") as out:
                out.write(os.urandom(size))
            os.utime(path, (OLDER, OLDER))
            return path

        first = write("tree/a.bin", 10000)
        write("tree/sub/b.bin", 70000)
        write("tree/sub/deeper/c.bin", 1)
        newest = write("tree/sub/newest.txt", 300)
        os.utime(newest, (NEWEST, NEWEST))
        os.makedirs(os.path.join(self.tree, "empty/only/folders"))
        os.link(first, os.path.join(self.tree, "a-again.bin"))
        os.makedirs(self.other)
        os.link(first, os.path.join(self.other, "a-elsewhere.bin"))
        write("other/own.bin", 2000)
        os.symlink("a.bin", os.path.join(self.tree, "short-link"))
        long_link = os.path.join(self.tree, "long-link")
        os.symlink("x" * 300, long_link)  # dangling, and long enough to take a block of its own
        os.utime(long_link, (NEWEST + 1000, NEWEST + 1000), follow_symlinks=False)
        os.symlink("sub", os.path.join(self.tree, "folder-link"))

    def tearDown(self):
        self.folder.cleanup()

    def measure_json(self, *paths, cwd=None):
        completed = run("measure", "--json", *paths, cwd=cwd)
        self.assertEqual(completed.returncode, 0, completed.stderr)
        self.assertEqual(completed.stderr, "")
        return json.loads(completed.stdout)

    def test_a_tree_counts_files_and_links_once_and_folders_not_at_all(self):
        expected = expected_size([self.tree])
        self.assertGreater(expected["bytes"], 80000)
        self.assertEqual(expected["files"], 4)
        self.assertEqual(self.measure_json(self.tree), {
            "bytes": expected["bytes"],
            "files": 4,
            "unreadableDirectories": 0,
            "newestModification": "2024-05-01T09:30:00Z",
        })

    def test_paths_are_measured_together_so_a_shared_hard_link_counts_once(self):
        together = self.measure_json(self.tree, self.other)
        expected = expected_size([self.tree, self.other])
        self.assertEqual(together["bytes"], expected["bytes"])
        self.assertEqual(together["files"], 5)
        separate = self.measure_json(self.tree)["bytes"] + self.measure_json(self.other)["bytes"]
        self.assertLess(together["bytes"], separate)

    def test_a_relative_path_with_a_trailing_slash_is_the_same_folder(self):
        self.assertEqual(self.measure_json("tree/", cwd=self.root), self.measure_json(self.tree))

    def test_a_missing_path_is_empty(self):
        missing = os.path.join(self.root, "missing")
        self.assertEqual(list(self.measure_json(missing).keys()),
                         ["bytes", "files", "unreadableDirectories", "newestModification"])
        self.assertEqual(self.measure_json(missing),
                         {"bytes": 0, "files": 0, "unreadableDirectories": 0, "newestModification": None})
        self.assertEqual(self.measure_json(missing, self.other), self.measure_json(self.other))

    def test_the_human_report_names_files_and_the_newest_date(self):
        completed = run("measure", self.tree)
        self.assertEqual(completed.returncode, 0, completed.stderr)
        lines = completed.stdout.splitlines()
        self.assertIn("Files: 4", lines)
        self.assertIn("Unreadable folders: 0", lines)
        self.assertIn("Newest modification: 2024-05-01T09:30:00Z", lines)
        self.assertIn("Newest modification: none", run("measure", self.root + "/missing").stdout.splitlines())


class UsageTests(unittest.TestCase):
    def test_bad_arguments_give_one_line_on_stderr_and_status_2(self):
        cases = [
            [],
            ["bogus"],
            ["measure"],
            ["measure", "--json"],
            ["measure", "--bogus", "/tmp"],
            ["catalog", "--home"],
            ["catalog", "extra"],
            ["catalog", "--verbose"],
            ["scan", "--json"],
        ]
        for arguments in cases:
            with self.subTest(arguments=arguments):
                completed = run(*arguments)
                self.assertEqual(completed.returncode, 2)
                self.assertEqual(completed.stdout, "")
                self.assertEqual(len(completed.stderr.splitlines()), 1, completed.stderr)
                self.assertIn("usage:", completed.stderr)

    def test_help_lists_every_command(self):
        completed = run("--help")
        self.assertEqual(completed.returncode, 0)
        for command in ("tarno-cli measure", "tarno-cli catalog", "tarno-cli scan"):
            self.assertIn(command, completed.stdout)


class CatalogTests(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="tarno-cli-home-")
        self.home = self.folder.name
        os.makedirs(os.path.join(self.home, "Documents"))
        with open(os.path.join(self.home, "Documents", "letter.txt"), "w") as out:
            out.write("Dear reader")

    def tearDown(self):
        self.folder.cleanup()

    def test_an_empty_home_has_an_empty_catalog(self):
        for arguments in (["--json"], ["--json", "--measure"]):
            with self.subTest(arguments=arguments):
                completed = run("catalog", "--home", self.home + "/", *arguments)
                self.assertEqual(completed.returncode, 0, completed.stderr)
                self.assertEqual(json.loads(completed.stdout), [])

    def test_scan_of_an_empty_home_has_nothing_to_clean(self):
        expected = "Nothing to clean\nTarno found no caches or leftovers worth removing.\n"
        by_option = run("scan", "--home", self.home)
        self.assertEqual((by_option.returncode, by_option.stdout), (0, expected), by_option.stderr)
        # Without --home the user's home is the environment's.
        by_environment = run("scan", home=self.home)
        self.assertEqual((by_environment.returncode, by_environment.stdout), (0, expected), by_environment.stderr)


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    CLI = os.path.abspath(sys.argv.pop(1))
    unittest.main()
