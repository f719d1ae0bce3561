#!/usr/bin/env python3
"""The report's page in a browser: no script error, and searching and sorting do what they say."""
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import made_up  # noqa: E402

REPORT = pathlib.Path(__file__).resolve().parents[2] / "examples/fleet/report.py"
BROWSER = ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
           "--disable-background-networking", "--disable-component-update", "--disable-sync", "--timeout=60000"]
WATCH = """<script>
window.addEventListener("error", event => { document.documentElement.dataset.error = event.message; });
document.addEventListener("securitypolicyviolation", event => {
    document.documentElement.dataset.error = event.violatedDirective; });
</script>"""


class PageTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        (self.folder / "answers").mkdir()

    def look(self, script=""):
        """Renders the answers, lets the browser load the page and run the script, and returns the document it has then.
        A script error or a refused load fails the test; so does a page whose own script did not run to its end."""
        subprocess.run([sys.executable, str(REPORT), str(self.folder / "answers"), str(self.folder)], check=True,
                       capture_output=True)
        page = (self.folder / "report.html").read_text()
        page = page.replace("<head>", "<head>" + WATCH).replace(
            "</body>", f"<script>{script}\ndocument.documentElement.dataset.ran = 'yes';</script></body>")
        (self.folder / "watched.html").write_text(page)
        seen = subprocess.run([*BROWSER, f"--user-data-dir={self.folder}/profile", "--dump-dom",
                               f"file://{self.folder}/watched.html"], check=True, capture_output=True, text=True).stdout
        opening = re.search(r"<html[^>]*>", seen).group()
        self.assertNotIn("data-error", opening)
        self.assertIn('data-ran="yes"', opening)
        return seen

    def answer(self, name, entries, reached=True):
        facts = {"current": {"state": "good", "path": "", "findings": [], "entries": {
            identity: {"kind": "exe", "version": version} for identity, version in entries.items()}}}
        (self.folder / "answers" / f"{len(list((self.folder / 'answers').iterdir()))}.json").write_text(json.dumps(
            {"machine": name, "reached": reached, "facts": facts, "verify": "", "complaint": ""}))

    def test_no_machine_and_one_machine_give_a_page_without_a_script_error(self):
        self.assertIn("Installed files of 0 machines", self.look())
        self.answer("alone", {"Core": "5"})
        self.assertIn("alone", self.look())

    def test_ten_thousand_machines_give_a_page_that_can_be_searched(self):
        made_up.write_answers(self.folder / "answers", 10000, 4)
        seen = self.look("""search(["client-00007"]);
            document.documentElement.dataset.shown = rows.filter(row => !row.hidden).length;""")
        self.assertRegex(seen, r'<html[^>]* data-shown="1"')

    def test_a_search_shows_the_rows_that_have_all_the_words(self):
        self.answer("north", {"Core": "5.1", "Posture": "2"})
        self.answer("south", {"Core": "5.2"})
        seen = self.look("""const field = document.getElementById("search");
            field.value = "CORE 5.2"; field.dispatchEvent(new Event("input"));
            document.documentElement.dataset.shown =
                rows.filter(row => !row.hidden).map(row => row.cells[2].textContent).join();""")
        self.assertRegex(seen, r'<html[^>]* data-shown="Core"')

    def test_a_click_on_a_heading_sorts_by_number_and_a_second_one_turns_it_round(self):
        for number in (2, 10, 1):
            self.answer(f"m{number}", {f"Id{index}": "1" for index in range(number)})
        names = "Array.from(table.tBodies[0].rows, row => row.cells[0].textContent).join()"
        seen = self.look(f"""const table = Array.from(document.querySelectorAll("table")).pop();
            const button = table.querySelectorAll("th button")[4];
            button.click(); document.documentElement.dataset.up = {names};
            button.click(); document.documentElement.dataset.down = {names};""")
        self.assertRegex(seen, r'<html[^>]* data-up="m1,m2,m10"')
        self.assertRegex(seen, r'<html[^>]* data-down="m10,m2,m1"')

    def test_each_printed_sheet_has_its_table_headings_and_no_broken_word(self):
        made_up.write_answers(self.folder / "answers", 60, 8)
        self.look()
        subprocess.run([*BROWSER, f"--user-data-dir={self.folder}/profile", f"--print-to-pdf={self.folder}/printed.pdf",
                        f"file://{self.folder}/report.html"], check=True, capture_output=True)
        sheets = subprocess.run(["pdftotext", "-layout", self.folder / "printed.pdf", "-"], check=True, capture_output=True,
                                text=True).stdout.split("\f")
        self.assertNotIn("Search machines", sheets[0])
        for sheet in sheets[-4:-1]:
            self.assertRegex(sheet, r"Machine +Reached +Current +Legacy +Entries +Behind +Findings")
            self.assertRegex(sheet, r"(?m)yes +good +absent")

    def test_hostile_ids_do_not_become_elements(self):
        self.answer("<img src=x onerror=alert(1)>", {"<script>document.title = 'taken'</script>": "\"><b>"})
        seen = self.look("document.documentElement.dataset.found = document.querySelectorAll('td img, td b, td script').length;")
        self.assertRegex(seen, r'<html[^>]* data-found="0"')
        self.assertNotIn("<title>taken", seen)


if __name__ == "__main__":
    unittest.main()
