#!/usr/bin/env python3
"""tarno --snapshots on the demo machine draws the same pictures whatever home it runs in."""
import filecmp
import os
import subprocess
import sys
import tempfile
import unittest

TARNO = sys.argv.pop(1)


def snapshots(home, folder):
    environment = dict(os.environ, HOME=home, XDG_CONFIG_HOME=os.path.join(home, ".config"))
    result = subprocess.run([TARNO, "--snapshots", folder], env=environment, capture_output=True, text=True,
                            timeout=240)
    if result.returncode != 0:
        raise AssertionError(f"tarno --snapshots ended with {result.returncode}: {result.stderr}")
    return sorted(name for name in os.listdir(folder) if name.endswith(".png"))


class Snapshots(unittest.TestCase):
    def test_two_homes_give_the_same_cleanup_pictures(self):
        with tempfile.TemporaryDirectory() as root:
            first_home = os.path.join(root, "ada")
            second_home = os.path.join(root, "grace")
            os.makedirs(os.path.join(second_home, ".cache/pip"))
            with open(os.path.join(second_home, ".cache/pip/wheel"), "wb") as wheel:
                wheel.write(b"x" * 100000)
            os.makedirs(first_home)
            first = snapshots(first_home, os.path.join(root, "first"))
            second = snapshots(second_home, os.path.join(root, "second"))
            self.assertEqual(first, second)
            cleanup = [name for name in first if name.startswith("cleanup")]
            self.assertGreaterEqual(len(cleanup), 7, cleanup)
            for name in cleanup:
                self.assertTrue(filecmp.cmp(os.path.join(root, "first", name), os.path.join(root, "second", name),
                                            shallow=False), name)

    def test_bad_usage_is_status_2_and_version_and_help_are_0(self):
        for arguments, status in ((["--frobnicate"], 2), (["--snapshots"], 2), (["--version"], 0), (["--help"], 0)):
            result = subprocess.run([TARNO] + arguments, capture_output=True, text=True, timeout=60)
            self.assertEqual(result.returncode, status, arguments)
            if status == 0:
                self.assertTrue(result.stdout.endswith("\n"), arguments)


if __name__ == "__main__":
    unittest.main()
