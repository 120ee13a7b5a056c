#!/usr/bin/python3
"""Clicks the simulated server's page in headless Chromium: page.py VEKSIM [DIRECTORY for screenshots]

Of two resting orders one is filled and the other rejected by their buttons. Skipped, with a word, without Chromium.
"""

import os
import shutil
import socket
import subprocess
import sys

DRIVER = shutil.which("chromedriver")
try:
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.by import By
    from selenium.webdriver.support.ui import WebDriverWait
except ImportError:
    DRIVER = None


def packet(code, body):
    return (len(body) + 3 | code << 16).to_bytes(3, "little") + body


def request(text):
    return packet(129, len(text).to_bytes(2, "little") + text)


def signed_on(port):
    """A connection that is signed on, with two resting orders."""
    line = socket.create_connection(("127.0.0.1", port))
    versions = b"".join(n.to_bytes(2, "little") for n in (1, 0, 0, 0))
    kind = b"VekSocketClient\n"
    line.sendall(packet(0, b"\0\x78\x56\x34\x12" + versions + b"\4\0\x10\0" + b"page" + kind))
    line.sendall(packet(2, b"\0\7\0\0\6\0\0\0\0" + b"trader/" + b"secret"))
    for work_id in (b"w1", b"w2"):
        line.sendall(request(work_id + b" new\nprod=TXF side=B qty=2 price=18000"))
    return line


def browser():
    options = webdriver.ChromeOptions()
    for switch in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--window-size=1400,900"):
        options.add_argument(switch)
    return webdriver.Chrome(service=Service(DRIVER), options=options)


def click_through(page, url, directory):
    page.get(url)
    wait = WebDriverWait(page, 60)

    def state_of(order):
        rows = page.find_elements(By.CSS_SELECTOR, f"#orders tr[data-key='{order}']")
        return rows[0].text if rows else ""

    wait.until(lambda _: "委託成功" in state_of("A00002"))
    page.find_element(By.CSS_SELECTOR, "[aria-label='Fill A00001']").click()
    page.find_element(By.CSS_SELECTOR, "[aria-label='Reject A00002']").click()
    wait.until(lambda _: "全部成交" in state_of("A00001") and "委託失敗" in state_of("A00002"))
    if directory:
        for name, width in (("wide", 1400), ("narrow", 420)):
            page.set_window_size(width, 900)
            page.execute_script("for (const one of document.querySelectorAll('.scroll')) one.scrollLeft = 0")
            page.save_screenshot(os.path.join(directory, f"page-{name}.png"))


def main():
    if not DRIVER or not shutil.which("chromium"):
        print("page: skipped: chromium, chromedriver or python3-selenium is missing")
        return
    server = subprocess.Popen([sys.argv[1], "--web", "0"], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    try:
        url = server.stderr.readline().split()[-1]
        port = int(server.stdout.readline().rsplit(":", 1)[1])
        page = browser()
        try:
            with signed_on(port):
                click_through(page, url, sys.argv[2] if len(sys.argv) > 2 else None)
        finally:
            page.quit()
    finally:
        server.terminate()
        server.wait()
    print("page: one order filled, one rejected")


main()
