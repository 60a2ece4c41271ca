"""qvt-monitor's page in a real browser (headless Chromium) against the
virtual headset, on 127.0.0.1 only.

usage: check_monitor_page.py EMULATOR MONITOR [--bench SECONDS] [--screenshot PNG]

Checks: requests under another Host or from another Origin are refused; the
traces move; the head map shows every electrode with the emulator's
--impedance and the right colour (7 kOhm good, then 15 kOhm fair in a second
run); a marker clicked during a recording is an annotation at its time in a
file MNE reads; the page comes back after an outage of the headset.
With --bench: the page's frame time and the server's CPU share at 600 Hz.
"""
import os
import sys
import tempfile
import time
import urllib.error
import urllib.request

import mne

import monitor_harness
from monitor_harness import check, wait_for

try:
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.by import By
except ImportError:
    print("skipped: python3-selenium is not installed")
    sys.exit(77)
if not (os.access("/usr/bin/chromium", os.X_OK) and os.access("/usr/bin/chromedriver", os.X_OK)):
    print("skipped: chromium and chromium-driver are not installed")
    sys.exit(77)

EMULATOR, MONITOR = sys.argv[1:3]
OPTIONS = sys.argv[3:]
WORK = tempfile.mkdtemp(prefix="qvt_monitor_")
# The virtual headset's electrodes (its 10-20 layout); Pz is its reference.
ELECTRODES = {"Fp1", "Fpz", "Fp2", "F7", "F3", "Fz", "F4", "F8", "M1", "T3", "C3", "Cz", "C4", "T4", "M2", "T5",
              "P3", "P4", "T6", "O1", "O2"}


def start_monitor(emulator_args):
    return monitor_harness.Monitor(EMULATOR, MONITOR, WORK, emulator_args)


def browser():
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--window-size=1600,1000",
                     "--disable-dev-shm-usage", "--no-first-run", "--disable-extensions"):
        options.add_argument(argument)
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


def status_of(url, headers, method="GET"):
    request = urllib.request.Request(url, headers=headers, method=method, data=b"text=x" if method == "POST" else None)
    try:
        with urllib.request.urlopen(request, timeout=10) as response:
            return response.status
    except urllib.error.HTTPError as error:
        return error.code


def check_refusals(monitor):
    own = f"127.0.0.1:{monitor.port}"
    check(status_of(monitor.url, {}) == 200, "the page is served")
    check(status_of(monitor.url, {"Host": f"rebound.example:{monitor.port}"}) == 403, "a foreign Host is refused")
    check(status_of(monitor.url + "api/marker", {"Host": own, "Origin": "http://attacker.example"}, "POST") == 403,
          "a command from another site is refused")
    check(status_of(monitor.url + "../../etc/passwd", {}) in (400, 404), "no path from a request is opened")


def last_bin(driver):
    return int(driver.execute_script("return document.body.dataset.lastBin || '-1'"))


def head_map(driver):
    return driver.execute_script(
        "return [...document.querySelectorAll('#headmap .electrode')].map("
        "g => [g.dataset.name, g.dataset.kohm, g.dataset.level])")


def check_head_map(driver, kohm, level):
    driver.find_element(By.ID, "impedance").click()
    electrodes = wait_for(f"impedances near {kohm} kOhm", lambda: [
        e for e in head_map(driver) if e[1] and abs(float(e[1]) - kohm) < 1.5] and head_map(driver))
    measured = [e for e in electrodes if e[1]]
    check({e[0] for e in measured} == ELECTRODES, f"every electrode on the head map: {electrodes}")
    check([e[2] for e in electrodes if e[0] == "Pz"] == ["unknown"], f"Pz shown as the reference: {electrodes}")
    for name, value, shown in measured:
        check(abs(float(value) - kohm) < 1.5, f"{name} reads {value} kOhm, not about {kohm}")
        check(shown == level, f"{name} at {value} kOhm is {shown}, not {level}")
    driver.find_element(By.ID, "impedance").click()


