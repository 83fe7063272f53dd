#!/usr/bin/env python3
"""Plants mistakes into small pages and expects each to be found, so that the tests of the documentation can fail.

Usage: tests/docs/planted.py [unittest option...]
"""
import stat
import sys
import tempfile
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
sys.path.insert(0, str(Path(__file__).resolve().parent))
import links  # noqa: E402
import package_life  # noqa: E402
import pages  # noqa: E402
import shape  # noqa: E402
import transcripts  # noqa: E402

HELP = """#!/bin/sh
case "$*" in
  --help) printf 'Look:\\n  show       Show something\\n\\nRun:\\n  segment    The segment\\n' ;;
  'show --help') printf '  -n,--number UINT     How many\\n  --kind TEXT\\n' ;;
  'segment --help') printf '  make       Make one\\n' ;;
  'segment make --help') printf '  --root TEXT     Where\\n' ;;
  *) exit 2 ;;
esac
"""


TABLE = "| to | command |\n|---|---|\n| look | `show` |\n| run | `segment` |\n"


class Planted(unittest.TestCase):
    """A checkout with one page, and a program that has two commands."""

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.root = Path(self.folder.name)
        self.put("docs/other.md", "# Other\n\n## A heading, and more\n\n## Twice\n\n## Twice\n")
        self.put("docs/README.md", "[other](other.md) [psltool](psltool/README.md)\n")
        self.put("docs/psltool/README.md", "[look](look.md) [run](run.md)\n\n" + TABLE)
        self.put("docs/psltool/look.md", "## show\n")
        self.put("docs/psltool/run.md", "## segment\n")
        self.put("archiver/options.cc", 'if (Is(option, "-o")) {}\n')
        self.put("scripts/run", "case $1 in --fast) ;; esac\n")
        self.put("programs/psltool", HELP, executable=True)
        self.put("programs/Qelprfarc", "#!/bin/sh\necho archived 3 of 4 files\n", executable=True)

    def put(self, name, text, executable=False):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")
        if executable:
            path.chmod(path.stat().st_mode | stat.S_IXUSR)

    def complaints(self, text):
        self.put("README.md", text + "\n" + TABLE)
        return list(links.complaints(self.root, str(self.root / "programs/psltool")))

    def tried(self, text):
        """(commands run, blocks not run, complaints) of a page."""
        self.put("README.md", text)
        page = pages.Page("README.md", self.root)
        return transcripts.try_page(page, self.root / "programs", "", False)


class Links(Planted):
    def test_what_is_there_is_no_complaint(self):
        self.assertEqual(self.complaints(
            "# Top\n\n[a](docs/other.md) [b](#top) [c](docs/other.md#a-heading-and-more)\n"
            "[d](docs/other.md#twice-1) `archiver/options.cc` `options.cc` `archiver/` `docs/*.md`\n"
            "`psltool show -n 3 --kind ld` `psltool segment make --root X` `psltool COMMAND --help`\n"
            "`Qelprfarc -o DIR` `scripts/run --fast`\n\n```\npsltool show [-n N]\n             [--kind KIND]\n```\n"), [])

    def test_each_dead_name_is_one(self):
        for text, expected in [
                ("[a](docs/none.md)", "no file docs/none.md"),
                ("![a](docs/none.svg)", "no file docs/none.svg"),
                ("[a](#nowhere)", "README.md has no heading #nowhere"),
                ("[a](docs/other.md#nowhere)", "docs/other.md has no heading #nowhere"),
                ("[a](docs/other.md#twice-2)", "docs/other.md has no heading #twice-2"),
                ("`archiver/none.cc`", "no file archiver/none.cc"),
                ("`none.cc`", "no file none.cc"),
                ("`archiver/none/`", "no file archiver/none/"),
                ("```console\n$ scripts/none --fast\n```", "no file scripts/none"),
                ("`scripts/run --slow`", "scripts/run has no option --slow"),
                ("`psltool shwo`", "psltool has no command shwo"),
                ("`psltool show --knid ld`", "psltool show has no option --knid"),
                ("`psltool segment make --kind ld`", "psltool segment make has no option --kind"),
                ("`Qelprfarc -x`", "Qelprfarc has no option -x"),
                ("```\npsltool show [-n N]\n             [--sort]\n```", "psltool show has no option --sort")]:
            with self.subTest(text):
                found = self.complaints(text + "\n")
                self.assertEqual(len(found), 1, found)
                self.assertIn(expected, found[0])

    def test_a_page_named_in_a_comment(self):
        self.put("archiver/lock.cc", "// See docs/none.md and docs/other.md#nowhere.\n")
        found = self.complaints("# Top\n")
        self.assertEqual(found, ["archiver/lock.cc:1: no page docs/none.md",
                                 "archiver/lock.cc:1: docs/other.md has no heading #nowhere"])


    def test_a_list_of_commands_in_another_order(self):
        other = "| `segment` | does |\n| `show` | shows |\n"
        found = self.complaints("# Top\n\n" + other)
        self.assertEqual(found, ["README.md: the table has segment show, psltool --help show segment"])
        self.put("docs/psltool/run.md", "## show\n")
        found = self.complaints("# Top\n")
        self.assertEqual(found, ["docs/psltool/run.md: has show, psltool --help under Run: segment"])

    def test_a_page_to_which_nothing_leads(self):
        self.put("docs/lost.md", "# Lost\n")
        self.assertEqual(self.complaints("# Top\n"), ["docs/lost.md: docs/README.md does not lead there"])


