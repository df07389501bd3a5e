#!/usr/bin/python3
"""The page of "readkey --html", in a real browser: test_page.py READKEY MAKEKEY CHROMIUM CHROMEDRIVER [TEST...]"""

import base64
import csv
import json
import os
import re
import subprocess
import sys
import tempfile
import unittest
from datetime import datetime
from pathlib import Path
from zoneinfo import ZoneInfo

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

CHROMIUM_OPTIONS = """--headless=new --no-sandbox --disable-gpu --disable-background-networking
    --disable-component-update --disable-sync --no-first-run --window-size=1400,1000"""

# Text as a stranger might put it into a driver's card: 35 bytes of a code page, in blanks.
HOSTILE_SURNAME = "</script><script>alert(1)</script>"
HOSTILE_FIRST_NAMES = "\"'><img src=x onerror=alert(2)>"
HOSTILE_PLATE = "<b>&amp;\"'"


def run(program, *arguments):
    """readkey ends with 1 where a file of the key is damaged, as one is on purpose."""
    environment = dict(os.environ, TZ="Europe/Berlin", LC_ALL="C.UTF-8")
    done = subprocess.run([program, *map(str, arguments)], env=environment, capture_output=True)
    if done.returncode not in ((0, 1) if program == readkey else (0,)):
        raise RuntimeError(f"{program}: {done.stderr.decode()}")
    return done.stdout.decode()


def make_key(directory, *options):
    run(makekey, *options, directory)
    return directory


def make_page(key, *options):
    page = key.parent / f"{key.name}{''.join(options)}.html".replace(" ", "")
    run(readkey, "--html", page, *options, key)
    return page


def read_insertions(key):
    """What the page is compared with: the rows of readkey's CSV, with the time as a clock in Berlin shows it."""
    rows = list(csv.DictReader(run(readkey, "--csv=insertions", key).splitlines()))
    for row in rows:
        row["local"] = local_time(row["inserted"])
    return rows


def local_time(utc):
    instant = datetime.fromisoformat(utc.replace("Z", "+00:00"))
    return instant.astimezone(ZoneInfo("Europe/Berlin")).strftime("%Y-%m-%d %H:%M")


def label(insertion):
    """What the page tells of an insertion's bar."""
    def grouped(kilometres):
        return f"{int(kilometres):,}".replace(",", "\u202f")

    slot = {"0": "driver", "1": "co-driver"}[insertion["slot"]]
    where = f"{insertion['holder']}, {insertion['plate']}, {slot}"
    start = insertion["local"]
    begin = int(insertion["odometerAtInsertion"])
    if not insertion["withdrawn"]:
        return f"{where}, {start} – not withdrawn at the download, from {grouped(begin)} km"
    end = local_time(insertion["withdrawn"])
    shown_end = end[11:] if end[:10] == start[:10] else end
    seconds = (datetime.fromisoformat(insertion["withdrawn"][:-1]) -
               datetime.fromisoformat(insertion["inserted"][:-1])).total_seconds()
    last = int(insertion["odometerAtWithdrawal"])
    return (f"{where}, {start} – {shown_end} ({seconds // 3600:.0f}:{seconds % 3600 // 60:02.0f} h), "
            f"{grouped(begin)} – {grouped(last)} km ({grouped(last - begin)} km)")


def brightness(colour):
    red, green, blue = (int(part) for part in re.findall(r"\d+", colour)[:3])
    return (red + green + blue) / 3


