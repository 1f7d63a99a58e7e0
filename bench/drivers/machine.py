"""What the figures were measured on."""

import os
import platform
import subprocess


def describe(folder, quick):
    def first(path, key):
        with open(path) as file:
            return next((line.split(":", 1)[1].strip() for line in file if line.startswith(key)), "unknown")

    file_system = subprocess.run(["stat", "-f", "-c", "%T", folder], capture_output=True, text=True, check=True)
    return {
        "processor": first("/proc/cpuinfo", "model name"),
        "cores": os.cpu_count(),
        "memory": first("/proc/meminfo", "MemTotal"),
        "kernel": platform.release(),
        "file_system": file_system.stdout.strip(),
        "load_before": round(os.getloadavg()[0], 2),
        "quick": quick,
    }
