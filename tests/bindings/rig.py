"""A folder with the library, a virtual reader on whose desk cards lie, and a decode service."""

import glob
import json
import os
import shutil
import subprocess
import time
from pathlib import Path
from typing import Any, Callable, Dict, List, Optional

from output import Record, parse

AT_WORK = "at work: "
REPOSITORY = Path(__file__).resolve().parents[2]
WINE_RUN = REPOSITORY / "scripts" / "wine-run"
SECONDS = 30.0  # for what takes a moment
_LOOK = 0.01


class Failure(Exception):
    """Something that a check needs has not come about."""


def wait_until(holds: Callable[[], Any], what: str, seconds: float = SECONDS) -> Any:
    end = time.monotonic() + seconds
    while True:
        result = holds()
        if result:
            return result
        if time.monotonic() > end:
            raise Failure(f"not within {seconds:.0f} s: {what}")
        time.sleep(_LOOK)


def write(file: Path, text: str) -> None:
    part = file.with_name(file.name + ".part")
    part.write_bytes(text.encode("utf-8"))
    os.replace(part, file)


class Program:
    """A program that runs. Its output goes to files, since Windows' programs under Wine may have
    no use for a pipe."""

    def __init__(self, arguments: List[str], environment: Dict[str, str], folder: Path, log: Path):
        self._output, self._errors = log.with_suffix(".out"), log.with_suffix(".err")
        with open(self._output, "wb") as output, open(self._errors, "wb") as errors:
            self._process = subprocess.Popen(
                arguments,
                env=environment,
                cwd=folder,
                stdin=subprocess.DEVNULL,
                stdout=output,
                stderr=errors,
            )

    def __enter__(self) -> "Program":
        return self

    def __exit__(self, *_: object) -> None:
        if self._process.poll() is None:
            self._process.kill()
            self._process.wait()

    def output(self) -> bytes:
        return self._output.read_bytes()

    def text(self) -> str:
        return self.output().decode("utf-8", "backslashreplace")

    def errors(self) -> str:
        text = self._errors.read_bytes().decode("utf-8", "backslashreplace")
        # The virtual reader's word that it is there is nobody's complaint.
        lines = text.splitlines(keepends=True)
        return "".join(line for line in lines if not line.startswith(f"virtual reader: {AT_WORK}"))

    def records(self) -> List[Record]:
        return parse(self.output())[0]

    def has_ended(self) -> bool:
        return self._process.poll() is not None

    def end(self, seconds: float = SECONDS) -> int:
        try:
            return self._process.wait(seconds)
        except subprocess.TimeoutExpired:
            raise Failure(f"has not ended within {seconds:.0f} s") from None

    def interrupt(self, signal: int) -> None:
        self._process.send_signal(signal)


