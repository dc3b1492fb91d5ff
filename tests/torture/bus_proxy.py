"""Stands between a program and its session bus, and makes trouble at the n-th message it sends."""

import os
import signal
import socket
import struct
import threading

ERROR_NAME = "org.freedesktop.DBus.Error.Failed"
ERROR, METHOD_RETURN, METHOD_CALL = 3, 2, 1
NO_REPLY_EXPECTED = 1
REPLY_SERIAL, ERROR_NAME_FIELD = 5, 4

MODES = (
    "refused",  # answered with an error, and not passed on
    "answered with an error",  # though it was passed on and carried out
    "cut off before", "cut off after",  # the connection ends
    "bus gone before", "bus gone after",  # and no other can be made
    "no answer",
    "program killed before", "program killed after",
    "keyring killed before", "keyring killed after",
)


def message_size(start):
    """Of the message that begins with these 16 bytes."""
    order = "<" if start[0:1] == b"l" else ">"
    body, = struct.unpack_from(order + "I", start, 4)
    fields, = struct.unpack_from(order + "I", start, 12)
    return 16 + (fields + 7) // 8 * 8 + body


def reply_serial(message):
    """The serial of the call that this message answers, or nothing."""
    order = "<" if message[0:1] == b"l" else ">"
    end = 16 + struct.unpack_from(order + "I", message, 12)[0]
    at = 16
    while at < end:
        at = (at + 7) // 8 * 8
        code, length = message[at], message[at + 1]
        signature = message[at + 2:at + 2 + length].decode()
        at += 2 + length + 1
        if signature == "g":
            at += 1 + message[at] + 1
            continue
        at = (at + 3) // 4 * 4
        number, = struct.unpack_from(order + "I", message, at)
        if code == REPLY_SERIAL:
            return number
        at += 4 + (number + 1 if signature in "so" else 0)
    return None


def error_answer(serial):
    """An error in answer to the call of that serial."""
    name = ERROR_NAME.encode()
    fields = struct.pack("<BB1sxI", REPLY_SERIAL, 1, b"u", serial)
    fields += struct.pack("<BB1sxI", ERROR_NAME_FIELD, 1, b"s", len(name)) + name + b"\0"
    start = struct.pack("<cBBBIII", b"l", ERROR, NO_REPLY_EXPECTED, 1, 0, 0xFFFFFF, len(fields))
    return start + fields + bytes(-len(fields) % 8)


class Reader:
    """Whole messages from a socket, behind the lines of the handshake."""

    def __init__(self, source):
        self.source = source
        self.rest = b""

    def some(self):
        try:
            more = self.source.recv(65536)
        except OSError:
            more = b""
        self.rest += more
        return bool(more)

    def message(self):
        while len(self.rest) < 16 or len(self.rest) < message_size(self.rest[:16]):
            if not self.some():
                return None
        size = message_size(self.rest[:16])
        message, self.rest = self.rest[:size], self.rest[size:]
        return message


class Proxy:
    """One at a time; `number` 0 only counts."""

    def __init__(self, path, bus, kill_keyring):
        self.bus = bus
        self.kill_keyring = kill_keyring
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(path)
        self.listener.listen(16)
        self.address = "unix:path=" + path
        self.lock = threading.Lock()
        self.arm("", 0)
        threading.Thread(target=self.accept, daemon=True).start()

    def arm(self, mode, number):
        self.mode = mode
        self.number = number
        self.messages = 0
        self.hit = False
        self.is_gone = False

    def accept(self):
        while True:
            try:
                client, _ = self.listener.accept()
            except OSError:
                return
            threading.Thread(target=self.serve, args=(client,), daemon=True).start()

    def close(self):
        self.listener.close()

    def serve(self, client):
        link = Link(self, client)
        if self.is_gone or not link.connect():
            client.close()
            return
        link.run()

    def turn_of(self, message):
        """Whether trouble is to be made at this message."""
        with self.lock:
            if message[1] != METHOD_CALL:
                return False
            self.messages += 1
            if self.messages != self.number:
                return False
            self.hit = True
            return True


class Link:
    """One connection of the program and ours for it."""

    def __init__(self, proxy, client):
        self.proxy = proxy
        self.client = client
        self.server = socket.socket(socket.AF_UNIX)
        self.awaited = None  # serial of the call whose answer brings the trouble
        self.is_silent = False
        credentials = client.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, 12)
        self.program = struct.unpack("iii", credentials)[0]

    def connect(self):
        try:
            self.server.connect(self.proxy.bus)
        except OSError:
            return False
        return True

    def close(self):
        for end in (self.client, self.server):
            try:
                end.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass

    def run(self):
        upward, downward = Reader(self.client), Reader(self.server)
        if self.handshake(upward, downward):
            answers = threading.Thread(target=self.pass_answers, args=(downward,), daemon=True)
            answers.start()
            self.pass_calls(upward)
            self.close()
            answers.join()
        self.client.close()
        self.server.close()

    def handshake(self, upward, downward):
        """Lines, each answered by one, until the program says BEGIN."""
        while True:
            while b"\r\n" not in upward.rest:
                if not upward.some():
                    return False
            line, _, upward.rest = upward.rest.partition(b"\r\n")
            self.server.sendall(line + b"\r\n")
            if line == b"BEGIN":
                return True
            while b"\r\n" not in downward.rest:
                if not downward.some():
                    return False
            answer, _, downward.rest = downward.rest.partition(b"\r\n")
            self.client.sendall(answer + b"\r\n")

    def pass_calls(self, upward):
        while True:
            message = upward.message()
            if message is None:
                return
            try:
                if not self.proxy.turn_of(message):
                    if not self.is_silent:
                        self.server.sendall(message)
                elif not self.trouble(message):
                    return
            except OSError:
                return

    def trouble(self, message):
        """False: nothing more is passed on."""
        serial, = struct.unpack_from("<I", message, 8)
        mode = self.proxy.mode
        if mode == "refused":
            self.client.sendall(error_answer(serial))
        elif mode == "no answer":
            self.is_silent = True
        elif mode.endswith("before"):
            return self.strike() and self.forward(message)
        else:
            self.awaited = serial
            self.forward(message)
            if message[2] & NO_REPLY_EXPECTED:
                self.strike()
        return True

    def forward(self, message):
        self.server.sendall(message)
        return True

    def strike(self):
        """False: the connection is to end."""
        mode = self.proxy.mode
        if mode.startswith("program killed"):
            os.kill(self.program, signal.SIGKILL)
            return False
        if mode.startswith("keyring killed"):
            self.proxy.kill_keyring()
            return True
        self.proxy.is_gone = mode.startswith("bus gone")
        return False

    def pass_answers(self, downward):
        while True:
            message = downward.message()
            if message is None:
                break
            try:
                if self.is_silent:
                    continue
                if self.awaited is None or reply_serial(message) != self.awaited:
                    self.client.sendall(message)
                elif self.proxy.mode == "answered with an error":
                    self.client.sendall(error_answer(self.awaited))
                    self.awaited = None
                elif self.strike():
                    self.client.sendall(message)
                    self.awaited = None
                else:
                    break
            except OSError:
                break
        self.close()
