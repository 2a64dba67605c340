#!/usr/bin/env python3
"""The pages as a reader meets them: pages.py QUORVEX FOLDER [TEST...]

Makes pages with the command line, opens them in a headless browser, and does what a reader does.
Pages and screenshots stay in FOLDER. Each expected number is counted here, from the results.
"""

import json
import pathlib
import random
import re
import statistics
import subprocess
import sys
import unittest

from browser import Browser

quorvex = folder = None

HOSTILE = [
    "</script><script>ran('script')</script>",
    "<img src=x onerror=ran('image')>",
    "<!--<script>", "]]>--></title></style></textarea>",
    "\"'><svg onload=ran('svg')>", "javascript:ran('link')", "&lt;b&gt; &amp; &#60;",
    "{{7*7}}${7*7}`${ran('template')}`", "\u2028ran('line')\u2029",
    "\u202egpj.exe", "\u0000\u0007\u001b[31m\u009b", "__proto__", "constructor", "toString",
    "\ufffd\U0001f600 ä 漢字 עברית العربية", "a" * 5000, " leading and trailing ",
]


def request(kind, answer, wait, payload="", name="", **more):
    return {"type": kind, "payload": payload, "name": name, "answer": answer, "wait_ms": wait, **more}


def mail(i, random_, before=True):
    """One recorded result. Every kind comes; what is left out of before and after is known."""
    name = f"corpus/2026/{i // 500:02d}/archive.mbox#{i}"
    if i % 97 == 11:
        return {"mail": name, "error": "it is not a mail: there is no mail header in it"}
    blocked = i % 17 == 5 or (not before and i % 101 == 7)
    tagged = not blocked and i % 23 == 8
    silent = not blocked and i % 41 == 3
    lost = i % 211 == 20

    def wait():
        return round(random_.choice([0.4, 20.2, 40.6]) + random_.expovariate(0.4), 1)

    requests = [request(3, 4, wait(), "ben.ochs@partner.example\0cora.lind@partner.example\0"),
                request(7, 4, wait(), "Ada Winter"), request(8, 4, wait()),
                request(1, 4, wait(), "C:\\Temp\\ExchangeSubjectContent", "ExchangeSubjectContent",
                        content_bytes=14 + i % 60)]
    body = request(1, None if silent else 3 if blocked else 4, 2480.2 if silent else wait(),
                   "C:\\Temp\\ExchangeBodyContent", "ExchangeBodyContent", content_bytes=i * 7 % 9000)
    if blocked:
        body["rule"] = "secret project"
    requests.append(body)
    if not blocked:
        requests += [request(1, 4, wait(), f"C:\\Temp\\OutlookAttachment.{k}", f"offer-{i}-{k}.pdf",
                             content_bytes=1000 * i % 90001) for k in range(i % 3)]
    requests.append(request(9, 7 if tagged else 4, wait(), rule="marked as confidential" if tagged else ""))
    if lost:
        requests = []
    result = {"mail": name, "outcome": "sent", "action": 4, "cancel": 0,
              "checked": "no" if lost else "part" if silent else "yes",
              "reasons": ["no agent was there"] if lost else ["no answer in time"] if silent else [],
              "requests": requests, "tag": None,
              "ms": round(sum(one["wait_ms"] for one in requests) + 3.5, 1)}
    if blocked and not lost:
        result.update(outcome="blocked", action=3, cancel=1)
    if tagged and not lost:
        result.update(outcome="tagged", action=7, tag={"name": "X-Sensitivity", "value": "internal use"})
    return result


def corpus(count, before=True):
    random_ = random.Random(17)
    return [mail(i, random_, before) for i in range(count)]


def write(name, results):
    path = folder / name
    path.write_text("".join(json.dumps(one) + "\n" for one in results))
    return path


