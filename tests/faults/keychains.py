"""Places of keys and secrets for one row: a token in a folder, and session buses that answer, or don't."""

import os
import signal
import socket
import subprocess
import threading
import time
from pathlib import Path

from campaign import NotRun
from injection import require

MODULE = Path("/usr/lib/softhsm/libsofthsm2.so")


class Token:
    """A software token that holds a key and its certificate."""

    pin = "481516"

    def __init__(self, folder, key, certificate):
        self.tokens = folder / "tokens"
        self.tokens.mkdir(parents=True)
        if not MODULE.exists():
            raise NotRun("the software token is not installed")
        settings = folder / "softhsm2.conf"
        settings.write_text(f"directories.tokendir = {self.tokens}\nobjectstore.backend = file\nlog.level = ERROR\n")
        self.settings = {"SOFTHSM2_CONF": str(settings)}
        exported, public, der = folder / "key.pk8", folder / "public.der", folder / "certificate.der"
        self._call(require("openssl"), "pkcs8", "-topk8", "-nocrypt", "-in", key, "-outform", "DER", "-out", exported)
        self._call(require("openssl"), "pkey", "-in", key, "-pubout", "-outform", "DER", "-out", public)
        self._call(require("openssl"), "x509", "-in", certificate, "-outform", "DER", "-out", der)
        util, tool = require("softhsm2-util"), require("pkcs11-tool")
        self._call(util, "--init-token", "--free", "--label", "Keys", "--so-pin", "23420000", "--pin", self.pin)
        for content, kind in ((exported, ["privkey", "--usage-derive"]), (public, ["pubkey", "--usage-derive"]),
                              (der, ["cert"])):
            self._call(tool, "--module", MODULE, "--token-label", "Keys", "--login", "--pin", self.pin, "--write-object",
                       content, "--id", "01", "--label", "key", "--type", *kind)
        exported.unlink()

    def _call(self, *words):
        subprocess.run([str(word) for word in words], check=True, capture_output=True, env={**os.environ, **self.settings})

    def environment(self, pin=None, **more):
        return {**self.settings, **({"ORVIK_PKCS11_PIN": pin} if pin else {}), **more}


class SilentBus:
    """A socket in a bus's place: it takes connections and never says a word, or ends them at once."""

    def __init__(self, path, ends):
        self.address = f"unix:path={path}"
        self.ends, self.open = ends, []
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.bind(str(path))
        self.socket.listen()
        threading.Thread(target=self._serve, daemon=True).start()

    def _serve(self):
        while True:
            try:
                one, _ = self.socket.accept()
            except OSError:
                return
            one.close() if self.ends else self.open.append(one)

    def close(self):
        self.socket.close()
        for one in self.open:
            one.close()


BUS = """<busconfig><type>session</type><listen>unix:path={}</listen><policy context="default"><allow send_destination="*"/>
<allow receive_sender="*"/><allow own="*"/></policy></busconfig>"""


class Bus:
    """A session bus of its own, with a locked keyring on it when asked for."""

    def __init__(self, folder, keyring):
        folder.mkdir(mode=0o700)
        settings = folder / "bus.conf"
        settings.write_text(BUS.format(folder / "bus"))
        self.address = f"unix:path={folder / 'bus'}"
        self.running = [subprocess.Popen([require("dbus-daemon"), f"--config-file={settings}", "--nofork", "--nopidfile"],
                                         stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)]
        self._await(lambda: (folder / "bus").exists())
        if keyring:
            program = require("gnome-keyring-daemon")
            environment = {**os.environ, "DBUS_SESSION_BUS_ADDRESS": self.address, "XDG_RUNTIME_DIR": str(folder),
                           "XDG_DATA_HOME": str(folder / "data")}
            (folder / "data").mkdir()
            for unlocking in (True, False):
                daemon = subprocess.Popen([program, "--foreground", "--components=secrets", *(["--unlock"] if unlocking else [])],
                                          env=environment, stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                                          stderr=subprocess.DEVNULL)
                daemon.stdin.write(b"a password" if unlocking else b"")
                daemon.stdin.close()
                if unlocking:
                    self._await(lambda: any((folder / "data" / "keyrings").glob("*.keyring")))
                    daemon.kill()
                    daemon.wait()
                else:
                    self.running.append(daemon)
                    self._await(lambda: self._owns(environment))

    @staticmethod
    def _owns(environment):
        asked = subprocess.run(["dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
                                "org.freedesktop.DBus.NameHasOwner", "string:org.freedesktop.secrets"], env=environment,
                               capture_output=True, text=True)
        return "true" in asked.stdout

    def _await(self, there):
        end = time.monotonic() + 10
        while not there():
            if time.monotonic() > end:
                self.close()
                raise NotRun("a session bus with a keyring can't be started")
            time.sleep(0.02)

    def close(self):
        for each in reversed(self.running):
            each.send_signal(signal.SIGKILL)
            each.wait()
