#!/usr/bin/env python3
"""Runs tarno-cli as a user would: arguments in, text and an exit status out.

Usage: cli_tests.py PATH-TO-tarno-cli [unittest options]
"""

import json
import os
import re
import signal
import stat
import shutil
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.parse

CLI = None

COMMANDS = ["measure", "catalog", "scan", "guard", "clean", "history", "memory", "disk", "processes", "projects",
            "duplicates", "large", "apps", "uninstall", "tools", "stop", "startup"]

NEWEST = 1714555800  # 2024-05-01T09:30:00Z
OLDER = 1600000000


def run(*arguments, cwd=None, home=None, stdin=None):
    environment = dict(os.environ)
    if home is not None:
        environment["HOME"] = home
        environment["XDG_DATA_HOME"] = os.path.join(home, ".local", "share")
    return subprocess.run([CLI, *arguments], capture_output=True, text=True, cwd=cwd, env=environment, timeout=60,
                          stdin=stdin)


def run_on_terminal(arguments, home, answer):
    """Runs with a pseudo-terminal as standard input, answers the prompt, and gives (status, stdout)."""
    import pty
    leader, follower = pty.openpty()
    environment = dict(os.environ, HOME=home, XDG_DATA_HOME=os.path.join(home, ".local", "share"))
    try:
        process = subprocess.Popen([CLI, *arguments], stdin=follower, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True, env=environment)
        os.write(leader, answer.encode())
        stdout, _ = process.communicate(timeout=60)
    finally:
        os.close(follower)
        os.close(leader)
    return process.returncode, stdout


def write_file(path, size):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as out:
        out.write(os.urandom(size))
    return path


def tree_of(root):
    """Every path under root, relative to it, folders with a trailing slash."""
    found = set()
    for folder, folders, files in os.walk(root):
        for name in folders:
            found.add(os.path.relpath(os.path.join(folder, name), root) + "/")
        for name in files:
            found.add(os.path.relpath(os.path.join(folder, name), root))
    return found


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
            ["catalog", "--category", "Xcode"],
            ["catalog", "--category"],
            ["scan", "--measure"],
            ["guard"],
            ["guard", "delete"],
            ["guard", "remove", "/tmp/x"],
            ["guard", "--dry-run", "delete", "/tmp/x"],
            ["clean"],
            ["clean", "--dry-run"],
            ["clean", "--force", "xcode.derivedData"],
            ["history", "extra"],
            ["history", "--home"],
            # Top-level mistakes are usage errors too.
            ["--bogus"],
            ["-x"],
            ["--version", "extra"],
            ["--help", "measure"],
            ["help", "bogus"],
            ["help", "measure", "scan"],
            ["catalog", "--home="],
            ["catalog", "--home", "/tmp/a", "--home=/tmp/b"],
            ["catalog", "--json=yes"],
            ["scan", "-"],
            ["measure", "--bogus", "--help"],
            ["large"],
            ["large", "/tmp", "/var"],
            ["large", "--min", "1e6", "/tmp"],
            ["large", "--limit", "-1", "/tmp"],
            ["uninstall"],
            ["apps", "Editor"],
            ["stop"],
            ["tools", "extra"],
            ["startup", "--yes"],
        ]
        for arguments in cases:
            with self.subTest(arguments=arguments):
                completed = run(*arguments)
                self.assertEqual((completed.returncode, completed.stdout), (2, ""))
                self.assertEqual(len(completed.stderr.splitlines()), 1, completed.stderr)
                self.assertIn("usage:", completed.stderr)

    def test_version_is_the_projects(self):
        project = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "CMakeLists.txt")
        with open(project) as stream:
            version = re.search(r"project\(Tarno VERSION (\S+)", stream.read()).group(1)
        completed = run("--version")
        self.assertEqual((completed.returncode, completed.stdout, completed.stderr), (0, f"tarno-cli {version}\n", ""))

    def test_help_lists_every_command_and_option_then_the_exit_statuses(self):
        completed = run("--help")
        self.assertEqual((completed.returncode, completed.stderr), (0, ""))
        self.assertEqual(run("-h").stdout, completed.stdout)
        self.assertEqual(run("help").stdout, completed.stdout)
        for command in COMMANDS:
            with self.subTest(command=command):
                # Every option the command's own help names is in the overall help, under its usage line.
                usage = run(command, "--help").stdout.splitlines()[0].removeprefix("Usage: ")
                self.assertIn("\n  " + usage + "\n", completed.stdout)
        self.assertIn("tarno-cli --version", completed.stdout)
        statuses = completed.stdout[completed.stdout.index("\nExit status:\n"):]
        self.assertEqual(re.findall(r"^  (\d)  ", statuses, re.MULTILINE), ["0", "1", "2"])

    def test_each_command_explains_itself_and_does_nothing_else(self):
        with tempfile.TemporaryDirectory(prefix="tarno-cli-help-") as home:
            write_file(os.path.join(home, "Library", "Developer", "Xcode", "DerivedData", "App", "app.o"), 1000)
            before = tree_of(home)
            for command in COMMANDS:
                with self.subTest(command=command):
                    completed = run(command, "--help", home=home, stdin=subprocess.DEVNULL)
                    self.assertEqual((completed.returncode, completed.stderr), (0, ""))
                    lines = completed.stdout.splitlines()
                    self.assertTrue(lines[0].startswith(f"Usage: tarno-cli {command}"), lines[0])
                    self.assertIn("  -h, --help  ", completed.stdout)
                    options = re.findall(r"\[(--[a-z-]+)", lines[0])
                    for option in options:
                        self.assertRegex(completed.stdout, r"\n  " + option + r"( [A-Z]+)? +\w")
                    # Either spelling, after other options, and as help's operand, say the same.
                    self.assertEqual(run(command, "-h").stdout, completed.stdout)
                    self.assertEqual(run("help", command).stdout, completed.stdout)
                    for flag in re.findall(r"\[(--[a-z-]+)\]", lines[0])[:1]:
                        self.assertEqual(run(command, flag, "--help").stdout, completed.stdout)
            # Asking clean for help cleans nothing, whatever else is on the line.
            completed = run("clean", "--yes", "xcode.derivedData", "--help", home=home, stdin=subprocess.DEVNULL)
            self.assertEqual(completed.returncode, 0)
            self.assertEqual(tree_of(home), before)


class TextOutputTests(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="tarno-cli-text-")
        self.empty = os.path.join(self.folder.name, "empty")
        self.home = os.path.join(self.folder.name, "home")
        os.makedirs(self.empty)
        write_file(os.path.join(self.home, "Library", "Developer", "Xcode", "DerivedData", "App", "app.o"), 40000)
        write_file(os.path.join(self.home, "Documents", "letter.txt"), 100)
        history = os.path.join(self.home, "Library", "Application Support", "Tarno", "history.json")
        os.makedirs(os.path.dirname(history))
        with open(history, "w") as stream:
            json.dump([{"date": "2024-05-01T09:30:00Z", "source": "Cleanup", "freedBytes": 2000,
                        "items": ["Trash"], "failures": 0}], stream)

    def tearDown(self):
        self.folder.cleanup()

    def test_every_command_ends_its_output_with_a_newline(self):
        documents = os.path.join(self.home, "Documents")
        cases = [
            ["measure", documents],
            ["measure", "--json", documents],
            ["measure", os.path.join(self.empty, "missing")],
            ["catalog", "--home", self.empty],
            ["catalog", "--json", "--home", self.empty],
            ["catalog", "--measure", "--home", self.home],
            ["catalog", "--json", "--measure", "--home", self.home],
            ["scan", "--home", self.empty],
            ["scan", "--home", self.home],
            ["guard", "delete", "--home", self.home, documents, os.path.join(self.home, "Library", "Caches")],
            ["clean", "--dry-run", "--home", self.home, "xcode.derivedData"],
            ["history", "--home", self.empty],
            ["history", "--home", self.home],
            ["history", "--json", "--home", self.home],
            ["memory"],
            ["memory", "--json"],
            ["disk", self.home],
            ["disk", "--json", self.home],
            ["processes", "--samples", "1"],
            ["processes", "--json", "--samples", "1"],
            ["large", documents],
            ["large", "--json", "--min", "0", documents],
            ["--version"],
            ["--help"],
            ["scan", "--help"],
            # Last, as it empties DerivedData.
            ["clean", "--yes", "--home", self.home, "xcode.derivedData"],
        ]
        for arguments in cases:
            with self.subTest(arguments=arguments):
                completed = run(*arguments, home=self.empty, stdin=subprocess.DEVNULL)
                self.assertEqual(completed.returncode, 0, completed.stderr)
                self.assertNotEqual(completed.stdout, "")
                self.assertTrue(completed.stdout.endswith("\n"), repr(completed.stdout[-80:]))
        self.assertEqual(os.listdir(os.path.join(self.home, "Library", "Developer", "Xcode", "DerivedData")), [])
        self.assertTrue(os.path.exists(os.path.join(self.home, "Documents", "letter.txt")))


