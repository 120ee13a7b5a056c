#!/usr/bin/python3
"""Clicks every button of the simulated server's page in headless Chromium: page.py VEKSIM [DIRECTORY for screenshots]

What each does is seen by a client, or in its orders. Skipped, with a word, without Chromium.
"""

import os
import shutil
import socket
import subprocess
import sys
import time

DRIVER = shutil.which("chromedriver")
try:
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.by import By
    from selenium.webdriver.support.ui import WebDriverWait
except ImportError:
    DRIVER = None

HEARTBEAT = b"\3\0\1"


def packet(code, body):
    return (len(body) + 3 | code << 16).to_bytes(3, "little") + body


class Client:
    """A connection that is signed on."""

    def __init__(self, port):
        self.line = socket.create_connection(("127.0.0.1", port), timeout=60)
        versions = b"".join(n.to_bytes(2, "little") for n in (1, 0, 0, 0))
        kind = b"VekSocketClient\n"
        self.line.sendall(packet(0, b"\0\x78\x56\x34\x12" + versions + b"\4\0\x10\0" + b"page" + kind))
        self.line.sendall(packet(2, b"\0\7\0\0\6\0\0\0\0" + b"trader/" + b"secret"))
        self.until(128)

    def order(self, work_id, price):
        text = work_id + b" new\nprod=TXF side=B qty=2 price=" + price
        self.line.sendall(packet(129, len(text).to_bytes(2, "little") + text))
        self.until(129)

    def until(self, code, text=b""):
        """The next packet of this code with this text; none at the end of the link."""
        while True:
            head = self.take(3)
            body = self.take(int.from_bytes(head[:2], "little") % 4096 - 3) if head else None
            if body is None or (head[2] == code and text in body):
                return body

    def take(self, count):
        taken = b""
        while len(taken) < count:
            try:
                some = self.line.recv(count - len(taken))
            except ConnectionError:
                some = b""
            if not some:
                return None
            taken += some
        return taken

    def is_quiet(self):
        """Nothing comes within a while."""
        self.line.settimeout(0.3)
        try:
            return self.line.recv(1) is None
        except TimeoutError:
            self.line.settimeout(60)
            return True

    def beat(self):
        """How many milliseconds the echo of a heartbeat takes."""
        begin = time.monotonic()
        self.line.sendall(HEARTBEAT)
        assert self.until(1) is not None
        return (time.monotonic() - begin) * 1000


class Page:
    def __init__(self, url):
        options = webdriver.ChromeOptions()
        for switch in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--window-size=1400,900"):
            options.add_argument(switch)
        self.browser = webdriver.Chrome(service=Service(DRIVER), options=options)
        self.browser.get(url)
        self.clicked = set()

    def text(self, table, key=None):
        """Of a table, or of its row."""
        found = self.browser.find_elements(By.CSS_SELECTOR, f"#{table}" + (f" tr[data-key='{key}']" if key else ""))
        return found[0].text if found else ""

    def wait(self, condition):
        WebDriverWait(self.browser, 60).until(lambda _: condition())

    def click(self, how, what):
        """A button, once it is there."""
        self.wait(lambda: self.browser.find_elements(how, what))
        button = self.browser.find_element(how, what)
        self.clicked.add(button.text)
        button.click()

    def press(self, label):
        self.click(By.CSS_SELECTOR, f"[aria-label='{label}']")

    def buttons(self):
        return {each.text for each in self.browser.find_elements(By.TAG_NAME, "button")}

    def shoot(self, directory):
        for name, width in (("wide", 1400), ("narrow", 420)):
            self.browser.set_window_size(width, 900)
            self.browser.execute_script("for (const one of document.querySelectorAll('.scroll')) one.scrollLeft = 0")
            self.browser.save_screenshot(os.path.join(directory, f"page-{name}.png"))
        self.browser.set_window_size(1400, 900)


def orders_and_prices(page, client):
    for number, price in enumerate((b"18000", b"18000", b"18000", b"18249", b"18239"), 1):
        client.order(b"w%d" % number, price)
    page.press("Fill one lot of A00001")
    assert b"Left=1" in client.until(130, b"fill")
    page.press("Fill A00002")
    assert b"Left=0" in client.until(130, b"fill")
    page.press("Reject A00003")
    assert b"A00003" in client.until(130, b"rejected")
    page.wait(lambda: "全部成交" in page.text("orders", "A00002") and "委託失敗" in page.text("orders", "A00003"))
    # From 18250 a tick down reaches one order, ten more the other.
    for label, order in (("TXF down a tick", b"A00004"), ("TXF down ten ticks", b"A00005")):
        page.press(label)
        assert order in client.until(130, b"fill")
    for label, price in (("TXF up a tick", "18240"), ("TXF up ten ticks", "18250")):
        page.press(label)
        page.wait(lambda: price in page.text("products", "TXF"))


def links(page, first, second):
    page.press("Delay session 1")
    page.wait(lambda: "delayed 500 ms" in page.text("sessions", 1))
    assert first.beat() >= 490
    page.press("Delay session 1")  # now it says "No delay"
    page.wait(lambda: "delayed" not in page.text("sessions", 1))
    for label, word, session, client in (("Freeze", "frozen", 1, first), ("Silence", "silent", 2, second)):
        page.press(f"{label} session {session} for five seconds")
        page.wait(lambda: word in page.text("sessions", session))
        client.line.sendall(HEARTBEAT)
        assert client.is_quiet()
    page.press("Cut session 2")
    assert second.until(1) is None


def restarts(page, port, client):
    for button, kept in (("memory", True), ("blank", False)):
        page.click(By.ID, button)
        assert client.until(1) is None
        client = connected(port)
        page.wait(lambda: ("A00001" in page.text("orders")) == kept)


def connected(port):
    """Once the server listens again."""
    while True:
        try:
            return Client(port)
        except ConnectionError:
            continue


def click_through(page, port, directory):
    client = Client(port)
    orders_and_prices(page, client)
    buttons = page.buttons()
    if directory:
        page.shoot(directory)
    links(page, client, Client(port))
    restarts(page, port, client)
    assert buttons <= page.clicked, buttons - page.clicked


def main():
    if not DRIVER or not shutil.which("chromium"):
        print("page: skipped: chromium, chromedriver or python3-selenium is missing")
        return
    server = subprocess.Popen([sys.argv[1], "--web", "0"], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    try:
        url = server.stderr.readline().split()[-1]
        port = int(server.stdout.readline().rsplit(":", 1)[1])
        page = Page(url)
        try:
            click_through(page, port, sys.argv[2] if len(sys.argv) > 2 else None)
        finally:
            page.browser.quit()
    finally:
        server.terminate()
        server.wait()
    print(f"page: {len(page.clicked)} buttons clicked")


main()
