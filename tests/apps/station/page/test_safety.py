"""Texts, other pages and connections that mean harm."""

import http.server
import json
import socket
import threading

from line import until
from support import PageTest

MARKUP = "<b id=made>\"'&amp;<img src=x onerror=alert(1)></b>"
ATTACK = """<!DOCTYPE html><title>attacking</title>
<form action="{url}api/scan" method="post" enctype="text/plain" target="answer">
<input name='{{"text":"SN-6001","panel":1,"rest":"' value='"}}'></form><iframe name="answer"></iframe>
<script>
const send = (headers) => fetch("{url}api/scan", {{method: "POST", mode: "no-cors", headers, body: '{{"text":"SN-6002"}}'}});
const answered = new Promise((done) => document.querySelector("iframe").addEventListener("load", done));
document.querySelector("form").submit();
Promise.allSettled([send({{}}), send({{"Content-Type": "text/plain"}}), answered,
  fetch("{url}api/scan", {{method: "POST", headers: {{"Content-Type": "application/json"}}, body: '{{"text":"SN-6003"}}'}})])
  .then(() => document.title = "attacked");
</script>"""


class Attacker(http.server.BaseHTTPRequestHandler):
    """A page on another port of the same computer."""

    page = ""

    def do_GET(self):
        self.send_response(200)
        self.send_header("Content-Type", "text/html")
        self.end_headers()
        self.wfile.write(self.page.encode())

    def log_message(self, *_):
        pass


class SafetyTest(PageTest):
    def test_markup_stays_text(self):
        self.start(boards=1)
        self.browser.scan(MARKUP)
        panel = self.browser.panel(1)
        panel.until("ended PASS")
        self.assertEqual(panel.unit, MARKUP)
        self.assertEqual(self.browser.run("return document.querySelectorAll('#made, img').length"), 0)

    def test_page_of_another_origin_starts_nothing(self):
        line = self.start(boards=1)
        Attacker.page = ATTACK.format(url=line.url)
        with http.server.ThreadingHTTPServer(("127.0.0.1", 0), Attacker) as attacker:
            threading.Thread(target=attacker.serve_forever, daemon=True).start()
            for host in ("127.0.0.1", "localhost"):  # the same site, and another one
                self.browser.driver.get(f"http://{host}:{attacker.server_port}/")
                until(lambda: self.browser.driver.title == "attacked", "each attack is answered")
            attacker.shutdown()
        self.browser.open_bench(line.url)
        self.assertEqual(self.browser.panel(1).status, "free")
        self.assertEqual(json.loads(line.command("history", "--json"))["runs"], [])

    def test_connections_that_read_nothing(self):
        line = self.start(boards=1)
        for number in range(50):
            deaf = socket.socket()
            self.addCleanup(deaf.close)
            deaf.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1)  # the least that there is
            deaf.connect(line.address)
            path = "/api/events" if number % 2 else "/bench.js"
            deaf.sendall(f"GET {path} HTTP/1.1\r\nHost: {line.address[0]}:{line.address[1]}\r\n\r\n".encode())
        self.browser.open_bench(line.url)
        self.browser.scan("SN-7001")
        self.browser.panel(1).until("ended PASS")
