"""The page of the output as a browser shows it: its contents, the CSV of its tables, points below each other, in light and dark.

    VEXA_HOME=build/release/home PYTHONPATH=build/release/home/lib/python python3 tests/page.py
"""
import csv
import html
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

TOP = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BROWSER = shutil.which("chromium")
MEASURED = """<script>addEventListener('load',function(){var ends=[];document.querySelectorAll('td.number').forEach(function(cell){
var range=document.createRange(),text=cell.firstChild,point=text.data.indexOf('.');range.setStart(text,0);
range.setEnd(text,point==-1?text.data.length:point);ends.push([cell.cellIndex,Math.round(range.getBoundingClientRect().right)])});
document.body.dataset.ends=JSON.stringify(ends)})</script>"""

LOOKED_AT = """<script>addEventListener('load',function(){var plots=[];document.querySelectorAll('svg[role=img]').forEach(function(svg){
var all=svg.getBoundingClientRect(),texts=Array.from(svg.querySelectorAll('text'));plots.push({words:svg.getAttribute('aria-label'),
fits:all.right<innerWidth,ratio:Math.round(all.width/all.height*100)/100,ticks:texts.map(function(text){return text.textContent}),
marks:Array.from(svg.querySelectorAll('rect title,circle title')).map(function(title){return title.textContent}),
outside:texts.filter(function(text){var box=text.getBoundingClientRect();return box.left<all.left-1||box.right>all.right+1||
box.top<all.top-1||box.bottom>all.bottom+1}).map(function(text){return text.textContent})})});
document.body.dataset.plots=JSON.stringify(plots)})</script>"""


@unittest.skipUnless(BROWSER, "chromium is not installed")
class Page(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.page = directory.name + "/out.html"
        subprocess.run([sys.executable, TOP + "/examples/summary.py", TOP + "/examples/data/airquality.csv", self.page[:-5]],
                       check=True, stdout=subprocess.DEVNULL, timeout=60)  # fmt: skip

    def browse(self, *options):
        return subprocess.run([BROWSER, "--headless", "--no-sandbox", "--disable-gpu", "--window-size=900,700",
                               f"--user-data-dir={self.page}.profile", *options, "file://" + self.page],
                              check=True, capture_output=True, text=True, timeout=60).stdout  # fmt: skip

    def test_contents_tables_and_points(self):
        with open(self.page, "a", encoding="utf-8") as page:
            page.write(MEASURED)
        dom = self.browse("--dump-dom")
        links = re.findall(r'<a href="#([^"]+)" class="(H\d)">([^<]+)</a>', dom)
        self.assertEqual([(kind, text) for _, kind, text in links], [("H2", "Summary"), ("H3", "Descriptive statistics")])
        for place, _, _ in links:
            self.assertIn(f'id="{place}"', dom)
        copied = html.unescape(re.search(r'<button value="([^"]*)"', dom)[1])
        rows = list(csv.reader(copied.splitlines()))
        self.assertEqual(rows[0][:4], ["Variable", "Valid", "Missing", "Mean"])
        self.assertEqual([row[0] for row in rows[1:]], ["Ozone", "Solar_R", "Wind", "Temp", "Month", "Day", "MonthName"])
        self.assertEqual(rows[3], ["Wind", "152", "1", "10.012", "3.4698", "2.3", "20.7", ""])
        ends = {}
        for column, right in re.findall(r"\[(\d+),(\d+)\]", re.search(r'data-ends="([^"]*)"', dom)[1]):
            ends.setdefault(column, []).append(int(right))
        self.assertEqual(len(ends), 7)
        for column, found in ends.items():
            self.assertLessEqual(max(found) - min(found), 2, f"the points of column {column} stand at {found}")

    def test_plots_scale_and_hold_all_that_they_say(self):
        data = self.page + ".csv"
        with open(data, "w", encoding="utf-8") as file:
            file.write("small,large,same,whole,none\n")
            for i in range(3000):
                file.write(f"{i * 0.0001 - 0.05:.4f},{i * 7e12},3.25,{i % 5},\n")
        with open(data + ".vars", "w", encoding="utf-8") as file:
            file.write(f'variable large\nlabel "{"Große Zahlen " * 9}"\n')
        sys.path.insert(0, os.environ["VEXA_HOME"] + "/lib/python")
        import vexaxd
        with vexaxd.session(f"-data {data} -output {self.page[:-5]}", echo=False):
            for what in ("HISTOGRAM=small", "HISTOGRAM=large", "HISTOGRAM=same", "HISTOGRAM=whole", "HISTOGRAM=none",
                         "SCATTER=small large", "SCATTER=same whole"):  # fmt: skip
                vexaxd.Submit(f"PLOT /{what}.")
        with open(self.page, "a", encoding="utf-8") as page:
            page.write(LOOKED_AT)
        looks = json.loads(html.unescape(re.search(r'data-plots="([^"]*)"', self.browse("--dump-dom", "--window-size=500,700"))[1]))
        self.assertEqual([look["outside"] for look in looks], [[]] * 7)
        self.assertEqual({(look["fits"], look["ratio"]) for look in looks}, {(True, 1.6)}, "narrower than the window, in proportion")
        self.assertEqual([look["words"] for look in looks[3:5]], ["Histogram of whole: 3000 of 3000 cases", "Histogram of none: 0 of 3000 cases"])
        self.assertEqual(looks[3]["marks"], [f"{i - 0.5} to {i + 0.5}: 600" for i in range(5)])
        self.assertEqual(looks[0]["ticks"][:8], ["-0.10", "-0.05", "0", "0.05", "0.10", "0.15", "0.20", "0.25"])
        self.assertLess(len(looks[5]["marks"]), 3000, "a grid in the place of the points")

    def test_light_and_dark(self):
        pictures = {}
        for scheme, name in ((1, "light"), (0, "dark")):
            file = f"{self.page}.{name}.png"
            self.browse(f"--blink-settings=preferredColorScheme={scheme}", f"--screenshot={file}")
            with open(file, "rb") as picture:
                pictures[name] = picture.read()
        for picture in pictures.values():
            self.assertGreater(len(picture), 20_000, "hardly more than a blank page")
        self.assertNotEqual(pictures["light"], pictures["dark"])


if __name__ == "__main__":
    unittest.main()
