"""A user's session on a display of its own: home, bus, desktop and program. All of it ends with it."""

import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time

from display import Display, windows_of_program

SEED = "JBSWY3DPEHPK3PXP"


def until(condition, patience=10.0, pause=0.05):
    """The condition's first true value; its last one when the time is over."""
    end = time.monotonic() + patience
    while True:
        value = condition()
        if value or time.monotonic() > end:
            return value
        time.sleep(pause)


class Session:
    def __init__(self, prefix, width, height, logs):
        """The programs are installed below the prefix."""
        self.programs = prefix / "bin"
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="softtoken-desktops-"))
        self.log = open(logs, "ab")
        self.spawned = []
        for name in ("home", "run", "config/softtoken", "data", "cache"):
            (self.folder / name).mkdir(parents=True)
        (self.folder / "run").chmod(0o700)
        self.display = Display(width, height, self.log)
        self.environment = {
            "HOME": str(self.folder / "home"), "XDG_RUNTIME_DIR": str(self.folder / "run"),
            "XDG_CONFIG_HOME": str(self.folder / "config"),
            "XDG_DATA_HOME": str(self.folder / "data"),
            "XDG_CACHE_HOME": str(self.folder / "cache"),
            "XDG_DATA_DIRS": f"{prefix}/share:/usr/local/share:/usr/share",
            # GNOME leaves out what names a program that it does not find.
            "PATH": f"{prefix}/bin:{os.environ['PATH']}", "LC_ALL": "C.UTF-8", "DISPLAY": self.display.name,
            "LIBGL_ALWAYS_SOFTWARE": "1", "NO_AT_BRIDGE": "1", "SHELL": "/bin/sh",
            "XDG_SESSION_TYPE": "x11", "XDG_SESSION_CLASS": "user",
        }
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = self._start_bus()
        # The system's own is not for tests; a desktop asks an empty one.
        self.environment["DBUS_SYSTEM_BUS_ADDRESS"] = self._start_bus()
        self.settings("AllowManual=true\n")
        (self.folder / "config/softtoken/defaults.conf").write_text(
            "[softtoken]\nLoginItemPromptDone=YES\n")
        self.until = until
        self.program = None
        self.program_display = self.display.name

    def _start_bus(self):
        read, write = os.pipe()
        self.spawn("dbus-daemon", "--session", "--nofork", f"--print-address={write}",
                   pass_fds=[write])
        os.close(write)
        with os.fdopen(read) as address:
            return address.readline().strip()

    def settings(self, text):
        (self.folder / "home/tasofttoken.ini").write_text(text)

    def spawn(self, *command, environment=None, **options):
        process = subprocess.Popen(
            [str(part) for part in command], env={**self.environment, **(environment or {})},
            cwd=self.folder / "home", stdin=subprocess.DEVNULL, stdout=self.log, stderr=self.log,
            start_new_session=True, **options)
        self.spawned.append(process)
        return process

    def run(self, *command, text="", patience=30, environment=None):
        return subprocess.run(
            [str(part) for part in command], env={**self.environment, **(environment or {})},
            cwd=self.folder / "home", input=text, capture_output=True, text=True,
            timeout=patience, check=False)

    def end(self, process):
        """With all that it has started in its process group."""
        if process is None:
            return
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        process.wait()

    def add_tokens(self, names):
        for name in names:
            added = self.run(self.programs / "softtoken-cli", "--keychain", "vault", "add", "--",
                             name, text=SEED + "\n")
            if added.returncode != 0:
                raise RuntimeError(added.stderr)

    def start_program(self, *arguments):
        self.program = self.spawn(self.programs / "softtoken", "--no-console-log", *arguments)

    def let_start_at_login(self):
        """As the user does by agreeing to the program's first question."""
        folder = self.folder / "config/autostart"
        folder.mkdir()
        (folder / "softtoken.desktop").write_text(
            "[Desktop Entry]\nType=Application\nVersion=1.0\nName=Talvane Soft Token\n"
            f'Exec="{self.programs.resolve() / "softtoken"}" --no-console-log\n'
            "Icon=softtoken\nTerminal=false\nX-GNOME-Autostart-enabled=true\n")

    def quit_program(self):
        self.run(self.programs / "softtoken", "--quit")
        until(lambda: not self.program_runs(), 3)
        self.end(self.program)
        self.program = None

    def program_runs(self):
        """Whoever has started it."""
        if self.program is not None:
            return self.program.poll() is None
        return bool(self.processes("softtoken"))

    def processes(self, name=None):
        """The numbers of those of this session, and of this name."""
        mark = f"XDG_RUNTIME_DIR={self.folder}/run".encode()
        found = []
        for entry in pathlib.Path("/proc").iterdir():
            if not entry.name.isdigit():
                continue
            try:
                if (mark in (entry / "environ").read_bytes().split(b"\0")
                        and name in (None, (entry / "comm").read_text().strip())):
                    found.append(int(entry.name))
            except OSError:
                continue
        return found

    def windows(self):
        return windows_of_program(self.program_display)

    def close(self):
        # What the desktop has started may have left its process group: all have this home.
        for process in reversed(self.spawned):
            self.end(process)
        for number in self.processes():
            try:
                os.kill(number, signal.SIGKILL)
            except OSError:
                continue
        self.display.close()
        self.log.close()
        shutil.rmtree(self.folder, ignore_errors=True)
