"""The daemon under measurement."""

import os
import socket
import subprocess
import time

READY_LIMIT = 120


def endpoint_id(name):
    """Of the POA of that name below the root (docs/protocol.md)."""
    segments = (b"QP", b"poalocator", name.encode() + b"\0")
    return b"".join(len(segment).to_bytes(4, "big") + segment for segment in segments)


class Locator:
    def __init__(self, bench, store):
        self._bench = bench
        self.store = store
        self.address = bench.address()
        self.url = f"corbaloc::{self.address}:2809"
        config = bench.path("poalocd.toml")
        # Servers that are gone in a benchmark would be found dead.
        with open(config, "w") as file:
            file.write(
                f'[front_door]\nlisten = ["{self.address}:2809"]\n[orb_endpoint]\nlisten = "{self.address}:2810"\n'
                f'[store]\nurl = "sqlite://{store}"\n[event_log]\nfile = "{bench.path("events.log")}"\n'
                f"[liveness]\ninterval = 0\n"
            )
        notify = bench.path("notify")
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as ready:
            ready.bind(notify)
            ready.settimeout(0.5)
            begin = time.monotonic()
            self.process = bench.run(
                bench.program("poalocd"), "--config", config, environment={"NOTIFY_SOCKET": notify}
            )
            self._wait(ready, begin)
            self.start_seconds = time.monotonic() - begin
        os.unlink(notify)

    def _wait(self, ready, begin):
        while time.monotonic() - begin < READY_LIMIT and self.process.running():
            try:
                if b"READY=1" in ready.recv(4096):
                    return
            except TimeoutError:
                pass
        raise self.process.failure("did not become ready")

    def target(self, poa, object_id="object"):
        key = endpoint_id(poa) + object_id.encode()
        return f"corbaloc::1.2@{self.address}:2809/" + "".join(f"%{octet:02x}" for octet in key)

    def administer(self, *verb):
        command = (self._bench.program("poaloc"), "--locator", self.url, *verb)
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL)

    def stop(self):
        self._bench.stop(self.process)