def run_unprivileged(arguments, home):
    """Runs as "nobody" when root (who reads every folder), else as oneself."""
    rights = dict(user=65534, group=65534, extra_groups=[]) if os.geteuid() == 0 else {}
    environment = dict(os.environ, HOME=home, XDG_DATA_HOME=os.path.join(home, ".local", "share"))
    return subprocess.run([CLI, *arguments], capture_output=True, text=True, timeout=60, env=environment,
                          stdin=subprocess.DEVNULL, **rights)


def can_hide_proc():
    if os.geteuid() != 0:
        return False
    probe = subprocess.run(["unshare", "-m", "--propagation", "private", "mount", "-t", "tmpfs", "none", "/proc"],
                           capture_output=True)
    return probe.returncode == 0


class ExitStatusTests(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="tarno-cli-status-")
        self.home = self.folder.name
        self.derived = os.path.join(self.home, "Library", "Developer", "Xcode", "DerivedData")
        write_file(os.path.join(self.derived, "App", "app.o"), 40000)
        self.locked = os.path.join(self.derived, "Locked")
        write_file(os.path.join(self.locked, "index.db"), 100)
        for folder, folders, files in os.walk(self.home):
            os.chmod(folder, 0o755)
        os.chmod(self.locked, 0)

    def tearDown(self):
        os.chmod(self.locked, 0o755)
        self.folder.cleanup()

    def test_a_folder_that_cannot_be_read_makes_a_measure_incomplete(self):
        cases = [
            ["measure", self.derived],
            ["measure", "--json", self.derived],
            ["scan", "--home", self.home],
            ["catalog", "--measure", "--home", self.home],
            ["catalog", "--json", "--measure", "--home", self.home],
        ]
        for arguments in cases:
            with self.subTest(arguments=arguments):
                completed = run_unprivileged(arguments, self.home)
                self.assertEqual(completed.returncode, 1, completed.stderr)
                # The answer is printed all the same, and stderr says what it leaves out.
                self.assertTrue(completed.stdout.endswith("\n"), completed.stdout)
                self.assertEqual(completed.stderr, "tarno-cli: 1 folder could not be read; the sizes leave it out\n")
        self.assertEqual(json.loads(run_unprivileged(["measure", "--json", self.derived], self.home).stdout)
                         ["unreadableDirectories"], 1)
        # What does not measure, or measures what it can read, succeeds.
        for arguments in (["catalog", "--home", self.home], ["measure", os.path.join(self.derived, "App")]):
            with self.subTest(arguments=arguments):
                completed = run_unprivileged(arguments, self.home)
                self.assertEqual((completed.returncode, completed.stderr), (0, ""))

    @unittest.skipUnless(can_hide_proc(), "needs root and a mount namespace to hide /proc")
    def test_memory_and_processes_without_proc_are_incomplete(self):
        for arguments in (["memory"], ["memory", "--json"], ["processes", "--samples", "1"]):
            with self.subTest(arguments=arguments):
                # The leak checker needs /proc itself; under the sanitizers it is off
                # here and the sanitizer's own warnings are not the program's words.
                environment = dict(os.environ)
                environment["ASAN_OPTIONS"] = environment.get("ASAN_OPTIONS", "") + ":detect_leaks=0"
                completed = subprocess.run(
                    ["unshare", "-m", "--propagation", "private", "sh", "-c",
                     'mount -t tmpfs none /proc && exec "$0" "$@"', CLI, *arguments],
                    capture_output=True, text=True, timeout=60, env=environment)
                stderr = re.sub(r"^==\d+==.*\n", "", completed.stderr, flags=re.MULTILINE)
                self.assertEqual((completed.returncode, completed.stdout), (1, ""))
                self.assertRegex(stderr, r"^tarno-cli: cannot read .*/proc.*\n$")


class CatalogTests(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="tarno-cli-home-")
        self.home = self.folder.name
        os.makedirs(os.path.join(self.home, "Documents"))
        with open(os.path.join(self.home, "Documents", "letter.txt"), "w") as out:
            out.write("Dear reader")

    def tearDown(self):
        self.folder.cleanup()

    def machine_wide_items(self, *arguments):
        """The catalog of the empty home: only what this machine keeps outside
        any home (apt's downloaded packages, root's Yarn cache) may be in it."""
        completed = run("catalog", "--home", self.home + "/", "--json", *arguments)
        self.assertEqual(completed.returncode, 0, completed.stderr)
        items = json.loads(completed.stdout)
        for item in items:
            for path in item["action"]["paths"]:
                self.assertFalse(path.startswith(self.home + "/"), item["id"])
        return items

    def test_an_empty_home_has_an_empty_catalog(self):
        for arguments in ([], ["--measure"]):
            with self.subTest(arguments=arguments):
                self.machine_wide_items(*arguments)

    def test_category_keeps_only_that_categorys_items(self):
        write_file(os.path.join(self.home, "Library", "Developer", "Xcode", "DerivedData", "App", "a.o"), 10)
        write_file(os.path.join(self.home, ".gradle", "caches", "x.jar"), 10)
        everything = json.loads(run("catalog", "--json", "--home", self.home).stdout)
        for category in ("xcode", "android", "trash"):
            with self.subTest(category=category):
                completed = run("catalog", "--json", "--category", category, "--home", self.home)
                self.assertEqual(completed.returncode, 0, completed.stderr)
                self.assertEqual(json.loads(completed.stdout),
                                 [item for item in everything if item["category"] == category])
        # What the machine keeps outside any home (apt's packages) may be there too.
        from_home = [item for item in everything if item["action"]["paths"][0].startswith(self.home + "/")]
        self.assertEqual({item["category"] for item in from_home}, {"xcode", "android"})

    def test_scan_of_an_empty_home_has_nothing_to_clean(self):
        titles = [item["title"] for item in self.machine_wide_items()]
        by_option = run("scan", "--home", self.home)
        # Without --home the user's home is the environment's.
        by_environment = run("scan", home=self.home)
        for completed in (by_option, by_environment):
            self.assertEqual(completed.returncode, 0, completed.stderr)
            if not titles:
                self.assertEqual(completed.stdout,
                                 "Nothing to clean\nTarno found no caches or leftovers worth removing.\n")
                continue
            listed = [line.strip().split(":")[0] for line in completed.stdout.splitlines()
                      if line.startswith("  ") and not line.startswith("    ")]
            self.assertTrue(set(listed) <= set(titles), completed.stdout)


