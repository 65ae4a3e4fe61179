# SPDX-License-Identifier: MIT
"""Opens reports in a browser without a window and uses them by script, mouse, touch and keyboard.

Usage: report_page_test.py REPORT_SAMPLE [FOLDER]; with FOLDER, screenshots are left there."""

import base64
import pathlib
import subprocess
import sys
import tempfile
import unittest

from browser import open_browser
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select, WebDriverWait

PROGRAM = str(pathlib.Path(sys.argv[1]).resolve())
SCREENSHOTS = pathlib.Path(sys.argv[2]) if len(sys.argv) > 2 else None

STATE = """
const figure = [...document.querySelectorAll('.compare')].find(f => f.offsetParent);
const shown = (selector) => {
    const element = figure.querySelector(selector);
    return element.offsetParent !== null;
};
return {
    cut: parseFloat(getComputedStyle(figure.querySelector('.after .clip')).clipPath.split(' ').pop()),
    clip: getComputedStyle(figure.querySelector('.after .clip')).clipPath,
    value: parseFloat(figure.querySelector('input[type=range]').value),
    before: shown('.before'), after: shown('.after'), difference: shown('.difference'),
    common: shown('.before img.common'), own: shown('.before img.own'),
};"""


class ReportPageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        holder = tempfile.TemporaryDirectory(prefix="rydecon_report_", ignore_cleanup_errors=True)
        cls.addClassCleanup(holder.cleanup)
        cls.folder = pathlib.Path(holder.name)
        for kind in ("stack", "channels", "awkward"):
            subprocess.run([PROGRAM, kind, str(cls.folder / f"{kind}.html")], check=True)
        cls.browser = open_browser(cls.folder / "profile")
        cls.addClassCleanup(cls.browser.quit)

    def open(self, kind, scheme="light", media=""):
        feature = {"name": "prefers-color-scheme", "value": scheme}
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": media, "features": [feature]})
        self.browser.get((self.folder / f"{kind}.html").as_uri())

    def state(self):
        return self.browser.execute_script(STATE)

    def find(self, selector):
        return next(e for e in self.browser.find_elements(By.CSS_SELECTOR, selector) if e.is_displayed())

    def choose(self, what, value):
        self.find(f"input[data-{what}={value}] + span").click()

    def screenshot(self, name):
        if SCREENSHOTS is None:
            return
        size = self.browser.execute_cdp_cmd("Page.getLayoutMetrics", {})["cssContentSize"]
        picture = self.browser.execute_cdp_cmd(
            "Page.captureScreenshot", {"captureBeyondViewport": True, "clip": {**size, "scale": 1}})
        SCREENSHOTS.mkdir(parents=True, exist_ok=True)
        (SCREENSHOTS / f"{name}.png").write_bytes(base64.b64decode(picture["data"]))

    def test_all_loads_without_a_complaint(self):
        for kind, pictures in (("stack", 15 + 2), ("channels", 3 * (15 + 2) + 2), ("awkward", 5 + 1)):
            for scheme in ("light", "dark"):
                with self.subTest(kind=kind, scheme=scheme):
                    self.open(kind, scheme)
                    loaded = self.browser.execute_script(
                        "return [...document.images].map(i => i.complete && i.naturalWidth > 0)")
                    self.assertEqual(loaded, [True] * pictures)
                    self.assertEqual(self.browser.get_log("browser"), [])
                    fetched = self.browser.execute_script(
                        "return performance.getEntriesByType('resource').filter(e => !e.name.startsWith('data:')).length")
                    self.assertEqual(fetched, 0)
                    self.screenshot(f"{kind}-{scheme}")

    def test_nothing_is_wider_than_the_window(self):
        for width in (1200, 500):
            self.browser.set_window_size(width, 900)
            for kind in ("stack", "channels", "awkward"):
                with self.subTest(kind=kind, width=width):
                    self.open(kind)
                    wider = self.browser.execute_script(
                        "return document.documentElement.scrollWidth - document.documentElement.clientWidth")
                    self.assertLessEqual(wider, 0)
        self.browser.set_window_size(1200, 900)

    def test_the_schemes_differ(self):
        grounds = []
        for scheme in ("light", "dark"):
            self.open("stack", scheme)
            grounds.append(self.browser.execute_script("return getComputedStyle(document.body).backgroundColor"))
        self.assertNotEqual(*grounds)

    def test_names_are_texts(self):
        self.open("awkward")
        self.assertTrue(self.browser.title.startswith("Restoration of <img src=x onerror="))
        self.assertIn("'Zellkern' Größe µ 細胞 \ufffd.tif", self.browser.title)
        self.assertIn("</title></style><script>", self.find(".files").text)
        self.assertEqual(self.find(".warnings li").text, "</ul></section><script>document.title='broken'</script>")

    def test_divider_follows_the_keyboard(self):
        self.open("stack")
        self.assertEqual(self.state()["cut"], 50)
        divider = self.find(".divider input")
        divider.send_keys(Keys.ARROW_RIGHT * 3)
        self.assertEqual(self.state()["cut"], 51.5)
        divider.send_keys(Keys.HOME)
        self.assertEqual(self.state()["cut"], 0)
        divider.send_keys(Keys.END)
        self.assertEqual(self.state()["cut"], 100)
        self.assertEqual(divider.get_attribute("aria-valuetext"), "100 % before")
        self.assertIn("before", divider.accessible_name)

    def test_divider_follows_the_mouse(self):
        self.open("stack")
        for n in range(3):  # XY, YZ, XZ
            frame = self.browser.find_elements(By.CSS_SELECTOR, ".layer.after .frame")[n]
            width = frame.size["width"]
            drag = ActionChains(self.browser, duration=20)
            drag.move_to_element(frame).click_and_hold().move_by_offset(round(0.3 * width), 0).perform()
            self.assertAlmostEqual(self.state()["cut"], 80, delta=1)
            drag = ActionChains(self.browser, duration=20)
            drag.move_by_offset(-round(0.6 * width), 3).release().move_by_offset(round(0.2 * width), 0).perform()
            self.assertAlmostEqual(self.state()["cut"], 20, delta=1)
            self.assertEqual(self.state()["cut"], self.state()["value"])

    def test_divider_follows_a_finger(self):
        self.open("stack")
        frame = self.find(".layer.after .frame")
        box = self.browser.execute_script("return arguments[0].getBoundingClientRect().toJSON()", frame)

        def touch(kind, part):
            points = [] if part is None else [{"x": box["x"] + part * box["width"], "y": box["y"] + 40}]
            self.browser.execute_cdp_cmd("Input.dispatchTouchEvent", {"type": kind, "touchPoints": points})

        touch("touchStart", 0.5)
        for step in range(1, 9):
            touch("touchMove", 0.5 + step * 0.05)
        # A browser delivers the movements of a finger with its next frame.
        WebDriverWait(self.browser, 5, poll_frequency=0.02).until(lambda _: abs(self.state()["cut"] - 90) < 1)
        touch("touchEnd", None)

    def test_views_and_contrast_change(self):
        self.open("stack")
        self.assertEqual([self.state()[name] for name in ("before", "after", "difference", "common", "own")],
                         [True, True, False, True, False])
        self.choose("contrast", "own")
        self.assertEqual([self.state()[name] for name in ("common", "own")], [False, True])
        self.choose("mode", "difference")
        self.assertEqual([self.state()[name] for name in ("before", "after", "difference")], [False, False, True])
        self.screenshot("difference")
        self.choose("mode", "side")
        state = self.state()
        self.assertEqual([state[name] for name in ("before", "after", "difference", "clip")], [True, True, False, "none"])
        left, right = (self.find(f".layer.{name}").rect for name in ("before", "after"))
        self.assertEqual(left["y"], right["y"])
        self.assertGreater(right["x"], left["x"] + left["width"])
        self.screenshot("side")

    def test_pictures_have_the_proportions_of_the_voxels(self):
        self.open("stack")  # 160 x 128 x 20 samples of 0.2 x 0.2 x 0.6 um
        xy, yz, xz = (f.rect for f in self.browser.find_elements(By.CSS_SELECTOR, ".layer.before .frame"))
        self.assertAlmostEqual(xy["width"] / xy["height"], 160 / 128, delta=0.01)
        self.assertAlmostEqual(yz["width"] / xy["width"], 60 / 160, delta=0.01)
        self.assertAlmostEqual(yz["height"], xy["height"], delta=2)
        self.assertAlmostEqual(xz["height"] / xz["width"], 60 / 160, delta=0.01)
        bar = self.find(".layer.before .bar")
        self.assertEqual(bar.text, "10 µm")
        self.assertAlmostEqual(bar.rect["width"] / xy["width"], 50 / 160, delta=0.01)

    def test_chooser_shows_one_volume(self):
        self.open("channels")

        def shown():
            return [v.is_displayed() for v in self.browser.find_elements(By.CSS_SELECTOR, ".volume")]

        self.assertEqual(shown(), [True, False, False, False])
        Select(self.find("select")).select_by_visible_text("Channel GFP, time 1")
        self.assertEqual(shown(), [False, False, True, False])
        self.find(".divider input").send_keys(Keys.HOME)
        self.assertEqual(self.state()["cut"], 0)

    def test_print_shows_everything(self):
        self.open("channels", media="print")
        self.assertTrue(all(v.is_displayed() for v in self.browser.find_elements(By.CSS_SELECTOR, ".volume")))
        layers = self.browser.find_elements(By.CSS_SELECTOR, ".compare .layer")
        self.assertEqual([layer.is_displayed() for layer in layers], [True] * 9)
        self.assertFalse(self.browser.find_element(By.CSS_SELECTOR, ".toolbar").is_displayed())
        self.screenshot("print")

    def test_methods_paragraph_can_be_copied(self):
        self.open("stack")
        button = self.find("button[data-copy]")
        button.click()
        taken = self.browser.execute_async_script(
            "const done = arguments[0]; setTimeout(() => done([document.querySelector('button[data-copy]').textContent,"
            " getSelection().toString()]), 100)")
        self.assertTrue(taken[0] == "Copied" or "was deconvolved with rydecon" in taken[1], taken)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
