"""Builds what a language needs, in a folder of its own."""

import os
import shutil
import subprocess
from dataclasses import dataclass, field
from pathlib import Path
from typing import Callable, Dict, List, Tuple, Union

from rig import REPOSITORY, WINE_RUN, Failure, program_path


@dataclass
class Programs:
    """How driver and example are started; arguments follow."""

    driver: List[str]  # empty: there is the example alone
    example: List[str]
    variables: Dict[str, str] = field(default_factory=dict)  # of the environment
    linked: bool = False  # with the library: no path of it can be stated
    interrupted: int = 0  # status of the example behind SIGINT


class Workshop:
    def __init__(self, folder: Path, platform: str, linux_stage: Path, windows_stage: Path):
        self.folder, self.platform = folder, platform
        self.linux_stage, self.windows_stage = linux_stage, windows_stage
        self.bindings = REPOSITORY / "bindings"
        self.drivers = REPOSITORY / "tests" / "bindings" / "drivers"
        folder.mkdir(parents=True, exist_ok=True)

    def tool(self, name: str, package: str) -> str:
        found = shutil.which(name)
        if not found:
            raise Failure(f"{name} is missing: install the package {package}")
        return found

    def file(self, name: str, package: str) -> Path:
        if not Path(name).exists():
            raise Failure(f"{name} is missing: install the package {package}")
        return Path(name)

    def path(self, file: Path) -> str:
        return program_path(file, self.platform)

    def run(self, *command: Union[str, Path], folder: Union[Path, None] = None) -> None:
        """Quietly; what it printed is told when it fails."""
        result = subprocess.run(
            [str(word) for word in command],
            cwd=folder or self.folder,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
        )
        if result.returncode != 0:
            output = result.stdout.decode("utf-8", "replace")
            raise Failure(f"{' '.join(map(str, command))} failed:\n{output[-3000:]}")

    def run_windows(self, *command: str) -> None:
        self.run(WINE_RUN, *command)


@dataclass(frozen=True)
class Language:
    name: str
    platforms: Tuple[str, ...]  # "linux", "windows"
    build: Callable[[Workshop], Programs]