class AnyFileNameTests(unittest.TestCase):
    """A file name is bytes. Every --json output is valid UTF-8 and gives the
    name back byte for byte through the "surrogateescape" convention."""

    NAMES = [b"caf\xe9-app", b"line\nbreak", b"tab\tbell\x07", b"-dash \xed\xa0\x80 \xf0\x9f\x93\xa6"]

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="tarno-cli-names-")
        self.home = self.folder.name.encode()
        self.caches = [os.path.join(self.home, b".cache", name) for name in self.NAMES]
        for cache in self.caches:
            # Above a cache's five-megabyte threshold, so that scan lists it.
            write_file(os.path.join(cache, b"blob"), 5_001_000)

    def tearDown(self):
        self.folder.cleanup()

    def run_json(self, *arguments):
        environment = dict(os.environ, HOME=self.home, XDG_DATA_HOME=os.path.join(self.home, b".local", b"share"))
        completed = subprocess.run([CLI, *arguments, "--json"], capture_output=True, env=environment, timeout=60)
        self.assertEqual(completed.returncode, 0, completed.stderr)
        return json.loads(completed.stdout.decode("utf-8"))

    def assert_names_come_back(self, paths):
        self.assertEqual(sorted(path.encode("utf-8", "surrogateescape") for path in paths), sorted(self.caches))

    def cache_paths(self, items):
        return [path for item in items if item["id"].startswith("cache.") for path in item["action"]["paths"]]

    def test_every_verb_that_prints_a_name_gives_its_bytes_back(self):
        self.assert_names_come_back(self.cache_paths(self.run_json("catalog")))
        scanned = self.run_json("scan")
        self.assert_names_come_back(self.cache_paths(scanned))
        self.assertEqual(sorted(item["size"]["bytes"] for item in scanned if item["id"].startswith("cache.")),
                         sorted(os.stat(os.path.join(cache, b"blob")).st_blocks * 512 for cache in self.caches))
        verdicts = self.run_json("guard", "delete", *self.caches)
        self.assert_names_come_back(verdicts[index]["path"] for index in range(len(verdicts)))
        self.assertEqual({verdict["allowed"] for verdict in verdicts}, {True})

        ids = [item["id"] for item in scanned if item["id"].startswith("cache.")]
        cleaned = self.run_json("clean", "--yes", *ids)
        self.assert_names_come_back(self.cache_paths(cleaned["items"]))
        self.assertEqual(cleaned["summary"]["failures"], [])
        self.assertFalse(any(os.path.exists(cache) for cache in self.caches))
        # The history keeps titles as text for its reader: a byte that is not
        # UTF-8 is stored as U+FFFD.
        history = self.run_json("history")
        self.assertEqual(history[0]["items"], [title.encode("utf-8", "surrogateescape").decode("utf-8", "replace")
                                               for title in cleaned["cleaned"]])

    def test_a_program_with_such_a_name_shows_in_processes(self):
        program = os.path.join(self.home, self.NAMES[1] + b"\xff")
        shutil.copy("/bin/sleep", program)
        child = subprocess.Popen([program, "30"])
        try:
            sample = self.run_json("processes", "--samples", "1")
        finally:
            child.kill()
            child.wait()
        mine = [process for process in sample["processes"] if process["pid"] == child.pid]
        self.assertEqual([process["path"].encode("utf-8", "surrogateescape") for process in mine], [program])


class GuardTests(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="tarno-cli-guard-")
        self.home = os.path.join(self.folder.name, "home")
        os.makedirs(os.path.join(self.home, "Documents"))
        os.makedirs(os.path.join(self.home, "Library", "Caches", "com.example.app"))

    def tearDown(self):
        self.folder.cleanup()

    def test_one_line_per_path_in_the_order_given_with_the_home_given_or_the_environments(self):
        cache = os.path.join(self.home, "Library", "Caches", "com.example.app")
        documents = os.path.join(self.home, "Documents")
        outside = os.path.join(self.folder.name, "elsewhere")
        completed = run("guard", "delete", "--home", self.home + "/", cache, documents, outside)
        self.assertEqual(completed.returncode, 0, completed.stderr)
        self.assertEqual(completed.stdout.splitlines(), [
            f"{cache}: allowed",
            f"{documents}: refused: top-level folder in the home folder",
            f"{outside}: refused: outside the home folder",
        ])
        # Without --home the home comes from the environment.
        completed = run("guard", "trash", documents, home=self.home)
        self.assertEqual((completed.returncode, completed.stdout, completed.stderr),
                         (0, f"{documents}: refused: top-level folder in the home folder\n", ""))

    def test_app_checks_application_bundles(self):
        not_an_app = os.path.join(self.home, "Library", "Caches", "com.example.app")
        completed = run("guard", "app", "--home", self.home, not_an_app)
        self.assertEqual(completed.returncode, 0, completed.stderr)
        self.assertRegex(completed.stdout, r"^" + not_an_app + r": refused: [a-z]")


