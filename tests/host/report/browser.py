# SPDX-License-Identifier: MIT
"""A browser without a window for tests that open pages. Where there is none, importing it ends the test as skipped."""

import os
import shutil
import sys

SKIPPED = 77

try:
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
except ImportError as missing:
    print(f"skipped: {missing.name} is not installed for {sys.executable} (Debian: python3-selenium)")
    sys.exit(SKIPPED)

BROWSER = shutil.which("chromium")
DRIVER = shutil.which("chromedriver")
if BROWSER is None or DRIVER is None:
    print("skipped: no browser to open pages with (Debian: chromium, chromium-driver)")
    sys.exit(SKIPPED)


def open_browser(profile):
    options = webdriver.ChromeOptions()
    options.binary_location = BROWSER
    for word in ("--headless=new", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run", "--window-size=1200,900"):
        options.add_argument(word)
    options.add_argument(f"--user-data-dir={profile}")
    if os.geteuid() == 0:
        options.add_argument("--no-sandbox")  # the browser refuses to run as root with one
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(service=Service(DRIVER), options=options)
