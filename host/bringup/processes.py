"""Child processes of either half, reaped in one place, adopted orphans too."""

import asyncio
import os
import signal
import subprocess


class Process:
    """One child in a session of its own. `ended` resolves to its status: 128 + n for signal n."""

    def __init__(self, popen: subprocess.Popen):
        self.pid = popen.pid
        self.popen = popen
        self.ended = asyncio.get_running_loop().create_future()

    async def wait(self) -> int:
        """Waits for the child's end; its status. The waiting can be cancelled."""
        return await asyncio.shield(self.ended)

    def signal(self, number: int) -> None:
        """Sends a signal to the child alone."""
        if not self.ended.done():
            os.kill(self.pid, number)

    def signal_group(self, number: int) -> None:
        """Sends a signal to the child's process group, which may outlive the child."""
        try:
            os.killpg(self.pid, number)
        except (ProcessLookupError, PermissionError):
            pass

    async def end(self, grace: float, repeat: bool = False) -> None:
        """Asks the child to end, kills it after `grace` seconds, and kills what is left of its group.
        With `repeat` the request is sent again and again, for a server that can miss the first."""
        deadline = asyncio.get_running_loop().time() + grace
        self.signal(signal.SIGTERM)
        while not self.ended.done():
            left = deadline - asyncio.get_running_loop().time()
            if left <= 0:
                self.signal(signal.SIGKILL)
                await self.wait()
            await asyncio.wait([self.ended], timeout=min(left, 0.25) if repeat else left)
            if repeat:
                self.signal(signal.SIGTERM)
        self.signal_group(signal.SIGKILL)


class Children:
    """All children of this process. One instance a process: it takes SIGCHLD."""

    def __init__(self):
        self._running: dict[int, Process] = {}
        self._none_left = asyncio.Event()
        asyncio.get_running_loop().add_signal_handler(signal.SIGCHLD, self._reap)

    def spawn(self, command: list[str], **options) -> Process:
        """Starts a child in a session of its own; raises OSError when it cannot be started."""
        process = Process(subprocess.Popen(command, start_new_session=True, **options))
        self._running[process.pid] = process
        self._none_left.clear()
        return process

    async def none_left(self) -> None:
        """Waits until there is no child, adopted ones included."""
        self._reap()
        await self._none_left.wait()

    def _reap(self) -> None:
        while True:
            try:
                pid, status = os.waitpid(-1, os.WNOHANG)
            except ChildProcessError:
                self._none_left.set()
                return
            if pid == 0:
                return
            process = self._running.pop(pid, None)
            if process is not None:
                code = os.waitstatus_to_exitcode(status)
                process.popen.returncode = code
                process.ended.set_result(code if code >= 0 else 128 - code)