class CleanTests(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="tarno-cli-clean-")
        self.home = self.folder.name
        self.derived = os.path.join(self.home, "Library", "Developer", "Xcode", "DerivedData")
        write_file(os.path.join(self.derived, "App-abc", "Build", "app.o"), 60000)
        write_file(os.path.join(self.derived, "Other-def", "info.plist"), 3000)
        write_file(os.path.join(self.home, "Library", "Developer", "Xcode", "Archives", "2024", "App.xcarchive"),
                   5000)
        write_file(os.path.join(self.home, "Documents", "letter.txt"), 100)
        self.history = os.path.join(self.home, "Library", "Application Support", "Tarno", "history.json")

    def tearDown(self):
        self.folder.cleanup()

    def test_dry_run_shows_the_items_and_changes_nothing(self):
        before = tree_of(self.home)
        completed = run("clean", "--dry-run", "xcode.archives", "xcode.derivedData", home=self.home,
                        stdin=subprocess.DEVNULL)
        self.assertEqual(completed.returncode, 0, completed.stderr)
        lines = completed.stdout.splitlines()
        # In the catalog's order, each with its size and consequence.
        self.assertRegex(lines[0], r"^Build data \(DerivedData\): \d+ KB, Safe$")
        self.assertEqual(lines[1], "  The next build of each project starts from scratch.")
        self.assertRegex(lines[2], r"^Archives: \d+ KB, Your call$")
        self.assertEqual(lines[3], "  You can no longer re-export these builds or symbolicate their crash reports.")
        self.assertIn("nothing was removed", lines[-1])
        self.assertEqual(tree_of(self.home), before)

    def test_yes_empties_derived_data_and_records_it(self):
        completed = run("clean", "--yes", "--home", self.home, "xcode.derivedData", stdin=subprocess.DEVNULL)
        self.assertEqual(completed.returncode, 0, completed.stderr)
        self.assertEqual(os.listdir(self.derived), [], "the folder stays, its contents go")
        self.assertTrue(os.path.exists(os.path.join(self.home, "Documents", "letter.txt")))
        self.assertTrue(os.path.exists(os.path.join(self.home, "Library", "Developer", "Xcode", "Archives")))
        self.assertRegex(completed.stdout, r"\nFreed \d+ KB\.\n")

        with open(self.history) as stream:
            text = stream.read()
        records = json.loads(text)
        self.assertEqual(len(records), 1)
        record = records[0]
        self.assertEqual(list(record.keys()), ["date", "failures", "freedBytes", "items", "source"])
        self.assertEqual(record["source"], "Cleanup")
        self.assertEqual(record["items"], ["Build data (DerivedData)"])
        self.assertEqual(record["failures"], 0)
        self.assertGreaterEqual(record["freedBytes"], 63000)
        self.assertRegex(record["date"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$")

        # Nothing is left to free, but the clean of a chosen item still leaves its line.
        again = run("clean", "--yes", "xcode.derivedData", home=self.home, stdin=subprocess.DEVNULL)
        self.assertEqual(again.returncode, 0, again.stderr)
        self.assertIn("Freed 0 bytes.", again.stdout)
        with open(self.history) as stream:
            records = json.load(stream)
        self.assertEqual([r["freedBytes"] for r in records], [0, record["freedBytes"]])

    def test_ctrl_c_stops_inside_the_item_under_way_and_records_it(self):
        # Enough folders that the removal is still going when the signal lands.
        many = os.path.join(self.derived, "Many-ghi")
        for outer in range(300):
            for inner in range(100):
                os.makedirs(os.path.join(many, str(outer), str(inner)))
        archive = os.path.join(self.home, "Library", "Developer", "Xcode", "Archives", "2024", "App.xcarchive")
        environment = dict(os.environ, HOME=self.home, XDG_DATA_HOME=os.path.join(self.home, ".local", "share"))
        process = subprocess.Popen([CLI, "clean", "--yes", "xcode.derivedData", "xcode.archives"],
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   text=True, env=environment)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        # The items are listed first; the signal goes once the clean has begun.
        line = process.stdout.readline()
        while line and not line.startswith("Cleaning "):
            line = process.stdout.readline()
        self.assertEqual(line, "Cleaning Build data (DerivedData)…\n")
        process.send_signal(signal.SIGINT)
        rest, stderr = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 1, stderr)
        self.assertIn("Interrupted: what was not reached was left alone.\n", rest)
        self.assertNotIn("Cleaning Archives", rest)
        self.assertTrue(os.path.exists(archive), "nothing after the interruption is touched")
        self.assertTrue(os.path.exists(many), "the removal stopped part-way")
        with open(self.history) as stream:
            records = json.load(stream)
        self.assertEqual([r["items"] for r in records], [["Build data (DerivedData)"]])

    def test_without_a_terminal_it_refuses_and_says_why(self):
        before = tree_of(self.home)
        completed = run("clean", "xcode.derivedData", home=self.home, stdin=subprocess.DEVNULL)
        self.assertEqual(completed.returncode, 1)
        self.assertIn("not a terminal", completed.stderr)
        self.assertIn("--yes", completed.stderr)
        self.assertEqual(tree_of(self.home), before)

    def test_on_a_terminal_only_yes_cleans(self):
        status, stdout = run_on_terminal(["clean", "xcode.derivedData", "xcode.archives"], self.home, "n\n")
        self.assertEqual(status, 1)
        self.assertIn("Clean these 2 items? [y/N] ", stdout)
        self.assertEqual(len(os.listdir(self.derived)), 2)
        self.assertFalse(os.path.exists(self.history))

        status, stdout = run_on_terminal(["clean", "xcode.derivedData"], self.home, "y\n")
        self.assertEqual(status, 0, stdout)
        self.assertIn("Clean this item? [y/N] ", stdout)
        self.assertEqual(os.listdir(self.derived), [])

    def test_end_of_file_at_the_prompt_ends_the_line_and_cleans_nothing(self):
        before = tree_of(self.home)
        status, stdout = run_on_terminal(["clean", "xcode.derivedData"], self.home, "\x04")
        self.assertEqual(status, 1)
        self.assertTrue(stdout.endswith("Clean this item? [y/N] \nNothing was cleaned.\n"), stdout)
        self.assertEqual(tree_of(self.home), before)

    def test_an_unknown_id_is_named_and_nothing_happens(self):
        before = tree_of(self.home)
        completed = run("clean", "--yes", "xcode.derivedData", "no.such.item", "android.avd.Gone", home=self.home,
                        stdin=subprocess.DEVNULL)
        self.assertEqual(completed.returncode, 2)
        self.assertEqual(completed.stdout, "")
        self.assertIn("no.such.item", completed.stderr)
        self.assertIn("android.avd.Gone", completed.stderr)
        self.assertEqual(tree_of(self.home), before)

    @unittest.skipUnless(hasattr(os, "geteuid") and os.geteuid() == 0, "needs root to run as another user")
    def test_an_item_that_needs_an_administrator_is_not_cleaned(self):
        # The home belongs to root, and "nobody" may read but not write DerivedData.
        for folder, folders, files in os.walk(self.home):
            os.chmod(folder, 0o755)
        before = tree_of(self.home)
        completed = run_unprivileged(["clean", "--yes", "--home", self.home, "xcode.derivedData"], self.home)
        self.assertEqual(completed.returncode, 1, completed.stderr)
        self.assertIn("needs an administrator", completed.stdout)
        self.assertIn("Nothing to clean", completed.stdout)
        self.assertEqual(tree_of(self.home), before)

    @unittest.skipUnless(hasattr(os, "geteuid") and os.geteuid() == 0, "needs root to run as another user")
    def test_what_cannot_be_removed_is_reported_and_counted_as_a_failure(self):
        # "nobody" may empty DerivedData and write the history, but not the folder that root locked inside it.
        for folder, folders, files in os.walk(self.home):
            os.chmod(folder, 0o777 if folder.startswith(self.derived) else 0o755)
        os.chmod(os.path.join(self.home, "Library"), 0o777)
        locked = os.path.join(self.derived, "Locked")
        write_file(os.path.join(locked, "index.db"), 100)
        completed = run_unprivileged(["clean", "--yes", "--home", self.home, "xcode.derivedData"], self.home)
        self.assertEqual(completed.returncode, 1, completed.stderr)
        self.assertEqual(sorted(os.listdir(self.derived)), ["Locked"])
        self.assertTrue(os.path.exists(os.path.join(locked, "index.db")))
        self.assertRegex(completed.stdout,
                         r"Could not remove:\n  ~/Library/Developer/Xcode/DerivedData/Locked[^:]*: [a-z]")
        with open(self.history) as stream:
            record = json.load(stream)[0]
        self.assertGreater(record["failures"], 0)
        self.assertGreaterEqual(record["freedBytes"], 63000)


class LinuxHomeTests(unittest.TestCase):
    """Scan and clean a made-up Linux developer's home, and check the result independently."""

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="tarno-cli-linux-")
        self.home = self.folder.name
        self.addCleanup(self.folder.cleanup)
        for relative, size in [(".npm/_cacache/content-v2/sha512/ab/cd", 40000), (".npm/_logs/debug.log", 3000),
                               (".cache/pip/http-v2/a/b/c", 50000), (".cache/go-build/01/0123-d", 20000),
                               (".cargo/registry/cache/index.crates.io/serde-1.0.crate", 70000),
                               (".var/app/com.example.Gone/data/state.db", 1_200_000),
                               ("Downloads/tool_1.0_amd64.deb", 21_000_000), ("Downloads/report.pdf", 30_000_000),
                               ("Documents/thesis.tex", 9000), (".config/Code/User/settings.json", 500)]:
            write_file(os.path.join(self.home, relative), size)
        # A link inside a cache must go as a link: what it points at stays.
        os.symlink(os.path.join(self.home, "Documents"), os.path.join(self.home, ".cache", "pip", "documents-link"))
        self.personal = {path: open(os.path.join(self.home, path), "rb").read()
                         for path in ("Documents/thesis.tex", "Downloads/report.pdf", ".config/Code/User/settings.json")}

    def test_scan_then_clean_the_safe_items_and_the_trash_ones(self):
        items = json.loads(run("catalog", "--json", "--home", self.home).stdout)
        # Only the made-up home: never what this machine keeps outside it (apt's packages).
        chosen = [item for item in items
                  if all(path.startswith(self.home + "/") for path in item["action"]["paths"])
                  and (item["safety"] == "safe" or item["action"]["kind"] == "trash")]
        ids = [item["id"] for item in chosen]
        for expected in ("npm.cache", "pip.cache", "go.buildCache", "cargo.cache",
                         "leftover.app.com.example.Gone", "download.tool_1.0_amd64.deb"):
            self.assertIn(expected, ids)
        self.assertNotIn("download.report.pdf", [item["id"] for item in items])
        scan = run("scan", "--home", self.home)
        self.assertEqual(scan.returncode, 0, scan.stderr)
        self.assertIn("pip cache", scan.stdout)

        deleted = [path for item in chosen if item["action"]["kind"] != "trash" for path in item["action"]["paths"]]
        trashed = [path for item in chosen if item["action"]["kind"] == "trash" for path in item["action"]["paths"]]
        before = expected_size(deleted + trashed)["bytes"]
        completed = run("clean", "--yes", "--home", self.home, *ids, home=self.home, stdin=subprocess.DEVNULL)
        self.assertEqual(completed.returncode, 0, completed.stdout + completed.stderr)

        for path in deleted + trashed:
            self.assertFalse(os.path.lexists(path), path)
        with open(os.path.join(self.home, "Library", "Application Support", "Tarno", "history.json")) as stream:
            self.assertEqual(json.load(stream)[0]["freedBytes"], before)
        # Each trashed item sits in the Trash beside an info file that says where it came from.
        trash = os.path.join(self.home, ".local", "share", "Trash")
        for path in trashed:
            name = os.path.basename(path)
            self.assertTrue(os.path.lexists(os.path.join(trash, "files", name)), name)
            with open(os.path.join(trash, "info", name + ".trashinfo")) as stream:
                lines = stream.read().splitlines()
            self.assertEqual(lines[0], "[Trash Info]")
            self.assertEqual(lines[1], "Path=" + urllib.parse.quote(path))
            self.assertRegex(lines[2], r"^DeletionDate=\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d$")
        for path, content in self.personal.items():
            with open(os.path.join(self.home, path), "rb") as stream:
                self.assertEqual(stream.read(), content, path)


