#!/usr/bin/python3
"""page.py READKEY KEY: measures how long the page of "readkey --html" takes to respond in Chromium.

It prints the script's own time and the time until the next frame has been drawn, as medians of several runs.
"""
import statistics
import subprocess
import sys
import tempfile
from pathlib import Path

from selenium import webdriver

RUNS = 7
CHROMIUM_OPTIONS = """--headless=new --no-sandbox --disable-gpu --disable-quic --no-first-run --window-size=1400,1000
    --disable-background-networking --disable-component-update --disable-sync"""

# Each action changes what the one before it has shown.
ACTIONS = {
    "one letter in Driver": "type('driver', 'a')",
    "another": "type('driver', 'ar')",
    "the field emptied": "type('driver', '')",
    "one letter in Vehicle": "type('vehicle', 'k')",
    "emptied": "type('vehicle', '')",
    "lanes by driver": "document.querySelector('[value=driver]').click()",
    "lanes by vehicle": "document.querySelector('[value=vehicle]').click()",
    "earlier": "id('earlier').click()",
    "12 months": "choose('period', '366')",
    "a letter over 12 months": "type('driver', 'a')",
    "emptied, over 12 months": "type('driver', '')",
    "4 weeks": "choose('period', '28')",
    "everything": "choose('period', 'all')",
    "all insertions opened": "document.querySelector('#insertions summary').click()",
    "sorted by driver": "heading(1).click()",
    "sorted by time": "heading(3).click()",
    "show more": "document.querySelector('#insertions .note button').click()",
    "closed": "document.querySelector('#insertions summary').click()",
}
PRELUDE = """
    const id = (name) => document.getElementById(name);
    const set = (event) => (name, value) => { id(name).value = value; id(name).dispatchEvent(new Event(event)); };
    const type = set("input");
    const choose = set("change");
    const heading = (column) => document.querySelectorAll("#insertions th button")[column];
    const done = arguments[0];
    requestAnimationFrame(() => setTimeout(() => {
        const start = performance.now();
        %s;
        const end = performance.now();
        requestAnimationFrame(() => setTimeout(() => done([end - start, performance.now() - start])));
    }));"""

readkey, key = sys.argv[1:]
with tempfile.TemporaryDirectory() as directory:
    page = Path(directory) / "page.html"
    subprocess.run([readkey, "--html", page, key], check=True)
    options = webdriver.ChromeOptions()
    for option in CHROMIUM_OPTIONS.split():
        options.add_argument(option)
    times = {action: [] for action in ("opened", *ACTIONS)}
    with webdriver.Chrome(options=options) as browser:
        for _ in range(RUNS):
            browser.get(page.as_uri())
            times["opened"].append(browser.execute_async_script(
                "const [done] = arguments; const {domInteractive, fetchStart} = performance.timing;"
                "requestAnimationFrame(() => setTimeout(() => done([domInteractive - fetchStart, performance.now()])));"))
            for action, script in ACTIONS.items():
                times[action].append(browser.execute_async_script(PRELUDE % script))
print("| the reader's action | script, ms | shown after, ms |\n|:---|---:|---:|")
for action, runs in times.items():
    script, shown = (statistics.median(column) for column in zip(*runs))
    print(f"| {action} | {script:.0f} | {shown:.0f} |")
