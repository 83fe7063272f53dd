"""A headless Chromium, spoken to by the DevTools protocol over two pipes: nothing but the browser
and Python is needed, and no port is opened. What it logs and asks for is kept for tests to look at."""
import base64
import json
import os
import select
import shutil
import signal
import subprocess
import tempfile
import time


class BrowserError(Exception):
    """The browser did not do what it was asked for."""


def find_browser():
    """The path of a Chromium, or None."""
    for name in ("chromium-headless-shell", "chromium", "chromium-browser", "google-chrome"):
        path = shutil.which(name)
        if path:
            return path
    return None


class Browser:
    """One browser with one page. Use it in a with statement."""

    def __init__(self, zone="UTC", wide=1280, tall=900, scale=1):
        self.directory = tempfile.mkdtemp(prefix="psltool-browser.")
        to_browser, self.out = os.pipe()
        self.into, from_browser = os.pipe()
        command = [find_browser(), "--headless=new", "--no-sandbox", "--disable-gpu",
                   "--remote-debugging-pipe", "--no-first-run", "--disable-background-networking",
                   "--disable-component-update", "--disable-extensions", "--disable-sync",
                   "--disable-default-apps", "--disable-dev-shm-usage", "--hide-scrollbars",
                   "--host-resolver-rules=MAP * ~NOTFOUND", f"--user-data-dir={self.directory}",
                   "about:blank"]

        def pipes():
            # Reads from 3, writes to 4.
            read, write = os.dup(to_browser), os.dup(from_browser)
            os.dup2(read, 3)
            os.dup2(write, 4)

        self.process = subprocess.Popen(command, env=dict(os.environ, TZ=zone, TMPDIR=self.directory), preexec_fn=pipes,
                                        close_fds=False, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL, start_new_session=True)
        os.close(to_browser)
        os.close(from_browser)
        self.pending = b""
        self.number = 0
        self.events = []
        self.session = None
        targets = self.call("Target.getTargets")["targetInfos"]
        target = next(each for each in targets if each["type"] == "page")["targetId"]
        self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network"):
            self.call(domain + ".enable")
        self.size(wide, tall, scale)

    def __enter__(self):
        return self

    def __exit__(self, *unused):
        try:
            os.killpg(self.process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        self.process.wait()
        os.close(self.out)
        os.close(self.into)
        shutil.rmtree(self.directory, ignore_errors=True)

    def call(self, method, **parameters):
        """Asks the browser, and returns what it answers."""
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            message["sessionId"] = self.session
        os.write(self.out, json.dumps(message).encode() + b"\0")
        end = time.monotonic() + 120
        while time.monotonic() < end:
            answer = self.read(end - time.monotonic())
            if answer is None:
                break
            if answer.get("id") == self.number:
                if "error" in answer:
                    raise BrowserError(f"{method}: {answer['error']['message']}")
                return answer["result"]
            self.events.append(answer)
        raise BrowserError(f"{method}: no answer")

    def read(self, seconds):
        """The next message of the browser, None when there is none in time."""
        while b"\0" not in self.pending:
            ready, _, _ = select.select([self.into], [], [], max(0, seconds))
            if not ready:
                return None
            piece = os.read(self.into, 1 << 20)
            if not piece:
                raise BrowserError("the browser has ended")
            self.pending += piece
        text, self.pending = self.pending.split(b"\0", 1)
        return json.loads(text)

    def allow(self, permission):
        """Gives pages a permission, as a reader would."""
        session, self.session = self.session, None
        self.call("Browser.grantPermissions", permissions=[permission])
        self.session = session

    def size(self, wide, tall, scale=1):
        """Makes the page's window as large as this."""
        self.call("Emulation.setDeviceMetricsOverride", width=wide, height=tall,
                  deviceScaleFactor=scale, mobile=False)

    def dark(self, dark):
        """Makes the reader's system dark or light."""
        self.call("Emulation.setEmulatedMedia",
                  features=[{"name": "prefers-color-scheme", "value": "dark" if dark else "light"}])

    def open(self, path, fragment="", seconds=60, condition="document.body && document.body.dataset.ready"):
        """Opens a file from disk, and waits until the page says that it is ready, or for something else."""
        self.call("Page.navigate", url="about:blank")
        self.call("Page.navigate", url=f"file://{path}{fragment}")
        self.wait(condition, seconds)

    def run(self, script):
        """The value of an expression of the page; a promise is waited for."""
        answer = self.call("Runtime.evaluate", expression=script, awaitPromise=True,
                           returnByValue=True, userGesture=True)
        if "exceptionDetails" in answer:
            details = answer["exceptionDetails"]
            raise BrowserError(details.get("exception", {}).get("description", str(details)))
        return answer["result"].get("value")

    def wait(self, condition, seconds=20):
        """Waits until an expression of the page is true."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            if self.run(f"Boolean({condition})"):
                return
            time.sleep(0.02)
        raise BrowserError(f"did not become true: {condition}")

    def settle(self):
        """Waits until the page has done what it was asked for."""
        self.run("new Promise((done) => setTimeout(done, 30))")
        self.wait("!document.body.dataset.busy")

    def key(self, name, code=None, modifiers=0):
        """Presses a key where the focus is."""
        text = name if len(name) == 1 else "\r" if name == "Enter" else ""
        # What the browser itself does with a key goes by its number.
        number = {"Enter": 13, "ArrowLeft": 37, "ArrowUp": 38, "ArrowRight": 39, "ArrowDown": 40}.get(name, 0)
        for kind in ("keyDown", "keyUp"):
            self.call("Input.dispatchKeyEvent", type=kind, key=name, code=code or name, text=text,
                      modifiers=modifiers, windowsVirtualKeyCode=number)

    def mouse(self, kind, x, y, modifiers=0):
        """One event of the mouse: mousePressed, mouseMoved or mouseReleased."""
        self.call("Input.dispatchMouseEvent", type=kind, x=x, y=y, button="left", buttons=1,
                  clickCount=1, modifiers=modifiers)

    def drag(self, x, y, to_x, to_y, modifiers=0):
        """Draws the mouse from one place to another."""
        self.mouse("mousePressed", x, y, modifiers)
        for step in range(1, 5):
            self.mouse("mouseMoved", x + (to_x - x) * step / 4, y + (to_y - y) * step / 4, modifiers)
        self.mouse("mouseReleased", to_x, to_y, modifiers)

    def box(self, selector):
        """Where an element stands: x, y, width and height; it is brought into view."""
        return self.run(f"(() => {{ const e = document.querySelector({json.dumps(selector)});"
                        "e.scrollIntoView({block: 'center', behavior: 'instant'}); const b = "
                        "e.getBoundingClientRect(); return [b.x, b.y, b.width, b.height]; })()")

    def screenshot(self, path, whole=False):
        """Writes what is seen, or the whole page, as PNG."""
        data = self.call("Page.captureScreenshot", format="png", captureBeyondViewport=whole)
        with open(path, "wb") as file:
            file.write(base64.b64decode(data["data"]))

    def pdf(self):
        """The page as it is printed."""
        return base64.b64decode(self.call("Page.printToPDF")["data"])

    def complaints(self):
        """Errors and warnings that page and browser have logged, and addresses that were asked for
        though they are no file that was opened."""
        found = []
        for event in self.events:
            method, about = event.get("method"), event.get("params", {})
            if method == "Runtime.exceptionThrown":
                found.append(str(about["exceptionDetails"].get("exception", about)))
            elif method == "Log.entryAdded":
                found.append(about["entry"]["text"])
            elif method == "Runtime.consoleAPICalled" and about["type"] in ("error", "warning"):
                found.append(str(about["args"]))
        return found

    def addresses(self):
        """Every address that was asked for."""
        return [event["params"]["request"]["url"] for event in self.events
                if event.get("method") == "Network.requestWillBeSent"]