def make_hostile(key):
    """Gives a driver of the sample, and its first vehicle, names that are markup."""
    changes = {
        b"\x01" + b"Sample".ljust(35): b"\x01" + HOSTILE_SURNAME.encode().ljust(35),
        b"\x01" + b"Jo".ljust(35): b"\x01" + HOSTILE_FIRST_NAMES.encode().ljust(35),
        # A mark that turns the direction of writing round; code page 8 has it.
        b"\x01" + b"Placeholder".ljust(35): b"\x08" + b"Turned\xfe".ljust(35),
        b"\x01" + b"AB 100 CD".ljust(13): b"\x01" + HOSTILE_PLATE.encode().ljust(13),
    }
    for file in (key / "download").iterdir():
        contents = file.read_bytes()
        for old, new in changes.items():
            contents = contents.replace(old, new)
        file.write_bytes(contents)
    (key / "download" / "C_20240315_0830_<img src=x>.DDD").write_bytes(b"<script>alert(3)</script>" * 100)
    return key


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.directory = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.sample_key = make_key(cls.directory / "sample", "--oddities")
        cls.sample = make_page(cls.sample_key)
        cls.insertions = read_insertions(cls.sample_key)
        cls.hostile = make_page(make_hostile(make_key(cls.directory / "hostile")))
        large = make_key(cls.directory / "large", "--files", "36", "--days", "365")
        cls.large = make_page(large)
        cls.large_insertions = read_insertions(large)
        options = webdriver.ChromeOptions()
        options.binary_location = chromium
        for option in CHROMIUM_OPTIONS.split():
            options.add_argument(option)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        # The page shows readkey's clock, not the browser's.
        os.environ["TZ"] = "America/New_York"
        service = Service(chromedriver)
        cls.browser = webdriver.Chrome(options=options, service=service)
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self):
        self.take_logs()
        self.browser.set_window_size(1400, 1000)
        self.addCleanup(self.emulate)
        self.show(self.sample)

    # What the tests use

    def take_logs(self):
        requests = []
        for entry in self.browser.get_log("performance"):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                requests.append(message["params"]["request"]["url"])
        return requests, [entry["message"] for entry in self.browser.get_log("browser")]

    def show(self, page):
        self.browser.get(page.as_uri())

    def script(self, text, *arguments):
        return self.browser.execute_script(f"return {text}", *arguments)

    def one(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def all(self, selector):
        return self.browser.find_elements(By.CSS_SELECTOR, selector)

    def labels(self, selector):
        """What a screen reader is told of each."""
        return self.script("[...document.querySelectorAll(arguments[0])]"
                           ".map(node => node.getAttribute('aria-label'))", selector)

    def rows(self, table):
        return self.script("[...document.querySelectorAll(arguments[0] + ' tbody tr')]"
                           ".map(row => [...row.cells].map(cell => cell.textContent))", f"#{table}")

    def choose(self, control, value):
        self.script("(([id, value]) => { const node = document.getElementById(id);"
                    "node.value = value; node.dispatchEvent(new Event('input'));"
                    "node.dispatchEvent(new Event('change')); })(arguments)", control, value)

    def lanes_by(self, kind):
        self.one(f"[name=lanes][value={kind}] + span").click()

    def emulate(self, media="", scheme="light"):
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "media": media, "features": [{"name": "prefers-color-scheme", "value": scheme}]})

    def colour(self, selector, which="background-color"):
        return self.one(selector).value_of_css_property(which)

    def tip(self):
        """The lines that are shown of a bar, or None."""
        tip = self.one("#tip")
        return tip.text.split("\n") if tip.is_displayed() else None

    # The tests

    def test_nothing_is_requested_and_nothing_reported(self):
        for kind in ("driver", "vehicle"):
            self.lanes_by(kind)
        ActionChains(self.browser).move_to_element(self.one(".bar")).perform()
        self.choose("period", "7")
        self.one("#insertions th button").click()
        requests, messages = self.take_logs()
        self.assertEqual({url for url in requests if not url.startswith("data:")}, {self.sample.as_uri()})
        self.assertEqual(messages, [])

    def test_only_the_own_script_of_the_page_runs_and_nothing_can_be_fetched(self):
        self.script("(() => { const node = document.createElement('script');"
                    "node.textContent = 'window.stranger = true'; document.body.append(node); })()")
        self.assertIsNone(self.script("window.stranger"))
        for attempt, directive in (("fetch('other').catch(() => {})", "connect-src"),
                                   ("new Image().src = 'other.png'", "img-src")):
            self.assertEqual(self.browser.execute_async_script(
                "const done = arguments[0]; addEventListener('securitypolicyviolation',"
                f"(event) => done(event.effectiveDirective), {{once: true}}); {attempt};"), directive)

    def test_without_scripts_the_page_says_so(self):
        self.browser.execute_cdp_cmd("Emulation.setScriptExecutionDisabled", {"value": True})
        self.addCleanup(self.browser.execute_cdp_cmd, "Emulation.setScriptExecutionDisabled", {"value": False})
        self.show(self.sample)
        self.assertIn("scripts are off", self.one("noscript").text)

    def test_each_insertion_is_a_bar(self):
        for kind in ("vehicle", "driver"):
            self.lanes_by(kind)
            self.assertEqual(len(self.all(".bar")), len(self.insertions), kind)
        self.assertFalse(self.one("#joined").is_displayed())

    def test_a_bar_tells_driver_vehicle_times_and_kilometres(self):
        expected = [label(insertion) for insertion in self.insertions]
        self.assertCountEqual(self.labels(".bar"), expected)

    def test_lanes_are_vehicles_or_drivers(self):
        for kind in ("plate", "holder"):
            self.lanes_by("vehicle" if kind == "plate" else "driver")
            names = [node.text for node in self.all(".lane .label b")]
            self.assertEqual(names, sorted({insertion[kind] for insertion in self.insertions}))
            for lane, name in zip(self.all(".lane"), names):
                self.assertEqual(len(lane.find_elements(By.CSS_SELECTOR, ".bar")),
                                 sum(insertion[kind] == name for insertion in self.insertions))

    def test_co_drivers_are_half_as_high_and_open_ends_are_pale(self):
        heights = {name: node.rect["height"] for name, node in
                   (("driver", self.one(".row0")), ("co-driver", self.one(".row1")))}
        self.assertAlmostEqual(heights["driver"], 2 * heights["co-driver"], delta=1)
        self.assertEqual(len(self.all(".row1")), sum(i["slot"] == "1" for i in self.insertions))
        self.assertEqual(len(self.all(".open")), sum(not i["withdrawn"] for i in self.insertions))
        self.assertIn("gradient", self.colour(".open", "background-image"))
        # It goes on to the download of the next morning: half a day and more, of 29.
        self.assertGreater(self.one(".open").rect["width"], self.one(".lane .track").rect["width"] / 29 / 2)

    def test_kilometres_without_a_card_are_marked(self):
        [label] = self.labels(".gap")
        self.assertRegex(label, r"^63 km without a card, MÜ 101 CD, 2024-03-1\d \d\d:\d\d – ")
        [row] = [row for row in self.rows("vehicles") if row[-1] != "0"]
        self.assertEqual((row[0], row[-1]), ("MÜ 101 CD", "63"))

    def test_weekends_are_shaded(self):
        days = self.script("[...document.querySelectorAll('.weekend')].map(node => node.style.left)")
        self.assertEqual(len(days), 8)  # four weeks

    def test_pointing_at_a_bar_shows_its_name(self):
        self.assertIsNone(self.tip())
        bar = self.one(".lane:last-child .bar")
        ActionChains(self.browser).move_to_element(bar).perform()
        self.assertEqual(", ".join(self.tip()), bar.get_attribute("aria-label"))
        ActionChains(self.browser).move_to_element(self.one("h1")).perform()
        self.assertIsNone(self.tip())

    def test_keys_lead_from_bar_to_bar(self):
        def press(key):
            ActionChains(self.browser).send_keys(key).perform()
            return self.script("document.activeElement.getAttribute('aria-label')")

        lanes = [[bar.get_attribute("aria-label") for bar in lane.find_elements(By.CSS_SELECTOR, ".bar, .gap")]
                 for lane in self.all(".lane")]
        self.one("#later").send_keys("")
        self.assertEqual(press(Keys.TAB), lanes[0][0])
        self.assertEqual(press(Keys.ARROW_RIGHT), lanes[0][1])
        self.assertEqual(", ".join(self.tip()), lanes[0][1])
        self.assertNotEqual(self.colour(":focus", "outline-style"), "none")
        self.assertEqual(press(Keys.END), lanes[0][-1])
        self.assertEqual(press(Keys.ARROW_RIGHT), lanes[0][-1])
        self.assertEqual(press(Keys.HOME), lanes[0][0])
        self.assertIn(press(Keys.ARROW_DOWN), lanes[1])
        self.assertIn(press(Keys.ARROW_UP), lanes[0])
        press(Keys.ESCAPE)
        self.assertIsNone(self.tip())
        self.assertEqual(len(self.all("#lanes [tabindex='0']")), 1)

    def test_a_driver_can_be_singled_out_by_name_or_card_number(self):
        of_jo = [insertion for insertion in self.insertions if insertion["holder"] == "Jo Sample"]
        for text in ("jo sam", "Jo Sample", "DF00000000000100"):
            self.choose("driver", text)
            self.assertCountEqual(self.labels(".bar"), [label(i) for i in of_jo], text)
            self.assertEqual({row[1] for row in self.rows("insertions")}, {"Jo Sample"}, text)
        self.choose("driver", "")
        self.assertEqual(len(self.all(".bar")), len(self.insertions))
        self.one("#drivers .chip").click()
        self.assertEqual(len(self.all(".bar")), sum(
            i["holder"] == self.one("#drivers .chip").text for i in self.insertions))

    def test_a_vehicle_can_be_singled_out(self):
        self.choose("vehicle", "zt 103")
        self.assertEqual([node.text for node in self.all(".lane .label b")], ["ZT 103 CD"])

    def test_a_period_can_be_chosen(self):
        self.choose("from", "2024-03-05")
        self.choose("period", "1")
        self.choose("from", "2024-03-05")
        on_that_day = [label(i) for i in self.insertions if i["local"].startswith("2024-03-05")]
        self.assertCountEqual(self.labels(".bar"), on_that_day)
        self.assertIn(f"{len(self.insertions) - len(on_that_day)} insertions lie outside", self.one("#shown").text)
        self.one("#later").click()
        self.assertIn("2024-03-06 to 2024-03-06", self.one("#shown").text)

    def test_the_tables_tell_what_the_files_hold_and_what_failed(self):
        self.assertEqual([row[0] for row in self.rows("failures")],
                         ["S_20240315_0800_KX106CD.DDD", "V_HOLIDAY_20240311_1816.TGD"])
        contents = {row[0]: row[2] for row in self.rows("files")}
        self.assertEqual(contents["C_20240315_0818_J_SAMPLE_DF00000000000100.DDD"],
                         "driver card DF00000000000100 Jo Sample")
        self.assertIn("not a download", contents["BACKUP.DDD"])
        self.one("#insertions .note button").click()
        self.assertEqual(len(self.rows("insertions")), len(self.insertions))

    def test_a_heading_sorts_its_table(self):
        for direction in (False, True):
            self.one("#drivers th:nth-child(5) button").click()
            counts = [int(row[4]) for row in self.rows("drivers")]
            self.assertEqual(counts, sorted(counts, reverse=direction))

    def test_dark_mode_is_dark(self):
        for scheme, is_dark in (("light", False), ("dark", True)):
            self.emulate(scheme=scheme)
            self.assertEqual(brightness(self.colour("body")) < 64, is_dark)
            self.assertEqual(brightness(self.colour("body", "color")) > 191, is_dark)

    def test_print_is_light_landscape_a4_and_whole(self):
        self.emulate(scheme="dark", media="print")
        self.assertGreater(brightness(self.colour("body")), 191)
        self.assertLess(brightness(self.colour("body", "color")), 64)
        self.assertFalse(self.one("#controls").is_displayed())
        paper = base64.b64decode(self.browser.execute_cdp_cmd(
            "Page.printToPDF", {"preferCSSPageSize": True})["data"])
        boxes = re.findall(rb"/MediaBox ?\[0 0 ([\d.]+) ([\d.]+)\]", paper)
        self.assertTrue(boxes)
        for box in boxes:
            self.assertEqual([round(float(side)) for side in box], [842, 595])

    def test_hostile_names_stay_text(self):
        self.show(self.hostile)
        drivers = [row[0] for row in self.rows("drivers")]
        self.assertIn(f"{HOSTILE_FIRST_NAMES} {HOSTILE_SURNAME}", drivers)
        self.assertTrue(any("Turned\\u200F" in name for name in drivers), drivers)
        self.assertIn(HOSTILE_PLATE, [row[0] for row in self.rows("vehicles")])
        self.assertIn("C_20240315_0830_<img src=x>.DDD", [row[0] for row in self.rows("files")])
        self.lanes_by("driver")
        ActionChains(self.browser).move_to_element(self.one(".bar")).perform()
        self.assertEqual(self.all("img, #insertions b, .label b b"), [])
        self.assertEqual(len(self.all("script")), 4)
        self.assertEqual(self.take_logs()[1], [])

    def test_times_are_those_of_readkey_in_summer_too(self):
        self.show(self.large)
        self.assertIn("Times are local: Europe/Berlin.", self.one("#about").text)
        self.choose("from", "2023-07-03")
        self.choose("period", "7")
        self.choose("from", "2023-07-03")
        plate = self.large_insertions[0]["plate"]
        self.choose("vehicle", plate)
        self.assertEqual(sorted(row[3] for row in self.rows("insertions")), sorted(
            i["local"] for i in self.large_insertions
            if i["plate"] == plate and "2023-07-03" <= i["local"][:10] <= "2023-07-09"))

    def test_times_are_utc_where_that_was_asked(self):
        self.show(make_page(self.sample_key, "--utc", "--vehicle", "ZT 103"))
        self.assertIn("Times are UTC.", self.one("#about").text)
        self.assertEqual(sorted(row[3] for row in self.rows("insertions")), sorted(
            i["inserted"][:16].replace("T", " ") for i in self.insertions if i["plate"] == "ZT 103 CD"))
        others = sum(i["plate"] != "ZT 103 CD" for i in self.insertions)
        self.assertIn(f"Left out, as it was asked: {others} insertions.", self.one("#about").text)

    def test_27000_insertions_are_small_and_quick(self):
        self.assertGreater(len(self.large_insertions), 27000)
        self.assertLess(self.large.stat().st_size, 5_000_000)
        times = []
        for _ in range(3):
            self.show(self.large)
            # The second frame begins when the first one has been drawn.
            times.append(self.browser.execute_async_script(
                "const done = arguments[0];"
                "requestAnimationFrame(() => requestAnimationFrame(() => done(performance.now())));"))
        self.assertLess(min(times), 2000)
        self.assertTrue(self.one("#joined").is_displayed())
        self.assertLess(len(self.all(".bar")), len(self.large_insertions))
        print(f"\n{len(self.large_insertions)} insertions: {self.large.stat().st_size} bytes, "
              f"{min(times):.0f} ms to the first picture", file=sys.stderr)


if __name__ == "__main__":
    readkey, makekey, chromium, chromedriver = sys.argv[1:5]
    unittest.main(argv=[sys.argv[0], *sys.argv[5:]])
