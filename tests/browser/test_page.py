#!/usr/bin/python3
"""The page of "readkey --html" in a real browser: test_page.py READKEY MAKEKEY CHROMIUM CHROMEDRIVER [TEST...]

What the page shows is compared with readkey's CSV, whose UTC times become a clock's here by Python's own zones."""

import base64
import csv
import os
import re
import subprocess
import sys
import tempfile
import unittest
from datetime import datetime, timedelta
from functools import reduce
from pathlib import Path
from zoneinfo import ZoneInfo

from selenium.webdriver import ActionChains, Chrome, ChromeOptions, Keys
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By

CHROMIUM_OPTIONS = """--headless=new --no-sandbox --disable-gpu --disable-background-networking
    --disable-component-update --disable-sync --no-first-run --window-size=1400,1000"""

# Text as a stranger might put it into a driver's card: 35 bytes of a code page, in blanks.
HOSTILE_SURNAME = "</script><script>alert(1)</script>"
HOSTILE_FIRST_NAMES = "\"'><img src=x onerror=alert(2)>"
HOSTILE_PLATE = "<b>&amp;\"'"

SORTED_NAMES = "Jo Käthe Łucja Pat Zoé Žofie Ελένη Вера".split()

# What no sample has, in readkey's rows. "05T07" is the 5th of March 2024, 07:00 UTC. At 09:00 UTC the clock is put back:
# 10:00 to 11:00 comes twice. A vehicle: known from, known to, newest download. A stretch: 0 with a card, 1 without,
# 2 without data; vehicle, driver, slot, from, to, km at both, until when a card may have been in.
ODD_ROWS = {
    "clock": "0,7200 05T09,3600",
    "vehicle": "05T05,06T18,06T18 04T06,06T18,06T18 04T06,06T18,06T18 04T06,15T08,15T08 ,, 04T06,04T06:39,",
    "stretch": """
        1,0,,0,05T12,06T06,0,12, 2,1,,0,05T11,06T06,0,7, 2,1,,0,04T11,04T12,,, 2,5,,0,700000000,04T06,,,
        0,0,0,0,05T05,05T07,1000,1100,05T07 0,0,1,1,05T05,05T06,1000,1050,05T06
        0,0,1,0,05T07,05T08:30,1100,1090,05T08:30 0,0,0,0,05T08:40,05T09:20,,,05T09:20 0,0,2,2,05T10,05T12,5,6,05T12
        0,1,3,0,05T06,05T10,10,110,05T10 0,1,4,0,05T09,05T12,50,120,05T12 0,1,0,0,05T06:30,05T06:45,50,120,05T06:45
        0,2,5,0,05T06,,700,,05T11 0,2,6,0,05T11,05T11:30,710,720,05T11:30 0,2,6,1,05T12:30,,,,05T12:30
        0,3,7,0,05T12,05T11,10,10,05T12 0,3,7,0,05T20,06T02,10,20,06T02 0,5,0,0,04T06:11,04T06:14,1,2,04T06:14
        0,5,1,0,04T06:14,04T06:16,2,3,04T06:16 0,5,2,0,04T06:16,04T06:17,3,4,04T06:17 0,5,3,0,04T06:17,04T06:21,4,5,04T06:21
        0,5,4,0,04T06:21,04T06:26,5,6,04T06:26 0,5,5,0,04T06:26,04T06:32,6,7,04T06:32 0,5,6,0,04T06:32,04T06:39,7,8,04T06:39
        0,5,7,0,1712206800,1712210400,1,2,1712210400"""}
