"""Holds what fmcw writes against the published JSON schemas and SigMF's rules.

usage: documents_test.py FMCW DOCS
"""

import csv
import hashlib
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import jsonschema  # Debian: python3-jsonschema

FMCW, DOCS = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
SYNTH = "--fs 10e6 --ramp 200e-6 --bandwidth 2e6 --snr 40 --chirps 12 --shape triangle"


def schema(name):
    content = json.loads((DOCS / f"{name}.schema.json").read_text())
    jsonschema.Draft202012Validator.check_schema(content)
    return jsonschema.Draft202012Validator(content)


class Documents(unittest.TestCase):
    def setUp(self):
        self._folder = tempfile.TemporaryDirectory()
        self.folder = pathlib.Path(self._folder.name)
        self.run_fmcw(f"synth a {SYNTH}")

    def tearDown(self):
        self._folder.cleanup()

    def run_fmcw(self, arguments, status=0):
        done = subprocess.run([FMCW, *arguments.split()], cwd=self.folder, capture_output=True,
                              text=True, check=False)
        self.assertEqual(done.returncode, status, done.stderr)
        return done.stdout

    def analysis(self, arguments, status=0):
        self.run_fmcw(f"analyze {arguments} --json out.json", status)
        document = json.loads((self.folder / "out.json").read_text())
        schema("fmcw-analysis").validate(document)
        return document

    def test_an_analysis_keeps_its_schema(self):
        document = self.analysis("a")
        data = (self.folder / "a.sigmf-data").read_bytes()
        self.assertEqual(document["samples"]["sha256"], hashlib.sha256(data).hexdigest())
        self.assertEqual(self.analysis("a --limit slope>=0", 3)["verdict"], "fail")
        (self.folder / "zeros.cf32").write_bytes(bytes(80000))
        self.assertEqual(self.analysis("zeros.cf32 --fs 1e6", 4)["chirps"], [])

    def test_several_captures_keep_it(self):
        (self.folder / "broken.sigmf-meta").write_text("{")
        captures = self.analysis("a broken a", 2)["captures"]
        self.assertEqual(["error" in capture for capture in captures], [False, True, False])

    def test_every_member_of_a_row_is_described(self):
        row = schema("fmcw-analysis").schema["$defs"]["chirp"]
        meta = json.loads((self.folder / "a.sigmf-meta").read_text())
        meta["captures"][0]["core:datetime"] = "2026-01-02T03:04:05Z"
        (self.folder / "a.sigmf-meta").write_text(json.dumps(meta))
        members = self.analysis("a --limit slope<=99 --uncertainty")["chirps"][0]
        self.run_fmcw("analyze a --limit slope<=99 --uncertainty --csv out.csv")
        with open(self.folder / "out.csv", newline="") as file:
            columns = next(csv.reader(file))
        self.assertEqual([c for c in columns if c not in members], ["capture"])
        for name in members:
            known = name in row["properties"] or any(
                re.search(pattern, name) for pattern in row["patternProperties"])
            self.assertTrue(known, f"{name} is neither described nor ends in a unit")

    def test_a_schema_refuses_what_is_no_analysis(self):
        good = self.analysis("a")
        for path, value in [(("schema", "version"), 2), (("samples", "sha256"), "0"),
                            (("chirps", 0, "slope_khz_per_us"), "4"), (("chirps", 0, "flags"), 1)]:
            bad = json.loads(json.dumps(good))
            place = bad
            for key in path[:-1]:
                place = place[key]
            place[path[-1]] = value
            with self.assertRaises(jsonschema.ValidationError, msg=path):
                schema("fmcw-analysis").validate(bad)

    def test_limits_keep_their_schema(self):
        self.run_fmcw("limits a -o limits.json")
        schema("fmcw-limits").validate(json.loads((self.folder / "limits.json").read_text()))

    def check_sigmf(self, meta):
        """The rules of SigMF 1.2 that concern what we write."""
        self.assertLessEqual(set(meta), {"global", "captures", "annotations"})
        self.assertIsInstance(meta["global"]["core:datatype"], str)
        self.assertRegex(meta["global"]["core:version"], r"^\d+\.\d+\.\d+$")
        extensions = {e["name"]: e for e in meta["global"]["core:extensions"]}
        for extension in extensions.values():
            self.assertEqual(set(extension), {"name", "version", "optional"})
            self.assertIsInstance(extension["optional"], bool)
        self.assertTrue(extensions["fmcw"]["optional"])
        for part in ("captures", "annotations"):
            starts = [element["core:sample_start"] for element in meta[part]]
            self.assertEqual(starts, sorted(starts), part)
        for annotation in meta["annotations"]:
            for name in ("core:sample_start", "core:sample_count"):
                self.assertIsInstance(annotation[name], int)
                self.assertGreaterEqual(annotation[name], 0)
            self.assertLess(annotation["core:freq_lower_edge"], annotation["core:freq_upper_edge"])
            self.assertLessEqual(len(annotation["core:label"]), 20)
        for element in [meta["global"], *meta["captures"], *meta["annotations"]]:
            for name in element:
                self.assertIn(name.split(":")[0], {"core", *extensions}, name)

    def test_annotations_keep_the_rules_of_sigmf(self):
        (self.folder / "raw.cf32").write_bytes((self.folder / "a.sigmf-data").read_bytes())
        self.run_fmcw("analyze a --annotate b.sigmf-meta")
        self.run_fmcw("analyze a --in-place --limit slope<=99")
        self.run_fmcw("analyze raw.cf32 --fs 10M --centre 77G --annotate raw.sigmf-meta")
        for name in ("a", "b", "raw"):
            self.check_sigmf(json.loads((self.folder / f"{name}.sigmf-meta").read_text()))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