class HistoryTests(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="tarno-cli-history-")
        self.home = self.folder.name
        self.file = os.path.join(self.home, "Library", "Application Support", "Tarno", "history.json")

    def tearDown(self):
        self.folder.cleanup()

    def write_history(self, records):
        os.makedirs(os.path.dirname(self.file), exist_ok=True)
        with open(self.file, "w") as stream:
            json.dump(records, stream)

    def test_an_empty_history(self):
        completed = run("history", home=self.home)
        self.assertEqual((completed.returncode, completed.stdout), (0, "No cleanups yet.\n"), completed.stderr)
        completed = run("history", "--json", "--home", self.home)
        self.assertEqual((completed.returncode, json.loads(completed.stdout)), (0, []), completed.stderr)

    def test_records_newest_first_with_the_total(self):
        records = [
            {"date": "2024-05-02T08:00:00Z", "source": "Cleanup", "freedBytes": 1500000000,
             "items": ["Build data (DerivedData)", "Trash"], "failures": 1},
            {"date": "2024-05-01T09:30:00Z", "source": "Large Files", "freedBytes": 2000, "items": ["movie.mov"],
             "failures": 0},
        ]
        self.write_history(records)
        completed = run("history", home=self.home)
        self.assertEqual(completed.returncode, 0, completed.stderr)
        self.assertEqual(completed.stdout.splitlines(), [
            "2024-05-02T08:00:00Z  Cleanup: 1.5 GB freed, 2 items, 1 failure",
            "  Build data (DerivedData), Trash",
            "2024-05-01T09:30:00Z  Large Files: 2 KB freed, 1 item, no failures",
            "  movie.mov",
            "Total freed: 1.5 GB in 2 cleanups",
        ])
        completed = run("history", "--json", home=self.home)
        self.assertEqual(completed.returncode, 0, completed.stderr)
        self.assertEqual(json.loads(completed.stdout), records)

    def test_a_file_that_does_not_decode_is_an_empty_history(self):
        self.write_history([{"date": "2024-05-01T09:30:00Z", "source": "Cleanup", "freedBytes": 10}])
        completed = run("history", home=self.home)
        self.assertEqual((completed.returncode, completed.stdout), (0, "No cleanups yet.\n"), completed.stderr)


class ProjectsTests(unittest.TestCase):
    """A repository with a finished linked worktree beside it, and two projects sharing a hard-linked package."""

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="tarno-cli-projects-")
        self.home = self.folder.name
        self.app = os.path.join(self.home, "code", "app")
        self.site = os.path.join(self.home, "code", "site")
        self.done = os.path.join(self.home, "elsewhere", "app-done")
        git_environment = dict(os.environ, GIT_CONFIG_NOSYSTEM="1", GIT_CONFIG_GLOBAL="/dev/null",
                               GIT_AUTHOR_NAME="T", GIT_AUTHOR_EMAIL="t@example.invalid",
                               GIT_COMMITTER_NAME="T", GIT_COMMITTER_EMAIL="t@example.invalid")

        def git(*arguments, cwd):
            subprocess.run(["git", *arguments], cwd=cwd, env=git_environment, check=True, capture_output=True)

        os.makedirs(self.app)
        git("init", "-q", "-b", "main", cwd=self.app)
        for name, text in (("package.json", "{}"), (".gitignore", "node_modules/\n")):
            with open(os.path.join(self.app, name), "w") as out:
                out.write(text)
        git("add", ".", cwd=self.app)
        git("commit", "-q", "-m", "start", cwd=self.app)
        git("worktree", "add", "-q", "-b", "done", self.done, cwd=self.app)
        self.own = write_file(os.path.join(self.app, "node_modules", "own.js"), 60_000)
        self.shared = write_file(os.path.join(self.app, "node_modules", "shared.js"), 40_000)
        write_file(os.path.join(self.site, "package.json"), 2)
        os.makedirs(os.path.join(self.site, "node_modules"))
        os.link(self.shared, os.path.join(self.site, "node_modules", "shared.js"))
        self.done_modules = write_file(os.path.join(self.done, "node_modules", "m.js"), 50_000)

    def tearDown(self):
        self.folder.cleanup()

    def projects(self, *arguments):
        return run("projects", "--home", self.home, *arguments, os.path.join(self.home, "code"))

    def test_rows_come_with_what_deleting_them_frees(self):
        completed = self.projects("--json")
        self.assertEqual(completed.returncode, 0, completed.stderr)
        scan = json.loads(completed.stdout)
        blocks = lambda path: os.stat(path).st_blocks * 512
        artifacts = {row["path"]: row for row in scan["artifacts"]}
        self.assertEqual(sorted(artifacts), [os.path.join(self.app, "node_modules"),
                                             os.path.join(self.site, "node_modules")])
        app = artifacts[os.path.join(self.app, "node_modules")]
        self.assertEqual((app["kind"]["label"], app["projectPath"]), ("Node packages", self.app))
        self.assertEqual((app["apparentBytes"], app["realBytes"]),
                         (blocks(self.own) + blocks(self.shared), blocks(self.own)))

        [row] = scan["worktrees"]
        self.assertEqual(row["worktree"]["path"], self.done)
        self.assertEqual(row["worktree"]["state"], {"kind": "merged", "into": "main"})
        self.assertEqual(row["worktree"]["summary"], "Merged into main")
        self.assertEqual(row["generated"], [os.path.join(self.done, "node_modules")])
        self.assertGreaterEqual(row["realBytes"], blocks(self.done_modules))
        self.assertNotIn("selectedBytes", scan)

        both = json.loads(self.projects("--json", "--select", os.path.join(self.app, "node_modules"),
                                        "--select", os.path.join(self.site, "node_modules")).stdout)
        self.assertEqual(both["selectedBytes"], sum(row["realBytes"] for row in artifacts.values())
                         + blocks(self.shared))

        text = self.projects("--select", os.path.join(self.app, "node_modules"))
        self.assertEqual(text.returncode, 0, text.stderr)
        self.assertIn("~/code/app/node_modules: ", text.stdout)
        self.assertRegex(text.stdout, r"\nDeleting the selected row frees [0-9.]+ [A-Za-z]+\.\n$")

        unknown = self.projects("--select", self.home)
        self.assertEqual((unknown.returncode, unknown.stdout), (2, ""))
        self.assertIn("no row of this scan", unknown.stderr)

    def test_remove_takes_the_selected_rows_and_records_what_went(self):
        modules = os.path.join(self.app, "node_modules")
        site_modules = os.path.join(self.site, "node_modules")
        expected = json.loads(self.projects("--json", "--select", modules, "--select", self.done).stdout)["selectedBytes"]

        refused = [
            (("--remove",), 2, "--remove needs the rows"),
            (("--remove", "--select", modules), 1, "pass --yes"),  # no terminal to confirm on
        ]
        for arguments, status, message in refused:
            completed = self.projects(*arguments)
            self.assertEqual(completed.returncode, status, arguments)
            self.assertIn(message, completed.stderr)
        self.assertTrue(os.path.isdir(modules))
        status, output = run_on_terminal(["projects", "--home", self.home, "--remove", "--select", modules,
                                          os.path.join(self.home, "code")], self.home, "n\n")
        self.assertEqual(status, 1)
        self.assertIn("Nothing was removed.", output)
        self.assertTrue(os.path.isdir(modules))

        completed = self.projects("--json", "--remove", "--yes", "--select", modules, "--select", self.done)
        self.assertEqual(completed.returncode, 0, completed.stderr)
        removal = json.loads(completed.stdout)["removal"]
        self.assertEqual((removal["removedWorktrees"], removal["removedArtifacts"]), ([self.done], [modules]))
        self.assertEqual(removal["summary"]["freed"], expected)
        self.assertFalse(os.path.exists(self.done))
        self.assertFalse(os.path.exists(modules))
        # The other project still holds the shared file.
        self.assertTrue(os.path.exists(os.path.join(site_modules, "shared.js")))
        [record] = json.loads(run("history", "--json", "--home", self.home).stdout)
        self.assertEqual((record["source"], record["freedBytes"], record["items"]),
                         ("Projects", expected, ["Worktree app-done", "app/node_modules"]))