# The lanes of the 5th: their texts, and what a screen reader says of them; and what is in them, as marks() says it.
ODD_LANES = """\
AB 100 CD | card in 4:10 + 3:00 h, 100 km | 3 drivers, card in the driver's slot 4:10 h, in others 3:00 h, 100 km
AB 104 CD | card in 7:15 h, 240 km | two cards in one slot | 3 drivers, card in the driver's slot 7:15 h, 240 km, two cards in one slot
KX 102 CD | card in 0:30 h, 10 km | 2 drivers, card in the driver's slot 0:30 h, 10 km
MÜ 101 CD | card in 6:00 h, 10 km | 1 driver, card in the driver's slot 6:00 h, 10 km
MÜ 105 CD | no data | no data
ZT 103 CD | no data | no data"""
ODD_BOXES = """\
gap card 14-25 9 [12 km] 12 km without a card, AB 100 CD, 05 13:00 – 06 07:00
gap data 0-7 0 [no data] No data, AB 100 CD, before 05 07:00
bar driver c0 wide 7-9 5 [Jo Sample] Jo Sample, AB 100 CD, driver, 05 07:00 – 09:00 (card in 2:00 h), 1 000 – 1 100 km (100 km)
bar other c1 wide 7-8 27 [] Käthe Beispiel, AB 100 CD, co-driver, 05 07:00 – 08:00 (card in 1:00 h), 1 000 – 1 050 km (50 km)
bar driver c1 wide 9-10.5 5 [Beispiel] Käthe Beispiel, AB 100 CD, driver, 05 09:00 – 10:30a (card in 1:30 h), 1 100 – 1 090 km (- km)
bar driver c0 wide 10.75-11.25 5 [] Jo Sample, AB 100 CD, driver, 05 10:40a – 10:20b (card in 0:40 h), - – - km (- km)
bar other c2 wide 12-14 27 [] Pat Placeholder, AB 100 CD, slot 2, 05 11:00 – 13:00 (card in 2:00 h), 5 – 6 km (1 km)
gap data 13-25 0 [no data] No data, AB 104 CD, 05 12:00 – 06 07:00, 7 km
bar driver c3 wide 8-12 5 [Zoé Exemple] Zoé Exemple, AB 104 CD, driver, 05 08:00 – 11:00 (card in 4:00 h), 10 – 110 km (100 km)
bar driver c0 wide 8.5-8.75 27 [] Jo Sample, AB 104 CD, driver, 05 08:30 – 08:45 (card in 0:15 h), 50 – 120 km (70 km)
bar driver c4 wide 11-14 27 [Łucja Przykład] Łucja Przykład, AB 104 CD, driver, 05 10:00b – 13:00 (card in 3:00 h), 50 – 120 km (70 km)
bar driver c5 open wide 8-13 5 [Žofie Vzorová] Žofie Vzorová, KX 102 CD, driver, 05 08:00 – no withdrawal recorded, from 700 km
bar driver c6 wide 13-13.5 5 [] Ελένη Δείγμα, KX 102 CD, driver, 05 12:00 – 12:30 (card in 0:30 h), 710 – 720 km (10 km)
bar other c6 open 14.5 27 [] Ελένη Δείγμα, KX 102 CD, co-driver, 05 13:30 – no withdrawal recorded, from - km
bar driver c7 14 5 [] Вера Образец, MÜ 101 CD, driver, 05 13:00 – 12:00 (card in 0:00 h), 10 – 10 km (0 km)
bar driver c7 wide 22-25 5 [Вера Образец] Вера Образец, MÜ 101 CD, driver, 05 21:00 – 06 03:00 (card in 6:00 h), 10 – 20 km (10 km)
gap data 0-25 0 [no data] No data, MÜ 105 CD, at any time
gap data 0-25 0 [no data] No data, ZT 103 CD, since 04 08:39"""
SHORT = ("Ελένη Δείγμα: card in 0:07 h, Žofie Vzorová: card in 0:06 h, Łucja Przykład: card in 0:05 h, "
         "Zoé Exemple: card in 0:04 h, Jo Sample: card in 0:03 h, and 2 more")
ODD_COLUMNS = f"""\
Tue 2024-03-05, AB 100 CD, Jo Sample: card in 2:40 h, Käthe Beispiel: card in 2:30 h, Pat Placeholder: card in 2:00 h, card in 3:00 h in the other slots, 12 km without a card, 2024-03-05 13:00 – 2024-03-06 07:00
Tue 2024-03-05, AB 104 CD, Zoé Exemple: card in 4:00 h, Łucja Przykład: card in 3:00 h, Jo Sample: card in 0:15 h
Tue 2024-03-05, KX 102 CD, Ελένη Δείγμα: card in 0:30 h, Žofie Vzorová: no withdrawal recorded, Ελένη Δείγμα: no withdrawal recorded
Tue 2024-03-05, MÜ 101 CD, Вера Образец: card in 3:00 h
Mon 2024-03-04, ZT 103 CD, {SHORT}"""



def run(program, *arguments, zone="Europe/Berlin"):
    """readkey does not end with 0 if a file of the key is damaged, as one is on purpose."""
    done = subprocess.run([program, *map(str, arguments)], env=dict(os.environ, TZ=zone, LC_ALL="C.UTF-8"),
                          capture_output=True)
    if done.returncode not in ((0, 3) if program == readkey else (0,)):
        raise RuntimeError(f"{program}: {done.stderr.decode()}")
    return done.stdout.decode()


def make_key(directory, *options, changes=()):
    """With the first bytes of each change replaced by the second in every file."""
    run(makekey, *options, directory)
    for file in (directory / "download").iterdir():
        file.write_bytes(reduce(lambda contents, change: contents.replace(*change), changes, file.read_bytes()))
    return directory


def make_page(key, *options, **zone):
    """The ages count to a day when cards are overdue, and vehicles are not."""
    page = key.with_name(f"{key.name}{''.join(options)}.html")
    run(readkey, "--as-of", "2024-04-20", *options, "--html", page, key, **zone)
    return page


def field(text):
    """As a file has it: a code page, and 35 bytes of a name or 13 of a plate."""
    return b"\x01" + text.encode("latin-1").ljust(13 if re.match(r"[A-Z]{2} |<b>", text) else 35)


def read_csv(key, what):
    return list(csv.DictReader(run(readkey, "--as-of", "2024-04-20", f"--csv={what}", key).splitlines()))


def instant(utc):
    return datetime.fromisoformat(utc.replace("Z", "+00:00"))


def seconds(row):
    return (instant(row["withdrawn"]) - instant(row["inserted"])).seconds if row["withdrawn"] else 0


def distance(row):
    return int(row["odometerAtWithdrawal"]) - int(row["odometerAtInsertion"]) if row["withdrawn"] else 0


def minute(utc):
    return instant(utc).astimezone(ZoneInfo("Europe/Berlin")).strftime("%Y-%m-%d %H:%M")


def grouped(number):
    return f"{int(number):,}".replace(",", "\u202f")


def hours(duration):
    return f"{grouped(duration // 3600)}:{duration // 60 % 60:02}"