def check_recording_with_marker(driver):
    record = driver.find_element(By.ID, "record")
    record.click()
    started = time.monotonic()
    wait_for("the recording's file name", lambda: ".bdf" in driver.find_element(By.ID, "record-file").text)
    time.sleep(2)
    text = driver.find_element(By.ID, "marker-text")
    text.clear()
    text.send_keys("stimulus A")
    driver.find_element(By.ID, "marker").click()
    marked = time.monotonic() - started
    time.sleep(2)
    record.click()
    wait_for("the recording to stop", lambda: record.text.startswith("Start"))
    name = driver.find_element(By.ID, "record-file").text.split(" ")[0]
    raw = mne.io.read_raw_bdf(os.path.join(WORK, name), preload=True, verbose="error")
    onsets = [a["onset"] for a in raw.annotations if a["description"] == "stimulus A"]
    check(len(onsets) == 1, f"one marker annotation, not {list(raw.annotations)}")
    # The file starts with the first batch after the click; the page's
    # round trips make up the rest.
    check(abs(onsets[0] - marked) < 0.5, f"the marker at {onsets[0]:.2f} s, clicked at {marked:.2f} s")
    check(raw.times[-1] > 3.5, f"the file holds {raw.times[-1]:.1f} s")


def check_recovery(driver):
    link = driver.find_element(By.ID, "link")
    wait_for("the link lost", lambda: "lost" in link.get_attribute("class"), 40)
    before = last_bin(driver)
    wait_for("the link back", lambda: "up" in link.get_attribute("class").split(), 40)
    wait_for("the traces moving again", lambda: last_bin(driver) > before + 100, 20)


def test():
    driver = browser()
    try:
        monitor = start_monitor(["--impedance", "7", "--outage", "25:8"])
        try:
            check_refusals(monitor)
            driver.get(monitor.url)
            first = wait_for("the traces", lambda: last_bin(driver) > 0 and last_bin(driver))
            wait_for("the traces moving", lambda: last_bin(driver) > first + 50)
            check_head_map(driver, 7.0, "good")
            check_recording_with_marker(driver)
            check_recovery(driver)
        finally:
            output = monitor.stop()
        check(monitor.process.returncode == 0, f"qvt-monitor ended with {monitor.process.returncode}:\n{output}")
        monitor = start_monitor(["--impedance", "15"])
        try:
            driver.get(monitor.url)
            check_head_map(driver, 15.0, "fair")
        finally:
            output = monitor.stop()
        check(monitor.process.returncode == 0, f"qvt-monitor ended with {monitor.process.returncode}:\n{output}")
    finally:
        driver.quit()
    print("1 passed, 0 failed")


def cpu_seconds(pid):
    with open(f"/proc/{pid}/stat") as stat:
        fields = stat.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def bench(seconds, screenshot):
    driver = browser()
    monitor = start_monitor(["--impedance", "7", "--eyes-closed"])
    try:
        driver.get(monitor.url)
        wait_for("the traces", lambda: last_bin(driver) > 0)
        driver.find_element(By.ID, "impedance").click()
        wait_for("impedances", lambda: [e for e in head_map(driver) if e[1]])
        driver.find_element(By.ID, "impedance").click()
        time.sleep(3)
        pid = monitor.pid()
        driver.execute_script("window.qvtFrameStats.reset()")
        used, began = cpu_seconds(pid), time.monotonic()
        time.sleep(seconds)
        share = 100 * (cpu_seconds(pid) - used) / (time.monotonic() - began)
        frames = driver.execute_script("return window.qvtFrameStats()")
        print(f"qvt-monitor at 600 Hz, one page open: {share:.2f} % of a core over {seconds:g} s")
        print(f"page frame time: mean {frames['meanMs']:.2f} ms, p99 {frames['p99Ms']:.2f} ms, "
              f"worst {frames['worstMs']:.2f} ms over {frames['frames']} frames")
        if screenshot:
            driver.find_element(By.ID, "record").click()
            time.sleep(2)
            driver.find_element(By.ID, "marker-text").clear()
            driver.find_element(By.ID, "marker-text").send_keys("eyes closed")
            driver.find_element(By.ID, "marker").click()
            time.sleep(3)
            driver.save_screenshot(screenshot)
            driver.find_element(By.ID, "record").click()
    finally:
        monitor.stop()
        driver.quit()


if __name__ == "__main__":
    if OPTIONS[:1] == ["--bench"]:
        bench(float(OPTIONS[1]), OPTIONS[3] if OPTIONS[2:3] == ["--screenshot"] else None)
    else:
        test()