def make_page(name, *arguments, status=0):
    path = folder / name
    ran = subprocess.run([quorvex, *map(str, arguments), "--html", str(path)],
                         stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    if ran.returncode != status:
        raise AssertionError(f"{arguments} ended with {ran.returncode}: {ran.stderr}")
    return path


class Pages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.mails = corpus(10000)
        cls.page = make_page("mails.html", "summary", write("mails.jsonl", cls.mails))
        cls.browser = Browser(folder)
        cls.browser.__enter__()

    @classmethod
    def tearDownClass(cls):
        cls.browser.__exit__()

    def setUp(self):
        self.browser.look("light", width=1360, height=900)

    def open(self, page):
        self.browser.open(page)
        # A test that breaks the page on purpose says so itself.
        self.addCleanup(lambda: self.assertEqual(self.browser.troubles(), []))

    def count(self, **wanted):
        return sum(all(one.get(key) == value for key, value in wanted.items()) for one in self.mails)

    def entry(self, label):
        """The number that a card shows for a label."""
        for text in self.browser.texts(".entry"):
            lines = text.split("\n")
            if lines[0] == label:
                return int(lines[1].replace(",", ""))
        self.fail(f"no entry {label}")

    def shown(self):
        return int(self.browser.text("#count").split()[0].replace(",", ""))

    def press_entry(self, label):
        self.browser.run("[...document.querySelectorAll('.entry')].find("
                         "e => e.querySelector('.label').textContent === arguments[0]).click()", label)

    def test_totals_are_those_of_the_results(self):
        self.open(self.page)
        for label, wanted in {"sent": {"outcome": "sent"}, "blocked": {"outcome": "blocked"},
                              "tagged": {"outcome": "tagged"}, "checked": {"checked": "yes"},
                              "checked in part": {"checked": "part"}, "unchecked": {"checked": "no"},
                              "no agent was there": {"reasons": ["no agent was there"]}}.items():
            self.assertEqual(self.entry(label), self.count(**wanted), label)
            self.assertGreater(self.entry(label), 0)
        self.assertEqual(self.entry("unreadable"), sum("error" in one for one in self.mails))
        headline = self.browser.text("#headline")
        self.assertIn(f"{self.count(checked='no')} unchecked, {self.count(checked='part')} checked in part", headline)
        self.browser.picture(folder / "mails-light.png")

    def test_waits_are_those_of_the_results(self):
        self.open(self.page)
        waits = sorted(one["wait_ms"] for result in self.mails for one in result.get("requests", []))
        row = self.browser.texts(".figures tbody tr")[0].split("\t")
        half = waits[-(-len(waits) // 2) - 1]
        self.assertEqual(row[:3], ["each request", f"{len(waits):,}", f"{half:.1f} ms"])
        self.assertEqual(row[-1], "2.48 s")
        heights = self.browser.run("return [...document.querySelectorAll('.column')].map(e => +e.getAttribute('height'))")
        self.assertGreater(len(heights), 10)

    def test_the_labels_of_the_percentiles_do_not_cover_each_other(self):
        one = {"outcome": "sent", "checked": "yes", "reasons": [], "tag": None, "ms": 50}
        for i, waits in enumerate(([40.1] * 90 + [40.2] * 5 + [44.2] * 4 + [62.1],
                                   [1.0] * 94 + [5.0, 9.0, 12.0, 700.0, 900.0, 2500.0],
                                   [1.0] * 60 + [40.0] * 37 + [60.0] * 3,
                                   [2000.0] * 50 + [2400.0] * 50)):
            results = [{"mail": str(k), **one, "requests": [request(1, 4, wait)]} for k, wait in enumerate(waits)]
            self.open(make_page(f"labels{i}.html", "summary", write(f"labels{i}.jsonl", results)))
            labels = self.browser.run("""return [...document.querySelectorAll('.mark-text')].map(e => {
                const box = e.getBoundingClientRect(); return [box.left, box.right, e.textContent]; })""")
            self.assertEqual(" ".join(text for _, _, text in labels).replace(" %", "").replace(" / ", " "), "50 95 99")
            for (_, right, text), (left, _, other) in zip(labels, labels[1:]):
                self.assertLess(right, left, f"{text} and {other} in page {i}")

    def test_the_filter_narrows_the_list_as_one_types(self):
        self.open(self.page)
        self.browser.keys("/", "offer-77")
        fitting = [one for one in self.mails if "offer-77" in json.dumps(one)]
        self.assertEqual(self.shown(), len(fitting))
        self.assertIn("of 10,000 mails", self.browser.text("#count"))
        self.assertEqual(self.browser.run("return document.querySelector('#rows .name').textContent"),
                         fitting[0]["mail"])
        self.browser.click("#clear")
        self.assertEqual(self.shown(), 10000)
        self.browser.keys("/", "nothing has this")
        self.assertEqual(self.browser.text("#none"), "No mail fits these filters.")

    def test_cards_filter_the_list_and_filters_add_up(self):
        self.open(self.page)
        self.press_entry("sent")
        self.assertEqual(self.shown(), self.count(outcome="sent"))
        self.press_entry("checked in part")
        self.assertEqual(self.shown(), self.count(outcome="sent", checked="part"))
        self.press_entry("sent")
        self.assertEqual(self.shown(), self.count(checked="part"))
        self.press_entry("no agent was there")
        self.assertEqual(self.shown(), 0)
        self.press_entry("checked in part")
        self.assertEqual(self.shown(), self.count(reasons=["no agent was there"]))

    def test_a_mail_opens_by_keyboard_with_its_requests_in_their_order(self):
        self.open(self.page)
        wanted = self.mails[8]
        self.assertEqual(wanted["outcome"], "tagged")
        self.browser.keys("/", "mbox#8", "Down", "Enter")
        self.assertEqual(self.browser.text("#detail h3"), wanted["mail"])
        self.assertIn("tag X-Sensitivity: internal use", self.browser.text("#detail .facts"))
        falls = self.browser.run(
            "return [...document.querySelectorAll('.falls > div:not(.scale)')].map(e => ["
            "e.querySelector('.what').innerText, e.querySelector('.wait').innerText,"
            "e.querySelector('.fill').getBoundingClientRect().left,"
            "e.querySelector('.fill').getBoundingClientRect().right])")
        requests = wanted["requests"]
        self.assertEqual(len(falls), len(requests) + 1)
        self.assertEqual(falls[0][0], "recipients\nben.ochs@partner.example, cora.lind@partner.example")
        self.assertEqual([one[1] for one in falls[:-1]], [f"{one['wait_ms']:.1f} ms" for one in requests])
        self.assertEqual(falls[-1][:2], ["outside the waits", "3.5 ms"])
        for one, following in zip(falls, falls[1:]):
            self.assertLess(one[2], following[2])
        # Arrows in the list show the next mail; the list's last is where End leads.
        self.browser.keys("Down")
        self.assertEqual(self.browser.text("#detail h3"), "corpus/2026/00/archive.mbox#80")
        self.browser.keys("Escape")
        self.assertTrue(self.browser.run("return document.querySelector('#detail').hidden"))
        self.assertEqual(self.browser.run("return document.activeElement.id"), "rows")
        self.browser.click("#clear")
        self.browser.run("document.querySelector('#rows').focus()")
        self.browser.keys("End", "Enter")
        self.assertEqual(self.browser.text("#detail h3"), "corpus/2026/19/archive.mbox#9999")
        self.browser.keys("Enter")
        self.assertEqual(self.browser.run("return document.activeElement.id"), "detail")

    def test_everything_can_be_reached_by_tab(self):
        self.open(self.page)
        reached = set()
        for _ in range(40):
            self.browser.keys("Tab")
            reached.add(self.browser.run("return document.activeElement.id || document.activeElement.className"))
        self.assertLessEqual({"entry", "filter", "rows", "number"}, reached)

    def test_ten_thousand_mails_stay_responsive(self):
        self.open(self.page)
        self.assertLess(self.browser.run("return document.querySelectorAll('#rows .row').length"), 100)
        timed = """
            const times = [];
            for (let i = 0; i < 9; ++i) {
              const begin = performance.now();
              %s
              document.body.getBoundingClientRect();
              times.push(performance.now() - begin);
            }
            return times;"""
        typing = self.browser.run(timed % """
            filter.value = ['secret', 'mbox#1', 'ada', '', 'partner'][i % 5];
            filter.dispatchEvent(new Event('input'));""")
        self.assertLess(statistics.median(typing), 300)
        moving = self.browser.run(timed % """
            rows.dispatchEvent(new KeyboardEvent('keydown', { key: i % 2 ? 'Home' : 'End' }));""")
        self.assertLess(statistics.median(moving), 200)
        print(f"a keystroke in the filter {statistics.median(typing):.0f} ms, "
              f"to the list's other end {statistics.median(moving):.0f} ms")

    def test_scrolling_shows_the_rows_in_sight(self):
        self.open(self.page)
        self.browser.run("rows.scrollTop = 34 * 5000")
        top = self.browser.run("return new Promise(done => requestAnimationFrame(() => requestAnimationFrame(() => {"
                               "const box = rows.getBoundingClientRect();"
                               "done(document.elementFromPoint(box.left + 300, box.top + 5).closest('.row').innerText); })))")
        self.assertIn("archive.mbox#5000", top.replace("\n", ""))

    def test_columns_sort(self):
        self.open(self.page)
        self.browser.click("#head .number")
        slowest = max((one for one in self.mails if "ms" in one), key=lambda one: one["ms"])
        self.assertIn(f"{slowest['ms'] / 1000:.2f} s", self.browser.texts("#rows .row")[0])

    def test_hostile_texts_stay_text(self):
        results = [{"mail": text, "outcome": "sent", "checked": "part", "reasons": [text], "ms": 1,
                    "tag": {"name": text, "value": text}, "subject": text, "machine": text, "time": text,
                    "requests": [{"type": 3, "payload": text, "name": text, "answer": 7, "wait_ms": 1,
                                  "rule": text, "stage": text, "end": text}]} for text in HOSTILE]
        results += [{"mail": text, "error": text} for text in HOSTILE]
        run = write("hostile.jsonl", results)
        elements = "return [...new Set([...document.querySelectorAll('*')].map(e => e.tagName))].sort()"
        for page in [make_page("hostile.html", "summary", run),
                     make_page("hostile-compare.html", "compare", run, write("empty.jsonl", []), status=1)]:
            self.open(page)
            self.browser.keys("/", "Down", "Enter")
            self.assertFalse({"IMG", "IFRAME", "A", "TEXTAREA", "OBJECT", "LINK", "BASE", "FORM"}
                             & set(self.browser.run(elements)))
            for i in range(len(results)):
                text = (HOSTILE + HOSTILE)[i]
                heading = self.browser.run("return document.querySelector('#detail h3').textContent")
                if not re.search("[\0-\x1f\x7f-\x9f\u2028-\u202e]", text):
                    self.assertEqual(heading, text)
                else:
                    self.assertNotRegex(heading, "[\0-\x1f\x7f-\x9f\u2028-\u202e]")
                self.browser.keys("Down")
            self.browser.run("for (const button of document.querySelectorAll('button.entry')) button.click()")
        self.browser.open(folder / "hostile.html")
        self.browser.keys("/", "gpj", "Down", "Enter")
        self.assertEqual(self.browser.text("#detail h3"), "‹U+202E›gpj.exe")
        self.browser.picture(folder / "hostile.png")

    def test_the_browser_runs_nothing_that_is_not_the_pages_own(self):
        text = self.page.read_text(encoding="utf-8")
        broken = folder / "broken.html"
        broken.write_text(text.replace("<main>", "<main><img src=x onerror=\"ran('attribute')\">"
                                       "<script>ran('script')</script>"
                                       "<link rel=stylesheet href=https://quorvex.example/x.css>"), encoding="utf-8")
        self.browser.open(broken)
        troubles = "\n".join(self.browser.troubles())
        self.assertNotIn("ran:", troubles)
        for directive in ["img-src", "script-src", "style-src"]:
            self.assertIn(directive, troubles)

    def test_nothing_is_loaded(self):
        self.open(self.page)
        self.assertEqual(self.browser.run("return performance.getEntriesByType('resource').map(e => e.name)"), [])

    def test_light_and_dark_can_be_read(self):
        contrast = """
            const channels = (color) => color.match(/[\\d.]+/g).slice(0, 3).map(Number);
            const light = (color) => {
              const [r, g, b] = channels(color).map(c => (c /= 255) <= 0.04045 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4);
              return 0.2126 * r + 0.7152 * g + 0.0722 * b;
            };
            const under = (e) => { const color = getComputedStyle(e).backgroundColor;
              return color.startsWith('rgba(0, 0, 0, 0') && e.parentElement ? under(e.parentElement) : color; };
            return arguments[0].map(selector => {
              const one = document.querySelector(selector);
              const [a, b] = [light(getComputedStyle(one).color), light(under(one))].sort((x, y) => y - x);
              return (a + 0.05) / (b + 0.05);
            });"""
        places = ["h1", "#made", ".warn", ".entry .share", ".entry[disabled] .label", "#head button",
                  "#rows .row .name", "#rows .row .second", "kbd", "#count", "[aria-selected=true] .number"]
        backgrounds = set()
        for scheme in ["light", "dark"]:
            self.browser.look(scheme)
            self.open(self.page)
            self.browser.keys("/", "Down")
            for place, ratio in zip(places, self.browser.run(contrast, places)):
                self.assertGreaterEqual(ratio, 4.5, f"{scheme}: {place}")
            backgrounds.add(self.browser.run("return getComputedStyle(document.body).backgroundColor"))
            self.browser.keys("Enter")
            self.browser.picture(folder / f"mail-{scheme}.png", whole=True)
        self.assertEqual(len(backgrounds), 2)

    def test_a_narrow_window_needs_no_sideways_scrolling(self):
        self.browser.look("light", width=420, height=800)
        for page in [self.page, self.compare_pages()]:
            self.open(page)
            self.browser.keys("/", "Down", "Enter")
            self.assertLessEqual(self.browser.run("return document.documentElement.scrollWidth"), 420)
            self.browser.picture(folder / f"narrow-{page.stem}.png", whole=True)

    def test_paper_gets_the_mails_that_the_filters_leave(self):
        self.open(self.page)
        self.press_entry("unchecked")
        self.browser.paper(folder / "paper.pdf")
        text = subprocess.run(["pdftotext", "-layout", folder / "paper.pdf", "-"], check=True,
                              stdout=subprocess.PIPE, text=True).stdout
        for one in self.mails:
            self.assertEqual(re.search(re.escape(one["mail"]) + r"(?!\d)", text) is not None,
                             one.get("checked") == "no", one["mail"])
        subprocess.run(["pdftoppm", "-r", "60", "-f", "1", "-l", "1", "-png", folder / "paper.pdf", folder / "paper"], check=True)

    def compare_pages(self):
        return make_page("compare.html", "compare", write("before.jsonl", corpus(2000)),
                         write("after.jsonl", corpus(2000, before=False) + [mail(5000, random.Random(1))]), status=1)

    def test_a_comparison_shows_what_changed(self):
        before = {one["mail"]: one.get("outcome", "unreadable") for one in corpus(2000)}
        after = {one["mail"]: one.get("outcome", "unreadable") for one in corpus(2000, before=False)}
        to_blocked = sum(before[name] == "sent" and after[name] == "blocked" for name in before)
        self.assertGreater(to_blocked, 5)
        self.open(self.compare_pages())
        self.assertEqual(self.entry("only after"), 1)
        self.assertEqual(self.entry("another verdict"), sum(before[name] != after[name] for name in before))
        cell = f"button[aria-label='{to_blocked} mails: sent before, blocked after']"
        self.browser.click(cell)
        self.assertEqual(self.shown(), to_blocked)
        self.browser.keys("/", "Down", "Enter")
        self.assertEqual(self.browser.texts("#detail h4"), ["Before", "After"])
        self.assertIn("secret project", self.browser.text("#detail .why"))
        self.browser.picture(folder / "compare-light.png", whole=True)
        self.browser.look("dark")
        self.browser.picture(folder / "compare-dark.png", whole=True)

    def test_what_is_unknown_is_not_called_checked(self):
        old = [{"mail": "old.eml", "outcome": "sent", "ms": 50,
                "requests": [{"type": 9, "payload": "", "name": "", "answer": 4}]}]
        self.open(make_page("old.html", "summary", write("old.jsonl", old)))
        self.assertEqual(self.browser.text("#headline"),
                         "1 mail. Of 1 mail it isn't known whether it was checked.")
        self.assertEqual(self.entry("checked"), 0)
        self.assertEqual(self.entry("unknown"), 1)
        self.browser.keys("/", "Down", "Enter")
        self.assertEqual(self.browser.texts(".falls .wait"), ["waited", "unknown"])
        checked = [{"mail": "new.eml", "outcome": "sent", "checked": "yes", "requests": []}]
        self.open(make_page("new.html", "summary", write("new.jsonl", checked)))
        self.assertEqual(self.browser.text("#headline"), "1 mail. It was checked.")

    def test_mails_of_a_log_have_their_subject_for_a_name(self):
        log = [{"time": "2026-03-01 12:00:00", "machine": "PC17", "subject": "Offer 2026-117",
                "sender": "ada@ours.example", "recipients": ["ben@partner.example"], "outcome": "sent",
                "checked": "no", "reasons": ["no agent was there"], "requests": []}]
        self.open(make_page("log.html", "summary", write("log.jsonl", log)))
        self.browser.keys("/", "ben@partner pc17", "Down", "Enter")
        self.assertEqual(self.browser.text("#detail h3"), "Offer 2026-117")
        self.assertIn("machine PC17", self.browser.text("#detail .facts"))

    def test_a_page_without_mails_says_so(self):
        self.open(make_page("none.html", "summary", write("none.jsonl", [])))
        self.assertEqual(self.browser.text("#headline"), "0 mails.")
        self.assertEqual(self.browser.text("#count"), "0 mails")
        self.browser.keys("/", "x", "Down", "Enter", "Escape")


if __name__ == "__main__":
    quorvex, folder = str(pathlib.Path(sys.argv[1]).resolve()), pathlib.Path(sys.argv[2]).resolve()
    folder.mkdir(parents=True, exist_ok=True)
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
