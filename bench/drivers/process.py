"""Programs that run beside a benchmark."""

import os
import signal
import subprocess

LIMIT = 60
TICKS = os.sysconf("SC_CLK_TCK")


class Process:
    """A program that is ended with the benchmark."""

    def __init__(self, argv, stderr, environment=None, **options):
        self.name = os.path.basename(argv[0])
        self._stderr_path = stderr
        with open(stderr, "ab") as file:
            self._process = subprocess.Popen(argv, stderr=file, env=os.environ | (environment or {}), **options)

    @property
    def pid(self):
        return self._process.pid

    @property
    def stdin(self):
        return self._process.stdin

    @property
    def stdout(self):
        return self._process.stdout

    def running(self):
        return self._process.poll() is None

    def wait(self):
        return self._process.wait(LIMIT)

    def stop(self, how=signal.SIGTERM):
        if self.running():
            self._process.send_signal(how)
        try:
            self.wait()
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
        for stream in (self.stdin, self.stdout):
            if stream:
                stream.close()

    def failure(self, what):
        with open(self._stderr_path, errors="replace") as file:
            return RuntimeError(f"{self.name} {what}:\n{file.read()[-2000:]}")

    def _status(self, key):
        with open(f"/proc/{self.pid}/status") as file:
            return next(int(line.split()[1]) for line in file if line.startswith(key + ":"))

    def memory(self):
        """Octets of its own that are in memory."""
        return self._status("RssAnon") * 1024

    def open_files(self):
        return len(self._open_files())

    def sockets(self):
        return sum(name.startswith("socket:") for name in self._open_files())

    def _open_files(self):
        folder = f"/proc/{self.pid}/fd"
        files = []
        for name in os.listdir(folder):
            try:
                files.append(os.readlink(os.path.join(folder, name)))
            except FileNotFoundError:
                pass  # closed meanwhile
        return files

    def threads(self):
        return self._status("Threads")

    def cpu_seconds(self):
        with open(f"/proc/{self.pid}/stat") as file:
            fields = file.read().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / TICKS
