#!/usr/bin/python3
"""The page of "readkey --html", in a real browser: test_page.py READKEY MAKEKEY CHROMIUM CHROMEDRIVER [TEST...]

What the page shows is compared with readkey's CSV, whose UTC times become a clock's here by Python's own zones.
"""

import base64
import csv
import json
import os
import re
import subprocess
import sys
import tempfile
import unittest
from collections import defaultdict
from datetime import datetime, timedelta, timezone
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

# Puts the clock back at 11:00 on a day of the sample: 10:00 to 11:00 comes twice.
AUTUMN = "AAA-1BBB,M1.1.0/2,M3.1.2/11"
BERLIN = ZoneInfo("Europe/Berlin")
WEEKDAYS = ["Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"]


def run(program, *arguments, zone="Europe/Berlin"):
    """readkey does not end with 0 if a file of the key is damaged, as one is on purpose."""
    done = subprocess.run([program, *map(str, arguments)], env=dict(os.environ, TZ=zone, LC_ALL="C.UTF-8"),
                          capture_output=True)
    if done.returncode not in ((0, 1, 3) if program == readkey else (0,)):
        raise RuntimeError(f"{program}: {done.stderr.decode()}")
    return done.stdout.decode()


def make_key(directory, *options, changes=()):
    """With the first bytes of each change replaced by the second in every file."""
    run(makekey, *options, directory)
    for file in (directory / "download").iterdir():
        contents = file.read_bytes()
        for old, new in changes:
            contents = contents.replace(old, new)
        file.write_bytes(contents)
    return directory


def make_page(key, *options, zone="Europe/Berlin"):
    """The ages count to a day when cards are overdue, and vehicles are not."""
    page = key.parent / f"{key.name}{''.join(options)}{len(zone)}.html".replace(" ", "")
    run(readkey, "--as-of", "2024-04-20", *options, "--html", page, key, zone=zone)
    return page


def field(text):
    """As a file has it: a code page, and 35 bytes of a name or 13 of a plate."""
    return b"\x01" + text.encode("latin-1").ljust(13 if re.match(r"[A-Z]{2} |<b>", text) else 35)


def read_csv(key, what, *options):
    lines = run(readkey, "--as-of", "2024-04-20", f"--csv={what}", *options, key).splitlines()
    return list(csv.DictReader(lines))


def instant(utc):
    return datetime.fromisoformat(utc.replace("Z", "+00:00"))


def seconds(row):
    return (instant(row["withdrawn"]) - instant(row["inserted"])).seconds if row["withdrawn"] else 0


def distance(row):
    return int(row["odometerAtWithdrawal"]) - int(row["odometerAtInsertion"]) if row["withdrawn"] else 0


def minute(utc):
    return instant(utc).astimezone(BERLIN).strftime("%Y-%m-%d %H:%M")


def grouped(number):
    return f"{int(number):,}".replace(",", "\u202f")


def hours(duration):
    return f"{grouped(duration // 3600)}:{duration // 60 % 60:02}"


def midnight(day):
    return datetime.fromisoformat(day).replace(tzinfo=BERLIN).astimezone(timezone.utc)


def label(row):
    """What the page tells of an insertion's bar."""
    slot = {"0": "driver", "1": "co-driver"}[row["slot"]]
    where = f"{row['holder']}, {row['plate']}, {slot}"
    start = minute(row["inserted"])
    begin = grouped(row["odometerAtInsertion"])
    if not row["withdrawn"]:
        return f"{where}, {start} – not withdrawn at the download, from {begin} km"
    end = minute(row["withdrawn"])
    return (f"{where}, {start} – {end[11:] if end[:10] == start[:10] else end} ({hours(seconds(row))} h), "
            f"{begin} – {grouped(row['odometerAtWithdrawal'])} km ({grouped(distance(row))} km)")


def overlaps(row, first, behind):
    end = row["withdrawn"] or row["downloaded"]
    return instant(row["inserted"]) < midnight(behind) and instant(end) >= midnight(first)


def table_row(row):
    numbers = [row["odometerAtInsertion"], row["odometerAtWithdrawal"], distance(row)] if row["withdrawn"] else []
    return [row["plate"], row["holder"], "co-driver" if row["slot"] == "1" else "driver", minute(row["inserted"]),
            *([minute(row["withdrawn"]), hours(seconds(row)), *map(grouped, numbers)] if numbers else
              ["-", "-", grouped(row["odometerAtInsertion"]), "-", "-"])]


