#!/usr/bin/env python3
"""An agent written from docs/protocol.md alone, without the kit: it shows that the document is complete.
It decides like examples/agent.py. For Linux; Python has no atomic operations on shared memory, so they
come from libatomic."""
import ctypes
import fcntl
import mmap
import os
import re
import signal
import time

LOAD_ACQUIRE, RELEASE, FULL = 2, 3, 5  # memory orders, as libatomic counts them
ATOMIC = ctypes.CDLL("libatomic.so.1")
SIZE, CAPACITY, HEADER, ENTRY = 262_164, 262_144, 16, 152
USED, CURSOR, CONSUMER, CAPACITY_WORD = 0, 4, 8, 12
FILE, RECIPIENTS, CLOSE = 1, 3, 9
WAITING, GIVEN_UP = 1, 5
BLOCK, GO_ON, TAG = 3, 4, 7
GONE = {"new": 15, "waiting": 300, "answered": 5}  # seconds
MASK = 0xFFFFFFFF
DESCRIPTORS = os.open("/proc/self/fd", os.O_RDONLY)


def shared_file(name):
    root = os.environ.get("QUORVEX_ROOT") or os.path.join(
        os.environ.get("XDG_STATE_HOME") or os.path.expanduser("~/.local/state"), "quorvex")
    digest = 0xCBF29CE484222325
    for byte in os.fsencode(os.path.realpath(root)):
        digest = (digest ^ byte) * 0x100000001B3 % 2**64
    escaped = re.sub(r"[^A-Za-z0-9_-]", lambda c: f"%{ord(c[0]):02X}", name)
    return f"/dev/shm/quorvex-{digest:016x}-{escaped}"


def locks(file, kind):
    try:
        fcntl.flock(file, kind | fcntl.LOCK_NB)
        return True
    except BlockingIOError:
        return False


def names(path, file):
    try:
        return os.path.samestat(os.lstat(path), os.fstat(file))
    except FileNotFoundError:
        return False


class Mapping:
    """A named mapping that this agent creates. Raises FileExistsError if the name is in use."""

    def __init__(self, name, size):
        self.path = shared_file(name)
        self.file = os.open("/dev/shm", os.O_TMPFILE | os.O_RDWR)
        os.fchmod(self.file, 0o666)
        fcntl.flock(self.file, fcntl.LOCK_SH)
        os.posix_fallocate(self.file, 0, size)
        try:
            self.give_name()
        except OSError:
            os.close(self.file)
            raise
        self.memory = mmap.mmap(self.file, size)
        self.bytes = (ctypes.c_char * size).from_buffer(self.memory)
        self.start = ctypes.addressof(self.bytes)

    def give_name(self):
        while True:
            try:
                # Only with a folder's descriptor does Python call linkat, which follows the link.
                os.link(str(self.file), self.path, src_dir_fd=DESCRIPTORS, follow_symlinks=True)
                return
            except FileExistsError:
                self.remove_leftover()  # or raises

    def remove_leftover(self):
        try:
            other = os.open(self.path, os.O_RDONLY | os.O_NOFOLLOW)
        except FileNotFoundError:
            return
        try:
            if not locks(other, fcntl.LOCK_EX):
                raise FileExistsError(self.path)
            if names(self.path, other):
                os.unlink(self.path)
        finally:
            os.close(other)

    def close(self):
        if locks(self.file, fcntl.LOCK_EX) and names(self.path, self.file):
            os.unlink(self.path)
        del self.bytes
        self.memory.close()
        os.close(self.file)

    def load(self, offset):
        return ATOMIC["__atomic_load_4"](ctypes.c_void_p(self.start + offset), LOAD_ACQUIRE) & MASK

    def store(self, offset, value):
        ATOMIC["__atomic_store_4"](ctypes.c_void_p(self.start + offset), ctypes.c_uint32(value), RELEASE)

    def subtract(self, offset, value):
        ATOMIC["__atomic_fetch_sub_4"](ctypes.c_void_p(self.start + offset), ctypes.c_uint32(value), FULL)

    def replace(self, offset, expected, value):
        """Compare and exchange: whether `expected` was there and `value` is now."""
        found = ctypes.c_uint32(expected)
        return bool(ATOMIC["__atomic_compare_exchange_4"](
            ctypes.c_void_p(self.start + offset), ctypes.byref(found), ctypes.c_uint32(value), FULL,
            LOAD_ACQUIRE) & 0xFF)


