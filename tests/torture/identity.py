"""Wrong and unreadable identities: no door of the command line writes over a token."""

import errno
import os
import stat

import faults
import home as homes
from report import Row

# What is other than when the tokens were stored: an environment for the preloaded library.
OTHERS = {
    "another machine": {"SOFTTOKEN_INSTEAD": "/etc/machine-id=machine-id"},
    "no machine id": {"SOFTTOKEN_INSTEAD": "/etc/machine-id=nothing"},
    "an empty machine id": {"SOFTTOKEN_INSTEAD": "/etc/machine-id=empty"},
    "another disk": {"SOFTTOKEN_INSTEAD": "/dev/disk/by-uuid=disks"},
}
DENIED = [("an unreadable machine id", "open", errno.EACCES, "/etc/machine-id"),
          ("an input error in the machine id", "read", errno.EIO, "/etc/machine-id"),
          ("unreadable disks", "open", errno.EACCES, "/dev/disk/by-uuid"),
          ("unreadable mounts", "open", errno.EACCES, "mountinfo"),
          ("a user database that fails", "passwd", errno.EIO, ""),
          ("a user database that knows nobody", "passwd", 0, "")]


def root_disk():
    """The block device that is mounted at "/", or nothing."""
    for line in open("/proc/self/mountinfo", encoding="utf-8"):
        fields = line.split()
        source = fields[fields.index("-") + 2]
        if fields[4] == "/" and os.path.exists(source) and stat.S_ISBLK(os.stat(source).st_mode):
            return source
    return ""


def doors(server, user):
    some = [command for command in homes.commands(server.address, user)
            if command.name in ("add", "add 13", "import", "import image", "rename", "enrol")]
    return some


def one(build, folder, template, name, commands, more, arm):
    row = Row(name)
    place = folder / name.replace(" ", "-")
    home = template.copy_to(place)
    (place / "machine-id").write_text("0123456789abcdef0123456789abcdef\n")
    (place / "empty").write_text("")
    (place / "disks").mkdir()
    disk = root_disk()
    if disk:
        (place / "disks/0123-ABCD").symlink_to(disk)
    control = faults.Control(place / "control")
    variables = {"LD_PRELOAD": build.faults, "SOFTTOKEN_FAULTS": str(control.path)}
    for variable, text in more.items():
        original, _, other = text.partition("=")
        variables[variable] = f"{original}={place / other}"
    for command in commands:
        home.go_back_to(template)
        before = home.files()
        if arm:
            call, error, path = arm
            control.arm(call, error, 1, faults.FOREVER, only=path)
        ended = home.run(command.arguments, command.given, more=variables)
        row.runs += 1
        row.hits += ended.code != 0
        try:
            judge(home, command, ended, before)
        except homes.Trouble as trouble:
            row.fail(trouble, command.name)
    return row


def judge(home, command, ended, before):
    """Success is fine where the identity did not count; otherwise all stays bit for bit."""
    if ended.hung or ended.code < 0:
        raise homes.Trouble(str(ended))
    if ended.code == 0:
        try:
            home.check_shown(command.after)
        except homes.Trouble as trouble:
            raise homes.Trouble(f"said {ended.out!r}, but {trouble}") from trouble
        return
    wrong = homes.unclear(ended.err)
    if wrong:
        raise homes.Trouble(f"the message {wrong}: {ended.err!r}")
    repair, deletion = ended.err.find("undo that change"), ended.err.find("delete it with")
    if 0 <= deletion and not 0 <= repair < deletion:
        raise homes.Trouble(f"advises to delete a good token: {ended.err!r}")
    if home.files() != before:
        raise homes.Trouble(f"refused, but the files are others: {ended.err!r}")
    home.check_shown(homes.KNOWN)


def jobs(build, folder, short):
    template = homes.vault_template(build, folder / "template")
    server = faults.DemoServer(build, folder / "server", ["ann"])
    commands = doors(server, "ann")
    found = [(name, lambda n=name, m=more: one(build, folder, template, n, commands, m, None))
             for name, more in OTHERS.items()]
    found += [(name, lambda n=name, a=(call, error, path): one(build, folder, template, n, commands,
                                                              {}, a))
              for name, call, error, path in DENIED]
    return found, server.end
