"""The desktops: what each needs, how it starts, and what is known about its bar."""

import pathlib
import shutil
import sys
import time
from dataclasses import dataclass, field
from typing import Callable, Optional


TOOLS = ["xvfb", "xdotool", "x11-utils", "x11-xserver-utils", "xclip", "xterm", "dbus",
         "dconf-gsettings-backend", "libglib2.0-bin", "libgl1-mesa-dri", "adwaita-icon-theme",
         "fonts-dejavu-core", "python3-xlib", "python3-pil", "python3-numpy"]


@dataclass
class Environment:
    name: str
    packages: list
    start: Callable
    bar: Optional[str] = None  # the process that shows the bar; None: it cannot be restarted
    start_bar: Optional[Callable] = None
    edge: str = "top"
    wayland: bool = False
    wait: float = 5.0
    scale: float = 1
    size: tuple = (1280, 800)
    icon_by_image: bool = False  # the icon is no window of the program
    scales_icon: bool = False  # its pixels are no image of the program
    animates: bool = True  # with software rendering
    autostarts: bool = False  # it starts the programs of the user's autostart folder
    stop_animations: Optional[Callable] = None  # as a user does in its settings
    runs_for_root: bool = False
    versions: list = field(default_factory=list)  # packages whose version counts


# openbox with tint2

def tint2(position, depth, monitor=None):
    place = {"top": "top right horizontal", "bottom": "bottom right horizontal",
             "left": "center left vertical", "right": "center right vertical"}[position]
    length = 300
    lines = [
        "rounded = 0", "border_width = 0", "background_color = #2a3a55 100",
        "border_color = #000000 100", "panel_items = S", f"panel_position = {place}",
        f"panel_size = {length} {depth}",
        "panel_background_id = 1", "systray_padding = 4 2 4", f"systray_icon_size = {min(24, depth - 4)}",
        "strut_policy = follow_size", "panel_dock = 0", "autohide = 0",
    ]
    if monitor is not None:
        lines.append(f"panel_monitor = {monitor}")
    return "\n".join(lines) + "\n"


def start_openbox(position, depth, monitor=None):
    def start(session):
        (session.folder / "home/tint2rc").write_text(tint2(position, depth, monitor))
        session.environment["XDG_CURRENT_DESKTOP"] = "openbox"
        session.spawn("openbox")
        time.sleep(1)
        start_tint2(session)
    return start


def start_tint2(session):
    session.spawn("tint2", "-c", session.folder / "home/tint2rc")


def openbox(position, depth):
    return Environment(f"openbox-{position}-{depth}", ["openbox", "tint2"],
                       start_openbox(position, depth), bar="tint2", start_bar=start_tint2,
                       edge=position, wait=1, runs_for_root=True, versions=["openbox", "tint2"])


def two_monitors(position):
    def start(session):
        half = session.display.width // 2
        height = session.display.height
        session.run("xrandr", "--setmonitor", "left", f"{half}/300x{height}/200+0+0", "screen")
        session.run("xrandr", "--setmonitor", "right", f"{half}/300x{height}/200+{half}+0", "none")
        start_openbox(position, 30, 2)(session)
    return Environment(f"two-monitors-{position}", ["openbox", "tint2"], start, bar="tint2",
                       start_bar=start_tint2, edge=position, wait=1, size=(2560, 800))


def scaled(scale):
    def start(session):
        session.environment["QT_SCALE_FACTOR"] = str(scale)
        start_openbox("top", round(30 * scale))(session)
    return Environment(f"openbox-scale-{scale}", ["openbox", "tint2"], start, bar="tint2",
                       start_bar=start_tint2, edge="top", wait=1, scale=scale,
                       size=(int(1280 * scale), int(800 * scale)))


# i3 and sway

def start_i3(position):
    def start(session):
        config = session.folder / "config/i3"
        config.mkdir()
        (config / "config").write_text(
            f"# i3 config file (v4)\nfont pango:DejaVu Sans 9\n"
            f"bar {{\n  position {position}\n  status_command i3status\n}}\n")
        session.environment["XDG_CURRENT_DESKTOP"] = "i3"
        session.spawn("i3", "-c", config / "config")
    return start


def restart_i3bar(session):
    session.spawn("i3bar", "--bar_id=bar-0")


def i3(position):
    return Environment(f"i3-{position}", ["i3-wm", "i3status"], start_i3(position), bar="i3bar",
                       start_bar=restart_i3bar, edge=position, wait=2, runs_for_root=True,
                       versions=["i3-wm"])


SWAY = """output * resolution 1280x800
exec waybar
xwayland enable
"""


