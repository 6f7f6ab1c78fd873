"""kiv view in a browser without a window: kiv_view_test.py KIV INSPECTED_CHILD

The page follows a machine, shows a killed controller as gone and its restart, goes back in time, and stays responsive and
small under many events. The server answers nobody but this computer's own pages.
"""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.error
import urllib.request

try:
    from prometheus_client.openmetrics.parser import text_string_to_metric_families
    from selenium import webdriver
    from selenium.common.exceptions import WebDriverException
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.by import By
    from selenium.webdriver.support.ui import WebDriverWait
except ImportError as error:
    print(f"skipped: {error}")
    sys.exit(125)

KIV, CHILD = sys.argv[1], sys.argv[2]
PATIENCE = 60


def browser():
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu", "--window-size=1200,900"):
        options.add_argument(argument)
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


class View(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = browser()

    @classmethod
    def tearDownClass(cls):
        cls.browser.quit()

    def setUp(self):
        self.directory = tempfile.TemporaryDirectory()
        self.folder = self.directory.name
        self.child = self.start_child()
        self.view = subprocess.Popen([KIV, "view", "kitchen", "--folder", self.folder], stdout=subprocess.PIPE, text=True)
        self.address = self.view.stdout.readline().strip()
        self.browser.get(self.address)
        self.until(lambda: self.active() == {"Off"})

    def tearDown(self):
        for process in (self.view, self.child):
            process.kill()
            process.wait()
        self.view.stdout.close()
        self.child.stdin.close()
        self.child.stdout.close()
        self.directory.cleanup()

    def start_child(self):
        child = subprocess.Popen([CHILD, "kitchen", self.folder], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.assertEqual(child.stdout.readline(), "0\n")
        return child

    def post(self, *events):
        self.child.stdin.write("".join(f"{event}\n" for event in events))
        self.child.stdin.flush()

    def until(self, condition):
        WebDriverWait(self.browser, PATIENCE, 0.05).until(lambda _: condition())

    def active(self):
        script = "return [...document.querySelectorAll('.states li.active')].map(item => item.dataset.path)"
        return set(self.browser.execute_script(script))

    def text(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector).text

    def test_states_light_up_as_events_come(self):
        self.post(1)
        fan = "On.<b>Fan & more</b>"
        self.until(lambda: self.active() == {"On", "On.Heating", "On.Heating.Warm", fan, fan + ".Slow"})
        self.assertIn("switch on: Off -> On", self.text(".last"))
        self.post(3)
        self.until(lambda: fan + ".Fast" in self.active())
        self.until(lambda: "lines\n" not in self.text("#values") and self.text("#values").endswith("2"))
        picture = "const image = document.querySelector('.picture img'); return !image.hidden && image.naturalWidth > 50"
        self.until(lambda: self.browser.execute_script(picture))

    def test_killed_controller_is_gone_and_comes_back(self):
        self.child.kill()
        self.child.wait()
        self.until(lambda: self.text("#there") == "gone")
        self.child.stdin.close()
        self.child.stdout.close()
        self.child = self.start_child()
        self.until(lambda: self.text("#there") == "running")
        self.post(1)
        self.until(lambda: "On" in self.active())

    def test_pausing_goes_back_in_time(self):
        self.post(1)
        self.until(lambda: "On" in self.active())
        self.browser.find_element(By.ID, "pause").click()
        first = "const time = document.getElementById('time'); time.value = 0; time.dispatchEvent(new Event('input'))"
        self.browser.execute_script(first)
        self.until(lambda: self.active() == {"Off"})
        self.browser.find_element(By.ID, "pause").click()
        self.until(lambda: "On" in self.active())

    def test_many_events_leave_the_page_responsive_and_small(self):
        self.post(1)
        heap = "window.gc && gc(); return performance.memory.usedJSHeapSize"
        sizes = []
        for _ in range(5):
            for _ in range(40):
                self.post(3, 4, 3, 4, 3, 4)
                time.sleep(0.01)
            begin = time.monotonic()
            self.browser.execute_async_script("const done = arguments[0]; requestAnimationFrame(() => done(0))")
            self.assertLess(time.monotonic() - begin, 10)
            sizes.append(self.browser.execute_script(heap))
        self.assertLess(sizes[-1], sizes[0] + 40e6)
        kept = self.browser.execute_script("return [moments.length, log.length]")
        self.assertLessEqual(kept[0], 4000)
        self.assertLessEqual(kept[1], 200)

    def test_server_answers_nobody_else(self):
        def status(path, headers, data=None):
            request = urllib.request.Request(self.address + path, data, headers)
            try:
                return urllib.request.urlopen(request, timeout=PATIENCE).status
            except urllib.error.HTTPError as error:
                return error.code

        self.assertEqual(status("names", {}), 200)
        self.assertEqual(status("names", {"Host": "elsewhere.example"}), 403)
        self.assertEqual(status("post?name=kitchen&machine=oven&event=2", {"Origin": "http://elsewhere.example"}, b""), 403)
        self.assertEqual(status("post?name=kitchen&machine=oven&event=2", {}, b""), 200)
        self.assertEqual(status("post?name=kitchen&machine=oven&event=3", {}, b""), 404)

    def test_metrics_are_openmetrics_and_json_is_json(self):
        text = subprocess.check_output([KIV, "look", "kitchen", "--folder", self.folder, "--metrics"], text=True)
        families = {family.name: family for family in text_string_to_metric_families(text)}
        active = {sample.labels["state"]: sample.value for sample in families["kiv_state_active"].samples}
        self.assertEqual((active["Off"], active["On"]), (1.0, 0.0))
        self.assertEqual(families["kiv_value"].samples[0].value, 0.0)
        state = subprocess.check_output([KIV, "look", "kitchen", "--folder", self.folder, "--once", "--json"], text=True)
        self.assertEqual([machine["name"] for machine in json.loads(state)["machines"]], ["oven"])


def make_picture(path, station):
    """A picture of the page while a pumping station works: kiv_view_test.py KIV CHILD PICTURE PUMP_STATION."""
    with tempfile.TemporaryDirectory() as folder:
        environment = dict(os.environ, XDG_RUNTIME_DIR=folder)
        command = [station, "--quiet", "--speed", "600", "--inspect", "station"]
        running = subprocess.Popen(command, env=environment, stdout=subprocess.DEVNULL)
        view = subprocess.Popen([KIV, "view"], env=environment, stdout=subprocess.PIPE, text=True)
        page = browser()
        try:
            page.get(view.stdout.readline().strip())
            time.sleep(30)
            page.save_screenshot(path)
        finally:
            page.quit()
            view.kill()
            running.kill()


if __name__ == "__main__":
    if not pathlib.Path("/usr/bin/chromium").exists() or not pathlib.Path("/usr/bin/chromedriver").exists():
        print("skipped: no chromium with its driver")
        sys.exit(125)
    try:
        browser().quit()
    except WebDriverException as error:
        print(f"skipped: the browser does not start here: {error.msg}")
        sys.exit(125)
    if len(sys.argv) > 3:
        sys.exit(make_picture(*sys.argv[3:]))
    unittest.main(argv=sys.argv[:1], verbosity=2)