class Transcripts(Planted):
    def test_what_is_printed_is_no_complaint(self):
        self.assertEqual(self.tried(
            "```console\n$ Qelprfarc\narchived 3 of 4 files\n$ false     # status 1\n"
            "$ (exit 3)\n$ echo $?\n3\n$ for i in 1 2; do\n  echo $i; done\n1\n...\n```\n"
            "```console varies\n$ Qelprfarc\narchived 17 of   20 files\n```\n"
            "```console unordered\n$ echo b; echo a\na\nb\n```\n"
            "```console needs: no-such-program\n$ no-such-program\n```\n")[::2], (7, []))

    def test_a_block_that_is_not_run_is_counted(self):
        ran, skipped, wrong = self.tried("```console not-run: needs root\n$ apt-get install x\n```\n")
        self.assertEqual((ran, [block.why_not_run for block in skipped], wrong), (0, ["needs root"], []))

    def test_each_other_line_is_one(self):
        for text in ["```console\n$ Qelprfarc\narchived 3 of 5 files\n```",
                     "```console\n$ Qelprfarc\narchived 3 of  4 files\n```",
                     "```console\n$ Qelprfarc\n```",
                     "```console\n$ Qelprfarc\narchived 3 of 4 files\nand more\n```",
                     "```console varies\n$ Qelprfarc\narchived 3 from 4 files\n```",
                     "```console varies\n$ Qelprfarc\narchived 3 of - files\n```",
                     "```console unordered\n$ echo b; echo a\na\nc\n```",
                     "```console\n$ no-such-program\n```",
                     "```console\n$ false\n```",
                     "```console\n$ true     # status 1\n```",
                     "```console\n$ exit\n```"]:
            with self.subTest(text):
                self.assertEqual(len(self.tried(text + "\n")[2]), 1, text)

    def test_a_command_in_no_console_block_is_one(self):
        for text in ["```\n$ true\n```", "```sh\ntrue\n```", "Text:\n\n    psltool show x\n",
                     "```console\npsltool show x\n```", "```console sometimes\n$ true\n```"]:
            with self.subTest(text):
                try:
                    self.assertGreaterEqual(len(self.tried(text + "\n")[2]), 1)
                except ValueError as error:
                    self.assertIn("before any command", str(error))

    def test_a_command_without_an_end_is_one(self):
        seconds, transcripts.SECONDS = transcripts.SECONDS, 1
        self.addCleanup(setattr, transcripts, "SECONDS", seconds)
        wrong = self.tried("```console\n$ sleep 30\n$ true\n```\n")[2]
        self.assertEqual(len(wrong), 2)
        self.assertIn("was not run", wrong[1])

    def test_commands_share_a_shell(self):
        self.assertEqual(self.tried("```console\n$ cd /srv/monitor\n$ mkdir a && cd a\n```\nText\n"
                                    "```console\n$ pwd\n/srv/monitor/a\n```\n"), (3, [], []))

    def test_what_is_printed_is_written_into_the_page(self):
        self.put("README.md", "```console\n$ Qelprfarc\nelse\n\n$ false\n```\n")
        page = pages.Page("README.md", self.root)
        transcripts.try_page(page, self.root / "programs", "", True)
        self.assertEqual((self.root / "README.md").read_text(),
                         "```console\n$ Qelprfarc\narchived 3 of 4 files\n\n$ false\n```\n")


