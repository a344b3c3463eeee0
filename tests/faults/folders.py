"""The folder of one instance as the campaign looks at it, without the programs' own eyes."""

import hashlib
import json
import os
import shutil
from pathlib import Path


def copy_tree(source, to):
    """A clean copy with links and times, in place of what is there."""
    shutil.rmtree(to, ignore_errors=True)
    shutil.copytree(source, to, symlinks=True)


class Instance:
    def __init__(self, root, slug="127.0.0.1"):
        self.root = Path(root)
        self.path = self.root / slug
        self.backups_path = self.path / "backups"
        self.store = self.path / "store"
        self.lock = self.path / "backup.lock"

    def backups(self):
        """IDs of what a reader can see, oldest first."""
        if not self.backups_path.is_dir():
            return []
        return sorted(each.name for each in self.backups_path.iterdir()
                      if not each.name.startswith(".") and not each.name.endswith(".partial")
                      and (each / "manifest.json").exists())

    def manifest(self, backup):
        return json.loads((self.backups_path / backup / "manifest.json").read_text())

    def index(self, backup, section):
        return json.loads((self.backups_path / backup / "sections" / f"{section}.json").read_text())

    def declared(self, backup):
        return [each["id"] for each in self.manifest(backup)["sections"] if each.get("index")]

    def content(self, backup):
        """Which objects a backup holds: section, ID and names of the objects."""
        return {(section, item["id"], tuple(sorted(item["objects"].items())))
                for section in self.declared(backup) for item in self.index(backup, section)["items"]}

    def names(self, backup):
        """Names of the objects and files that a backup refers to."""
        found = set()
        for section in self.declared(backup):
            for item in self.index(backup, section)["items"]:
                found.update(item["objects"].values())
                if item.get("file", {}).get("sha256"):
                    found.add(item["file"]["sha256"])
        return found

    def held(self):
        """Names in the store whose content is there and has the right digest: what really could be read."""
        found = set()
        for file in [*(self.store / "objects").rglob("*"), *(self.store / "files").rglob("*")]:
            if file.is_file() and not file.is_symlink() and _digest(file.read_bytes()) == file.stem:
                found.add(file.stem)
        for listing in (self.store / "packs").glob("*.idx"):
            pack = listing.with_suffix(".pack")
            if pack.exists():
                found |= _packed(listing, pack.read_bytes())
        return found

    def where(self, name):
        """Paths that bear an object's name, and packs that list it, for the account of a failure."""
        paths = [str(each.relative_to(self.path)) for each in self.store.rglob(name + "*")]
        return paths + [each.name for each in (self.store / "packs").glob("*.idx") if name in each.read_text()]

    def leftovers(self):
        """What no reader shall see and no run shall leave: temporary files, partial folders, the lock.

        What a repair put into the quarantine stays there until somebody deletes it."""
        quarantine = self.path / ".quarantine"
        return sorted(str(each.relative_to(self.path)) for each in self.path.rglob("*")
                      if each != quarantine and quarantine not in each.parents and (
                          each.name.startswith(".") or ".partial" in each.name or each.name.endswith(".deleted")
                          or each == self.lock))

    def age(self, days=2):
        """Makes all that is left over look old, as it is when a later collection comes."""
        for each in self.leftovers():
            path = self.path / each
            then = path.lstat().st_mtime - days * 86400
            os.utime(path, (then, then), follow_symlinks=False)

    def bytes(self):
        return sum(each.stat().st_size for each in self.path.rglob("*") if each.is_file())


def _digest(data):
    return hashlib.sha256(data).hexdigest()


def _packed(listing, data):
    try:
        entries = json.loads(listing.read_text()).get("objects", {})
    except ValueError:
        return set()
    return {name for name, (start, length) in entries.items() if _digest(data[start:start + length]) == name}


def snapshot(path):
    """Each path below a folder with its content's digest, to see what changed."""
    found = {}
    for each in Path(path).rglob("*"):
        name = str(each.relative_to(path))
        if each.is_symlink():
            found[name] = "-> " + os.readlink(each)
        elif each.is_file():
            found[name] = _digest(each.read_bytes())
        else:
            found[name] = "folder"
    return found
