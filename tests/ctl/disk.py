"""Every state of the disk that a power cut may leave.

What a program has written reaches the disk when it is synced, and at any time before that, or never, each part by
itself. So, from the last sync on:

- a name leads to what it led to at that time, or to anything that it has been made to lead to since, whatever has
  become of other names: a rename may reach the disk with only one of its two names. (It never leaves a name that was
  there all along without a file: that much POSIX promises of a rename.)
- the bytes of a file are the synced ones, with any of the later writes applied and the others not, the last of them
  perhaps in part; where a later one is there and an earlier one is not, zeros stand; and the size may have grown
  before the bytes came.
"""

import itertools

from recording import Create, MakeFolder, Rename, Sync, Truncate, Unlink, Write


class File:
    def __init__(self, data, is_synced):
        self.synced = data
        self.pending = [] if is_synced else [Truncate("", 0)]

    def now(self):
        return apply(self.synced, self.pending)

    def variants(self):
        """What may stand on the disk."""
        found = {self.synced}
        for count in range(1, len(self.pending) + 1):
            for kept in itertools.combinations(self.pending, count):
                found.add(apply(self.synced, kept))
                found |= cut_variants(self.synced, kept)
        return found


def cut_variants(data, steps):
    """With the last write of these cut, or with its size but not its bytes."""
    *before, last = steps
    if not isinstance(last, Write):
        return set()
    size = len(last.data)
    base = apply(data, before)
    lengths = {0, 1, 3, 4, 8, 9, size // 2, size - 1} & set(range(size))
    cut = {apply(base, [Write("", last.data[:length], last.offset)]) for length in lengths}
    return cut | {apply(base, [Write("", bytes(size), last.offset)]),
                  apply(base, [Write("", last.data[:size // 2] + bytes(size - size // 2), last.offset)])}


def apply(data, steps):
    for step in steps:
        if isinstance(step, Truncate):
            data = data[:step.size].ljust(step.size, b"\0")
        else:
            offset = len(data) if step.offset is None else step.offset
            data = data.ljust(offset, b"\0")[:offset] + step.data + data[offset + len(step.data):]
    return data


class Disk:
    """Files by name; `names` holds, for each name, what it may lead to: the last one is what it leads to now."""

    def __init__(self, files):
        self.names = {path: [File(data, is_synced=True)] for path, data in files.items()}
        self.folders = {}  # made since: whether that is synced

    def at(self, path):
        return self.names.get(path, [None])[-1]

    def lead(self, path, file):
        self.names.setdefault(path, [None]).append(file)

    def do(self, step):
        if isinstance(step, Create):
            self.lead(step.path, File(b"", is_synced=False))
        elif isinstance(step, (Write, Truncate)):
            self.at(step.path).pending.append(step)
        elif isinstance(step, Rename):
            self.lead(step.new, self.at(step.old))
            self.lead(step.old, None)
        elif isinstance(step, Unlink):
            self.lead(step.path, None)
        elif isinstance(step, MakeFolder):
            self.folders[step.path] = False
        elif isinstance(step, Sync):
            self.sync(step.path)

    def sync(self, path):
        if (file := self.at(path)) is not None:
            file.synced, file.pending = file.now(), []
            return
        for name in self.names:
            if name.rsplit("/", 1)[0] == path:
                self.names[name] = self.names[name][-1:]
        for folder in self.folders:
            if folder.rsplit("/", 1)[0] == path:
                self.folders[folder] = True

    def variants(self):
        """Every state: files by name. A name in a folder that did not reach the disk is not there."""
        names = sorted(self.names)
        choices = [self.choices(name) for name in names]
        for contents in itertools.product(*choices):
            yield {name: data for name, data in zip(names, contents) if data is not None}

    def choices(self, name):
        found = set()
        for file in self.names[name]:
            found |= {None} if file is None else file.variants()
        if any(not is_synced and name.startswith(folder + "/") for folder, is_synced in self.folders.items()):
            found.add(None)
        return sorted(found, key=lambda data: (data is not None, data))


def states_after_a_cut(files, steps):
    """For each number of steps that were done: every state, each once."""
    disk = Disk(files)
    for done in range(len(steps) + 1):
        seen = set()
        for state in disk.variants():
            key = frozenset(state.items())
            if key not in seen:
                seen.add(key)
                yield done, state
        if done < len(steps):
            disk.do(steps[done])