class DuplicatesTests(unittest.TestCase):
    def test_sets_match_an_independent_reckoning(self):
        import hashlib
        import random
        with tempfile.TemporaryDirectory(prefix="tarno-cli-duplicates-") as home:
            generator = random.Random(7)
            contents = [generator.randbytes(size) for size in (150_000, 150_000, 300_000, 2_000, 90_000)]
            layout = {
                "Documents/a.bin": 0, "Downloads/a.bin": 0, "Pictures/a copy.bin": 0,
                "Documents/b.bin": 1,  # same length as a, other content
                "Music/c.bin": 2, b"Music/\xe9t\xe9-c.bin": 2, "Documents/.hidden-c.bin": 2,
                "Documents/d.bin": 3, "Pictures/d.bin": 3,  # under the floor
                "Documents/repo/e.bin": 4, "Pictures/e.bin": 4,  # one copy inside a repository
            }
            for relative, index in layout.items():
                path = os.path.join(os.fsencode(home), os.fsencode(relative))
                os.makedirs(os.path.dirname(path), exist_ok=True)
                with open(path, "wb") as out:
                    out.write(contents[index])
            os.makedirs(os.path.join(home, "Documents", "repo", ".git"))
            # The reckoning: visible files over the floor outside the repository, by whole-content digest.
            by_digest = {}
            for relative, index in layout.items():
                name = os.fsencode(relative)
                if b"/." in name or b"repo/" in name or len(contents[index]) < 50_000:
                    continue
                by_digest.setdefault(hashlib.sha256(contents[index]).hexdigest(), set()).add(
                    os.path.join(os.fsencode(home), name))
            expected = {digest: paths for digest, paths in by_digest.items() if len(paths) > 1}

            completed = run("duplicates", "--json", "--min", "50000", "--home", home)
            self.assertEqual(completed.returncode, 0, completed.stderr)
            self.assertEqual(completed.stderr, "")
            groups = json.loads(completed.stdout)["groups"]
            found = {group["hash"]: {file["path"].encode("utf-8", "surrogateescape") for file in group["files"]}
                     for group in groups}
            self.assertEqual(found, expected)
            for group in groups:
                self.assertEqual(list(group["files"][0]), ["path", "bytes", "modified", "created", "cloneID"])
                self.assertNotIn("/Downloads/", group["files"][0]["path"])
                self.assertNotIn(" copy", group["files"][0]["path"])
                paths = [file["path"].encode("utf-8", "surrogateescape") for file in group["files"]]
                self.assertEqual(group["reclaimable"], sum(os.lstat(path).st_blocks * 512 for path in paths[1:]))
            # The largest gain first.
            self.assertEqual([group["reclaimable"] for group in groups],
                             sorted((group["reclaimable"] for group in groups), reverse=True))
class LargeTests(unittest.TestCase):
    """A small tree with a hard link, folders that are never searched, a link out and a name that is not UTF-8."""

    SKIPPED = {b".git", b".Trash", b"node_modules"}

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="tarno-cli-large-")
        self.tree = os.path.join(self.folder.name.encode(), b"tree")
        files = {b"top.bin": 300_000, b"a/b/c/deep.bin": 200_000, b"a/b/caf\xe9.bin": 200_000,
                 b".cache/x/y/hidden.bin": 150_000, b"a/b/small.bin": 1_000, b"a/.git/pack": 500_000,
                 b"n/p/node_modules/m.js": 500_000, b"n/p/q/.Trash/old": 500_000}
        for relative, size in files.items():
            write_file(os.path.join(self.tree, relative), size)
        os.makedirs(os.path.join(self.tree, b"z"))
        os.link(os.path.join(self.tree, b"a/b/c/deep.bin"), os.path.join(self.tree, b"z/linked.bin"))
        outside = write_file(os.path.join(self.folder.name.encode(), b"outside", b"big.bin"), 500_000)
        os.symlink(os.path.dirname(outside), os.path.join(self.tree, b"a/b/out"))

    def tearDown(self):
        self.folder.cleanup()

    def expected(self, minimum, limit):
        """What the list should be, reckoned with lstat: each inode once, under its smallest path."""
        smallest = {}
        for folder, folders, names in os.walk(self.tree):
            folders[:] = [name for name in folders if name not in self.SKIPPED]
            for name in names:
                path = os.path.join(folder, name)
                status = os.lstat(path)
                key = (status.st_dev, status.st_ino)
                if stat.S_ISREG(status.st_mode) and status.st_blocks * 512 >= minimum \
                        and (key not in smallest or path < smallest[key][0]):
                    smallest[key] = (path, status)
        files = sorted(smallest.values(), key=lambda found: (-found[1].st_blocks, found[0]))[:limit]
        return {"files": [{"path": path, "bytes": status.st_blocks * 512,
                           "modified": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(int(status.st_mtime)))}
                          for path, status in files]}

    def large(self, *arguments, stderr=subprocess.PIPE):
        return subprocess.run([CLI, "large", *arguments, self.tree], stdout=subprocess.PIPE, stderr=stderr,
                              timeout=60, env=dict(os.environ, HOME=self.folder.name))

    def test_json_is_the_largest_files_as_lstat_counts_them(self):
        floor = os.lstat(os.path.join(self.tree, b"a/b/c/deep.bin")).st_blocks * 512
        cases = [([], 100_000_000, 1000), (["--min", str(floor)], floor, 1000), (["--min", "0", "--limit", "3"], 0, 3),
                 (["--limit", "0", "--min", "0"], 0, 0)]
        for arguments, minimum, limit in cases:
            with self.subTest(arguments=arguments):
                completed = self.large("--json", *arguments)
                self.assertEqual((completed.returncode, completed.stderr), (0, b""))
                found = json.loads(completed.stdout.decode("utf-8"))
                for file in found["files"]:
                    file["path"] = file["path"].encode("utf-8", "surrogateescape")
                self.assertEqual(found, self.expected(minimum, limit))
        self.assertIn(os.path.join(self.tree, b"a/b/caf\xe9.bin"),
                      [file["path"] for file in self.expected(floor, 1000)["files"]])

    def test_text_shows_sizes_and_paths_from_home_and_progress_only_on_a_terminal(self):
        completed = self.large("--min", "0")
        self.assertEqual((completed.returncode, completed.stderr), (0, b""))
        shown = [re.fullmatch(rb" *[0-9.,]+ (?:bytes|KB|MB)  (~/tree/.*)", line) for line in completed.stdout.splitlines()]
        self.assertNotIn(None, shown, completed.stdout)
        home = self.folder.name.encode()
        self.assertEqual([line.group(1) for line in shown],
                         [b"~" + file["path"].removeprefix(home) for file in self.expected(0, 1000)["files"]])

        import pty
        leader, follower = pty.openpty()
        try:
            on_terminal = self.large("--min", "0", stderr=follower)
            os.close(follower)
            progress = b""
            while True:
                try:
                    chunk = os.read(leader, 4096)
                except OSError:
                    break
                if not chunk:
                    break
                progress += chunk
        finally:
            os.close(leader)
        self.assertEqual(on_terminal.stdout, completed.stdout)
        self.assertRegex(progress.decode(), r"^(\rLooking through \d+ files…\x1b\[K)+\r\x1b\[K$")

    def test_the_users_trash_is_left_out(self):
        trashed = os.path.join(self.folder.name.encode(), b".local/share/Trash/files/old.bin")
        os.makedirs(os.path.dirname(trashed))
        with open(trashed, "wb") as file:
            file.write(b"t" * 300_000)
        environment = {key: value for key, value in os.environ.items() if key != "XDG_DATA_HOME"}
        completed = subprocess.run([CLI, "large", "--json", "--min", "0", self.folder.name], stdout=subprocess.PIPE,
                                   timeout=60, env=dict(environment, HOME=self.folder.name))
        self.assertEqual(completed.returncode, 0)
        paths = [file["path"] for file in json.loads(completed.stdout.decode("utf-8"))["files"]]
        self.assertTrue(paths)
        self.assertNotIn(trashed.decode(), paths)

    def test_a_root_that_is_no_readable_folder_is_status_1(self):
        for root in (os.path.join(self.tree, b"missing"), os.path.join(self.tree, b"top.bin"),
                     os.path.join(self.tree, b"a/b/out")):
            with self.subTest(root=root):
                completed = subprocess.run([CLI, "large", root], capture_output=True, timeout=60)
                self.assertEqual((completed.returncode, completed.stdout), (1, b""))
                self.assertIn(b"cannot read the folder", completed.stderr)


class MemoryAndDiskTests(unittest.TestCase):
    def test_memory_json_has_the_records_fields_and_adds_up(self):
        completed = run("memory", "--json")
        self.assertEqual(completed.returncode, 0, completed.stderr)
        memory = json.loads(completed.stdout)
        self.assertEqual(list(memory), ["total", "app", "wired", "compressed", "cached", "swapUsed", "freePercent",
                                        "pressure", "used"])
        with open("/proc/meminfo") as meminfo:
            total_kb = next(int(line.split()[1]) for line in meminfo if line.startswith("MemTotal:"))
        self.assertEqual(memory["total"], total_kb * 1024)
        self.assertEqual(memory["used"], memory["app"] + memory["wired"] + memory["compressed"])
        self.assertLessEqual(memory["used"] + memory["cached"], memory["total"])
        self.assertIn(memory["pressure"], ("normal", "warning", "critical"))
        self.assertIn("Pressure: " + memory["pressure"], run("memory").stdout.splitlines())

    def test_disk_is_statvfs_arithmetic_for_the_path_or_the_home(self):
        with tempfile.TemporaryDirectory() as folder:
            volume = os.statvfs(folder)
            for arguments, home in ((["disk", "--json", folder], None), (["disk", "--json"], folder)):
                with self.subTest(arguments=arguments):
                    completed = run(*arguments, home=home)
                    self.assertEqual(completed.returncode, 0, completed.stderr)
                    usage = json.loads(completed.stdout)
                    self.assertEqual(usage["total"], volume.f_blocks * volume.f_frsize)
                    # Others write while the test runs: a little slack on what is free.
                    self.assertAlmostEqual(usage["available"], volume.f_bavail * volume.f_frsize, delta=64e6)
                    self.assertEqual(usage["used"], usage["total"] - usage["available"])

    def test_an_unreadable_volume_is_status_1_and_bad_arguments_status_2(self):
        missing = run("disk", "/nonexistent/tarno-test")
        self.assertEqual(missing.returncode, 1)
        self.assertEqual(missing.stdout, "")
        for arguments in (["disk", "/tmp", "/var"], ["disk", "--bogus"], ["memory", "extra"], ["memory", "--home"]):
            with self.subTest(arguments=arguments):
                completed = run(*arguments)
                self.assertEqual(completed.returncode, 2)
                self.assertIn("usage:", completed.stderr)
        help_text = run("--help").stdout
        self.assertIn("tarno-cli memory [--json]", help_text)
        self.assertIn("tarno-cli disk [--json] [PATH]", help_text)


