#!/usr/bin/env python3
"""Asks an X window to close the way a window manager's close button does:
a WM_PROTOCOLS client message carrying WM_DELETE_WINDOW, sent to the window's
owner (Xvfb runs no window manager, and xdotool only destroys windows or
kills their clients).
Usage: xclose.py WINDOW-ID        (the display from $DISPLAY, e.g. ":5")
Speaks the X protocol itself over the display's local socket (no
authorisation, as Xvfb grants by default)."""
import os
import re
import socket
import struct
import sys


def read_exactly(sock, n):
    data = b""
    while len(data) < n:
        more = sock.recv(n - len(data))
        if not more:
            sys.exit("xclose: the X server closed the connection")
        data += more
    return data


def reply(sock):
    """The next reply (32 bytes and what it announces), skipping events."""
    while True:
        head = read_exactly(sock, 32)
        if head[0] == 0:
            sys.exit("xclose: X error %d" % head[1])
        if head[0] == 1:
            (extra,) = struct.unpack("<I", head[4:8])
            return head + read_exactly(sock, extra * 4)


def intern_atom(sock, name):
    body = name.encode() + b"\0" * (-len(name) % 4)
    sock.sendall(struct.pack("<BBHHxx", 16, 0, 2 + len(body) // 4, len(name)) + body)
    return struct.unpack("<I", reply(sock)[8:12])[0]


def main(window):
    match = re.fullmatch(r"[^:]*:(\d+)(\.\d+)?", os.environ.get("DISPLAY", ""))
    if not match:
        sys.exit("xclose: DISPLAY must name a local display like :5")
    sock = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    sock.connect("/tmp/.X11-unix/X" + match.group(1))
    sock.sendall(struct.pack("<BxHHHHxx", 0x6C, 11, 0, 0, 0))
    status, _, _, _, extra = struct.unpack("<BBHHH", read_exactly(sock, 8))
    read_exactly(sock, extra * 4)
    if status != 1:
        sys.exit("xclose: the X server refused the connection")
    protocols = intern_atom(sock, "WM_PROTOCOLS")
    delete = intern_atom(sock, "WM_DELETE_WINDOW")
    # ClientMessage (33), format 32: WM_DELETE_WINDOW at CurrentTime.
    event = struct.pack("<BBHII5I", 33, 32, 0, window, protocols, delete, 0, 0, 0, 0)
    # SendEvent with no event mask: to the client that created the window.
    sock.sendall(struct.pack("<BBHII", 25, 0, 11, window, 0) + event)
    # GetInputFocus: its reply says the server has handled the SendEvent.
    sock.sendall(struct.pack("<BxH", 43, 1))
    reply(sock)
    sock.close()


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(int(sys.argv[1], 0))
