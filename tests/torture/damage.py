"""Every flipped bit and every truncation of the vault's files is told, or does no harm."""

import home as homes
from report import Row


def tells(home):
    """Raises Trouble unless all tokens show, or the list says that something is wrong."""
    ended = home.run(["list", "--json"])
    if ended.hung or ended.code < 0:
        raise homes.Trouble(f"the list: {ended}")
    if ended.code == 4 or (ended.code == 0 and ended.err):
        wrong = homes.unclear(ended.err)
        if wrong:
            raise homes.Trouble(f"the message {wrong}: {ended.err!r}")
        return True
    if ended.code != 0:
        raise homes.Trouble(f"the list ends with exit {ended.code}: {ended.err!r}")
    home.check_shown(homes.KNOWN)
    return False


def is_left_alone(home):
    """An add into a damaged vault is refused, and changes nothing."""
    before = home.files()
    ended = home.run(["add", homes.DELTA.name], homes.DELTA.seed + "\n")
    if ended.code == 0:
        raise homes.Trouble("add says success on damaged files")
    if home.files() != before:
        raise homes.Trouble(f"add changes damaged files: {ended}")


def damage(template, folder, path, name, contents, adds_every):
    """`contents`: what stands in the file, time after time, and in words."""
    row = Row(f"{path.rsplit('/', 1)[1]}: {name}")
    home = template.copy_to(folder / f"{path.rsplit('/', 1)[1]}-{name}".replace(" ", "-"))
    start = template
    for number, (content, words) in enumerate(contents):
        home.go_back_to(start)
        (home.folder / path).write_bytes(content)
        row.runs += 1
        try:
            told = tells(home)
            row.hits += told
            if told and number % adds_every == 0:
                is_left_alone(home)
        except homes.Trouble as trouble:
            row.fail(trouble, words)
    return row


def flipped(content, step):
    for bit in range(0, 8 * len(content), step):
        changed = bytearray(content)
        changed[bit // 8] ^= 1 << bit % 8
        yield bytes(changed), f"bit {bit % 8} of byte {bit // 8}"


def cut(content, step):
    for size in sorted({*range(0, len(content), step), len(content) - 1}):
        yield content[:size], f"cut to {size} bytes"


def lengthened(content):
    for more in (1, 16, 4096):
        yield content + bytes(more), f"{more} bytes more"


def missing_key(build, folder, template, path):
    """A vault without its key is an error, and stays one."""
    row = Row(f"{path.rsplit('/', 1)[1]}: missing")
    home = template.copy_to(folder / "missing")
    (home.folder / path).unlink()
    row.runs += 1
    row.hits += 1
    try:
        if not tells(home):
            raise homes.Trouble("the tokens show all the same")
        is_left_alone(home)
    except homes.Trouble as trouble:
        row.fail(trouble)
    return row


def leads_nowhere(folder, template, path):
    """A link to nothing in the file's place is no user without tokens."""
    row = Row(f"{path.rsplit('/', 1)[1]}: a link to nothing")
    home = template.copy_to(folder / ("nowhere-" + path.rsplit("/", 1)[1]))
    (home.folder / path).unlink()
    (home.folder / path).symlink_to(home.folder / "nothing")
    row.runs += 1
    row.hits += 1
    try:
        if not tells(home):
            raise homes.Trouble("the tokens show all the same")
        ended = home.run(["add", homes.DELTA.name], homes.DELTA.seed + "\n")
        if ended.code == 0 or not (home.folder / path).is_symlink():
            raise homes.Trouble(f"add goes on: {ended}")
    except homes.Trouble as trouble:
        row.fail(trouble)
    return row


def jobs(build, folder, short):
    template = homes.vault_template(build, folder / "template")
    files = template.files()
    vault = [path for path in files if path.startswith(homes.DATA_FOLDER) and files[path]]
    found = []
    for path in vault:
        content = files[path]
        steps = (max(1, 8 * len(content) // 150) | 1, max(1, len(content) // 60)) if short else (1, 1)
        every = 4 if short else 16
        found += [
            (f"{path} flipped", lambda p=path, c=content, s=steps[0], e=every: damage(
                template, folder, p, "bits flipped", flipped(c, s), e)),
            (f"{path} cut", lambda p=path, c=content, s=steps[1], e=every: damage(
                template, folder, p, "cut", cut(c, s), e)),
            (f"{path} longer", lambda p=path, c=content: damage(
                template, folder, p, "longer", lengthened(c), 1)),
            (f"{path} link", lambda p=path: leads_nowhere(folder, template, p)),
        ]
        if "key" in path:
            found.append((f"{path} missing",
                          lambda p=path: missing_key(build, folder, template, p)))
    return found, None
