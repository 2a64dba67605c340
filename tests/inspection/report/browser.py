"""A headless Chromium, driven through its driver's own protocol (W3C WebDriver over HTTP).

Standard library only. `with Browser(folder) as browser:` starts driver and browser with an empty
profile in `folder`; both are gone at the end.
"""

import base64
import http.client
import json
import pathlib
import re
import shutil
import subprocess
import tempfile

FLAGS = [
    "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
    "--disable-background-networking", "--disable-component-update", "--disable-sync",
    "--disable-dev-shm-usage", "--force-color-profile=srgb", "--hide-scrollbars",
    "--host-resolver-rules=MAP * ~NOTFOUND",  # nothing leaves this machine
]
ELEMENT = "element-6066-11e4-a52e-4f735466cecf"
KEYS = {"Enter": "\ue007", "Escape": "\ue00c", "Tab": "\ue004", "Down": "\ue015", "Up": "\ue013",
        "End": "\ue010", "Home": "\ue011", "PageDown": "\ue00f"}

# Collects what goes wrong in a page, from before its first script on. The page knows nothing of it.
WATCH = """
window.troubles = [];
addEventListener('error', (e) => troubles.push('error: ' + (e.message || e.target)), true);
addEventListener('unhandledrejection', (e) => troubles.push('rejection: ' + e.reason));
document.addEventListener('securitypolicyviolation',
  (e) => troubles.push('policy: ' + e.violatedDirective + ' ' + e.blockedURI));
window.ran = (what) => troubles.push('ran: ' + what);
window.alert = window.ran;
"""


class Browser:
    def __init__(self, folder, width=1360, height=900):
        self._folder = pathlib.Path(folder)
        self._size = (width, height)
        self._driver = self._session = None

    def __enter__(self):
        self._profile = tempfile.mkdtemp(dir=self._folder, prefix="profile-")
        self._log = open(self._folder / "chromedriver.log", "w")
        self._driver = subprocess.Popen(
            ["chromedriver", "--port=0"], stdout=subprocess.PIPE, stderr=self._log, text=True)
        for line in self._driver.stdout:
            found = re.search(r"started successfully on port (\d+)", line)
            if found:
                break
        else:
            raise RuntimeError("chromedriver didn't start")
        self._http = http.client.HTTPConnection("127.0.0.1", int(found.group(1)), timeout=120)
        options = {"args": FLAGS + [f"--user-data-dir={self._profile}",
                                    "--window-size=%d,%d" % self._size]}
        answer = self._send("POST", "/session", {"capabilities": {"alwaysMatch": {
            "goog:chromeOptions": options, "goog:loggingPrefs": {"browser": "ALL"}}}})
        self._session = "/session/" + answer["sessionId"]
        self.cdp("Page.addScriptToEvaluateOnNewDocument", source=WATCH)
        return self

    def __exit__(self, *_):
        try:
            if self._session:
                self._send("DELETE", self._session)
        finally:
            self._driver.terminate()
            self._driver.wait()
            self._log.close()
            shutil.rmtree(self._profile, ignore_errors=True)

    def _send(self, method, path, body=None):
        text = None if body is None else json.dumps(body)
        self._http.request(method, path, text, {"Content-Type": "application/json"})
        response = self._http.getresponse()
        value = json.loads(response.read())["value"]
        if response.status != 200:
            raise RuntimeError(f"{method} {path}: {value}")
        return value

    def cdp(self, command, **parameters):
        return self._send("POST", self._session + "/goog/cdp/execute",
                          {"cmd": command, "params": parameters})

    def open(self, path):
        self._send("POST", self._session + "/url", {"url": pathlib.Path(path).resolve().as_uri()})

    def run(self, script, *arguments):
        """The value of a function body in the page."""
        return self._send("POST", self._session + "/execute/sync",
                          {"script": script, "args": list(arguments)})

    def keys(self, *keys):
        """Presses and releases each key: a name of KEYS, or a text's characters."""
        actions = []
        for key in keys:
            for one in [KEYS[key]] if key in KEYS else key:
                actions += [{"type": "keyDown", "value": one}, {"type": "keyUp", "value": one}]
        self._send("POST", self._session + "/actions",
                   {"actions": [{"type": "key", "id": "keyboard", "actions": actions}]})

    def click(self, selector):
        found = self._send("POST", self._session + "/element",
                           {"using": "css selector", "value": selector})
        self._send("POST", f"{self._session}/element/{found[ELEMENT]}/click", {})

    def text(self, selector):
        return self.run("return document.querySelector(arguments[0]).innerText", selector)

    def texts(self, selector):
        return self.run("return [...document.querySelectorAll(arguments[0])].map(e => e.innerText)",
                        selector)

    def look(self, scheme="light", media="screen", width=None, height=None):
        """Colours and medium as a reader's system asks for them."""
        self.cdp("Emulation.setEmulatedMedia", media=media,
                 features=[{"name": "prefers-color-scheme", "value": scheme}])
        if width:
            self.cdp("Emulation.setDeviceMetricsOverride", width=width, height=height or 900,
                     deviceScaleFactor=1, mobile=False)

    def picture(self, path, whole=False):
        shot = self.cdp("Page.captureScreenshot", format="png", captureBeyondViewport=whole,
                        **({"clip": self._whole()} if whole else {}))
        pathlib.Path(path).write_bytes(base64.b64decode(shot["data"]))

    def _whole(self):
        size = self.cdp("Page.getLayoutMetrics")["cssContentSize"]
        return {"x": 0, "y": 0, "width": size["width"], "height": size["height"], "scale": 1}

    def paper(self, path):
        self.cdp("Emulation.setEmulatedMedia", media="print", features=[])
        pdf = self.cdp("Page.printToPDF", printBackground=False, paperWidth=8.27, paperHeight=11.69)
        self.cdp("Emulation.setEmulatedMedia", media="", features=[])
        pathlib.Path(path).write_bytes(base64.b64decode(pdf["data"]))

    def troubles(self):
        """What went wrong in the page so far, and what it wrote to the console."""
        console = self._send("POST", self._session + "/se/log", {"type": "browser"})
        return self.run("return window.troubles") + [entry["message"] for entry in console]
