#!/usr/bin/env python3
"""The same agent as agent.cpp, in Python: blocks mails with an attachment named *.key, tags mails to
more than ten people, lets everything else go. Ends on Ctrl-C.

usage: agent.py [LIBRARY]    the kit's shared library, quorvex-agentkit-c, with its path
"""
import ctypes
import ctypes.util
import signal
import sys
import time

ITEM_FILE, ITEM_RECIPIENTS, ITEM_CLOSE = 1, 3, 9
BLOCK, GO_ON, TAG = 3, 4, 7
ERROR, OPENED, ANSWER_TAKEN = -1, 0, 0
MANY_PEOPLE = 10


class Request(ctypes.Structure):
    """AgentKitRequest. The texts are pointers with a length, since a payload may contain NULs."""

    _fields_ = [
        ("id", ctypes.c_uint64),
        ("item_type", ctypes.c_uint32),
        ("process_id", ctypes.c_uint32),
        ("thread_id", ctypes.c_uint32),
        ("answer", ctypes.c_int32),
        ("payload_start", ctypes.c_void_p),
        ("payload_length", ctypes.c_size_t),
        ("name_start", ctypes.c_void_p),
        ("name_length", ctypes.c_size_t),
        ("is_well_formed", ctypes.c_int32),
    ]

    @property
    def payload(self):
        return ctypes.string_at(self.payload_start, self.payload_length)

    @property
    def name(self):
        return ctypes.string_at(self.name_start, self.name_length).decode("utf-8", "replace")

    @property
    def sender(self):
        """Identifies a mail while it is being sent: one thread of one process checks it."""
        return self.process_id, self.thread_id


ON_REQUEST = ctypes.CFUNCTYPE(ctypes.c_int32, ctypes.c_void_p, ctypes.POINTER(Request))
ON_END = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.POINTER(Request), ctypes.c_int32)


def load(path):
    """The library, with the types of the functions that this agent calls."""
    kit = ctypes.CDLL(path)
    kit.AgentKitCreate.argtypes = [ON_REQUEST, ON_END, ctypes.c_void_p]
    kit.AgentKitCreate.restype = ctypes.c_void_p
    kit.AgentKitStart.argtypes = [ctypes.c_void_p, ctypes.c_int32]
    kit.AgentKitPoll.argtypes = [ctypes.c_void_p]
    kit.AgentKitErrorText.argtypes = [ctypes.c_void_p]
    kit.AgentKitErrorText.restype = ctypes.c_char_p
    kit.AgentKitFree.argtypes = [ctypes.c_void_p]
    kit.AgentKitFree.restype = None
    return kit


class Judge:
    def __init__(self):
        self.mails = {}  # sender: [verdict, whether a file was seen]

    def answer(self, request):
        mail = self.mails.setdefault(request.sender, [GO_ON, False])
        if request.item_type == ITEM_FILE:
            mail[1] = True
            if not request.name.endswith(".key"):
                return GO_ON
            mail[0] = BLOCK
            return BLOCK
        if request.item_type == ITEM_CLOSE:
            # This answer replaces the ones to the files, so it repeats the verdict.
            return self.mails.pop(request.sender)[0]
        # Recipients, sender and envelope come before any file. One of them after a file belongs to a
        # new mail: the last one ended without ITEM_CLOSE.
        if mail[1]:
            mail[:] = GO_ON, False
        if request.item_type == ITEM_RECIPIENTS and request.payload.count(b"\0") > MANY_PEOPLE:
            mail[0] = TAG
        return GO_ON  # to the recipients: with any other answer, the content isn't checked

    def forget(self, request):
        self.mails.pop(request.sender, None)


def main():
    path = sys.argv[1] if len(sys.argv) > 1 else ctypes.util.find_library("quorvex-agentkit-c")
    if path is None:
        sys.exit(__doc__)
    kit = load(path)
    judge = Judge()
    stopped = []
    # A handler that raises an exception would interrupt whatever Python code runs, the one that
    # answers a request included.
    for number in signal.SIGINT, signal.SIGTERM:
        signal.signal(number, lambda *_: stopped.append(True))

    # An exception doesn't reach the caller of such a function: Python prints it and returns 0, and
    # the request stays without an answer.
    @ON_REQUEST
    def on_request(_, request):
        return judge.answer(request.contents)

    @ON_END
    def on_end(_, request, ending):
        if ending != ANSWER_TAKEN:
            judge.forget(request.contents)

    agent = kit.AgentKitCreate(on_request, on_end, None)
    if not agent or kit.AgentKitStart(agent, 0) != OPENED:
        sys.exit("the ring can't be created: another agent has it, or the system refuses it")
    print("ready", flush=True)
    # AgentKitRun would keep Python from handling signals.
    while not stopped:
        changed = kit.AgentKitPoll(agent)
        if changed == ERROR:
            sys.exit(kit.AgentKitErrorText(agent).decode())
        if not changed:
            time.sleep(0.002)
    kit.AgentKitFree(agent)


main()