def start_sway(session):
    config = session.folder / "config/sway"
    config.mkdir()
    (config / "config").write_text(SWAY)
    session.environment.update({"XDG_CURRENT_DESKTOP": "sway", "XDG_SESSION_TYPE": "wayland",
                                "WLR_BACKENDS": "x11", "WLR_RENDERER": "pixman",
                                "WLR_X11_OUTPUTS": "1"})
    bar = session.folder / "config/waybar"
    bar.mkdir()
    (bar / "config").write_text(
        '{"height": 30, "modules-right": ["tray", "clock"], "tray": {"icon-size": 22}}')
    (bar / "style.css").write_text("* { color: white; } window#waybar { background: #2b303b; }")
    session.spawn("sway", "-c", config / "config", environment={"WAYLAND_DISPLAY": ""})
    enter_wayland(session, "wayland-1")
    for socket in (session.folder / "run").glob("sway-ipc.*"):
        session.environment["SWAYSOCK"] = str(socket)


def enter_wayland(session, name):
    """The program runs within the nested compositor, on its Xwayland."""
    session.until(lambda: (session.folder / "run" / name).exists(), 20)
    outer = session.display.name
    session.environment["WAYLAND_DISPLAY"] = name
    # Xwayland takes the next number that is free.
    session.environment["DISPLAY"] = session.program_display = session.until(
        lambda: inner_display(session, outer), 20) or outer
    for authority in (session.folder / "run").glob(".mutter-Xwaylandauth.*"):
        session.environment["XAUTHORITY"] = str(authority)


def inner_display(session, outer):
    numbers = sorted(int(path.name[1:]) for path in pathlib.Path("/tmp/.X11-unix").glob("X*"))
    later = [number for number in numbers if number > int(outer[1:])]
    return f":{later[0]}" if later else None


def start_waybar(session):
    session.spawn("waybar")


# Desktops with a session

def start_xfce(session):
    session.environment.update({"XDG_CURRENT_DESKTOP": "XFCE", "XFCE_PANEL_MIGRATE_DEFAULT": "1",
                                "XDG_CONFIG_DIRS": "/etc/xdg", "DESKTOP_SESSION": "xfce"})
    session.spawn("xfce4-session")


def stop_xfce_animations(session):
    session.run("xfconf-query", "-c", "xsettings", "-p", "/Gtk/EnableAnimations",
                "-n", "-t", "bool", "-s", "false")


def stopping_animations(schema, key="enable-animations"):
    return lambda session: session.run("gsettings", "set", schema, key, "false")


def start_mate(session):
    session.environment.update({"XDG_CURRENT_DESKTOP": "MATE", "DESKTOP_SESSION": "mate"})
    session.spawn("mate-session")


def start_lxqt(session):
    config = session.folder / "config/lxqt"
    config.mkdir()
    (config / "session.conf").write_text("[General]\nwindow_manager=openbox\n")
    session.environment.update({"XDG_CURRENT_DESKTOP": "LXQt", "DESKTOP_SESSION": "lxqt",
                                "XDG_CONFIG_DIRS": "/etc/xdg:/usr/share", "XDG_MENU_PREFIX": "lxqt-"})
    session.spawn("lxqt-session")


def start_cinnamon(session):
    session.environment.update({"XDG_CURRENT_DESKTOP": "X-Cinnamon", "DESKTOP_SESSION": "cinnamon",
                                "CLUTTER_BACKEND": "x11"})
    session.spawn("cinnamon-session", "--session", "cinnamon")


def start_plasma(session):
    session.environment.update({"XDG_CURRENT_DESKTOP": "KDE", "DESKTOP_SESSION": "plasma",
                                "KDE_FULL_SESSION": "true", "KDE_SESSION_VERSION": "5",
                                "XDG_CONFIG_DIRS": "/etc/xdg"})
    session.spawn("startplasma-x11")


def stop_plasma_animations(session):
    session.run("kwriteconfig5", "--file", "kdeglobals", "--group", "KDE", "--key",
                "AnimationDurationFactor", "0")


def start_plasma_wayland(session):
    session.environment.update({"XDG_CURRENT_DESKTOP": "KDE", "DESKTOP_SESSION": "plasmawayland",
                                "KDE_FULL_SESSION": "true", "KDE_SESSION_VERSION": "5",
                                "XDG_SESSION_TYPE": "wayland"})
    # Without the right to raise its priority, which may not be granted here.
    kwin = session.folder / "kwin_wayland"
    shutil.copy(shutil.which("kwin_wayland"), kwin)
    session.spawn(kwin, "--x11-display", session.display.name, "--width", "1280",
                  "--height", "800", "--xwayland", "--socket", "wayland-9",
                  environment={"WAYLAND_DISPLAY": ""})
    enter_wayland(session, "wayland-9")
    session.spawn("kded5")
    session.spawn("plasmashell", environment={"QT_QPA_PLATFORM": "wayland"})


def prepare_gnome(session):
    session.environment.update({"XDG_CURRENT_DESKTOP": "GNOME", "DESKTOP_SESSION": "gnome",
                                "GNOME_SHELL_SESSION_MODE": "user",
                                "MUTTER_DEBUG_DUMMY_MODE_SPECS": "1280x800"})
    for schema, key, value in (
            ("org.gnome.shell", "enabled-extensions", "['ubuntu-appindicators@ubuntu.com']"),
            ("org.gnome.shell", "welcome-dialog-last-shown-version", "'99'"),
            ("org.gnome.shell", "disable-user-extensions", "false")):
        session.run("gsettings", "set", schema, key, value)


