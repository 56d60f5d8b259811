"""A headless browser, driven over its own protocol through two pipes."""
import fcntl
import json
import os
import queue
import shutil
import subprocess
import tempfile
import threading

WAIT = 120  # seconds for anything: a machine may be busy

# Descriptors 3 and 4 are where the browser reads commands and writes answers, each ended by a NUL.
OPTIONS = [
    "--headless=new",
    "--no-sandbox",  # CI runs as root
    "--disable-gpu",
    "--disable-dev-shm-usage",
    "--disable-background-networking",
    "--disable-component-update",
    "--disable-extensions",
    "--no-first-run",
    "--window-size=1280,800",
    "--remote-debugging-pipe",
]


class Failure(Exception):
    pass


class Browser:
    def __init__(self, program="chromium"):
        self.folder = tempfile.mkdtemp(prefix="kelo-page-")
        commands_out, commands_in = os.pipe()
        answers_out, answers_in = os.pipe()
        # Above 10, so that neither stands where the other has to go.
        ends = [fcntl.fcntl(end, fcntl.F_DUPFD_CLOEXEC, 10) for end in (commands_out, answers_in)]
        self.process = subprocess.Popen(
            [program, *OPTIONS, f"--user-data-dir={self.folder}", "about:blank"],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            close_fds=False, preexec_fn=lambda: (os.dup2(ends[0], 3), os.dup2(ends[1], 4)))
        for end in [commands_out, answers_in, *ends]:
            os.close(end)
        self.commands = os.fdopen(commands_in, "wb", buffering=0)
        self.answers = os.fdopen(answers_out, "rb")
        self.last_id = 0
        self.waiting = {}
        self.lock = threading.Lock()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        rest = b""
        while True:
            data = self.answers.read1(1 << 16)
            if not data:
                break
            *whole, rest = (rest + data).split(b"\0")
            for text in whole:
                message = json.loads(text)
                waiter = self.waiting.pop(message.get("id"), None)
                if waiter:
                    waiter.put(message)
        for waiter in list(self.waiting.values()):
            waiter.put({"error": {"message": "the browser has ended"}})

    def call(self, method, session=None, **parameters):
        answer = queue.Queue()
        with self.lock:
            self.last_id += 1
            message = {"id": self.last_id, "method": method, "params": parameters}
            if session:
                message["sessionId"] = session
            self.waiting[self.last_id] = answer
            self.commands.write(json.dumps(message).encode() + b"\0")
        try:
            result = answer.get(timeout=WAIT)
        except queue.Empty:
            raise Failure(f"no answer to {method} {str(parameters)[:300]}") from None
        if "error" in result:
            raise Failure(f"{method}: {result['error']['message']}")
        return result["result"]

    def open(self, url):
        return Page(self, url)

    def close(self):
        try:
            self.call("Browser.close")
        except (Failure, OSError):
            self.process.kill()
        self.process.wait()
        self.commands.close()
        shutil.rmtree(self.folder, ignore_errors=True)


class Page:
    def __init__(self, browser, url):
        self.browser = browser
        self.target = browser.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = browser.call("Target.attachToTarget", targetId=self.target,
                                    flatten=True)["sessionId"]
        self.call("Page.enable")
        self.call("Runtime.enable")
        self.go(url)

    def call(self, method, **parameters):
        return self.browser.call(method, self.session, **parameters)

    def go(self, url):
        self.call("Page.navigate", url=url)
        self.wait(f"location.href === {json.dumps(url)} && document.readyState === 'complete'")

    def value(self, expression, **more):
        """The value of an expression (or what its promise comes to)."""
        answer = self.call("Runtime.evaluate", expression=expression, returnByValue=True,
                           awaitPromise=True, userGesture=True, **more)
        if "exceptionDetails" in answer:
            raise Failure(f"{expression[:300]}: {answer['exceptionDetails']}")
        return answer["result"].get("value")

    def wait(self, expression):
        """Waits until the expression is something; gives it."""
        try:
            return self.value("""new Promise((done) => {
              const look = () => {
                let found = null;
                try { found = (%s); } catch {}
                if (found) done(found);
                else setTimeout(look, 20);
              };
              look();
            })""" % expression)
        except Failure as failure:
            if "navigat" in str(failure) or "context was destroyed" in str(failure):
                return self.wait(expression)  # the question went with the former document
            seen = self.value("document.body.innerText.slice(0, 600)")
            raise Failure(f"in vain: {expression}\nthe page says: {seen}") from failure

    def click(self, selector):
        """Clicks an element as soon as it is there."""
        self.wait(f"(document.querySelector({json.dumps(selector)}).click(), true)")

    def key(self, key, text=None):
        code = {"Enter": 13, "Escape": 27, "Tab": 9, " ": 32, "End": 35, "Home": 36, "PageDown": 34,
                "ArrowLeft": 37, "ArrowUp": 38, "ArrowRight": 39, "ArrowDown": 40}[key]
        key_text = {"Enter": "\r", " ": " "}.get(key)
        down = {"type": "keyDown" if key_text else "rawKeyDown", "key": key, "code": key,
                "windowsVirtualKeyCode": code}
        if key_text:
            down["text"] = key_text
        self.call("Input.dispatchKeyEvent", **down)
        self.call("Input.dispatchKeyEvent", type="keyUp", key=key, code=key,
                  windowsVirtualKeyCode=code)

    @staticmethod
    def middle(selector):
        return (f"(() => {{ const r = document.querySelector({json.dumps(selector)})"
                ".getBoundingClientRect(); return [r.x + r.width / 2, r.y + r.height / 2]; })()")

    def at_middle(self, selector):
        """An expression: what is seen in the middle of an element."""
        return f"document.elementFromPoint(...{self.middle(selector)})"

    def press(self, selector):
        """The mouse button, down and up again in the middle of an element."""
        x, y = self.wait(self.middle(selector))
        for kind in ["mousePressed", "mouseReleased"]:
            self.call("Input.dispatchMouseEvent", type=kind, x=x, y=y, button="left", clickCount=1)

    def close(self):
        self.browser.call("Target.closeTarget", targetId=self.target)