class Rig:
    def __init__(self, folder: Path, platform: str, linux_stage: Path, windows_stage: Path):
        self.folder, self.platform = folder, platform
        self._programs = linux_stage / "bin"  # the service and its files are made natively
        self._desk: Dict[str, Any] = {}
        self._changes = 0
        self._runs = 0
        shutil.rmtree(folder, ignore_errors=True)
        (folder / "elsewhere").mkdir(parents=True)
        if platform == "windows":
            found = [windows_stage / "bin" / "idcardreader.dll"]
            found += [windows_stage / "bin" / "readcard.exe"]
            found += [windows_stage / "devkit" / "virtual-reader" / "hidapi.dll"]
        else:
            found = [linux_stage / "lib" / "libidcardreader.so", linux_stage / "bin" / "readcard"]
            found += [linux_stage / "devkit" / "virtual-reader" / "libhidapi-hidraw.so.0"]
        for file in found:
            if not file.exists():
                raise Failure(f"there is no {file}: build the target stage")
            shutil.copy(file, folder / file.name)
        if platform == "linux":  # by this name the loader finds it before any that is installed
            (folder / "libidcardreader.so.2").symlink_to(found[0].name)
        self.library, self.readcard = folder / found[0].name, folder / found[1].name
        shutil.copytree(REPOSITORY / "devkit" / "cards", folder / "cards")
        self.configure("canPrint: false")
        self.lay(None)
        self._start_service()

    def __enter__(self) -> "Rig":
        return self

    def __exit__(self, *_: object) -> None:
        self._service.__exit__()

    def configure(self, *settings: str) -> None:
        write(self.folder / "conf.yaml", "\n".join(["# settings of the test", *settings, ""]))

    # The desk. Each change presents the card anew.

    def lay(self, card: Optional[str]) -> None:
        self._set_desk(card=f"cards/{card}.json" if card else None)

    def unplug(self) -> None:
        self._set_desk(plugged=False)

    def plug(self, card: str) -> None:
        self._set_desk(plugged=True, card=f"cards/{card}.json")

    def play(self, scenario: Dict[str, Any]) -> None:
        """Gives it to the desk and to the service, and waits until the service knows it."""
        self._set_desk(scenario={"reader": scenario.get("reader", {})})
        known = self._service.text().count("the scenario was read again")
        section = {"description": str(self._changes), "service": scenario.get("service", {})}
        write(self.folder / "scenario.json", json.dumps(section))
        wait_until(
            lambda: self._service.text().count("the scenario was read again") > known,
            "the service reads its scenario again",
        )

    def _set_desk(self, **members: Any) -> None:
        self._changes += 1
        self._desk.update(members, serial=self._changes)
        write(self.folder / "virtual-reader.json", json.dumps(self._desk))

    def complaints(self) -> str:
        file = self.folder / "virtual-reader.json.log"
        lines = file.read_text(encoding="utf-8").splitlines() if file.exists() else []
        return "\n".join(line for line in lines if not line.startswith(AT_WORK))

    # Programs.

    def start(
        self,
        arguments: List[str],
        variables: Dict[str, str],
        library: Optional[str] = "",
        folder: Optional[Path] = None,
    ) -> Program:
        """library: None leaves it to the system's loader to find it."""
        environment = {**os.environ, **variables}
        environment.pop("IDCARDREADER_LIBRARY", None)
        if library is not None:
            environment["IDCARDREADER_LIBRARY"] = library or self.path(self.library)
        elif self.platform == "linux":
            environment["LD_LIBRARY_PATH"] = str(self.folder)
        self._runs += 1
        if self.platform == "windows":
            arguments = [str(WINE_RUN), *arguments]
        log = self.folder / f"run-{self._runs}"
        return Program(arguments, environment, folder or self.folder / "elsewhere", log)

    def path(self, file: Path) -> str:
        return program_path(file, self.platform)

    def logged(self, step: str) -> int:
        """How often the library's log tells of a step, when it is switched on."""
        logs = glob.glob(str(self.folder / "logdata" / "*Reader.txt"))
        return sum(Path(log).read_bytes().count(step.encode("ascii")) for log in logs)

    def _start_service(self) -> None:
        write(self.folder / "scenario.json", "{}")
        port = self.folder / "port"
        self._service = Program(
            [
                str(self._programs / "decode-service"),
                *("--port", "0", "--port-file", str(port)),
                *("--cards", str(self.folder / "cards")),
                *("--scenario", str(self.folder / "scenario.json")),
            ],
            dict(os.environ),
            self.folder,
            self.folder / "service",
        )
        try:
            wait_until(lambda: port.exists() and port.read_text().strip(), "the service listens")
            endpoint = "127.0.0.1:" + port.read_text().strip()
            self._write_data_file("appid", "--id", "devkit")
            self._write_data_file("hostport", endpoint, endpoint)
        except BaseException:
            self._service.__exit__()
            raise

    def _write_data_file(self, kind: str, *values: str) -> None:
        file = str(self.folder / f"{kind}.dat")
        command = [str(self._programs / "datafile"), kind, "--write", file, *values]
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL)


def program_path(file: Path, platform: str) -> str:
    """As the platform's programs name it."""
    return "Z:" + str(file).replace("/", "\\") if platform == "windows" else str(file)