def start_gnome(session):
    prepare_gnome(session)
    session.spawn("gnome-shell", "--x11")
    leave_overview(session)
    # It asks the shell for its displays, once.
    session.spawn("/usr/libexec/gsd-xsettings")


def leave_overview(session):
    """GNOME begins with the windows' overview."""
    time.sleep(10)
    session.display.move(session.display.width // 2, session.display.height // 2)
    session.display.key("Escape")


def start_gnome_wayland(session):
    prepare_gnome(session)
    session.environment["XDG_SESSION_TYPE"] = "wayland"
    session.spawn("gnome-shell", "--nested", "--wayland", environment={"WAYLAND_DISPLAY": ""})
    enter_wayland(session, "wayland-0")
    leave_overview(session)


ENVIRONMENTS = [
    *[openbox(position, depth) for position in ("top", "bottom", "left", "right")
      for depth in (22, 40, 60)],
    two_monitors("top"), two_monitors("bottom"), scaled(1.5), scaled(2),
    i3("bottom"), i3("top"),
    Environment("xfce", ["xfce4-session", "xfce4-panel", "xfwm4", "xfce4-settings", "xfdesktop4",
                         "thunar"],
                start_xfce, bar="xfce4-panel",
                start_bar=lambda session: session.spawn("xfce4-panel"), wait=8,
                icon_by_image=True, autostarts=True, stop_animations=stop_xfce_animations,
                versions=["xfce4-panel", "xfwm4"]),
    Environment("mate", ["mate-session-manager", "mate-panel", "marco", "mate-settings-daemon"],
                start_mate, bar="mate-panel",
                start_bar=lambda session: session.spawn("mate-panel"), wait=8,
                icon_by_image=True, autostarts=True,
                stop_animations=stopping_animations("org.mate.interface", "gtk-enable-animations"),
                versions=["mate-panel", "marco"]),
    Environment("lxqt", ["lxqt-session", "lxqt-panel", "openbox", "lxqt-qtplugin"], start_lxqt,
                bar="lxqt-panel", start_bar=lambda session: session.spawn("lxqt-panel"),
                edge="bottom", wait=8, icon_by_image=True, autostarts=True,
                versions=["lxqt-panel"]),
    Environment("cinnamon", ["cinnamon", "cinnamon-session"], start_cinnamon, edge="bottom",
                wait=15, icon_by_image=True, autostarts=True,
                stop_animations=stopping_animations("org.cinnamon.desktop.interface"),
                versions=["cinnamon"]),
    Environment("plasma", ["plasma-workspace", "plasma-desktop", "kwin-x11"], start_plasma,
                bar="plasmashell", start_bar=lambda session: session.spawn("plasmashell"),
                edge="bottom", wait=20, icon_by_image=True, autostarts=True,
                stop_animations=stop_plasma_animations,
                versions=["plasma-workspace", "kwin-x11"]),
    Environment("plasma-wayland", ["plasma-workspace-wayland", "plasma-desktop", "kwin-wayland"],
                start_plasma_wayland, bar="plasmashell",
                start_bar=lambda session: session.spawn(
                    "plasmashell", environment={"QT_QPA_PLATFORM": "wayland"}),
                edge="bottom", wayland=True, wait=20, icon_by_image=True,
                versions=["plasma-workspace", "kwin-wayland"]),
    Environment("gnome", ["gnome-shell", "gnome-shell-extension-appindicator", "xdg-desktop-portal-gtk",
                          "gnome-settings-daemon"], start_gnome, wait=3, icon_by_image=True,
                animates=False,
                stop_animations=stopping_animations("org.gnome.desktop.interface"),
                versions=["gnome-shell", "gnome-shell-extension-appindicator"]),
    Environment("gnome-wayland", ["gnome-shell", "gnome-shell-extension-appindicator"],
                start_gnome_wayland, wayland=True, wait=3, icon_by_image=True,
                animates=False,
                versions=["gnome-shell", "gnome-shell-extension-appindicator"]),
    Environment("sway", ["sway", "waybar", "xwayland"], start_sway, bar="waybar",
                start_bar=start_waybar, wayland=True, wait=4, icon_by_image=True,
                scales_icon=True,
                versions=["sway", "waybar"]),
]


def chosen(names):
    """Those of these names, or that begin with one of them; all without names."""
    for name in names:
        if not any(name in (one.name, one.name.split("-")[0]) for one in ENVIRONMENTS):
            print(f"There is no desktop named {name}; there are",
                  ", ".join(one.name for one in ENVIRONMENTS), file=sys.stderr)
            sys.exit(2)
    return [one for one in ENVIRONMENTS
            if not names or one.name in names or one.name.split("-")[0] in names]


if __name__ == "__main__":
    # What they need to be installed; then who may run them.
    wanted = chosen(sys.argv[1:])
    print(*sorted({package for environment in wanted
                   for package in [*TOOLS, *environment.packages]}))
    print("runs-for-root" if all(one.runs_for_root for one in wanted) else "needs-user")
