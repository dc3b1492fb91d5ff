"""An X server of its own: its screen as images, its mouse and keyboard."""

import os
import re
import subprocess
import time

import numpy
from PIL import Image
from Xlib import X, XK, display as xdisplay
from Xlib.ext import xtest


class Display:
    def __init__(self, width, height, log):
        read, write = os.pipe()
        self.server = subprocess.Popen(
            ["Xvfb", "-displayfd", str(write), "-screen", "0", f"{width}x{height}x24",
             "-nolisten", "tcp", "+extension", "COMPOSITE"],
            stdout=log, stderr=log, pass_fds=[write], start_new_session=True)
        os.close(write)
        with os.fdopen(read) as number:
            self.name = ":" + number.readline().strip()
        self.width, self.height = width, height
        self.x = xdisplay.Display(self.name)
        self.root = self.x.screen().root

    def close(self):
        try:
            self.x.close()
        except Exception:  # pylint: disable=broad-except
            pass
        self.server.kill()
        self.server.wait()

    # What is seen.

    def image(self, x=0, y=0, width=None, height=None):
        """Rows of RGB."""
        width, height = width or self.width - x, height or self.height - y
        raw = self.root.get_image(x, y, width, height, X.ZPixmap, 0xFFFFFFFF).data
        pixels = numpy.frombuffer(raw, dtype=numpy.uint8).reshape(height, width, 4)
        return pixels[:, :, 2::-1]

    def save(self, path):
        Image.fromarray(numpy.ascontiguousarray(self.image())).save(path)

    # What the user does.

    def move(self, x, y):
        xtest.fake_input(self.x, X.MotionNotify, x=int(x), y=int(y))
        self.x.sync()

    def button(self, number, times=1, pause=0.03):
        for i in range(times):
            if i > 0:
                time.sleep(pause)
            xtest.fake_input(self.x, X.ButtonPress, number)
            self.x.sync()
            time.sleep(0.02)
            xtest.fake_input(self.x, X.ButtonRelease, number)
            self.x.sync()

    def click(self, x, y, number=1, times=1, pause=0.03):
        # As a hand does: the pointer comes from somewhere, and rests before it presses.
        self.move(x - 3, y)
        time.sleep(0.05)
        self.move(x, y)
        time.sleep(0.15)
        self.button(number, times, pause)

    def key(self, name, *held):
        codes = [self.x.keysym_to_keycode(XK.string_to_keysym(key)) for key in (*held, name)]
        for code in codes:
            xtest.fake_input(self.x, X.KeyPress, code)
        for code in reversed(codes):
            xtest.fake_input(self.x, X.KeyRelease, code)
        self.x.sync()


def windows_of_program(name):
    """Frames of the program's windows that are shown on a display: (x, y, width, height)."""
    tree = subprocess.run(["xwininfo", "-display", name, "-root", "-tree"], capture_output=True,
                          text=True, check=False).stdout
    found = []
    for match in re.finditer(r'^ *(0x[0-9a-f]+) .*\("softtoken" .*?  (\d+)x(\d+)[-+]\S+ +'
                             r"\+(-?\d+)\+(-?\d+)$", tree, re.MULTILINE):
        window, width, height, x, y = match.group(1), *map(int, match.groups()[1:])
        one = subprocess.run(["xwininfo", "-display", name, "-id", window], capture_output=True,
                             text=True, check=False).stdout
        if "IsViewable" in one:
            found.append((x, y, width, height))
    return found
