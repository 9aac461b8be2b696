"""A headless Chromium, driven by the DevTools protocol over a pipe: no port is opened."""

import json
import os
import select
import signal
import subprocess
import tempfile
import time

# Only a browser that hangs ever takes this long.
DEADLINE = 60.0

_OPTIONS = (
    "--headless=new",
    "--no-sandbox",  # it runs as root in containers
    "--disable-gpu",
    "--disable-dev-shm-usage",
    "--disable-background-networking",
    "--disable-component-update",
    "--disable-sync",
    "--no-first-run",
    "--no-default-browser-check",
    # Whatever a page asks for from a host is refused at once.
    "--host-resolver-rules=MAP * ~NOTFOUND",
    "--hide-scrollbars",
    "--remote-debugging-pipe",
)


class Failed(Exception):
    """The browser ended, hung, or refused a command."""


class Browser:
    """`with Browser() as page:` is one page in one browser, which ends with it."""

    def __enter__(self):
        self._folder = tempfile.TemporaryDirectory(prefix="corvane-browser-", ignore_cleanup_errors=True)
        to_read, self._to = os.pipe()
        self._from, from_write = os.pipe()
        # The browser reads commands from descriptor 3 and writes answers to 4.
        command = ["sh", "-c", f'exec "$@" 3<&{to_read} 4>&{from_write}', "sh", "chromium", *_OPTIONS]
        self._process = subprocess.Popen(
            [*command, f"--user-data-dir={self._folder.name}", "about:blank"],
            pass_fds=(to_read, from_write),
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
            start_new_session=True,
            env={**os.environ, "HOME": self._folder.name},
        )
        os.close(to_read)
        os.close(from_write)
        self._received, self._number, self._session = b"", 0, None
        self.events = []  # (method, parameters), in their order
        try:
            targets = self._command("Target.getTargets")["targetInfos"]
            target = next(each["targetId"] for each in targets if each["type"] == "page")
            attached = self._command("Target.attachToTarget", targetId=target, flatten=True)
            self._session = attached["sessionId"]
            for domain in ("Page", "Runtime", "Log", "Network"):
                self.command(domain + ".enable")
        except BaseException:
            self._end()
            raise
        return self

    def __exit__(self, *_):
        try:
            self._session = None
            self._send("Browser.close", {})
            self._process.wait(10)
        except (OSError, subprocess.TimeoutExpired):
            pass  # it is ended by force
        finally:
            self._end()

    def _end(self):
        if self._process.poll() is None:
            os.killpg(self._process.pid, signal.SIGKILL)  # a session of its own
        self._process.wait()
        os.close(self._to)
        os.close(self._from)
        self._folder.cleanup()

    def command(self, method, **parameters):
        """-> the result of a command to the page"""
        return self._command(method, **parameters)

    def open(self, path):
        """Shows a file, and waits until it has loaded."""
        self.events.clear()
        self.command("Page.navigate", url=path.absolute().as_uri())
        self.wait_for("Page.loadEventFired")

    def wait_for(self, method):
        """Waits for an event, which may have come already."""
        deadline = time.monotonic() + DEADLINE
        while all(name != method for name, _ in self.events):
            self._receive(deadline)

    def value_of(self, expression):
        """-> what a script's expression has for a value; a promise is waited for"""
        answer = self.command(
            "Runtime.evaluate", expression=expression, returnByValue=True, awaitPromise=True
        )
        if "exceptionDetails" in answer:
            raise Failed(answer["exceptionDetails"])
        return answer["result"].get("value")

    def complaints(self):
        """-> console messages, log entries and exceptions of the page"""
        found = []
        for name, parameters in self.events:
            if name in ("Runtime.consoleAPICalled", "Runtime.exceptionThrown", "Log.entryAdded"):
                found.append(parameters)
        return found

    def requests(self):
        """-> the addresses that the page asked for"""
        return [
            parameters["request"]["url"]
            for name, parameters in self.events
            if name == "Network.requestWillBeSent"
        ]

    def _command(self, method, **parameters):
        number = self._send(method, parameters)
        deadline = time.monotonic() + DEADLINE
        while True:
            answer = self._receive(deadline)
            if answer.get("id") == number:
                if "error" in answer:
                    raise Failed(f"{method}: {answer['error']}")
                return answer["result"]

    def _send(self, method, parameters):
        self._number += 1
        message = {"id": self._number, "method": method, "params": parameters}
        if self._session is not None:
            message["sessionId"] = self._session
        os.write(self._to, json.dumps(message).encode() + b"\0")
        return self._number

    def _receive(self, deadline):
        """-> the next message; events are kept too"""
        while b"\0" not in self._received:
            ready, _, _ = select.select([self._from], [], [], max(0, deadline - time.monotonic()))
            if not ready:
                raise Failed("the browser does not answer")
            data = os.read(self._from, 1 << 20)
            if not data:
                raise Failed("the browser has ended")
            self._received += data
        line, _, self._received = self._received.partition(b"\0")
        message = json.loads(line)
        if "method" in message:
            self.events.append((message["method"], message.get("params", {})))
        return message
