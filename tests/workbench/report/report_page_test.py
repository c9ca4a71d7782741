#!/usr/bin/python3
"""report_page_test.py WORKBENCH MODULE: opens reports in headless Chromium and uses them as a person does.

Exit status 77 (skipped) where Chromium, its driver or Selenium are missing.
"""
import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

SKIPPED = 77
CHROMIUM = shutil.which("chromium")
DRIVER = shutil.which("chromedriver")
try:
    from selenium import webdriver
    from selenium.webdriver import ActionChains
    from selenium.webdriver.chrome.options import Options
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys
    from selenium.webdriver.support.ui import Select, WebDriverWait
except ImportError:
    CHROMIUM = None
if not CHROMIUM or not DRIVER:
    print("skipped: chromium, chromium-driver or python3-selenium are not installed")
    sys.exit(SKIPPED)

WORKBENCH, MODULE = sys.argv[1:3]
WAIT = 60


def workbench(*arguments):
    return subprocess.run([WORKBENCH, *arguments], check=True, capture_output=True, text=True)


def start_browser():
    options = Options()
    options.binary_location = CHROMIUM
    for argument in ["--headless=new", "--disable-gpu", "--disable-dev-shm-usage", "--window-size=1400,1000"]:
        options.add_argument(argument)
    if os.geteuid() == 0:
        options.add_argument("--no-sandbox")  # Chromium's sandbox refuses to run for root
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    return webdriver.Chrome(service=Service(DRIVER), options=options)


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        os.chdir(cls.folder.name)
        workbench("simulate", "-o", "s.ctc", "--channels", "12", "--seconds", "30", "--rate", "500")
        workbench("run", MODULE, "--data", "s.ctc", "--protocol", "s.prt", "--condition", "slice", "--pre", "0",
                  "--post", "63", "--segment", "50", "--components", "3", "--quiet", "--report")
        workbench("report", "s.ctc", "s_OBS.ctc", "--protocol", "s.prt", "--condition", "slice", "--truth",
                  "s.clean.ctc", "-o", "truth.html")
        workbench("report", "s.ctc", "s.ctc", "--protocol", "s.prt", "--condition", "slice", "-o", "same.html")
        cls.browser = start_browser()

    @classmethod
    def tearDownClass(cls):
        cls.browser.quit()
        os.chdir("/")
        cls.folder.cleanup()

    def open(self, name):
        for log in ("browser", "performance"):
            self.browser.get_log(log)  # what others left
        self.browser.get("file://" + os.path.join(self.folder.name, name))
        self.wait(lambda: self.script("return document.body.dataset.drawnMs"))

    def script(self, text, *arguments):
        return self.browser.execute_script(text, *arguments)

    def wait(self, condition):
        return WebDriverWait(self.browser, WAIT, 0.02).until(lambda _: condition())

    def find(self, identifier):
        return self.browser.find_element(By.ID, identifier)

    def click(self, identifier):
        self.script("arguments[0].scrollIntoView({block: 'center'})", self.find(identifier))
        self.find(identifier).click()

    def stretch(self):
        chart = self.find("trace-chart")
        return float(chart.get_attribute("data-from")), float(chart.get_attribute("data-to"))

    def after_change(self, action):
        """The stretch that is shown once it is another one."""
        old = self.stretch()
        action()
        self.wait(lambda: self.stretch() != old)
        return self.stretch()

    def column(self, place):
        return [row.find_elements(By.TAG_NAME, "td")[place].text
                for row in self.browser.find_elements(By.CSS_SELECTOR, "#channel-table tbody tr")]

    def drawn_pixels(self, identifier):
        """How many different colours a chart's canvas holds, and whether it is blank."""
        return self.script("""
            const canvas = document.querySelector("#" + arguments[0] + " canvas");
            const data = new Uint32Array(canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height).data.buffer);
            return new Set(data).size;""", identifier)

    def picture(self, identifier):
        return self.script("return document.querySelector('#' + arguments[0] + ' canvas').toDataURL()", identifier)

    # One look at everything.

    def test_loads_without_errors_or_requests(self):
        for name in ["s_OBS.html", "truth.html", "same.html"]:
            self.open(name)
            self.assertEqual(self.browser.get_log("browser"), [])
            requested = set()
            for entry in self.browser.get_log("performance"):
                message = json.loads(entry["message"])["message"]
                if message["method"] == "Network.requestWillBeSent":
                    requested.add(message["params"]["request"]["url"])
            requested = {url for url in requested if not url.startswith(("data:", "blob:"))}
            self.assertEqual(requested, {"file://" + os.path.join(self.folder.name, name)})
            self.assertFalse(self.find("failure").is_displayed())

    def test_all_charts_are_drawn(self):
        self.open("truth.html")
        for chart in ["trace-chart", "trace-overview", "average-both", "average-after", "spectrum-chart"]:
            self.assertGreater(self.drawn_pixels(chart), 10, chart)

    def test_head_and_settings(self):
        self.open("s_OBS.html")
        self.assertEqual(self.browser.title, "s_OBS.ctc: removal of slice")
        self.assertEqual(self.find("title").text, "s_OBS.ctc: removal of slice")
        facts = self.find("facts").text
        for text in ["12 channels, 15000 samples at 500 Hz (30.0 s)", "Artifacts per segment 50", "Components removed 3",
                     "as given", "Module ", "Workbench "]:
            self.assertIn(text, facts)
        self.open("truth.html")
        self.assertIn("found from the samples that changed", self.find("facts").text)

    def test_warnings(self):
        self.open("same.html")
        warnings = [w.text for w in self.browser.find_elements(By.CSS_SELECTOR, "#warning-list .warning")]
        self.assertIn("nothing was removed", warnings[0])
        data = json.loads(self.script("return document.getElementById('report-data').textContent"))
        self.assertEqual(warnings, data["warnings"])

    # The table.

    def test_table_sorts_by_every_column(self):
        self.open("truth.html")
        self.assertEqual(self.column(0), [str(c) for c in range(1, 13)])
        heads = self.browser.find_elements(By.CSS_SELECTOR, "#channel-table thead tr:nth-child(2) th")
        rows = json.loads(self.script("return document.getElementById('report-data').textContent"))["channels"]["rows"]
        for place, key in [(1, "artifactBefore"), (5, "rmsAfter"), (13, "errorAfter")]:
            head = heads[place]
            self.script("arguments[0].scrollIntoView({block: 'center'})", head)
            head.find_element(By.TAG_NAME, "button").click()
            largest_first = [str(r["channel"]) for r in sorted(rows, key=lambda r: -r[key])]
            self.assertEqual(self.column(0), largest_first)
            self.assertEqual(head.get_attribute("aria-sort"), "descending")
            head.find_element(By.TAG_NAME, "button").click()
            self.assertEqual(self.column(0), largest_first[::-1])
            self.assertEqual(head.get_attribute("aria-sort"), "ascending")
        heads[0].find_element(By.TAG_NAME, "button").click()
        self.assertEqual(self.column(0), [str(c) for c in range(1, 13)])

    def test_a_row_chooses_its_channel(self):
        self.open("truth.html")
        before = self.picture("average-both"), self.picture("spectrum-chart")
        row = self.browser.find_element(By.CSS_SELECTOR, "#channel-table tbody tr:not(.chosen)")
        channel = row.get_attribute("data-channel")
        self.script("arguments[0].scrollIntoView({block: 'center'})", row)
        row.click()
        self.wait(lambda: Select(self.find("average-channel")).first_selected_option.text == channel)
        self.wait(lambda: Select(self.find("spectrum-channel")).first_selected_option.text == channel)
        self.wait(lambda: self.picture("average-both") != before[0] and self.picture("spectrum-chart") != before[1])
        self.assertIn("chosen", row.get_attribute("class"))

    # The traces.

    def test_zoom_and_pan_by_buttons(self):
        self.open("truth.html")
        start = self.stretch()
        self.assertAlmostEqual(start[1] - start[0], 2.0, places=6)
        inner = self.after_change(lambda: self.click("trace-in"))
        self.assertAlmostEqual(inner[1] - inner[0], 1.0, places=6)
        self.assertAlmostEqual(sum(inner), sum(start), places=6)  # the same middle
        on = self.after_change(lambda: self.click("trace-on"))
        self.assertAlmostEqual(on[0] - inner[0], 0.5, places=6)
        self.assertEqual(self.after_change(lambda: self.click("trace-whole")), (0.0, 30.0))

    def test_keys(self):
        self.open("truth.html")
        chart = self.find("trace-chart")
        self.script("arguments[0].scrollIntoView({block: 'center'}); arguments[0].focus()", chart)
        start = self.stretch()
        right = self.after_change(lambda: chart.send_keys(Keys.ARROW_RIGHT))
        self.assertAlmostEqual(right[0] - start[0], 0.5, places=6)
        zoomed = self.after_change(lambda: chart.send_keys("+"))
        self.assertAlmostEqual(zoomed[1] - zoomed[0], 1.0, places=6)
        trigger = self.after_change(lambda: chart.send_keys("n"))
        data = json.loads(self.script("return document.getElementById('report-data').textContent"))
        at, triggers = data["triggers"]["first"], [data["triggers"]["first"]]
        for distance in data["triggers"]["distances"]:
            at += distance
            triggers.append(at)
        self.assertIn(round(sum(trigger) / 2 * 500, 3), triggers)

    def test_drag_and_wheel(self):
        self.open("truth.html")
        over = self.browser.find_element(By.CSS_SELECTOR, "#trace-chart .u-over")
        self.script("arguments[0].scrollIntoView({block: 'center'})", over)
        width = over.size["width"]
        self.after_change(lambda: self.click("trace-on"))
        start = self.stretch()
        self.script("arguments[0].scrollIntoView({block: 'center'})", over)
        drag = ActionChains(self.browser).move_to_element(over).click_and_hold().move_by_offset(-100, 0).release()
        self.after_change(drag.perform)
        self.wait(lambda: abs(self.stretch()[0] - start[0] - 100 / width * (start[1] - start[0])) < 1e-3)
        self.assertAlmostEqual(self.stretch()[1] - self.stretch()[0], start[1] - start[0], places=6)
        length = start[1] - start[0]
        self.script("arguments[0].dispatchEvent(new WheelEvent('wheel', {deltaY: -200, cancelable: true, "
                    "clientX: arguments[0].getBoundingClientRect().left + 1}))", over)
        self.wait(lambda: self.stretch()[1] - self.stretch()[0] < 0.9 * length)

    def test_stays_inside_the_recording(self):
        self.open("truth.html")
        self.after_change(lambda: self.click("trace-whole"))
        self.click("trace-out")
        self.click("trace-back")
        self.click("trace-on")
        self.script("return new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done)))")
        self.assertEqual(self.stretch(), (0.0, 30.0))

    def test_channels_can_be_chosen(self):
        self.open("truth.html")
        self.assertEqual(self.find("channel-count").text, "8 of 12 shown")
        self.click("channel-choice")
        for button, count in [("channels-all", 12), ("channels-none", 0), ("channels-largest", 8)]:
            old = self.picture("trace-chart")
            self.click(button)
            self.assertEqual(self.find("channel-count").text, "%d of 12 shown" % count)
            self.wait(lambda: self.picture("trace-chart") != old)
        boxes = self.browser.find_elements(By.CSS_SELECTOR, "#channel-boxes input")
        self.click("channels-none")
        self.script("arguments[0].scrollIntoView({block: 'center'})", boxes[10])
        boxes[10].click()
        self.assertEqual(self.find("channel-count").text, "1 of 12 shown")

    def test_before_and_after_can_be_hidden(self):
        self.open("truth.html")
        for box in ["show-before", "show-after", "show-windows"]:
            old = self.picture("trace-chart")
            self.click(box)
            self.wait(lambda: self.picture("trace-chart") != old)

    def test_traces_are_the_recordings(self):
        """What the page unpacks is what the files hold, within the rounding that it states."""
        self.open("truth.html")
        self.browser.set_script_timeout(WAIT)
        values = self.browser.execute_async_script("""
            const done = arguments[arguments.length - 1];
            const data = JSON.parse(document.getElementById("report-data").textContent);
            loadChannel(data, 3).then(({ before, after }) => done([before, after].map((trace) => [trace.step,
                Array.from(trace.levels[0].low, (step) => trace.offset + trace.step * step)])));""")
        import struct
        for name, (step, shown) in zip(["s.ctc", "s_OBS.ctc"], values):
            with open(name, "rb") as file:
                file.seek(32 + 4 * 3 * 15000)
                stored = struct.unpack("<15000f", file.read(4 * 15000))
            self.assertEqual(len(shown), 15000)
            self.assertLess(max(abs(a - b) for a, b in zip(shown, stored)), 0.5001 * step + 1e-9)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
