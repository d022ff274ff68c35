"""The reader processes of URL sources, outside the device's sandbox."""

import asyncio
import fcntl
import os
import subprocess

from bringup import logs, sandbox
from bringup.processes import Children, Process
from bringup.sources import Source

_FIRST_DELAY, _LAST_DELAY = 0.1, 1.0  # seconds until one that ended is started again, doubling
_STEADY = 10.0  # one that ran this many seconds starts over with the first delay
_PIPE = 1 << 20  # bytes


class Reader:
    """Keeps one plinth-reader running that writes a URL's packets into a pipe.

    Owns the pipe's writing end, so a reader that is started again goes on in the same pipe.
    """

    def __init__(self, source: Source, once: bool, children: Children, log_folder: str, name: str):
        self.reading, self._writing = os.pipe()
        try:
            fcntl.fcntl(self._writing, fcntl.F_SETPIPE_SZ, _PIPE)
        except OSError:
            pass  # this user has had all the room there is for pipes: a usual one will do
        arguments = ["--once"] if once else []
        self._command = sandbox.confined(["plinth-reader", *arguments, source.place], network=True)
        self._children, self._log_folder, self._name = children, log_folder, name
        self._process: Process | None = None
        self._task = asyncio.create_task(self._keep())

    async def end(self) -> None:
        self._task.cancel()
        if self._process is not None:
            await self._process.end(1.0)

    async def _keep(self) -> None:
        """Runs the reader until its source has ended, which it says by status 0."""
        clock = asyncio.get_running_loop().time
        delay, started = _FIRST_DELAY, clock()
        while await self._run() != 0:
            if clock() - started >= _STEADY:
                delay = _FIRST_DELAY
            await asyncio.sleep(delay)
            delay, started = min(2 * delay, _LAST_DELAY), clock()
        os.close(self._writing)

    async def _run(self) -> int:
        output = logs.open_log(self._log_folder, self._name)
        try:
            self._process = self._children.spawn(
                self._command, stdin=subprocess.DEVNULL, stdout=self._writing, stderr=output
            )
        finally:
            os.close(output)
        return await self._process.wait()