def brightness(colour):
    return sum(int(part) for part in re.findall(r"\d+", colour)[:3]) / 3


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.directory = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.sample_key = make_key(cls.directory / "sample", "--oddities")
        cls.sample = make_page(cls.sample_key)
        cls.rows = read_csv(cls.sample_key, "insertions")
        downloads = {row["file"]: row["downloaded"] for row in read_csv(cls.sample_key, "files")}
        for row in cls.rows:
            row["downloaded"] = downloads[row["file"]]
        large = make_key(cls.directory / "large", "--files", "36", "--days", "365")
        cls.large = make_page(large)
        cls.large_rows = read_csv(large, "insertions")
        options = webdriver.ChromeOptions()
        options.binary_location = chromium
        for option in CHROMIUM_OPTIONS.split():
            options.add_argument(option)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        # The page shows readkey's clock, not the browser's.
        os.environ["TZ"] = "America/New_York"
        cls.browser = webdriver.Chrome(options=options, service=Service(chromedriver))
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

    def each(self, selector, expression):
        """Of each node, in the page."""
        return self.script(f"[...document.querySelectorAll(arguments[0])].map((node) => {expression})", selector)

    def labels(self, selector=".lane .bar"):
        """What a screen reader is told of each."""
        return self.each(selector, "node.getAttribute('aria-label')")

    def boxes(self, selector, within=".lane .track"):
        """Left, right, top and bottom of each; left and right as parts of the track."""
        return self.each(selector, f"""(({{left, right, top, bottom}}, track) => [(left - track.left) / track.width,
            (right - track.left) / track.width, top, bottom])(node.getBoundingClientRect(),
            document.querySelector('{within}').getBoundingClientRect())""")

    def table(self, name):
        return self.each(f"#{name} tbody tr", "[...node.cells].map((cell) => cell.textContent)")

    def choose(self, control, value, event="change"):
        self.script("((id, value, event) => { const node = document.getElementById(id);"
                    "node.value = value; node.dispatchEvent(new Event(event)); })(...arguments)", control, value, event)

    def type(self, control, value):
        self.choose(control, value, "input")

    def click_on_axis(self, text):
        self.browser.find_element(By.XPATH, f"//*[@id='axis']//span[text()='{text}']").click()

    def lanes_by(self, kind):
        self.one(f"[name=lanes][value={kind}] + span").click()

    def show_days(self, first, days):
        self.choose("period", days)
        self.choose("from", first)

    def open_insertions(self):
        self.script("document.querySelector('#insertions details').open = true")
        self.script("new Promise((done) => setTimeout(done, 50))")
        return self.table("insertions")

    def totals(self):
        return dict(zip(self.each("#totals dt", "node.textContent"), self.each("#totals dd", "node.textContent")))

    def emulate(self, media="", **features):
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": media, "features": [
            {"name": name.replace("_", "-"), "value": value} for name, value in features.items()]})

    def paper(self):
        """The pages that are printed, as text, and their sizes."""
        pdf = base64.b64decode(self.browser.execute_cdp_cmd("Page.printToPDF", {"preferCSSPageSize": True})["data"])
        text = subprocess.run(["pdftotext", "-layout", "-", "-"], input=pdf, capture_output=True, check=True).stdout
        return text.decode().split("\f")[:-1], re.findall(rb"/MediaBox ?\[0 0 ([\d.]+) ([\d.]+)\]", pdf)

    def tip(self):
        """The lines that are shown of a bar, or None."""
        tip = self.one("#tip")
        return tip.text.split("\n") if tip.is_displayed() else None

    def assert_places(self, boxes, spans):
        """Each box is where its times are in the period shown, to the browser's 64ths of a pixel."""
        first, behind = (midnight(day) for day in self.period())
        width = self.one(".lane .track").rect["width"]
        for (left, right, *_), (start, end) in zip(boxes, spans, strict=True):
            for place, time in ((left, max(start, first)), (right, min(end, behind))):
                expected = (time - first) / (behind - first)
                self.assertAlmostEqual(place * width, expected * width, delta=2 / 64)

    def period(self):
        """The first day and the one behind the last."""
        first, last = re.match(r"([\d-]+) to ([\d-]+)\.", self.one("#shown").text).groups()
        return first, str(datetime.fromisoformat(last) + timedelta(days=1))[:10]

    # The tests

    def test_nothing_is_requested_and_nothing_reported(self):
        for kind in ("driver", "vehicle"):
            self.lanes_by(kind)
        ActionChains(self.browser).move_to_element(self.one(".bar")).perform()
        for period in ("1", "7", "366"):
            self.choose("period", period)
        self.open_insertions()
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

    def test_hostile_names_stay_text(self):
        key = make_key(self.directory / "hostile", changes=[
            (field("Sample"), field(HOSTILE_SURNAME)), (field("Jo"), field(HOSTILE_FIRST_NAMES)),
            (field("AB 100 CD"), field(HOSTILE_PLATE)),
            # A mark that turns the direction of writing round; code page 8 has it.
            (field("Placeholder"), b"\x08" + b"Turned\xfe".ljust(35))])
        (key / "download" / "C_20240315_0830_<img src=x>.DDD").write_bytes(b"<script>alert(3)</script>" * 100)
        self.show(make_page(key))
        drivers = [row[0] for row in self.table("drivers")]
        self.assertIn(f"{HOSTILE_FIRST_NAMES} {HOSTILE_SURNAME}", drivers)
        self.assertTrue(any("Turned\\u200F" in name for name in drivers), drivers)
        self.assertIn(HOSTILE_PLATE, [row[0] for row in self.table("vehicles")])
        self.assertIn("C_20240315_0830_<img src=x>.DDD", [row[0] for row in self.table("files")])
        self.lanes_by("driver")
        ActionChains(self.browser).move_to_element(self.one(".bar")).perform()
        self.open_insertions()
        self.assertEqual(self.all("img, table b, .label b b, #tip b b"), [])
        self.assertEqual(len(self.all("script")), 5)
        self.assertEqual(self.take_logs()[1], [])

    def test_page_says_what_it_is_of(self):
        self.assertEqual(self.browser.title, f"{self.sample_key}, 2024-02-16 to 2024-03-15 - tachograph logbook")
        self.assertIn("Times are local: Europe/Berlin.", self.one("#about").text)
        version = run(readkey, "--version").split()[-1]
        self.assertRegex(self.one("#made").text, rf"^Made by readkey {version}, \d{{4}}-\d\d-\d\d \d\d:\d\d\.$")
        small = make_key(self.directory / "small", "--files", "1", "--days", "1")
        self.assertLess(make_page(small).stat().st_size, 80_000)
        for file in (small / "download").glob("*AB100CD*"):
            file.unlink()
        self.show(make_page(small))
        self.assertEqual(self.one("#picture").text, "Who drove when\nNo insertion was read.")

    def test_summary_is_that_of_the_csv_with_scripts_and_without(self):
        with_script = {name: self.table(name) for name in ("vehicles", "drivers", "failures", "files")}
        self.assertEqual(with_script["vehicles"], [[
            row["plate"], minute(row["downloaded"]), row["ageDays"], row["insertions"], row["drivers"],
            hours(int(row["cardInSeconds"])), grouped(row["kilometres"]), row["kilometresWithoutCard"]]
            for row in read_csv(self.sample_key, "vehicles")])
        self.assertEqual(with_script["drivers"], [[
            row["driver"], row["cardNumber"] or "-", row["ageDays"] + " overdue" if row["ageDays"] else "never",
            row["vehicles"], row["insertions"], hours(int(row["cardInSeconds"])), grouped(row["kilometres"])]
            for row in read_csv(self.sample_key, "drivers")])
        self.assertEqual(self.one("#drivers summary").text, "Drivers 8 8 overdue")
        self.assertIn("Ages count to 2024-04-20.", self.one("#overdue-rule").text)
        self.assertEqual([row[0] for row in with_script["failures"]],
                         ["S_20240315_0800_KX106CD.DDD", "V_HOLIDAY_20240311_1816.TGD"])
        self.assertEqual([row[0] for row in with_script["files"]],
                         [row["file"] for row in read_csv(self.sample_key, "files")])
        self.assertFalse(self.all(".without-script"))
        self.browser.execute_cdp_cmd("Emulation.setScriptExecutionDisabled", {"value": True})
        self.addCleanup(self.browser.execute_cdp_cmd, "Emulation.setScriptExecutionDisabled", {"value": False})
        self.show(self.sample)
        self.assertEqual({name: self.table(name) for name in with_script}, with_script)
        self.assertIn("no script has run", self.one(".without-script").text)
        self.assertFalse(self.one("#picture").is_displayed() or self.one("#insertions").is_displayed())

    def test_each_bar_is_where_its_times_are(self):
        """Of four weeks, a week and a day, in lanes and out of sight of one another."""
        for days, first, behind in (("28", "2024-02-17", "2024-03-16"), ("7", "2024-03-04", "2024-03-11"),
                                    ("1", "2024-03-05", "2024-03-06")):
            self.show_days(first, days)
            self.assertEqual(self.period(), (first, behind))
            shown = [row for row in self.rows if overlaps(row, first, behind)]
            for kind, column in (("driver", "holder"), ("vehicle", "plate")):
                self.lanes_by(kind)
                in_order = sorted(shown, key=lambda row: (row[column], row["inserted"], row["slot"]))
                self.assertEqual(self.labels(), [label(row) for row in in_order])
                boxes = self.boxes(".lane .bar")
                self.assert_places(boxes, [(instant(row["inserted"]), instant(row["withdrawn"] or row["downloaded"]))
                                           for row in in_order])
                for row, (_, _, top, bottom) in zip(in_order, boxes):
                    self.assertAlmostEqual(bottom - top, 10 if row["slot"] == "1" else 20, delta=0.5)
                self.assertEqual(self.labels(".lane .open"), [label(row) for row in in_order if not row["withdrawn"]])
                names = [row["plate" if kind == "driver" else "holder"] for row in in_order]
                colours = dict(zip(self.each("#drivers tr .chip, #vehicles tr .chip", "node.textContent"), self.each(
                    ".swatch", "getComputedStyle(node).backgroundColor")))
                self.assertEqual(self.each(".lane .bar", "getComputedStyle(node).backgroundColor"),
                                 [colours[name] for name in names])

    def test_lanes_say_what_they_add_up_to(self):
        for kind, column in (("vehicle", "plate"), ("driver", "holder")):
            self.lanes_by(kind)
            self.choose("period", "all")
            self.choose("period", "7")
            expected = []
            for name in sorted({row[column] for row in self.rows}):
                mine = [row for row in self.rows if row[column] == name and overlaps(row, "2024-03-09", "2024-03-16")]
                driving = [row for row in mine if row["slot"] == "0"]
                if mine:
                    expected.append([name, f"{hours(sum(map(seconds, driving)))} h, "
                                           f"{grouped(sum(map(distance, driving)))} km"])
            self.assertEqual([node.text.split("\n") for node in self.all(".lane .label")], expected)

    def test_what_is_chosen_is_shown_listed_and_added_up(self):
        """By words in any order, without regard to case, accents and blanks, or by a card's number."""
        self.choose("period", "all")
        for driver, vehicle, holder, plate in (
                ("sample jo", "", "Jo Sample", None), ("DF00000000000100", "", "Jo Sample", None),
                ("zoe", "", "Zoé Exemple", None), ("lucja", "MU 101", "Łucja Przykład", "MÜ 101 CD"),
                ("", "zt103", None, "ZT 103 CD"), ("Pat Placeholder", "zt", "Pat Placeholder", "none")):
            self.type("driver", driver)
            self.type("vehicle", vehicle)
            rows = [row for row in self.rows if holder in (None, row["holder"]) and plate in (None, row["plate"])]
            self.assertCountEqual(self.labels(), map(label, rows))
            driving = [row for row in rows if row["slot"] == "0"]
            self.assertEqual({name: value for name, value in self.totals().items() if name != "km without a card"}, {
                "Insertions": f"{len(rows)} of {len(self.rows)}",
                "Card in, driver's slot": hours(sum(map(seconds, driving))) + " h",
                "Card in, co-driver's slot": hours(sum(seconds(row) for row in rows if row["slot"] == "1")) + " h",
                "Kilometres": grouped(sum(map(distance, driving)))})
            listed = sorted(rows, key=lambda row: (row["plate"], row["inserted"], row["slot"]))
            self.assertEqual(self.open_insertions(), [table_row(row) for row in listed[:100]])
        self.one("#drivers tr:nth-child(4) .chip").click()
        self.type("vehicle", "")
        self.assertEqual(self.totals()["Insertions"], "31 of 349")
        self.type("driver", "")
        self.lanes_by("driver")
        listed = sorted(self.rows, key=lambda row: (row["holder"], row["inserted"], row["slot"]))
        self.assertEqual(self.table("insertions"), [table_row(row) for row in listed[:100]])

    def test_a_heading_sorts_its_table_and_a_filter_leaves_it_sorted(self):
        def number(text):
            return float(re.sub("\u202f|^-$", "", text).replace(":", ".") or -1)

        self.open_insertions()
        for column, key in ((0, str), (2, {"driver": 0, "co-driver": 1}.get), (3, str),
                            (4, lambda text: text.replace("-", "~", text == "-")), *((i, number) for i in range(5, 9))):
            heading = self.all("#insertions th[scope=col]")[column]
            for typed, direction in (("", "ascending"), ("", "descending"), ("e", "descending")):
                self.type("driver", typed)
                if not typed:
                    heading.find_element(By.TAG_NAME, "button").click()
                self.assertEqual(heading.get_attribute("aria-sort"), direction)
                keys = [key(row[column]) for row in self.table("insertions")]
                self.assertEqual(keys, sorted(keys, reverse=direction == "descending"), column)
        self.one("#insertions .note button").send_keys(Keys.ENTER)
        self.assertEqual(len(self.table("insertions")), int(self.one("#count").text))
        self.assertEqual(self.script("document.activeElement.className"), "scroller")
        for direction in (False, True):
            self.one("#drivers th:nth-child(6) button").click()
            hours_in = [number(row[5]) for row in self.table("drivers")]
            self.assertEqual(hours_in, sorted(hours_in, reverse=direction))

    def test_axis_says_which_days_these_are(self):
        def check(selector, spans):
            labels = self.each(f"#axis {selector}", "node.textContent")
            self.assertEqual(labels, [text for text, _, _ in spans])
            self.assert_places(self.boxes(f"#axis {selector}"), [(midnight(a), midnight(b)) for _, a, b in spans])

        def days(first, count):
            start = datetime.fromisoformat(first)
            return [start + timedelta(days=day) for day in range(count + 1)]

        def spans(dates, text):
            return [(text(a), str(a)[:10], str(b)[:10]) for a, b in zip(dates, dates[1:])]

        check(".day", spans(days("2024-02-17", 28), lambda day: f"{day.day}"))
        check(".month", [("February 2024", "2024-02-17", "2024-03-01"), ("March 2024", "2024-03-01", "2024-03-16")])
        self.assertEqual(len(self.all(".weekend")), 8)
        self.choose("period", "7")
        check(".day", spans(days("2024-03-09", 7), lambda day: f"{WEEKDAYS[day.weekday()]} {day.day}"))
        self.assertEqual(self.each("#axis .time", "node.textContent"), ["6", "12", "18"] * 7)
        self.show(self.large)
        self.choose("period", "92")
        mondays = [datetime(2023, 12, 18) + timedelta(weeks=week) for week in range(14)]
        check(".day", spans(mondays, lambda day: f"{day.day}"))
        self.choose("period", "366")
        months = [datetime(2023, 3, 16), *(datetime(2023 + m // 12, m % 12 + 1, 1) for m in range(3, 15)),
                  datetime(2024, 3, 16)]
        check(".month", spans(months, lambda day: "Mar" if day.month == 3 else day.strftime("%B")))
        check(".year", [("2023", "2023-03-16", "2024-01-01"), ("2024", "2024-01-01", "2024-03-16")])

    def test_each_way_to_a_period_leads_there_and_stays_where_the_data_are(self):
        self.show(self.large)
        for action, first, last in (
                (lambda: None, "2024-02-17", "2024-03-15"), (lambda: self.one("#later").click(), "2024-02-17", "2024-03-15"),
                (lambda: self.one("#earlier").click(), "2024-01-20", "2024-02-16"),
                (lambda: self.choose("period", "7"), "2024-02-10", "2024-02-16"),
                (lambda: self.one("#later").click(), "2024-02-17", "2024-02-23"),
                (lambda: self.choose("period", "92"), "2023-11-24", "2024-02-23"),
                (lambda: self.click_on_axis("December 2023"), "2023-12-01", "2023-12-31"),
                (lambda: self.choose("period", "1"), "2023-12-31", "2023-12-31"),
                (lambda: self.choose("from", "2024-03-10"), "2024-03-10", "2024-03-10"),
                (lambda: self.choose("period", "366"), "2023-03-16", "2024-03-15"),
                (lambda: self.choose("period", "7"), "2024-03-09", "2024-03-15"),
                (lambda: self.click_on_axis("Sun 10"), "2024-03-10", "2024-03-10"),
                (lambda: self.choose("period", "all"), "2023-03-16", "2024-03-15"),
                (lambda: self.one("#earlier").click(), "2023-03-16", "2024-03-15"),
                (lambda: self.choose("from", "2020-01-01"), "2023-03-16", "2024-03-15")):
            action()
            self.assertEqual(self.one("#shown").text[:25], f"{first} to {last}.")
            self.assertEqual(self.script("[...document.querySelectorAll('#earlier, #later')]"
                                         ".map((node) => node.ariaDisabled)"),
                             [str(first == "2023-03-16").lower(), str(last == "2024-03-15").lower()])

    def test_insertions_that_cross_the_edge_of_a_period_are_told(self):
        self.show_days("2024-03-13", "1")
        crossing = [row for row in self.rows if overlaps(row, "2024-03-13", "2024-03-14") and
                    (instant(row["inserted"]) < midnight("2024-03-13") or
                     instant(row["withdrawn"] or row["downloaded"]) > midnight("2024-03-14"))]
        self.assertIn(f" {len(crossing)} of these cross the period's edge and count whole: "
                      f"{hours(sum(map(seconds, crossing)))} h, "
                      f"{grouped(sum(distance(row) for row in crossing if row['slot'] == '0'))} km. ",
                      self.one("#shown").text)
        outside = sum(not overlaps(row, "2024-03-13", "2024-03-14") for row in self.rows)
        self.assertIn(f" {outside} insertions lie outside of this period.", self.one("#shown").text)

    def test_each_day_of_a_year_shows_how_much_of_it_a_card_was_in(self):
        self.show(self.large)
        self.choose("period", "366")
        plate = self.one(".lane .label b").text
        expected, drawn = defaultdict(float), defaultdict(float)
        for row in self.large_rows:
            start, end = row["inserted"], row["withdrawn"]
            while row["plate"] == plate and row["slot"] == "0" and start < end:
                day = minute(start)[:10]
                behind = midnight(str(datetime.fromisoformat(day) + timedelta(days=1))[:10])
                expected[day] += (min(instant(end), behind) - instant(start)) / (behind - midnight(day))
                start = behind.strftime("%Y-%m-%dT%H:%M:%SZ")
        for path in self.each(".lane:nth-child(2) path", "node.getAttribute('d')"):
            for column, bottom, top in re.findall(r"M(\d+) ([\d.]+)h[\d.]+V([\d.]+)", path):
                drawn[str(datetime(2023, 3, 16) + timedelta(days=int(column)))[:10]] += float(bottom) - float(top)
        for day in {*drawn, *expected} - {"2024-03-14", "2024-03-15"}:  # the last card is not withdrawn
            self.assertAlmostEqual(drawn[day], expected[day], delta=0.001, msg=day)
        column = self.one(".lane .column")
        ActionChains(self.browser).move_to_element(column).perform()
        weekday, day = self.tip()[0].split()
        self.assertEqual(weekday, WEEKDAYS[datetime.fromisoformat(day).weekday()])
        self.assertEqual(self.tip()[1], plate)
        column.click()
        self.assertEqual(self.period()[0], day)

    def test_stretches_without_a_card_and_without_data_are_told_apart(self):
        told = "63 km without a card, MÜ 101 CD, 2024-03-13 19:13 – 2024-03-14"
        self.assertEqual(self.labels(".lane .gap.card"), [told + " 07:00"])
        before, behind = (next(row for row in self.rows if row[column] == odometer and row["plate"] == "MÜ 101 CD")
                          for column, odometer in (("odometerAtWithdrawal", "147760"), ("odometerAtInsertion", "147823")))
        self.assert_places(self.boxes(".lane .gap.card"), [(instant(before["withdrawn"]), instant(behind["inserted"]))])
        self.assertEqual(self.totals()["km without a card"], "63")
        newest = {row["plate"]: row["downloaded"] for row in self.rows}
        self.assertEqual(self.labels(".lane .gap.data"), [
            f"No data, {plate}, since {minute(time)}" for plate, time in newest.items()])
        self.assert_places(self.boxes(".lane .gap.data"), [
            (instant(time), midnight("2024-03-16")) for time in newest.values()])
        self.choose("period", "all")
        self.assertIn(f"No data, AB 100 CD, before {minute(self.rows[0]['inserted'])}", self.labels(".lane .gap.data"))
        # A driver has no part in what lies between cards, but what is not known is not known.
        self.type("driver", "jo sample")
        self.assertEqual([len(self.labels(f".lane .gap.{kind}")) for kind in ("card", "data")], [0, 4])
        self.show_days("2024-03-10", "1")
        self.assertEqual(self.all(".lane"), [])
        self.type("driver", "")
        self.assertEqual([small.text for small in self.all(".lane small")], 6 * ["no card inserted"])
        # The clock is put forward while the card is out, and the insertion before is left out.
        self.show(make_page(self.sample_key, "--from", "2024-03-14", zone="AAA-1BBB,J73/0,J300/0"))
        self.assertEqual(self.labels(".lane .gap.card"), [told + " 08:00"])

    def test_bars_at_the_same_time_are_stacked(self):
        """Two drivers of one name, and two vehicles of one plate."""
        self.show(make_page(make_key(self.directory / "twins", changes=[
            (field("Placeholder"), field("Sample")), (field("Pat"), field("Jo")),
            (field("KX 102 CD"), field("AB 104 CD"))])))
        for kind, name, odd in (("vehicle", "AB 104 CD", "two cards in one slot"),
                                ("driver", "Jo Sample", "in two places at once")):
            self.lanes_by(kind)
            self.choose("period", "7")
            [lane] = [lane for lane in self.all(".lane") if odd in lane.text]
            self.assertIn(name, lane.text)
            boxes = [bar.rect for bar in lane.find_elements(By.CSS_SELECTOR, ".bar")]
            self.assertGreater(len({box["y"] for box in boxes}), 1)
            room = lane.rect["y"] + lane.rect["height"] - max(box["y"] + box["height"] for box in boxes)
            self.assertTrue(0 <= room < 20, room)
            for i, a in enumerate(boxes):
                for b in boxes[:i]:
                    self.assertFalse(a["x"] < b["x"] + b["width"] - 1 and b["x"] < a["x"] + a["width"] - 1 and
                                     a["y"] < b["y"] + b["height"] and b["y"] < a["y"] + a["height"], (a, b))

    def test_an_hour_that_comes_twice_is_drawn_twice(self):
        self.show(make_page(self.sample_key, zone=AUTUMN))
        self.show_days("2024-03-05", "1")
        self.assertEqual(self.each("#axis .time", "node.textContent"),
                         [*map(str, range(1, 10)), "10a", "10b", *map(str, range(11, 24))])
        shown = {name: box for name, box in zip(self.labels(), self.boxes(".lane .bar"))}
        begin = instant("2024-03-04T22:00:00Z")
        for row in self.rows:
            if row["inserted"] < "2024-03-04T22" or row["inserted"] > "2024-03-05T22":
                continue
            [name] = [name for name in shown if name.startswith(f"{row['holder']}, {row['plate']}") and
                      f"h), {grouped(row['odometerAtInsertion'])}" in name]
            left, right, *_ = shown[name]
            self.assertAlmostEqual(left, (instant(row["inserted"]) - begin) / timedelta(hours=25), delta=1e-4)
            self.assertAlmostEqual(right, (instant(row["withdrawn"]) - begin) / timedelta(hours=25), delta=1e-4)
            hour = row["inserted"][11:13]
            clock = f"{int(hour) + (2 if hour < '09' else 1):02}{row['inserted'][13:16]}"
            mark = {"08": "a", "09": "b"}.get(hour, "")
            self.assertIn(f", 2024-03-05 {clock}{mark} – ", name)

    def test_mouse_and_keys_lead_to_what_a_bar_tells(self):
        def press(key):
            ActionChains(self.browser).send_keys(key).perform()
            return self.script("document.activeElement.getAttribute('aria-label')")

        lanes = [[bar.get_attribute("aria-label") for bar in lane.find_elements(By.CSS_SELECTOR, ".bar, .gap")]
                 for lane in self.all(".lane")]
        ActionChains(self.browser).move_to_element(self.one(".lane:last-child .bar")).perform()
        self.assertEqual(", ".join(self.tip()), lanes[-1][1])
        tip, bar = self.one("#tip").rect, self.one(".lane:last-child .bar").rect
        self.assertTrue(tip["x"] < bar["x"] < tip["x"] + tip["width"] and tip["y"] + tip["height"] < bar["y"], (tip, bar))
        press(Keys.ESCAPE)
        self.assertIsNone(self.tip())
        bar = self.one(".lane .bar")
        ActionChains(self.browser).move_to_element_with_offset(bar, -bar.rect["width"] // 2 - 12, 0).click().perform()
        self.assertEqual(", ".join(self.tip()), lanes[0][1])
        self.one("#later").send_keys("")
        first = press(Keys.TAB)
        self.assertEqual(first, lanes[0][1])
        self.assertEqual(", ".join(self.tip()), first)
        second = press(Keys.ARROW_RIGHT)
        self.assertEqual(second, lanes[0][2])
        self.browser.set_window_size(1000, 1000)
        self.script("new Promise((done) => setTimeout(done, 200))")
        self.assertEqual(press(Keys.SHIFT), second)
        self.assertEqual([press(key) for key in (Keys.HOME, Keys.ARROW_LEFT, Keys.END)],
                         [lanes[0][1], lanes[0][1], lanes[0][0]])
        self.assertIn(press(Keys.ARROW_DOWN), lanes[1])
        self.assertIn(press(Keys.ARROW_UP), lanes[0])
        self.assertIn(press(Keys.TAB), lanes[1])
        self.assertEqual(len(self.all("#lanes [tabindex='0']")), len(lanes))

    def test_dark_mode_and_forced_colours_keep_everything_apart(self):
        for scheme, is_dark in (("light", False), ("dark", True)):
            self.emulate(prefers_color_scheme=scheme)
            self.assertEqual(brightness(self.one("body").value_of_css_property("background-color")) < 64, is_dark)
            self.assertEqual(brightness(self.one("body").value_of_css_property("color")) > 191, is_dark)
        for features in ({}, {"forced_colors": "active"}):
            self.emulate(**features)
            looks = [tuple(self.one(selector).value_of_css_property(part) for part in (
                "background-color", "background-image", "border-top-width", "height")) for selector in (
                ".sample.driver", ".sample.other", ".sample.open", ".sample.card", ".sample.data")]
            self.assertEqual(len(set(looks)), 5, looks)
            chosen, other = (self.each(f"#controls label:nth-of-type({i}) span", "getComputedStyle(node).color +"
                                       "getComputedStyle(node).backgroundColor") for i in (1, 2))
            self.assertNotEqual(chosen, other)

    def test_print_is_whole_and_says_what_it_is_of(self):
        self.type("vehicle", "mu")
        pages, boxes = self.paper()
        self.assertTrue(boxes)
        for box in boxes:
            self.assertEqual([round(float(side)) for side in box], [842, 595])
        self.assertIn("The picture and the insertions show vehicle “mu”, 2024-02-17 to 2024-03-15.", pages[0])
        rows = [row for row in self.rows if row["plate"].startswith("MÜ") and overlaps(row, *self.period())]
        self.assertEqual(sum("\n".join(pages).count(minute(row["inserted"])) > 0 for row in rows), len(rows))
        listed = [page for page in pages if re.search(r"^ *MÜ 10[15] CD +[^\d ]", page, re.M)]
        self.assertGreater(min(len(listed) - 1, len(rows) - 100), 0)
        self.assertTrue(all("Withdrawn" in page for page in listed))
        self.assertIsNone(self.one("#insertions details").get_attribute("open"))
        self.show(self.large)
        self.choose("period", "all")
        pages, _ = self.paper()
        self.assertIn("too many for paper", "\n".join(pages))
        self.assertIn("ZT 135 CD", pages[-1] + pages[-2] + pages[-3])

    def test_long_tables_open_on_demand_and_what_is_out_of_sight_is_not_drawn(self):
        self.show(self.large)
        self.assertIsNone(self.one("#vehicles details").get_attribute("open"))
        self.one("nav [href='#vehicles']").click()
        self.assertTrue(self.one("#vehicles details").get_attribute("open"))
        self.assertEqual(len(self.table("vehicles")), 36)
        self.assertLess(len(self.all(".bar")), 2500)


if __name__ == "__main__":
    readkey, makekey, chromium, chromedriver = sys.argv[1:5]
    unittest.main(argv=[sys.argv[0], *sys.argv[5:]])
