#!/usr/bin/env python3
"""Records what msgconvert makes of .msg files: one JSON object a line, for msgconverttest.cpp.

Usage: record.py FILE.msg... > msgconvert.jsonl

Needs Debian's libemail-outlook-message-perl and libemail-address-perl. Reads msgconvert's output with
Python's own mail parser, so nothing of this project takes part.
"""
import email
import email.policy
import hashlib
import json
import os
import subprocess
import sys
import tempfile


def attachment(part):
    content = part.get_payload(decode=True)
    if part.get_content_type() == "message/rfc822":
        return {"name": part.get_filename(), "type": "message/rfc822"}
    return {
        "name": part.get_filename(),
        "type": part.get_content_type(),
        "bytes": len(content),
        "sha256": hashlib.sha256(content).hexdigest(),
    }


def addresses(message, header):
    value = message[header]
    return [a.addr_spec for a in value.addresses] if value is not None else []


def record(path):
    with tempfile.TemporaryDirectory() as folder:
        out = os.path.join(folder, "out.eml")
        subprocess.run(["msgconvert", "--outfile", out, path], check=True,
                       stderr=subprocess.DEVNULL)
        with open(out, "rb") as file:
            message = email.message_from_binary_file(file, policy=email.policy.default)
    text = None
    html = None
    attachments = []
    walk = list(message.walk())
    skipped = set()
    for part in walk:
        if id(part) in skipped or part.is_multipart() and part.get_content_type() != "message/rfc822":
            continue
        if part.get_content_type() == "message/rfc822":
            attachments.append(attachment(part))
            skipped.update(id(inner) for inner in part.walk())
        elif part.get_content_type() == "text/plain" and not part.get_filename() and text is None:
            text = part.get_content().replace("\r\n", "\n").rstrip("\n")
        elif part.get_content_type() == "text/html" and not part.get_filename() and html is None:
            html = part.get_content()
        elif part.get_content_type() != "application/rtf":
            attachments.append(attachment(part))
    return {
        "file": os.path.basename(path),
        "subject": None if message["Subject"] is None else str(message["Subject"]),
        "from": addresses(message, "From"),
        "to": addresses(message, "To"),
        "cc": addresses(message, "Cc"),
        "bcc": addresses(message, "Bcc"),
        "text_sha256": hashlib.sha256((text or "").encode()).hexdigest(),
        "html": html is not None,
        "attachments": attachments,
    }


for name in sys.argv[1:]:
    print(json.dumps(record(name), ensure_ascii=False))
