"""What a user does with the program on a desktop, and what is to be seen then."""

import os
import pathlib
import re
import signal
import time

import numpy
from PIL import Image

from session import until

PANEL_WIDTH = 260
BAND = 34
MARGIN = 10


class Walk:
    def __init__(self, session, environment, images, screenshots):
        self.session = session
        self.display = session.display
        self.environment = environment
        self.screenshots = pathlib.Path(screenshots)
        self.results = []  # pairs: name, what is wrong or ""
        self.figures = {}
        self.icon = None
        self.at_rest = None  # the open panel's frame
        suffix = "@2x" if environment.scale > 1 else ""
        self.icons = load_icons(images)
        self.logo = self._load(images / f"logo260x34{suffix}.png")
        self.toolbar = self._load(images / f"bluebar260x34{suffix}.png")

    def _load(self, path):
        image = Image.open(path).convert("RGB")
        size = (round(PANEL_WIDTH * self.environment.scale), round(BAND * self.environment.scale))
        if image.size != size:
            image = image.resize(size, Image.BILINEAR)
        return numpy.asarray(image).astype(int)

    # What is to be seen.

    def panel(self):
        """The panel's frame on the screen: (x, y, width, height); None if it is closed."""
        if not self.environment.wayland:
            wide = [w for w in self.session.windows() if w[2] >= PANEL_WIDTH * self.environment.scale
                    and w[3] > 2 * BAND]
            return wide[0] if wide else None
        screen = self.display.image().astype(int)
        width = self.logo.shape[1]
        tolerance = 3 if self.environment.scale in (1, 2) else 40
        # The logo's band has a pattern of its own left of the title, and the toolbar at its ends.
        top = find(screen, self.logo[2:30, :round(width * 0.6)], tolerance)
        if top is None:
            return None
        x, y = top[0], top[1] - 2
        column = screen[:, x + 1:x + 4]
        wanted = self.toolbar[:, 1:4]
        for bottom in range(y + len(wanted), screen.shape[0] - len(wanted) + 1):
            if numpy.abs(column[bottom:bottom + len(wanted)] - wanted).max() <= tolerance:
                return (x, y, width, bottom + len(wanted) - y)
        return None

    def opens(self, patience=4.0):
        place = until(self.panel, patience)
        time.sleep(0.4)  # until it has rolled out
        return self.panel() if place else None

    def closes(self):
        return until(lambda: self.panel() is None, 4.0)

    def shot(self, name):
        self.screenshots.mkdir(parents=True, exist_ok=True)
        self.display.save(self.screenshots / f"{self.environment.name}-{name}.png")

    # The walk.

    def check(self, name, wrong):
        self.results.append((name, wrong or ""))
        if wrong:
            self.shot("failed-" + re.sub(r"\W+", "-", name))
        return not wrong

    def drawn_icon(self):
        """The place of one of the program's images in the bar, pixel by pixel."""
        depth = min(70, self.display.height)
        top = 0 if self.environment.edge == "top" else self.display.height - depth
        bar = self.display.image(0, top, self.display.width, depth).astype(int)
        if self.environment.scales_icon:
            # Nothing else in that bar is blue.
            ys, xs = numpy.nonzero((bar[:, :, 2] > 110) & (bar[:, :, 2] - bar[:, :, 0] > 60))
            return None if len(xs) < 20 else (int(xs.min()), int(ys.min()) + top,
                                              int(numpy.ptp(xs)) + 1, int(numpy.ptp(ys)) + 1)
        for image, opaque in self.icons:
            place = find_opaque(bar, image, opaque)
            if place:
                return (place[0], place[1] + top, image.shape[1], image.shape[0])
        return None

    def find_icon(self):
        def look():
            if not self.environment.icon_by_image:
                icons = [w for w in self.session.windows() if w[3] <= 64 * self.environment.scale
                         and w[2] > 8]
                return icons[0] if icons else None
            return self.drawn_icon()
        return until(look, 30)

    def click_icon(self, button=1, times=1):
        time.sleep(0.6)  # no double click with one before
        x, y, width, height = self.icon
        self.display.click(x + width // 2, y + height // 2, button, times, 0.08)

    def run(self):
        if self.environment.autostarts:
            runs = until(self.session.program_runs, 30)
            self.check("autostart", "" if runs else "the desktop does not start the program")
        if not self.session.program_runs():
            self.session.start_program()
        self.icon = self.find_icon()
        if not self.check("icon", "" if self.icon else "there is no icon"):
            return
        time.sleep(1)
        self.icon = self.find_icon() or self.icon
        self.clicks()
        self.place()
        self.menu()
        self.roll()
        self.keys()
        self.many()
        self.no_animations()
        self.bar()

    def clicks(self):
        started = time.monotonic()
        self.click_icon()
        place = self.opens()
        self.figures["open"] = time.monotonic() - started
        if not self.check("click opens", "" if place else "one click does not open the panel"):
            self.session.run(self.session.programs / "softtoken", "--toggle")
            self.opens()
            return
        self.shot("open")
        self.click_icon()
        self.check("click closes", "" if self.closes() else "a click does not close the panel")
        self.click_icon(times=2)
        time.sleep(1)
        self.check("double click", "" if self.panel() else "a double click leaves it closed")

    def place(self):
        place = self.panel() or self.opens()
        if not place:
            self.check("place", "the panel is closed")
            return
        x, y, width, height = place
        right, bottom = self.display.width, self.display.height
        icon_x = self.icon[0] + self.icon[2] // 2
        scale = self.environment.scale
        left_of_screen = 0
        if self.environment.name.startswith("two-monitors"):
            left_of_screen = right // 2
        wrong = ""
        edge = self.environment.edge
        depth = {"top": y, "bottom": bottom - y - height, "left": x,
                 "right": right - x - width}[edge]
        deepest = 70 * scale
        if not 0 <= depth <= deepest:
            wrong = f"it lies {depth} pixels from the edge with the bar"
        elif edge in ("top", "bottom"):
            at_right = abs(x + width - (right - MARGIN * scale)) <= 2
            centred = abs(x + width // 2 - icon_x) <= 3 * scale
            kept = x == left_of_screen
            if right - icon_x <= 270 * scale:
                wrong = "" if at_right else f"its right edge is at {x + width}"
            elif not centred and not kept:
                wrong = f"it is not under the icon at {icon_x}: {place}"
        elif not y - 3 * scale <= self.icon[1] <= y + height:
            wrong = f"it is not level with the icon: {place}"
        if x < left_of_screen:
            wrong = "it is on the other monitor"
        self.check("place", wrong)

    def menu(self):
        if self.panel():
            self.display.key("Escape")
            self.closes()
            time.sleep(0.6)
        before = self.display.image().astype(int)
        self.click_icon(button=3)
        time.sleep(1)
        wrong = "" if self.changed_since(before) else "a right click shows no menu"
        self.shot("menu")
        # By a key where it has the keyboard, or by a click beside it.
        self.display.key("Escape")
        time.sleep(0.6)
        self.display.click(self.display.width // 2, self.display.height // 2)
        time.sleep(0.6)
        self.check("menu", wrong or ("the menu stays" if self.changed_since(before) else ""))

    def changed_since(self, before):
        """Whether more than a clock has."""
        changed = numpy.abs(self.display.image().astype(int) - before).max(axis=2) > 8
        return changed.sum() > 3000

    def roll(self):
        if not self.place_at_rest():
            self.check("roll", "the panel does not open")
            return
        lengths, times = self.lengths_while_opening()
        grown = [length for length in lengths if length > 0]
        self.figures["frames"] = len(grown)
        if len(times) > 1:
            self.figures["first"] = times[1]
            self.figures["last"] = times[-1]
        if self.environment.animates:
            few = f"only {len(grown)} frames: {lengths[:14]}"
            self.check("roll", "" if len(grown) >= 5 else few)

    def no_animations(self):
        if self.environment.stop_animations is None:
            return
        self.environment.stop_animations(self.session)
        time.sleep(1)
        if not self.place_at_rest():
            self.check("no animations", "the panel does not open")
            return
        lengths, _ = self.lengths_while_opening()
        # A compositor that fades windows in shows one length more than once.
        self.check("no animations", "" if len(lengths) <= 4 else f"it rolls: {lengths[:14]}")
        self.click_icon()
        self.closes()

    def place_at_rest(self):
        """Where the panel opens; it is closed again."""
        self.click_icon()
        self.at_rest = self.opens()
        self.click_icon()
        self.closes()
        time.sleep(0.6)
        return self.at_rest

    def lengths_while_opening(self):
        """And the times since the click at which they were seen, in seconds."""
        x, y, width, height = self.at_rest
        icon_x, icon_y = self.icon[0] + self.icon[2] // 2, self.icon[1] + self.icon[3] // 2
        # Along the way that it rolls; nothing of the content is there.
        rolls_down = self.environment.edge in ("top", "bottom")
        line = (x + 2, y, 1, height) if rolls_down else (x, y + 2, width, 1)
        rest = self.display.image(*line).astype(int)
        self.display.move(icon_x - 3, icon_y)
        time.sleep(0.3)
        self.display.move(icon_x, icon_y)
        time.sleep(0.2)
        started = time.monotonic()
        self.display.button(1)
        lengths, times = [], []
        while time.monotonic() - started < 1.5:
            now = self.display.image(*line).astype(int)
            seen = int((numpy.abs(now - rest).max(axis=2) > 6).sum())
            if not lengths or lengths[-1] != seen:
                lengths.append(seen)
                times.append(time.monotonic() - started)
        return lengths, times

    def keys(self):
        if not self.panel():
            self.click_icon()
            self.opens()
        self.display.key("1")
        if not self.check("keys", "" if self.closes() else "a digit key copies nothing"):
            self.click_icon()
            self.closes()
            return
        copied = self.session.run("xclip", "-o", "-selection", "clipboard", patience=5).stdout
        self.check("copy", "" if re.fullmatch(r"\d{6}", copied) else f"copied: {copied!r}")
        self.click_icon()
        self.opens()
        other = self.session.spawn("xterm", "-geometry", "40x10+100+300")
        time.sleep(2)
        place = self.panel()
        self.check("stays above", "" if place else "another window hides the panel")
        if place:
            # Between the rows.
            self.display.click(place[0] + 5, place[1] + place[3] // 2)
            time.sleep(0.3)
        self.display.key("Escape")
        self.check("Escape", "" if self.closes() else "Escape does not close it")
        self.session.end(other)
        if self.panel():
            self.click_icon()
            self.closes()

    def many(self):
        for count in (14, 32):
            stored = len(self.stored())
            self.session.add_tokens([f"Token {i + 1}" for i in range(stored, count)])
            self.click_icon()
            place = self.opens()
            if not place:
                self.check(f"{count} tokens", "the panel does not open")
                continue
            wrong = ""
            if place[1] < 0 or place[1] + place[3] > self.display.height:
                wrong = f"it is higher than the screen: {place}"
            self.shot(f"{count}-tokens")
            self.forget_clipboard()
            self.display.key("End")
            time.sleep(0.3)
            self.shot(f"{count}-tokens-end")
            self.display.key("Return")
            if not self.closes():
                wrong = wrong or "the last token is not copied by End and Return"
                self.click_icon()
                self.closes()
            copied = self.session.run("xclip", "-o", "-selection", "clipboard", patience=5).stdout
            if not re.fullmatch(r"\d{6}", copied):
                wrong = wrong or f"copied: {copied!r}"
            self.check(f"{count} tokens", wrong)

    def forget_clipboard(self):
        clip = self.session.spawn("xclip", "-selection", "clipboard", "-i", "/dev/null")
        clip.wait(5)

    def stored(self):
        listed = self.session.run(self.session.programs / "softtoken-cli", "list", "--json")
        return re.findall(r'"name"', listed.stdout)

    def bar(self):
        if self.environment.bar is None:
            return
        self.end_bar()
        time.sleep(2)
        self.expect_bar("bar again")
        # The program is there first.
        self.end_bar()
        self.session.quit_program()
        self.session.start_program()
        time.sleep(1)
        self.expect_bar("bar late")

    def end_bar(self):
        for number in self.session.processes(self.environment.bar[:15]):
            os.kill(number, signal.SIGKILL)

    def expect_bar(self, name):
        # Many sessions start it again by themselves.
        if not self.session.processes(self.environment.bar[:15]):
            self.environment.start_bar(self.session)
        time.sleep(self.environment.wait)
        self.icon = self.find_icon() or self.icon
        self.click_icon()
        self.check(name, "" if self.opens() else "a click on the icon opens nothing")
        self.display.key("Escape")
        self.closes()


def load_icons(images):
    """Pairs: the image, and where it hides what is behind it."""
    drawn = []
    for size in (16, 18, 22, 24, 32, 36, 44, 48):
        path = images.parent / f"desktop/hicolor/{size}x{size}/apps/softtoken.png"
        if not path.exists():
            path = images / f"status-{size}.png"
        drawn.append(Image.open(path).convert("RGBA"))
        if size == 24:
            # MATE's bar makes it smaller when it has more than one.
            drawn.append(drawn[-1].resize((23, 23), Image.BILINEAR))
    icons = [numpy.asarray(image).astype(int) for image in drawn]
    return [(pixels[:, :, :3], pixels[:, :, 3] == 255) for pixels in icons]


def find(screen, part, tolerance):
    """Where the part is: (x, y), or None."""
    height, width = part.shape[:2]
    # A few pixels of the part that differ from each other, then all of it.
    probes = [(height // 2, width // 12), (height // 3, width // 9), (height - 2, 3),
              (height // 2, width // 3)]
    rows, columns = screen.shape[0] - height + 1, screen.shape[1] - width + 1
    if rows <= 0 or columns <= 0:
        return None
    candidates = numpy.ones((rows, columns), dtype=bool)
    for y, x in probes:
        near = numpy.abs(screen[y:y + rows, x:x + columns] - part[y, x]).max(axis=2) <= tolerance
        candidates &= near
    for y, x in zip(*numpy.nonzero(candidates)):
        difference = numpy.abs(screen[y:y + height, x:x + width] - part).max(axis=2)
        if (difference <= tolerance).mean() > 0.97:
            return int(x), int(y)
    return None


def find_opaque(screen, image, opaque):
    """Where the image is, apart from what shines through: (x, y), or None."""
    height, width = opaque.shape
    rows, columns = screen.shape[0] - height + 1, screen.shape[1] - width + 1
    points = list(zip(*numpy.nonzero(opaque)))
    # All points everywhere would take seconds: some of them tell where to look.
    some = points[::max(1, len(points) // 50)]
    wrong = numpy.zeros((rows, columns), dtype=int)
    for y, x in some:
        wrong += differs(screen[y:y + rows, x:x + columns], image[y, x])
    found = None
    for y, x in numpy.argwhere(wrong <= 0.2 * len(some)):
        left = differs(screen[y:y + height, x:x + width], image)[opaque].sum()
        if left <= 0.05 * len(points) and (found is None or left < found[0]):
            found = (left, (int(x), int(y)))
    return found[1] if found else None


def differs(pixels, wanted):
    return numpy.abs(pixels - wanted).max(axis=2) > 24