class Ring:
    def __init__(self):
        self.memory = Mapping("Global\\VRKEXPIPE", SIZE)
        self.position = 0
        self.taken = {}       # sizes of taken entries that aren't freed, by position
        self.incomplete = {}  # when entries were first seen incomplete, by position
        self.idle = None      # (usedBytes, since when), of an empty ring
        self.memory.store(CAPACITY_WORD, CAPACITY)

    def take(self):
        """The payloads of all complete entries."""
        found, cursor, at = [], self.memory.load(CURSOR), self.position
        if at != cursor:
            self.idle = None
        while at != cursor:
            if at not in self.taken:
                left = (cursor - at) & MASK
                length = self.memory.load(HEADER + at % CAPACITY)
                if length == 0:
                    self.incomplete.setdefault(at, time.monotonic())
                    if left <= ENTRY:
                        break
                    at = at + ENTRY & MASK  # the next one, if this one is the add-in's
                    continue
                if length % 4 or length + 4 > left:
                    if at == self.position:
                        self.reset(cursor)
                    break
                found.append(self.copy_and_clear(at, length))
                self.taken[at] = length + 4
            at = at + self.taken[at] & MASK
        self.free(cursor)
        return found

    def copy_and_clear(self, at, length):
        self.memory.store(HEADER + at % CAPACITY, 0)
        begin = (at + 4) % CAPACITY
        first = min(length, CAPACITY - begin)
        payload = b""
        for start, count in (HEADER + begin, first), (HEADER, length - first):
            payload += self.memory.memory[start:start + count]
            self.memory.memory[start:start + count] = bytes(count)
        return payload

    def free(self, cursor):
        while self.position != cursor:
            size = self.taken.pop(self.position, None)
            if size is None:
                since = self.incomplete.get(self.position)
                if since is None or time.monotonic() - since < GONE["new"]:
                    return
                if self.memory.load(HEADER + self.position % CAPACITY):
                    return  # it was completed just now; the next call takes it
                if (cursor - self.position) & MASK < ENTRY:
                    return self.reset(cursor)
                self.copy_and_clear(self.position, ENTRY - 4)
                size = ENTRY
            self.incomplete.pop(self.position, None)
            self.position = self.position + size & MASK
            self.memory.store(CONSUMER, self.position)
            self.memory.subtract(USED, size)
        self.correct_used()

    def correct_used(self):
        used = self.memory.load(USED)
        if used == 0 or self.idle is None or self.idle[0] != used:
            self.idle = (used, time.monotonic()) if used else None
        elif time.monotonic() - self.idle[1] > GONE["new"]:
            if self.memory.load(CURSOR) == self.position:
                self.memory.replace(USED, used, 0)
            self.idle = None

    def reset(self, cursor):
        self.memory.memory[HEADER:HEADER + CAPACITY] = bytes(CAPACITY)
        self.position = cursor
        self.taken.clear()
        self.incomplete.clear()
        self.memory.store(CONSUMER, cursor)
        self.memory.store(USED, 0)


class Request:
    def __init__(self, record):
        word = [int.from_bytes(record[i:i + 4], "little") for i in range(0, 20, 4)]
        self.mail, length, kind, self.item_type = (word[0], word[1]), word[2], word[3], word[4]
        name = record[20:].split(b"\0")[0].decode("ascii", "replace")
        expected = rf"Global\\{word[0]:08x}{word[1]:08x}[0-9]{{5}}"
        if len(record) != 148 or kind != 4 or length < 6 or not re.fullmatch(expected, name):
            raise ValueError("not a request")
        self.length = length
        self.block = Mapping(name, length)
        self.enter("new")

    def enter(self, state):
        self.state, self.since = state, time.monotonic()

    def read(self):
        content = self.block.memory[4:self.length]
        payload, _, name = content[:-1].rpartition(b"\0")
        return payload, name.decode("utf-8", "replace")

    def step(self, judge):
        """Looks at the block once. False when the request has ended."""
        status = self.block.load(0)
        if status == GIVEN_UP:
            judge.mails.pop(self.mail, None)
            return False
        if self.state == "new" and status == WAITING:
            self.enter("waiting")
            answer = judge.answer(self.mail, self.item_type, *self.read())
            if self.block.replace(0, WAITING, answer):
                self.enter("answered")
        elif self.state == "answered" and status == WAITING:
            return False
        return time.monotonic() - self.since < GONE[self.state]


class Judge:
    def __init__(self):
        self.mails = {}  # (process, thread): [verdict, whether a file was seen]

    def answer(self, sender, item_type, payload, name):
        mail = self.mails.setdefault(sender, [GO_ON, False])
        if item_type == FILE:
            mail[1] = True
            if name.endswith(".key"):
                mail[0] = BLOCK
                return BLOCK
            return GO_ON
        if item_type == CLOSE:
            return self.mails.pop(sender)[0]
        if mail[1]:  # the last mail ended without item 9
            mail[:] = GO_ON, False
        if item_type == RECIPIENTS and payload.count(b"\0") > 10:
            mail[0] = TAG
        return GO_ON


def main():
    stopped = []
    for number in signal.SIGINT, signal.SIGTERM:
        signal.signal(number, lambda *_: stopped.append(True))
    ring, judge, requests = Ring(), Judge(), []
    print("ready", flush=True)
    while not stopped:
        for record in ring.take():
            try:
                requests.append(Request(record))
            except (ValueError, OSError):
                pass  # no block: the add-in goes on after its time-out
        for request in requests[:]:
            if not request.step(judge):
                request.block.close()
                requests.remove(request)
        time.sleep(0.002)
    for request in requests:
        request.block.close()
    ring.memory.close()


main()
