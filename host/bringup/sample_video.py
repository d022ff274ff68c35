"""The sample video: the pedestrians clip of Debian's package opencv-doc, fetched once and kept."""

import glob
import os
import subprocess
import sys
import tempfile

from bringup.sources import Source

_ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))
_RECORDING = os.path.join(_ROOT, "tests", "recordings", "pedestrians.scenes.jsonl.gz")
_PACKAGE = "opencv-doc"
_CLIP = "vtest.avi"

_ENDS_WITH_US = ("setpriv", "--pdeathsig", "TERM")


def source() -> Source:
    """The clip, or where it cannot be had the pedestrians recording."""
    clip = os.path.join(_cache_folder(), _CLIP)
    if not os.path.exists(clip):
        print(f"tarnwatch: fetching the sample video, once (95 MB, Debian package {_PACKAGE})", file=sys.stderr)
        try:
            _fetch(clip)
        except (OSError, subprocess.CalledProcessError, subprocess.TimeoutExpired, LookupError) as error:
            print(f"tarnwatch: no sample video ({_reason(error)}); playing the pedestrians recording", file=sys.stderr)
            return Source("scenes", _RECORDING)
    return Source("video", clip)


def _cache_folder() -> str:
    base = os.environ.get("XDG_CACHE_HOME") or os.path.join(os.path.expanduser("~"), ".cache")
    return os.path.join(base, "tarnwatch")


def _fetch(clip: str) -> None:
    os.makedirs(os.path.dirname(clip), exist_ok=True)
    with tempfile.TemporaryDirectory(prefix="fetch-", dir=os.path.dirname(clip)) as folder:
        _run(["apt-get", "-q", "-o", "Acquire::Retries=1", "-o", "Acquire::http::Timeout=20",
              "-o", "APT::Sandbox::User=root", "download", _PACKAGE], folder, 900)  # fmt: skip
        package = next(iter(glob.glob(os.path.join(folder, "*.deb"))), None)
        if package is None:
            raise LookupError(f"apt-get brought no {_PACKAGE}")
        _take_out(package, folder)
        os.replace(os.path.join(folder, _CLIP), clip)


def _take_out(package: str, folder: str) -> None:
    """Takes the one file out of the package's archive without unpacking the rest."""
    with subprocess.Popen([*_ENDS_WITH_US, "dpkg-deb", "--fsys-tarfile", package], stdout=subprocess.PIPE) as files:
        _run(["tar", "-x", "--wildcards", "--transform", "s,.*/,,", f"*/{_CLIP}"], folder, 300, stdin=files.stdout)
    if not os.path.exists(os.path.join(folder, _CLIP)):
        raise LookupError(f"{_PACKAGE} has no {_CLIP}")


def _run(command: list[str], folder: str, seconds: float, **options) -> None:
    subprocess.run([*_ENDS_WITH_US, *command], cwd=folder, timeout=seconds, check=True, stdout=subprocess.DEVNULL,
                   stderr=subprocess.PIPE, **options)  # fmt: skip


def _reason(error: Exception) -> str:
    if isinstance(error, subprocess.CalledProcessError):
        lines = error.stderr.decode(errors="replace").strip().splitlines()
        return lines[-1] if lines else f"{error.cmd[len(_ENDS_WITH_US)]} ended with {error.returncode}"
    if isinstance(error, subprocess.TimeoutExpired):
        return f"{error.cmd[len(_ENDS_WITH_US)]} took longer than {error.timeout:.0f} s"
    return str(error)