APPIMAGE_HEADER = b"\x7fELF\x02\x01\x01\x00AI\x02" + bytes(5)


class AppsTests(unittest.TestCase):
    """A home with an app of each kind: a bundle, two Flatpak apps whose ids share a prefix, and an AppImage."""

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="tarno-cli-apps-")
        self.home = self.folder.name
        data = os.path.join(self.home, ".local", "share")
        self.bundle = os.path.join(self.home, "Applications", "Editor.app")
        os.makedirs(os.path.join(self.bundle, "Contents"))
        with open(os.path.join(self.bundle, "Contents", "Info.plist"), "w") as out:
            out.write('<?xml version="1.0" encoding="UTF-8"?>\n<plist version="1.0"><dict>'
                      "<key>CFBundleIdentifier</key><string>org.example.Editor</string>"
                      "<key>CFBundleShortVersionString</key><string>2.0</string></dict></plist>\n")
        write_file(os.path.join(self.bundle, "Contents", "MacOS", "Editor"), 30_000)
        self.flatpaks = {}
        for app_id, name in (("org.example.App", "Example"), ("org.example.App.Plugin", "Example Plugin")):
            folder = os.path.join(data, "flatpak", "app", app_id)
            deploy = os.path.join(folder, "x86_64", "stable", "0123abcd")
            entry = os.path.join(deploy, "export", "share", "applications", app_id + ".desktop")
            os.makedirs(os.path.dirname(entry))
            with open(entry, "w") as out:
                out.write(f"[Desktop Entry]\nType=Application\nName={name}\nExec=run\n")
            write_file(os.path.join(deploy, "files", "bin", "run"), 20_000)
            os.symlink("0123abcd", os.path.join(folder, "x86_64", "stable", "active"))
            os.symlink("x86_64/stable", os.path.join(folder, "current"))
            self.flatpaks[app_id] = folder
        self.appimage = os.path.join(self.home, "Applications", "Tool-1.2-x86_64.AppImage")
        with open(self.appimage, "wb") as out:
            out.write(APPIMAGE_HEADER + os.urandom(50_000))
        os.chmod(self.appimage, 0o755)
        self.parts = {
            "Editor": [write_file(os.path.join(self.home, ".config", "org.example.Editor", "state"), 4_000),
                       write_file(os.path.join(self.home, ".cache", "Editor", "blob"), 8_000)],
            "Example": [write_file(os.path.join(self.home, ".var", "app", "org.example.App", "data"), 9_000)],
            "Example Plugin": [write_file(os.path.join(self.home, ".var", "app", "org.example.App.Plugin", "d"), 1_000)],
            "Tool": [write_file(os.path.join(self.home, ".config", "Tool", "settings"), 2_000)],
        }
        # Another program's folder, whose name starts like an app's.
        self.stranger = write_file(os.path.join(self.home, ".config", "Ex", "x"), 100)

    def tearDown(self):
        self.folder.cleanup()

    def listed(self):
        completed = run("apps", "--json", "--home", self.home)
        self.assertEqual(completed.returncode, 0, completed.stderr)
        # Apps installed for every user on this machine are not the test's.
        return {app["name"]: app for app in json.loads(completed.stdout)["apps"] if app["path"].startswith(self.home)}

    def test_apps_lists_every_kind_with_its_own_parts_measured(self):
        apps = self.listed()
        self.assertEqual(sorted(apps), ["Editor", "Example", "Example Plugin", "Tool"])
        self.assertEqual([apps[name]["kind"] for name in sorted(apps)], ["bundle", "flatpak", "flatpak", "appImage"])
        self.assertEqual((apps["Editor"]["bundleID"], apps["Editor"]["version"]), ("org.example.Editor", "2.0"))
        self.assertEqual(apps["Tool"]["version"], "1.2")
        for name, app in apps.items():
            with self.subTest(app=name):
                paths = [part["path"] for part in app["parts"]]
                self.assertEqual(paths[0], app["path"])
                self.assertEqual(sorted(paths[1:]), sorted(os.path.dirname(path) for path in self.parts[name]))
                self.assertEqual(app["bytes"], sum(part["bytes"] for part in app["parts"]))
                self.assertNotIn(os.path.dirname(self.stranger), paths)
        text = run("apps", "--home", self.home)
        self.assertIn("Editor 2.0: ", text.stdout)
        self.assertIn("~/.var/app/org.example.App\n", text.stdout)

    def test_uninstall_moves_apps_and_their_parts_and_leaves_what_the_user_did_not_name(self):
        unknown = run("uninstall", "--home", self.home, "Editor", "Nothing")
        self.assertEqual((unknown.returncode, unknown.stdout), (2, ""))
        self.assertIn("Nothing", unknown.stderr)
        refused = run("uninstall", "--home", self.home, "Editor", stdin=subprocess.DEVNULL)
        self.assertEqual(refused.returncode, 1)
        self.assertIn("pass --yes", refused.stderr)
        before = tree_of(self.home)
        dry = run("uninstall", "--dry-run", "--home", self.home, "editor", "org.example.App")
        self.assertEqual(dry.returncode, 0, dry.stderr)
        self.assertIn("Dry run: 2 apps would be uninstalled", dry.stdout)
        self.assertEqual(tree_of(self.home), before)

        # Flatpak itself removes its apps: a stand-in records what it was asked and does it.
        tools = os.path.join(self.folder.name, ".tools")
        os.makedirs(tools)
        with open(os.path.join(tools, "flatpak"), "w") as out:
            out.write("#!/bin/sh\necho \"$*\" >> \"$HOME/flatpak.log\"\n"
                      "for id in \"$@\"; do case \"$id\" in org.*) rm -rf \"$XDG_DATA_HOME/flatpak/app/$id\";; esac; done\n")
        os.chmod(os.path.join(tools, "flatpak"), 0o755)
        environment = dict(os.environ, HOME=self.home, XDG_DATA_HOME=os.path.join(self.home, ".local", "share"),
                           PATH=tools + ":" + os.environ["PATH"])
        completed = subprocess.run([CLI, "uninstall", "--yes", "--json", "--home", self.home, "Editor", "Tool",
                                    "org.example.App"], capture_output=True, text=True, env=environment, timeout=60)
        self.assertEqual(completed.returncode, 0, completed.stderr)
        summary = json.loads(completed.stdout)["summary"]
        self.assertEqual((sorted(summary["apps"]), summary["failures"]), (["Editor", "Example", "Tool"], []))
        with open(os.path.join(self.home, "flatpak.log")) as log:
            self.assertEqual(log.read(), "uninstall --user --assumeyes -- org.example.App\n")
        trash = os.path.join(self.home, ".local", "share", "Trash")
        for gone in (self.bundle, self.appimage, self.flatpaks["org.example.App"],
                     *self.parts["Editor"], *self.parts["Tool"], *self.parts["Example"]):
            self.assertFalse(os.path.exists(gone), gone)
        self.assertTrue(os.path.isfile(os.path.join(trash, "files", "Editor.app", "Contents", "Info.plist")))
        self.assertTrue(os.path.isfile(os.path.join(trash, "info", "Editor.app.trashinfo")))
        for kept in (self.flatpaks["org.example.App.Plugin"], *self.parts["Example Plugin"], self.stranger):
            self.assertTrue(os.path.exists(kept), kept)
        [record] = json.loads(run("history", "--json", "--home", self.home).stdout)
        self.assertEqual((record["source"], sorted(record["items"]), record["freedBytes"]),
                         ("Applications", ["Editor", "Example", "Tool"], summary["trashed"]))