class Shape(unittest.TestCase):
    def test_dots_stand_for_lines(self):
        for shown, printed, expected in [
                ("a ... d", "a b c d", True), ("a ... d", "a d", True), ("... d", "a d", True),
                ("a ...", "a b", True), ("a ... c ... e", "a b c d e", True), ("...", "", True),
                ("a ... e", "a b", False), ("a ... c", "c a", False), ("a ... a", "a", False)]:
            with self.subTest(shown=shown, printed=printed):
                self.assertEqual(shape.matches(shown.split(), printed.split(), False), expected)


class PlantedInALife(unittest.TestCase):
    """The life of a package: a page, the script that it shows, and what that printed."""

    PAGE = ("# Installing\n\n## A package's life\n\n```console not-run: as root\n== Installed\n$ install '$1'\n"
            "Setting up it (1.2.3~0.gabcdef0) ...\n$ list\none\n...\nnine\n\n== Purged\n$ purge\n2 files gone\n```\n")
    SCRIPT = ("step \"Needs\"\nrun \"needs\"\nstep \"Installed\"\nrun \"install '\\$1'\"\n  run \"list\"\n"
              "step \"Purged\"\nrun \"purge\"\n")
    TRANSCRIPT = ("== Needs\n$ needs\n\n== Installed\n$ install '$1'\nSetting up it (1.2.3~0.g1234567) ...\n$ list\n"
                  "one\ntwo\nnine\n\n== Purged\n$ purge\n7 files gone\n")

    def complaints(self, page=PAGE, script=SCRIPT, transcript=TRANSCRIPT, version="1.2.3", write=False):
        with tempfile.TemporaryDirectory() as folder:
            root = Path(folder)
            (root / "docs").mkdir()
            (root / "packaging").mkdir()
            (root / "docs/install.md").write_text(page, encoding="utf-8")
            (root / "packaging/try-package.sh").write_text(script, encoding="utf-8")
            (root / "CMakeLists.txt").write_text(f"project(It VERSION {version} LANGUAGES CXX)\n", encoding="utf-8")
            (root / "transcript").write_text(transcript, encoding="utf-8")
            found = package_life.against_script(root)
            found += package_life.against_transcript(root, root / "transcript", write)
            self.page = (root / "docs/install.md").read_text(encoding="utf-8")
            return found

    def test_what_is_as_it_is_shown(self):
        self.assertEqual(self.complaints(), [])

    def test_a_version_of_yesterday(self):
        self.assertIn("version 1.2.3", self.complaints(version="1.2.4")[0])

    def test_commands_and_steps_that_the_script_has_not(self):
        self.assertIn("list", self.complaints(script=self.SCRIPT.replace("list", "show"))[0])
        self.assertIn("Purged", self.complaints(script=self.SCRIPT.replace("Purged", "Gone"))[0])

    def test_another_output(self):
        self.assertIn("files left", self.complaints(transcript=self.TRANSCRIPT.replace("gone", "left"))[0])
        self.assertIn("not run: purge", self.complaints(transcript=self.TRANSCRIPT.replace("purge", "keep"))[0])

    def test_what_was_printed_can_be_written(self):
        self.assertEqual(self.complaints(write=True), [])
        self.assertEqual(self.page, self.PAGE.replace("abcdef0", "1234567").replace("2 files", "7 files"))


if __name__ == "__main__":
    unittest.main()
