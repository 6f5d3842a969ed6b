#!/usr/bin/env python3
"""Runs every binding against the library, a virtual reader and a decode service: one line for each
language and group of checks, the number of checks at the end. See README.md beside it."""

import argparse
import signal
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import Callable, Dict, List, Optional

import expected
from checks import GROUPS, Checks
from languages import LANGUAGES
from rig import REPOSITORY, Failure, Rig
from workshop import Language, Programs, Workshop


AT_A_TIME = 3  # they wait most of their time


class Table:
    def __init__(self, options: argparse.Namespace):
        self.options = options
        self.passed = self.failed = 0
        self.telling = threading.Lock()

    def run(self, platform: str, languages: List[Language]) -> None:
        try:
            with self.rig(f"readcard-{platform}", platform) as rig:
                cards = {name: expected.card_of_readcard(rig, name) for name in expected.CARDS}
        except (Failure, OSError, ValueError) as failure:
            self.tell("readcard", platform, "cards", 0, [str(failure)], 0)
            return
        # All are built before the first runs: beside a compiler a cancel is late.
        with ThreadPoolExecutor(AT_A_TIME) as pool:
            chosen = [language for language in languages if platform in language.platforms]
            built = list(pool.map(lambda language: self.build(platform, language), chosen))
            runs = [
                pool.submit(self.run_language, platform, language, programs, cards)
                for language, programs in zip(chosen, built)
                if programs
            ]
            for run in runs:
                run.result()

    def build(self, platform: str, language: Language) -> Optional[Programs]:
        name = f"{language.name}-{platform}"
        begin = time.monotonic()
        try:
            shop = Workshop(self.options.work / "built" / name, platform, *self.stages())
            programs = language.build(shop)
        except (Failure, OSError) as failure:
            self.tell(language.name, platform, "build", 0, [str(failure)], begin)
            return None
        print(f"{name}: built in {time.monotonic() - begin:.1f} s", flush=True)
        return programs

    def run_language(
        self,
        platform: str,
        language: Language,
        programs: Programs,
        cards: Dict[str, Dict[str, str]],
    ) -> None:
        name = f"{language.name}-{platform}"
        for group, run in GROUPS.items():
            if group in self.options.groups and (programs.driver or group == "example"):
                begin = time.monotonic()
                self.run_group(name, language, platform, group, begin, programs, cards, run)

    def run_group(
        self,
        name: str,
        language: Language,
        platform: str,
        group: str,
        begin: float,
        programs: Programs,
        cards: Dict[str, Dict[str, str]],
        run: Callable[[Checks], None],
    ) -> None:
        # What a busy machine made late is tried once more.
        for _ in range(2 if group == "cancel" else 1):
            checks = None
            failures: List[str] = []
            try:
                with self.rig(f"{name}-{group}", platform) as rig:
                    checks = Checks(rig, programs, cards)
                    run(checks)
                    checks.equal(rig.complaints(), "", "complaints of the virtual reader")
            except (Failure, OSError) as failure:
                failures = [str(failure)]
            if not checks or len(checks.failures) + len(failures) != checks.late or not checks.late:
                break
        passed = checks.passed if checks else 0
        failures = (checks.failures if checks else []) + failures
        self.tell(language.name, platform, group, passed, failures, begin)

    def rig(self, name: str, platform: str) -> Rig:
        return Rig(self.options.work / "runs" / name, platform, *self.stages())

    def stages(self) -> List[Path]:
        return [self.options.linux_stage, self.options.windows_stage]

    def tell(
        self,
        language: str,
        platform: str,
        group: str,
        passed: int,
        failures: List[str],
        begin: float,
    ) -> None:
        took = f"{time.monotonic() - begin:6.1f} s" if begin else ""
        lines = [
            f"{language:8} {platform:8} {group:10} {passed:4} passed, {len(failures):3} failed {took}",
            *("    " + failure.replace("\n", "\n        ") for failure in failures),
        ]
        with self.telling:
            self.passed += passed
            self.failed += len(failures)
            print("\n".join(lines), flush=True)


def main() -> int:
    known = [language.name for language in LANGUAGES]
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--platform", choices=("linux", "windows"), action="append", default=[])
    parser.add_argument("--languages", default=",".join(known), help="of " + ",".join(known))
    parser.add_argument("--groups", default=",".join(GROUPS), help="of " + ",".join(GROUPS))
    parser.add_argument("--linux-stage", type=Path, default=REPOSITORY / "out" / "linux")
    parser.add_argument("--windows-stage", type=Path, default=REPOSITORY / "out" / "windows")
    parser.add_argument("--work", type=Path, default=REPOSITORY / "build" / "bindings")
    options = parser.parse_args()
    for option, allowed in (("languages", known), ("groups", list(GROUPS))):
        chosen = getattr(options, option).split(",")
        unknown = [name for name in chosen if name not in allowed]
        if unknown:
            parser.error(f"unknown {option}: {', '.join(unknown)}; there are {', '.join(allowed)}")
        setattr(options, option, chosen)
    for option in ("linux_stage", "windows_stage", "work"):
        setattr(options, option, getattr(options, option).resolve())

    # A shell starts what it leaves behind deaf to Ctrl-C, and the examples would inherit that.
    signal.signal(signal.SIGINT, signal.default_int_handler)
    # What a host prints is UTF-8 wherever the terminal can show it.
    sys.stdout.reconfigure(errors="backslashreplace")
    table = Table(options)
    chosen = [language for language in LANGUAGES if language.name in options.languages]
    for platform in options.platform or ("linux", "windows"):
        table.run(platform, chosen)
    if table.passed + table.failed == 0:
        print("None of these languages runs on these platforms.")
        table.failed = 1
    print(f"{table.passed} passed, {table.failed} failed")
    return 1 if table.failed else 0


sys.exit(main())