class PerformanceTests(unittest.TestCase):
    """A dev server started in a project of a made-up home, and startup items of that home."""

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="tarno-cli-tools-")
        self.home = self.folder.name

    def tearDown(self):
        self.folder.cleanup()

    def start_node(self, project, script, arguments=()):
        """Runs `script` in a project of the home under a copy of python named node, as a dev server would run."""
        python = os.path.realpath(shutil.which("python3") or "/usr/bin/python3")
        os.makedirs(project)
        node = os.path.join(self.home, "bin", "node")
        os.makedirs(os.path.dirname(node), exist_ok=True)
        shutil.copy(python, node)
        with open(os.path.join(project, "server.py"), "w") as out:
            out.write(script)
        # The stand-in for node keeps python's own library, which it finds by its prefix.
        environment = dict(os.environ, PYTHONHOME=sys.base_prefix) if not python.startswith("/usr/") else None
        return subprocess.Popen([node, "server.py", *arguments], cwd=project, stdout=subprocess.PIPE, text=True,
                                env=environment)

    def test_a_dev_server_is_listed_with_its_port_and_stopped_by_its_id(self):
        project = os.path.join(self.home, "code", "site")
        server = self.start_node(project, "import socket, sys, time\n"
                                          "s = socket.socket(); s.bind(('127.0.0.1', 0)); s.listen()\n"
                                          "print(s.getsockname()[1], flush=True)\n"
                                          "while True: time.sleep(1)\n", ["--watch"])
        try:
            port = int(server.stdout.readline())
            listed = run("tools", "--json", "--home", self.home)
            self.assertEqual(listed.returncode, 0, listed.stderr)
            [tool] = [tool for tool in json.loads(listed.stdout)["tools"] if server.pid in tool["pids"]]
            self.assertEqual((tool["id"], tool["kind"], tool["folder"], tool["clients"]),
                             (f"tree-{server.pid}", "devServer", project, 0))
            self.assertIn(f"listening on port {port}", tool["detail"])
            self.assertIsInstance(tool["idleSeconds"], float)

            refused = run("stop", "--home", self.home, tool["id"], stdin=subprocess.DEVNULL)
            self.assertEqual(refused.returncode, 1)
            self.assertIsNone(server.poll())
            unknown = run("stop", "--yes", "--home", self.home, "tree-1")
            self.assertEqual((unknown.returncode, unknown.stdout), (2, ""))

            stopped = run("stop", "--yes", "--json", "--home", self.home, tool["id"])
            self.assertEqual(stopped.returncode, 0, stopped.stderr)
            self.assertEqual(json.loads(stopped.stdout)["stillRunning"], [])
            self.assertEqual(server.wait(timeout=10), -signal.SIGTERM)
        finally:
            server.kill()
            server.wait()
            server.stdout.close()

    def test_a_tree_member_that_ignores_the_request_is_named_and_left_running(self):
        project = os.path.join(self.home, "code", "app")
        # The root listens; its child ignores SIGTERM, as a stuck worker would.
        server = self.start_node(project, "import os, signal, socket, sys, time\n"
                                          "child = os.fork()\n"
                                          "if child == 0:\n"
                                          "    signal.signal(signal.SIGTERM, signal.SIG_IGN)\n"
                                          "    while True: time.sleep(1)\n"
                                          "s = socket.socket(); s.bind(('127.0.0.1', 0)); s.listen()\n"
                                          "print(child, flush=True)\n"
                                          "while True: time.sleep(1)\n")
        child = int(server.stdout.readline())
        try:
            tools = json.loads(run("tools", "--json", "--home", self.home).stdout)["tools"]
            [tool] = [tool for tool in tools if server.pid in tool["pids"]]
            self.assertEqual(sorted(tool["pids"]), sorted([server.pid, child]))
            self.assertEqual(tool["consequence"], "Stops both processes. Start it again when you need it.")
            stopped = run("stop", "--yes", "--json", "--home", self.home, tool["id"])
            self.assertEqual(stopped.returncode, 1, stopped.stderr)
            self.assertEqual(json.loads(stopped.stdout)["stillRunning"], [tool["id"]])
            self.assertEqual(server.wait(timeout=10), -signal.SIGTERM)
            os.kill(child, 0)  # still there: nothing stronger was sent
        finally:
            for pid in (server.pid, child):
                try:
                    os.kill(pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass
            server.wait()
            server.stdout.close()

    def test_startup_lists_the_homes_entries_and_marks_leftovers(self):
        autostart = os.path.join(self.home, ".config", "autostart")
        os.makedirs(autostart)
        with open(os.path.join(autostart, "gone.desktop"), "w") as out:
            out.write("[Desktop Entry]\nType=Application\nName=Gone Agent\nExec=/opt/nowhere/agent --tray\n")
        with open(os.path.join(autostart, "shell.desktop"), "w") as out:
            out.write("[Desktop Entry]\nType=Application\nName=Shell\nExec=/bin/sh -c true\nHidden=true\n")
        completed = run("startup", "--json", "--home", self.home)
        self.assertEqual(completed.returncode, 0, completed.stderr)
        mine = {item["label"]: item for item in json.loads(completed.stdout)["items"]
                if item["plistPath"].startswith(self.home)}
        self.assertEqual(sorted(mine), ["Gone Agent", "Shell"])
        self.assertEqual((mine["Gone Agent"]["scope"], mine["Gone Agent"]["isLeftover"], mine["Gone Agent"]["program"]),
                         ("Your autostart entries", True, "/opt/nowhere/agent"))
        self.assertEqual((mine["Shell"]["isLeftover"], mine["Shell"]["startsAutomatically"]), (False, False))
        text = run("startup", "--home", self.home).stdout
        self.assertIn("Your autostart entries:\n", text)
        self.assertIn("Gone Agent  (leftover: its program is gone)\n", text)


class ProcessesTests(unittest.TestCase):
    def test_a_spinning_child_shows_with_its_memory_and_processor_share(self):
        with tempfile.TemporaryDirectory() as folder:
            child = subprocess.Popen(["/usr/bin/python3", "-c", "while True: pass"], cwd=folder)
            try:
                completed = run("processes", "--json", "--samples", "2")
                with open(f"/proc/{child.pid}/smaps_rollup") as rollup:
                    pss = next(int(line.split()[1]) * 1024 for line in rollup if line.startswith("Pss:"))
            finally:
                child.kill()
                child.wait()
        self.assertEqual(completed.returncode, 0, completed.stderr)
        sample = json.loads(completed.stdout)
        mine = [process for process in sample["processes"] if process["pid"] == child.pid]
        self.assertEqual(len(mine), 1)
        process = mine[0]
        self.assertTrue(process["name"].startswith("python3"), process)
        self.assertEqual(process["parentPID"], os.getpid())
        self.assertAlmostEqual(process["memoryBytes"], pss, delta=pss / 2)
        self.assertGreater(process["cpuPercent"], 20)
        groups = [group for group in sample["groups"] if child.pid in group["pids"]]
        self.assertEqual(len(groups), 1)
        self.assertGreaterEqual(groups[0]["cpuPercent"], process["cpuPercent"])
        memories = [group["memoryBytes"] for group in sample["groups"]]
        self.assertEqual(memories, sorted(memories, reverse=True))

    def test_the_table_and_its_usage(self):
        completed = run("processes", "--samples", "1")
        self.assertEqual(completed.returncode, 0, completed.stderr)
        lines = completed.stdout.splitlines()
        self.assertEqual(lines[0].split(), ["Name", "Memory", "CPU", "Processes"])
        self.assertRegex(lines[-1], r"^\d+ processes in \d+ groups, .+ in all$")
        for arguments in (["processes", "--samples", "0"], ["processes", "--samples", "two"],
                          ["processes", "--samples"], ["processes", "extra"]):
            with self.subTest(arguments=arguments):
                rejected = run(*arguments)
                self.assertEqual(rejected.returncode, 2)
                self.assertIn("usage: tarno-cli processes", rejected.stderr)
        self.assertIn("tarno-cli processes [--json] [--samples N]", run("--help").stdout)


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    CLI = os.path.abspath(sys.argv.pop(1))
    unittest.main()