def table_row(row):
    numbers = [row["odometerAtInsertion"], row["odometerAtWithdrawal"], distance(row)] if row["withdrawn"] else []
    return " | ".join([
        row["plate"], row["holder"], "co-driver" if row["slot"] == "1" else "driver", minute(row["inserted"]),
        *([minute(row["withdrawn"]), hours(seconds(row)), *map(grouped, numbers)] if numbers else
          ["-", "-", grouped(row["odometerAtInsertion"]), "-", "-"])])


def odd_page(sample):
    html = sample.read_text()
    for name, rows in ODD_ROWS.items():
        rows = re.sub(r"\d\dT\d\d(:\d\d)?", lambda time: f"{instant(f'2024-03-{time[0]}Z').timestamp():.0f}", rows)
        html = re.sub(f'(id="{name}-rows">)[^<]*', lambda begin: begin[1] + "\n".join(rows.split()), html)
    html = re.sub(r'data-from="[\d-]+" data-to="[\d-]+"', 'data-from="1992-01-01" data-to="2024-12-31"', html)
    page = sample.with_name("odd.html")
    page.write_text(html)
    return page


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.directory = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.sample_key = make_key(cls.directory / "sample", "--oddities")
        cls.sample = make_page(cls.sample_key)
        cls.odd = odd_page(cls.sample)
        cls.rows = read_csv(cls.sample_key, "insertions")
        cls.large = make_page(make_key(cls.directory / "large", "--files", "36", "--days", "365"))
        options = ChromeOptions()
        options.binary_location = chromium
        options.arguments.extend(CHROMIUM_OPTIONS.split())
        os.environ["TZ"] = "America/New_York"  # the page shows readkey's clock, not the browser's
        cls.browser = Chrome(options=options, service=Service(chromedriver))
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self):
        self.maxDiff = None
        self.browser.set_window_size(1400, 1000)
        self.show(self.sample)

    def tearDown(self):
        """No test makes the page fetch or report anything."""
        fetched = self.script("performance.getEntriesByType('resource').map((entry) => entry.name)")
        self.assertEqual(fetched + [entry["message"] for entry in self.browser.get_log("browser")], [])

    def show(self, page):
        self.browser.get(page.as_uri())

    def script(self, text, *arguments):
        return self.browser.execute_script(f"return {text}", *arguments)

    def wait(self, milliseconds):
        self.script("new Promise((done) => setTimeout(done, arguments[0]))", milliseconds)

    def one(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def all(self, selector):
        return self.browser.find_elements(By.CSS_SELECTOR, selector)

    def each(self, selector, expression):
        return self.script(f"[...document.querySelectorAll(arguments[0])].map((node) => {expression})", selector)

    def labels(self, selector=".lane[role=group] .bar[role=img]"):
        return self.each(selector, "node.getAttribute('aria-label')")

    def rects(self, selector):
        return self.each(selector, "node.getBoundingClientRect().toJSON()")

    def marks(self, selector, units):
        """Each node's look, left and right in units of the period to a quarter, pixels from the top, text and label."""
        return self.each(selector, """[node, ...[node, node.parentNode].map((one) => one.getBoundingClientRect())])
            .map(([node, box, track]) => [node.className, [...new Set([box.left, box.right].map((x) =>
                Math.round((x - track.left) / track.width * %d * 4) / 4))].join("-"), Math.round(box.top - track.top),
                `[${node.textContent}]`, node.ariaLabel || ""].join(" ").trim()""" % units)

    def table(self, name):
        return self.each(f"#{name} tbody tr", "[...node.cells].map((cell) => cell.textContent).join(' | ')")

    def first_column(self, name):
        return self.each(f"#{name} tbody th", "node.textContent")

    def choose(self, control, value):
        self.script("""((node, value) => { node.value = value; ["input", "change", "blur"].forEach((name) =>
            node.dispatchEvent(new Event(name))); })(document.getElementById(arguments[0]), arguments[1])""", control, value)

    def lanes_by(self, kind):
        self.one(f"[name=lanes][value={kind}] + span").click()

    def open_insertions(self):
        self.script("document.querySelector('#insertions details').open = true")
        self.wait(50)
        return self.table("insertions")

    def totals(self):
        return self.each("#totals > div", "[...node.children].map((part) => part.textContent)")

    def paper(self):
        """The text of each page that is printed."""
        pdf = base64.b64decode(self.browser.execute_cdp_cmd("Page.printToPDF", {"preferCSSPageSize": True})["data"])
        text = subprocess.run(["pdftotext", "-layout", "-", "-"], input=pdf, capture_output=True, check=True).stdout
        return text.decode().split("\f")[:-1]

    def tip(self):
        return self.one("#tip").text.replace("\n", ", ")

    def assert_tip_of(self, selector, is_above=True):
        for _ in range(100): # until a busy machine has drawn it
            self.wait(50)
            [bar], [tip] = self.rects(selector), self.rects("#tip")
            left = min((bar["left"] + bar["right"] - tip["width"]) / 2, self.one("html").rect["width"] - tip["width"] - 8)
            top = bar["top"] - 8 - tip["height"] if is_above else bar["bottom"] + 8
            if abs(tip["left"] - left) <= 1 and abs(tip["top"] - top) <= 1:
                break
        self.assertEqual([self.tip()], self.labels(selector))
        self.assertAlmostEqual(tip["left"], left, delta=1)
        self.assertAlmostEqual(tip["top"], top, delta=1)

    def test_hostile_names_stay_text(self):
        key = make_key(self.directory / "hostile", changes=[
            (field("Sample"), field(HOSTILE_SURNAME)), (field("Jo"), field(HOSTILE_FIRST_NAMES)),
            (field("Beispiel"), field(HOSTILE_SURNAME)), (field("Käthe"), field(HOSTILE_FIRST_NAMES)),
            (field("AB 100 CD"), field(HOSTILE_PLATE)),
            # A mark that turns the direction of writing round; code page 8 has it.
            (field("Placeholder"), b"\x08" + b"Turned\xfe".ljust(35))])
        (key / "download" / "C_20240315_0830_<img src=x>.DDD").write_bytes(b"<script>alert(3)</script>" * 100)
        self.show(make_page(key))
        for table, text in (("drivers", f"{HOSTILE_FIRST_NAMES} {HOSTILE_SURNAME} (2 drivers)"), ("drivers", "Pat Turned\\u200F"),
                            ("vehicles", HOSTILE_PLATE), ("files", "C_20240315_0830_<img src=x>.DDD")):
            self.assertIn(text, self.first_column(table))
        self.assertIn(" If several drivers have one name, ", self.one("#overdue-rule").text)
        self.lanes_by("driver")
        ActionChains(self.browser, 0).move_to_element(self.one(".bar")).perform()
        self.open_insertions()
        self.assertEqual(len(self.all("img, table b, .label b b, #tip b b, script")), 4)  # the page's own scripts

    def test_name_of_several_drivers_is_searched_without_their_number(self):
        self.show(make_page(make_key(self.directory / "shared", changes=[
            (field("Beispiel"), field("Sample")), (field("Käthe"), field("Jo"))])))
        self.assertIn("Jo Sample (2 drivers)", self.first_column("drivers"))
        self.lanes_by("driver")
        self.assertFalse(self.all(".lane .odd"))  # They can be in two places.
        self.one("#drivers .chip").click()
        self.assertEqual(self.one("#driver").get_attribute("value"), "Jo Sample")
        self.assertEqual(self.each("#driver-names option", "node.value")[0], "Jo Sample")
        clicked = self.totals()
        self.choose("driver", "sample, jo")
        self.assertEqual(self.totals(), clicked)
        self.choose("driver", "2 drivers")
        self.assertEqual(self.all(".lane"), [])

    def test_page_says_what_it_is_of(self):
        self.assertEqual(self.browser.title, f"{self.sample_key}, 2024-02-16 to 2024-03-15 - tachograph logbook")
        self.assertIn("Times are local: Europe/Berlin.", self.one("#about").text)
        self.assertRegex(self.one("#made").text, rf"^Created by {run(readkey, '--version').strip()}, \d{{4}}-\d\d-\d\d \d\d:\d\d\.$")
        self.assertRegex(self.one("meta[http-equiv=Content-Security-Policy]").get_attribute("content"),
                         r"^default-src 'none'; style-src 'sha256-[\w+/]+='; script-src 'sha256-[\w+/]+='; img-src data:; "
                         r"base-uri 'none'; form-action 'none'$")
        small = make_key(self.directory / "small", "--files", "1", "--days", "1")
        self.assertLess(make_page(small).stat().st_size, 80_000)
        for file in (small / "download").glob("*AB100CD*"):
            file.unlink()
        self.show(make_page(small))
        self.assertEqual(self.one("#picture").text, "Who drove when\nThere are no insertions to show.")
        self.assertEqual(self.script("byId('shown').textContent"), "2024-03-15 to 2024-03-15.")

    def test_summary_is_that_of_the_csv_with_scripts_and_without(self):
        with_script = {name: self.table(name) for name in ("vehicles", "drivers", "failures", "files")}
        self.assertEqual(with_script["vehicles"], [" | ".join([
            row["plate"], minute(row["downloaded"]), f"{row['ageDays']} d", row["insertions"], row["drivers"],
            hours(int(row["cardInSeconds"])) + " h", grouped(row["kilometres"]), row["kilometresWithoutCard"],
            row["kilometresWithoutData"]])
            for row in read_csv(self.sample_key, "vehicles")])
        self.assertEqual(with_script["drivers"], [" | ".join([
            row["driver"], row["cardNumber"] or "-", row["generation"] or "-",
            minute(row["downloaded"]) if row["downloaded"] else "-", row["ageDays"] + " d overdue" if row["ageDays"] else "never",
            row["insertions"], row["vehicles"], hours(int(row["cardInSeconds"])) + " h", grouped(row["kilometres"])])
            for row in read_csv(self.sample_key, "drivers")])
        self.assertEqual(self.each("datalist option", "node.value"), self.first_column("drivers") + self.first_column("vehicles"))
        self.assertEqual(self.one("#drivers summary").text, "Drivers 8 8 overdue")
        self.assertEqual(self.one("#overdue-rule").text, "A vehicle's data must be downloaded every 90 days, a card's "
                         "every 28. Ages count to 2024-04-20.")
        self.assertEqual(self.first_column("failures"), ["S_20240315_0800_KX106CD.DDD", "V_HOLIDAY_20240311_1816.TGD"])
        self.assertEqual(self.first_column("files"), [row["file"] for row in read_csv(self.sample_key, "files")])
        self.assertFalse(self.all(".without-script"))
        self.browser.execute_cdp_cmd("Emulation.setScriptExecutionDisabled", {"value": True})
        self.addCleanup(self.browser.execute_cdp_cmd, "Emulation.setScriptExecutionDisabled", {"value": False})
        self.show(self.sample)
        self.assertEqual({name: self.table(name) for name in with_script}, with_script)
        self.assertIn("no script has run", self.one(".without-script").text)
        self.assertFalse(self.one("#picture").is_displayed() or self.one("#insertions").is_displayed())

    def test_each_bar_is_where_its_times_are_and_has_its_colour(self):
        self.choose("period", "all")
        downloads = {row["file"]: row["downloaded"] for row in read_csv(self.sample_key, "files")}
        for kind, name, other in (("driver", "holder", "plate"), ("vehicle", "plate", "holder")):
            self.lanes_by(kind)
            rows = sorted(self.rows, key=lambda row: (row[name], row["inserted"], row["slot"]))
            [track] = self.rects("#axis .track")
            for row, box in zip(rows, self.rects(".lane .bar"), strict=True):
                for side, time in (("left", row["inserted"]), ("right", row["withdrawn"] or downloads[row["file"]])):
                    part = (instant(time) - instant("2024-02-15T23:00:00Z")) / timedelta(days=29)
                    self.assertAlmostEqual(box[side], track["left"] + part * track["width"], 1, f"{side}: {table_row(row)}")
            colours = dict(self.each(".swatch", "[node.parentNode.textContent, node.offsetWidth &&"
                                     "getComputedStyle(node).backgroundColor]"))
            self.assertEqual(self.each(".lane .bar", "getComputedStyle(node).backgroundColor"),
                             [colours[row[other]] for row in rows])
            self.assertEqual({colours[row[name]] for row in rows}, {0})
        self.assertEqual({*self.each(".lane .gap", "node.textContent")}, {""})  # none has room for its text
        # What a filter leaves out is not shown as days without a driver.
        self.show(make_page(self.sample_key, "--from=2024-02-28", "--to=2024-03-05"))
        self.choose("period", "all")
        self.assertEqual(self.one("#shown").text[:25], "2024-02-28 to 2024-03-05.")
        # The clock is put forward while the card is out, and the insertion before is left out.
        self.show(make_page(self.sample_key, "--from=2024-03-14", zone="AAA-1BBB,J73/0,J300/0"))
        self.assertEqual(self.labels(".lane .gap.card"), ["63 km without a card, MÜ 101 CD, 2024-03-13 19:13 – 2024-03-14 08:00"])

    def test_what_no_sample_has_is_drawn_too(self):
        """Overlaps, an hour that comes twice, cards that are not withdrawn, wrong clocks, unknown times and distances."""
        self.show(self.odd)
        self.assertEqual(self.one("#shown").text, "2024-02-17 to 2024-03-15. 1 insertion lies outside of this period.")
        self.assertEqual(self.labels()[-1], f"7 insertions, too short to be drawn apart, 2024-03-04 08:11 – 08:39, {SHORT}")
        self.choose("vehicle", "zt")
        self.assertTrue(self.one("#joined").is_displayed())
        self.choose("vehicle", "")
        self.choose("period", "1")
        self.choose("from", "2024-03-05")
        self.assertFalse(self.one("#joined").is_displayed())
        self.assertEqual(self.each(".lane", """[...node.firstChild.children].map((text) => text.textContent).join(" | ")
            + node.ariaLabel.replace(/.*: /, " | ")"""), ODD_LANES.splitlines())
        self.assertEqual([mark.replace("\u202f", " ").replace("2024-03-", "") for mark in self.marks(".lane [tabindex]", 25)],
                         ODD_BOXES.splitlines())
        self.assertEqual(self.each("#axis .time", "node.textContent"),
                         [*map(str, range(1, 10)), "10a", "10b", *map(str, range(11, 24))])
        self.assertEqual(self.one("#shown").text, "2024-03-05 to 2024-03-05. Crossing its edge and counted whole: "
                         "1 insertion (card in 6:00 h, 10 km), 12 km without a card, 7 km without data. "
                         "8 insertions lie outside of this period.")
        self.assertEqual(self.totals(), [["Insertions", "13 of 21"], ["Card in, driver's slot", "17:55 h"],
                         ["Card in, other slots", "3:00 h"], ["Kilometres", "360"], ["km without a card", "12"],
                         ["km without data", "7"]])
        self.lanes_by("driver")
        self.assertEqual(self.labels(".lane")[:2], [
            "Jo Sample: 2 vehicles, card in the driver's slot 2:55 h, 170 km, in two places at once",
            "Käthe Beispiel: 1 vehicle, card in the driver's slot 1:30 h, in others 1:00 h, 0 km"])
        for slot, vehicle, start, end, expected in ((0, 1, 10, 20, [True, False]), (1, 1, 10, 20, [False, False]),
                                                    (1, 2, 10, 20, [False, True]), (1, 2, 10, 10, [False, False]),
                                                    (1, 2, 15, 20, [False, False])):
            self.assertEqual(self.script("""["vehicle", "driver"].map((kind) => overlap(kind, [
                {slot: 0, vehicle: 1, start: 5, end: 15}, arguments[0]]))""",
                dict(slot=slot, vehicle=vehicle, start=start, end=end)), expected)
        self.lanes_by("vehicle")
        self.choose("from", "2024-03-06")
        self.assertEqual(self.each(".lane .label", "node.lastChild.textContent"), [
            *["no card inserted, partly no data"] * 3, "card in 6:00 h, 10 km", "no data", "no data"])
        self.choose("period", "366")
        self.assertEqual(self.labels(".column"), ODD_COLUMNS.splitlines())
        self.assertEqual([len(self.all(f".lane .gap.{kind}")) for kind in ("card", "data")], [1, 13])
        # The first midnight is not of the day before, and the last is of the day behind.
        self.assertEqual(self.script("""((columnsOf, {start, end}) => [columnsOf(start - 1, start), columnsOf(start, start),
            crosses({start, end: end - 1}), crosses({start, end})])((start, end) => {
                const result = [];
                eachColumn({start, end}, (column) => result.push(column));
                return result;
            }, state)"""), [[], [0], False, True])
        self.assertAlmostEqual(self.rects(".lane path")[0]["left"], self.rects(".column")[0]["left"], delta=1)
        # The parts by colour, from the bottom at 1 to the top at 0.
        self.assertEqual(self.each(".lane path", "`${node.className.baseVal} ${node.getAttribute('d')}`"
                                   ".replace(/h-?[\\d.]+/g, '')")[:8], [
            "c0 M364 1.0000V0.8933z", "c1 M364 0.8933V0.8333z", "c0 M364 1.0000V0.9900z", "c3 M364 0.9900V0.8300z", "c4 M364 0.8300V0.7100z",
            "c5 M364 1.0000V0.8000z", "c6 M364 0.8000V0.7800z", "c7 M364 1.0000V0.8800zM365 1.0000V0.8750z"])
        self.all(".column")[3].send_keys(Keys.ARROW_RIGHT, Keys.ARROW_LEFT, Keys.ARROW_RIGHT)
        self.assertEqual(self.labels(".column")[3], "Wed 2024-03-06, MÜ 101 CD, Вера Образец: card in 3:00 h")
        self.all(".column")[3].send_keys(Keys.ENTER)
        self.assertEqual(self.one("#shown").text[:25], "2024-03-06 to 2024-03-06.")
        self.choose("period", "all")
        self.assertEqual(self.each("#axis .track > span", "node.textContent"), ["2000", "2010", "2020"])

    def test_what_is_chosen_is_shown_listed_and_added_up(self):
        """By words in any order, without regard to case, accents and blanks, or by a card's number."""
        self.choose("period", "all")
        for driver, vehicle, holder, plate, totals in (
                ("sample jo", "", "Jo Sample", "", "55 of 349 | 164:28 h | 0:00 h | 8\u202f470"),
                ("DF00000000000100", "", "Jo Sample", "", "55 of 349 | 164:28 h | 0:00 h | 8\u202f470"),
                ("zoe", "", "Zoé Exemple", "", "31 of 349 | 135:08 h | 0:00 h | 6\u202f616"),
                ("lucja", "MU 101", "Łucja Przykład", "MÜ 101 CD", "1 of 349 | 0:00 h | 11:19 h | 0"),
                ("", "zt103", "", "ZT 103 CD", "60 of 349 | 206:47 h | 20:54 h | 10\u202f538"),
                ("Pat Placeholder", "zt", "Pat Placeholder", "none", "0 of 349 | 0:00 h | 0:00 h | 0")):
            self.choose("driver", driver)
            self.choose("vehicle", vehicle)
            rows = [row for row in self.rows if holder in row["holder"] and plate in row["plate"]]
            self.assertEqual(len(self.labels()), len(rows))
            self.assertEqual(self.open_insertions(), [table_row(row) for row in rows[:100]])
            self.assertEqual(" | ".join(value for _, value in self.totals()[:4]), totals)
        self.assertEqual(self.one("#insertions .note").text, "None.")
        self.choose("vehicle", "")
        # A driver has no part in what lies between cards, but what is not known is not known.
        self.assertEqual([len(self.all(f".lane .gap.{kind}")) for kind in ("card", "data")], [0, 4])
        self.one("#drivers tr:nth-child(4) .chip").click()
        self.assertEqual([self.totals()[0][1], round(self.rects("#picture")[0]["top"])], ["31 of 349", 0])
        self.script("drivers[4].name = 'Zoé Exemple jr'")  # Only a click means the whole name.
        self.choose("driver", "Zoé Exemple")
        self.assertEqual(self.totals()[0][1], "52 of 349")
        self.choose("driver", "")
        self.lanes_by("driver")
        rows = sorted(self.rows, key=lambda row: (row["holder"], row["inserted"], row["slot"]))
        self.assertEqual(self.table("insertions"), [table_row(row) for row in rows[:100]])
        # In readkey's own view of a driver, nothing is known of others.
        self.show(make_page(self.sample_key, "--driver=zoe"))
        self.choose("period", "1")
        self.assertEqual([self.each(".lane small", "node.textContent"), [title for title, _ in self.totals()]],
                         [["card in 0:00 h, 0 km"],
                          ["Insertions", "Card in, driver's slot", "Card in, co-driver's slot", "Kilometres"]])

    def test_a_heading_sorts_its_table_and_a_filter_leaves_it_sorted(self):
        self.choose("period", "all")
        self.open_insertions()
        keys = [lambda row: row["plate"], lambda row: SORTED_NAMES.index(row["holder"].split()[0]), lambda row: row["slot"],
                lambda row: row["inserted"], lambda row: row["withdrawn"] or "~",
                lambda row: seconds(row) if row["withdrawn"] else -1, lambda row: int(row["odometerAtInsertion"]),
                lambda row: int(row["odometerAtWithdrawal"] or -1), lambda row: distance(row) if row["withdrawn"] else -1]
        for column, key in enumerate(keys):
            for typed, direction in (("", "ascending"), ("", "descending"), ("e", "descending")):
                self.choose("driver", typed)
                if not typed:
                    self.each(f"#insertions th:nth-child({column + 1}) button", "node.click()")
                rows = sorted((row for row in self.rows if typed in row["holder"]), key=key,
                              reverse=direction == "descending")
                self.assertEqual(self.each("#insertions [aria-sort]", "[node.ariaSort, node.cellIndex]"), [[direction, column]])
                self.assertEqual(self.table("insertions"), [table_row(row) for row in rows[:100]])
        self.assertEqual(self.one("#insertions .note").text, "100 of 214 lines are shown. Show 114 more")
        self.one("#insertions .note button").send_keys(Keys.ENTER)
        self.assertEqual(self.table("insertions"), [table_row(row) for row in rows])
        self.assertEqual(self.script("document.activeElement.className"), "scroller")
        self.assertEqual(self.one("#insertions .note").text, "")
        self.choose("driver", "nobody")
        self.assertEqual(self.one("#insertions .note").text, "None.")
        self.one("#drivers th:nth-child(5) button").click()
        self.assertEqual([name.split()[0] for name in self.first_column("drivers")],
                         ["Jo", "Käthe", "Žofie", "Ελένη", "Pat", "Zoé", "Łucja", "Вера"])
        self.assertEqual(self.script("numberIn('28 d\\n29 d overdue\\n95 d, not counted')"), 29)

    def test_axis_says_which_days_these_are(self):
        axis, grid = "#axis .track > span", "#grid *"
        self.assertEqual(self.marks(axis, 28), [
            *(f"day {i}-{i + 1} 26 [{day}]" for i, day in enumerate([*range(17, 30), *range(1, 16)])),
            "month 0-13 5 [February 2024]", "month 13-28 5 [March 2024]"])
        self.assertEqual(self.marks(grid, 28), [
            *(mark for i in range(28) for mark in [f"weekend {i}-{i + 1} 0 []"] * (i % 7 < 2) + [f"line {i} 0 []"]),
            "line month 0 0 []", "line month 13 0 []"])
        self.choose("period", "7")
        self.assertEqual(self.marks(axis, 7), [mark for i, day in enumerate(
            ["Sat 9", "Sun 10", "Mon 11", "Tue 12", "Wed 13", "Thu 14", "Fri 15"]) for mark in (
            f"day {i}-{i + 1} 26 [{day}]", *(f"time {i + hour / 24} 43 [{hour}]" for hour in (6, 12, 18)))] +
            ["month 0-7 5 [March 2024]"])
        self.assertEqual(len(self.all("#grid .hour")), 21)
        self.show(self.large)
        self.choose("period", "92")
        self.assertEqual(self.marks(axis, 92), [
            *(f"day week {3 + 7 * i}-{min(10 + 7 * i, 92)} 26 [{day}]" for i, day in enumerate(
                [18, 25, 1, 8, 15, 22, 29, 5, 12, 19, 26, 4, 11])),
            "month 0-17 5 [December 2023]", "month 17-48 5 [January 2024]", "month 48-77 5 [February 2024]",
            "month 77-92 5 [March 2024]"])
        self.assertEqual(self.marks("#grid .line:not(.month)", 92), [f"line {3 + 7 * i} 0 []" for i in range(13)])
        self.choose("period", "366")
        ends = [0, 16, 46, 77, 107, 138, 169, 199, 230, 260, 291, 322, 351, 366]
        self.assertEqual(self.marks(axis, 366), [
            *(f"month {ends[i]}-{ends[i + 1]} 24 [{name}]" for i, name in enumerate(
                "Mar April May June July August September October November December January February Mar".split())),
            "year 0-291 5 [2023]", "year 291-366 5 [2024]"])

    def test_each_way_to_a_period_leads_there_and_stays_where_the_data_are(self):
        self.show(self.large)
        for *action, first, last, length in (
                ("›", "2024-02-17", "2024-03-15", "4 weeks"), ("‹", "2024-01-20", "2024-02-16", "4 weeks"),
                ("period", "7", "2024-02-10", "2024-02-16", "1 week"), ("›", "2024-02-17", "2024-02-23", "1 week"),
                ("period", "92", "2023-11-24", "2024-02-23", "3 months"),
                ("December 2023", "2023-12-01", "2023-12-31", "31 days"),
                ("from", "2024-01-01", "2024-01-01", "2024-01-31", "31 days"),
                ("period", "366", "2023-03-16", "2024-03-15", "Everything"),
                ("Mar", "2023-03-16", "2023-03-31", "16 days"), ("period", "366", "2023-03-16", "2024-03-15", "Everything"),
                ("period", "7", "2024-03-09", "2024-03-15", "1 week"), ("Sun 10", "2024-03-10", "2024-03-10", "1 day"),
                ("from", "2024-03-15", "2024-03-15", "2024-03-15", "1 day"), ("from", "2020-01-01", "2024-03-15", "2024-03-15", "1 day"),
                ("period", "all", "2023-03-16", "2024-03-15", "Everything"),
                ("from", "2023-03-17", "2023-03-17", "2024-03-15", "365 days")):
            if len(action) > 1:
                self.choose(*action)
            else:
                self.browser.find_element(By.XPATH, f"//section[@id='picture']//*[text()='{action[0]}']").click()
            self.assertEqual([self.one("#shown").text[:25], self.one("#from").get_attribute("value"),
                              *self.each("#period :checked", "node.textContent"),
                              *self.each("#earlier, #later", "node.ariaDisabled === 'true'")],
                             [f"{first} to {last}.", first, length, first == "2023-03-16", last == "2024-03-15"])

        track = self.one(".lane .track")
        ActionChains(self.browser, 0).move_to_element(track).perform()
        self.assertEqual(self.tip()[:25], "Fri 2023-09-15, AB 100 CD")
        track.click()
        self.assertEqual(self.one("#shown").text[:25], "2023-09-15 to 2023-09-15.")

    def test_mouse_or_a_finger_at_a_bar_shows_what_it_is(self):
        def move(node, x=0):
            return ActionChains(self.browser, 0).move_to_element_with_offset(node, x, 0)

        for selector in (".lane:last-child .gap", ".lane:last-child .bar:nth-child(2)"):
            move(self.one(selector)).perform()
            self.assert_tip_of(selector)
        ActionChains(self.browser, 0).send_keys(Keys.ESCAPE).perform()
        self.assertEqual(self.tip(), "")
        first = self.one(".lane .bar")
        move(first, -first.rect["width"] // 2 - 12).perform()
        self.assertEqual(self.tip(), "")
        move(first, -first.rect["width"] // 2 - 12).click().perform()
        self.assert_tip_of(".lane:nth-child(2) .bar:nth-child(2)")

    def test_keys_lead_from_bar_to_bar_and_from_lane_to_lane(self):
        def press(key):
            ActionChains(self.browser, 0).send_keys(key).perform()
            return self.script("document.activeElement.getAttribute('aria-label')")

        # The stretch without data is the first node of a lane and the last in time.
        lanes = self.each(".lane", "[...node.querySelectorAll('.bar, .gap')].map((bar) => bar.getAttribute('aria-label'))")
        self.one("#later").send_keys("")
        self.assertEqual([press(Keys.TAB), press(Keys.ARROW_RIGHT)], lanes[0][1:3])
        self.assert_tip_of(".bar:focus")
        self.browser.set_window_size(1000, 1000)
        self.wait(200)
        self.assertEqual([press(key) for key in (
            Keys.SHIFT, Keys.HOME, Keys.ARROW_LEFT, Keys.END, Keys.ARROW_RIGHT, Keys.ARROW_DOWN,
            Keys.END, Keys.ARROW_LEFT, Keys.ARROW_UP, Keys.ARROW_UP, Keys.TAB)], [
            lanes[0][2], lanes[0][1], lanes[0][1], lanes[0][0], lanes[0][0], lanes[1][0],
            lanes[1][0], lanes[1][-1], lanes[0][-1], lanes[0][-1], lanes[1][-1]])
        self.assertEqual(len(self.all("#lanes [tabindex='0']")), len(lanes))
        self.script("document.activeElement.scrollIntoView()")
        self.assert_tip_of(".bar:focus", False)
        press(Keys.ESCAPE)
        self.script("scrollTo(0, 0)")
        self.wait(50)
        self.assertEqual(self.tip(), "")

    def test_forced_colours_keep_everything_apart(self):
        self.addCleanup(self.browser.execute_cdp_cmd, "Emulation.setEmulatedMedia", {})
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [{"name": "forced-colors", "value": "active"}]})
        looks = self.each(".sample:not(.columns), #controls fieldset span", """["backgroundColor", "backgroundImage",
            "borderTopWidth", "height"].map((part) => getComputedStyle(node)[part]).join(" ")""")
        self.assertEqual(len(set(looks)), 7, looks)

    def test_print_is_whole_and_says_what_it_is_of(self):
        self.choose("period", "all")
        self.choose("vehicle", "cd")
        self.choose("driver", "e")
        pages = self.paper()
        self.assertIn("The picture and the insertions show driver “e”, vehicle “cd”, 2024-02-16 to 2024-03-15. "
                      "The other tables are of all days, drivers and vehicles of this page.", pages[0])
        self.assertEqual([row for row in self.rows if "e" in row["holder"] and
                          minute(row["inserted"]) not in "".join(pages)], [])
        listed = [page for page in pages if re.search(r"^ *[A-ZÜ]{2} 10\d CD +[^\d ]", page, re.M)]
        self.assertTrue(len(listed) > 1 and all("Withdrawn" in page for page in listed), pages)
        self.assertIsNone(self.one("#insertions details").get_attribute("open"))
        self.show(self.large)
        self.choose("period", "all")
        found = set(re.findall("too many insertions for paper|ZT 135 CD|Withdrawn", "".join(self.paper())))
        self.assertEqual(found, {"too many insertions for paper", "ZT 135 CD"})

    def test_what_is_long_is_opened_and_drawn_on_demand(self):
        self.show(self.large)
        self.assertLess(len(self.all(".bar")), 2500)
        self.assertIsNone(self.one("#vehicles details").get_attribute("open"))
        self.one("nav [href='#vehicles']").click()
        self.assertEqual(sorted(self.each("#vehicles details[open] .swatch", "node.className")),
                         sorted(f"swatch of-vehicle c{i % 8}" for i in range(36)))


if __name__ == "__main__":
    readkey, makekey, chromium, chromedriver = sys.argv[1:5]
    unittest.main(argv=[sys.argv[0], *sys.argv[5:]])
