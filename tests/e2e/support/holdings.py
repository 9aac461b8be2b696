"""What a running host process holds: threads, files, handles and memory."""

import dataclasses
import os
import pathlib


@dataclasses.dataclass(frozen=True)
class Holdings:
    threads: int
    files: int
    handles: int
    memory: int  # its own, in KiB

    def __str__(self):
        return (
            f"{self.threads} threads, {self.files} files, {self.handles} handles, "
            f"{self.memory} KiB"
        )

    def exceeds(self, before, memory):
        """Whether it is more than `before`, with `memory` KiB more allowed."""
        return (
            self.threads > before.threads
            or self.files > before.files
            or self.handles > before.handles
            or self.memory > before.memory + memory
        )


def of(host):
    """The holdings of a capture_host (a wine.HostProcess) that waits for a command."""
    handles = int(host.ask("handles", answer=r"handles (\d+)")[1])
    process = pathlib.Path(f"/proc/{host.pid}")
    threads, files = len(os.listdir(process / "task")), len(os.listdir(process / "fd"))
    lines = (process / "smaps_rollup").read_text("ascii").splitlines()
    private = [int(line.split()[1]) for line in lines if line.startswith("Private_")]
    return Holdings(threads, files, handles, sum(private))
