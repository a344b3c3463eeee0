"""What a power cut leaves: a program's operations on the disk, and the folders that can be found afterwards."""

import os
import shutil
import struct
import subprocess
from pathlib import Path

from injection import HERE, NotRun

RECORD = struct.Struct("=c7xQQII")


class Recorder:
    """Goes with one program in place of a fault, and has its operations afterwards."""

    def __init__(self, folder, below):
        library = Path(folder) / "recorder.so"
        if not library.exists():
            compiler = shutil.which("cc")
            if not compiler:
                raise NotRun("there is no C compiler")
            made = subprocess.run([compiler, "-shared", "-fPIC", "-O1", "-o", library, HERE / "recorder.c", "-ldl",
                                   "-lpthread"], capture_output=True, text=True)
            if made.returncode:
                raise NotRun("the library that records can't be built: " + made.stderr.strip()[:200])
        self.path = Path(folder) / "record"
        self.path.write_bytes(b"")
        self.variables = {"LD_PRELOAD": str(library), "RECORD_TO": str(self.path), "RECORD_BELOW": str(below)}

    def environment(self):
        return self.variables

    def operations(self):
        """Tuples of kind, file, offset, path and data."""
        data, at, found = self.path.read_bytes(), 0, []
        while at < len(data):
            kind, file, offset, path, size = RECORD.unpack_from(data, at)
            at += RECORD.size
            found.append((kind.decode(), file, offset, data[at:at + path].decode(), data[at + path:at + path + size]))
            at += path + size
        return found


class File:
    def __init__(self, data=b""):
        self.data = bytearray(data)
        self.safe = bytes(data)

    def flush(self):
        self.safe = bytes(self.data)


class Folder:
    def __init__(self):
        self.entries = {}
        self.safe = {}
        self.pending = []  # changes since the last flush, oldest first: names with what they stand for, or None

    def change(self, names):
        self.pending.append(names)
        self._apply(self.entries, names)

    @staticmethod
    def _apply(entries, names):
        for name, node in names.items():
            if node is None:
                entries.pop(name, None)
            else:
                entries[name] = node

    def flush(self):
        self.safe = dict(self.entries)
        self.pending = []

    def after(self, count):
        """The entries with so many of the changes that were not flushed."""
        entries = dict(self.safe)
        for names in self.pending[:count]:
            self._apply(entries, names)
        return entries


class Disk:
    """A tree, and of each part what is sure to be on the disk. `root` is the path that it stands for."""

    def __init__(self, root, content):
        self.root = Path(root)
        self.files = {}  # by number
        self.top = self._load(Path(content))

    def _load(self, path):
        folder = Folder()
        for each in path.iterdir():
            folder.entries[each.name] = self._load(each) if each.is_dir() else File(each.read_bytes())
        folder.flush()
        return folder

    def _walk(self, parts):
        node = self.top
        for part in parts:
            node = node.entries.get(part) if isinstance(node, Folder) else None
        return node

    def _place(self, path):
        """The folder of a path, and its name."""
        parts = Path(path).relative_to(self.root).parts
        return self._walk(parts[:-1]), parts[-1]

    def apply(self, operation):
        kind, number, offset, path, data = operation
        if kind == "A":
            return self._flush_all(self.top)
        if kind == "F":
            return self._walk(Path(path).relative_to(self.root).parts).flush()
        if kind == "S":
            return self.files[number].flush()
        if kind == "W":
            held = self.files[number].data
            held.extend(bytes(max(0, offset + len(data) - len(held))))
            held[offset:offset + len(data)] = data
        elif kind == "T":
            del self.files[number].data[offset:]
        else:
            self._name(kind, number, path, data)

    def _name(self, kind, number, path, data):
        folder, name = self._place(path)
        if kind == "O":
            if name not in folder.entries:
                folder.change({name: File()})
            self.files[number] = folder.entries[name]
        elif kind == "M":
            folder.change({name: Folder()})
        elif kind == "U":
            folder.change({name: None})
        else:
            source, old = self._place(data.decode())
            node = source.entries[old]
            if source is folder:
                folder.change({old: None, name: node})
            else:
                source.change({old: None})
                folder.change({name: node})

    def _flush_all(self, node):
        node.flush()
        if isinstance(node, Folder):
            for each in node.entries.values():
                self._flush_all(each)

    def write(self, to, names, content):
        """Makes a tree. `names` gives the entries of a folder, `content` the bytes of a file."""
        shutil.rmtree(to, ignore_errors=True)
        self._write(self.top, Path(to), names, content)

    def _write(self, node, to, names, content):
        if isinstance(node, File):
            to.write_bytes(content(node))
            return
        os.mkdir(to)
        for name, each in names(node).items():
            self._write(each, to / name, names, content)


def flushed_alone(_):
    """Neither a name nor a byte is there that was not flushed."""
    return (lambda folder: folder.safe), (lambda file: file.safe)


def names_alone(_):
    """All names are there, and of what they stand for only what was flushed."""
    return (lambda folder: folder.entries), (lambda file: file.safe)


def by_chance(dice):
    """Of each folder some of the changes, in their order; of each file all, or what was flushed."""
    return (lambda folder: folder.after(dice.randint(0, len(folder.pending))),
            lambda file: bytes(file.data) if dice.random() < 0.5 else file.safe)


VARIANTS = {"all that was not flushed is lost": flushed_alone, "names are kept, bytes are lost": names_alone,
            "some of it is lost": by_chance}


def crash_states(stage, source, root, operations, points):
    """Makes `root` what a power cut leaves after so many operations on `source`, in each variant."""
    disk, done = Disk(root, source), 0
    for point in points:
        for operation in operations[done:point]:
            disk.apply(operation)
        done = point
        last = operations[point - 1]
        where = f"after {point} of {len(operations)} ({last[0]} {last[3].replace(str(root), 'ROOT')})"
        for name, variant in VARIANTS.items():
            disk.write(root, *variant(stage.random))
            yield f"{where}, {name}"


def replayed(source, root, operations, to):
    """Makes `to` what the operations make of `source`: the same as the program did, when none was missed."""
    disk = Disk(root, source)
    for operation in operations:
        disk.apply(operation)
    disk.write(to, lambda folder: folder.entries, lambda file: bytes(file.data))
