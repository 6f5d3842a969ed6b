"""The checks that every binding has to pass, in groups."""

import json
import signal
from pathlib import Path
from typing import Any, Dict, List, Optional

import expected
from output import CARD_KEYS, Record, parse
from rig import REPOSITORY, Failure, Program, Rig, wait_until
from workshop import Programs

CANCEL_MILLISECONDS = 100
CODES = expected.codes()
# Codes of a reader that was unplugged: it is lost, then it is not found.
UNPLUGGED = {"47", "27"}


class Checks:
    def __init__(self, rig: Rig, programs: Programs, cards: Dict[str, Dict[str, str]]):
        self.rig, self.programs, self.cards = rig, programs, cards
        self.late = 0  # of the failures: cancels that a busy machine may have made late
        self.passed = 0
        self.failures: List[str] = []

    def check(self, holds: Any, message: str) -> None:
        if holds:
            self.passed += 1
        else:
            self.failures.append(message)

    def equal(self, seen: Any, wanted: Any, what: str) -> None:
        self.check(seen == wanted, f"{what}: {seen!r} instead of {wanted!r}")

    # Groups.

    def load(self) -> None:
        """Where the library is looked for."""
        self.rig.lay("sample")
        # Found by its name: by the system's loader on Linux, in the current folder on Windows.
        with self.driver("read", library=None, folder=self.rig.folder) as driver:
            self.ended(driver, ["card"], "library by its name")
        missing = self.rig.path(self.rig.folder / "missing" / self.rig.library.name)
        with self.driver("read", library=missing) as driver:
            self.equal(driver.end(), 2, "status when there is no library")
            self.check(driver.errors().strip(), "nothing is said when there is no library")
            self.equal(driver.output(), b"", "output when there is no library")
        with self.driver("no-such-command") as driver:
            self.equal(driver.end(), 2, "status of misuse")

    def read_cards(self) -> None:
        """Every field and block, by readcard and by the card's file."""
        for name, by_readcard in self.cards.items():
            self.rig.lay(name)
            photo = self.rig.folder / f"photo-{name}"
            with self.driver("read", "photo=" + self.rig.path(photo)) as driver:
                records = self.ended(driver, ["card", "photo"], name)
            if not records:
                continue
            card = records[0]
            for key in CARD_KEYS:
                self.equal(card[key], by_readcard.get(key, ""), f"{name}, {key} and readcard")
            for key, value in expected.card_of_file(name).items():
                # The library takes spaces out of most fields.
                seen, wanted = "".join(card[key].split()), "".join(value.split())
                self.equal(seen, wanted, f"{name}, {key} and the card's file")
            self.check(card["photo"], f"{name}: there is no photo")
            written = photo.read_bytes() if photo.exists() else b""
            self.equal(written.hex(), card["photo"], f"{name}, photo's file")
            self.equal(records[1]["bytes"], str(len(written)), f"{name}, photo's size")

    def scenarios(self) -> None:
        """Every failure that can be provoked: number, texts, cause and cure."""
        files = sorted((REPOSITORY / "devkit" / "scenarios").glob("*.json"))
        self.check(len(files) > 40, "scenarios are missing")
        for file in files:
            scenario = json.loads(file.read_text(encoding="utf-8"))
            good = scenario.get("goodReadsBefore", 0)
            faults = [
                fault
                for side in ("reader", "service")
                for fault in scenario.get(side, {}).get("faults", [])
            ]
            # Behind a fault that passes the next read of the same host is good.
            passes = bool(faults) and all("times" in fault for fault in faults)
            kinds = ["card"] * good + ["error"] + ["card"] * passes
            self.rig.lay("sample")
            for _ in range(scenario.get("attempts", 1)):
                self.rig.play(scenario)
                with self.driver(*["read"] * len(kinds)) as driver:
                    records = self.ended(driver, kinds, file.stem)
                if not records or records[good]["code"] == str(scenario["code"]):
                    break
            if records:
                self.error_is(records[good], scenario["code"], file.stem)
        self.rig.play({"service": {"faults": [{"at": "content", "fault": "unknown-type"}]}})
        with self.driver("read") as driver:
            records = self.ended(driver, ["error"], "unknown type")
        if records:
            self.error_is(records[0], None, "unknown type")
            self.equal(records[0]["text"], "parse type fail", "unknown type, text")
        self.rig.play({})

    def watch(self) -> None:
        """Each presentation of a card is yielded once, through unplugging and plugging in."""
        rig = self.rig
        rig.configure("canPrint: false", "canLog: true")  # tells how far the watch is
        rig.lay(None)
        with self.driver("watch=5") as driver:
            self.starts_again(driver)
            for number, name in enumerate(("sample", "gat"), 1):
                rig.lay(name)
                self.cards_there(driver, number)
                self.starts_again(driver)  # it stays, and is not yielded again
            rig.lay(None)
            self.starts_again(driver)
            rig.lay("gat")
            self.cards_there(driver, 3)
            rig.unplug()
            self.wait(driver, lambda: errors(driver)[-1:] == ["27"], "the reader is missed")
            self.starts_again(driver)  # it is missed once
            rig.plug("gat")
            self.cards_there(driver, 4)
            rig.lay("yjznew")
            status = driver.end()
            records, strays = parse(driver.output())
        self.equal(status, 0, "watch, status")
        self.equal(strays, [], "watch, other lines")
        laid = ["sample", "gat", "gat", "gat", "yjznew"]
        self.equal(names(records, self.cards), laid, "cards of the watch")
        for record, name in zip((r for r in records if r.kind == "card"), laid):
            seen = {key: record[key] for key in CARD_KEYS}
            wanted = {key: self.cards[name].get(key, "") for key in CARD_KEYS}
            self.equal(seen, wanted, f"watch, {name}")
        problems = [record for record in records if record.kind == "error"]
        for problem in problems:
            if problem["code"] in UNPLUGGED:
                self.error_is(problem, int(problem["code"]), "unplugged")
        seen = [problem["code"] for problem in problems]
        self.check(seen in (["47", "27"], ["27"]), f"problems of the watch: {seen}")
        self.cancelled(records[-1:], "watch")
        rig.configure("canPrint: false")

    def polling(self) -> None:
        """The same by whole reads, as serial readers need it."""
        rig = self.rig
        rig.configure("canPrint: false", "canLog: true")
        rig.lay(None)
        with self.driver("watch-polling=4") as driver:
            self.reads_again(driver)
            for number, name in enumerate(("sample", "gat"), 1):
                rig.lay(name)
                self.cards_there(driver, number)
                self.reads_again(driver)
            rig.lay(None)
            self.reads_again(driver)
            rig.lay("gat")
            self.cards_there(driver, 3)
            self.reads_again(driver)
            rig.lay("yjznew")
            status = driver.end()
            records, strays = parse(driver.output())
        self.equal(status, 0, "polling, status")
        self.equal(strays, [], "polling, other lines")
        kinds = [record.kind for record in records]
        self.equal(kinds, ["card"] * 4 + ["cancelled"], "records of polling")
        laid = ["sample", "gat", "gat", "yjznew"]
        self.equal(names(records, self.cards), laid, "cards of polling")
        self.cancelled(records[-1:], "polling")
        rig.configure("canPrint: false")

    def cancel(self) -> None:
        """From elsewhere; what comes behind is not spoiled."""
        self.rig.lay("sample")
        # The service leaves the first read waiting for a second.
        self.rig.play({"service": {"faults": [{"at": "dn", "fault": "drop", "times": 1}]}})
        commands = ["cancel-read=400", "read", "cancel-read=0", "cancel-watch=700", "close", "read"]
        kinds = ["cancelled", "card", "cancelled", "card", "cancelled", "card"]
        with self.driver(*commands) as driver:
            records = self.ended(driver, kinds, "cancel")
        for index, record in enumerate(records):
            if record.kind == "cancelled":
                self.cancelled([record], f"cancel {index}")
        self.rig.play({})
        # A watch for which there is nothing to do but to wait.
        self.rig.lay(None)
        with self.driver("cancel-watch=700") as driver:
            self.cancelled(self.ended(driver, ["cancelled"], "waiting watch"), "waiting watch")
        self.rig.unplug()
        with self.driver("cancel-watch=700") as driver:
            records = self.ended(driver, ["error", "cancelled"], "watch without a reader")
        self.cancelled(records[-1:], "watch without a reader")
        self.rig.plug("sample")

    def example(self) -> None:
        """What it prints and how it ends."""
        card = self.cards["sample"]
        self.rig.lay("sample")
        with self.start_example() as example:
            self.equal(example.end(), 0, "status of the example")
            for key in ("name", "idNumber"):
                self.check(card[key] in example.text(), f"the example does not print the {key}")
            self.equal(example.errors().strip(), "", "complaints of the example")
        self.rig.lay(None)
        with self.start_example() as example:
            self.equal(example.end(), 1, "status of the example without a card")
            entry, told = CODES[40], " ".join(example.errors().split())
            for wanted in (entry["text"], entry["cause"]["en"], entry["cure"]["en"]):
                self.check(wanted in told, f"the example does not say {wanted!r}: {told!r}")
            self.equal(example.output(), b"", "output of the example without a card")
        with self.start_example("no-such-argument") as example:
            self.equal(example.end(), 2, "status of a misused example")
        if not self.programs.linked:
            missing = self.rig.path(self.rig.folder / "missing" / self.rig.library.name)
            with self.start_example(library=missing) as example:
                self.equal(example.end(), 2, "status of the example without a library")
                self.check(example.errors().strip(), "the example says nothing without a library")
        self.rig.lay("sample")
        with self.start_example("watch") as example:
            self.wait(example, lambda: card["idNumber"] in example.text(), "the example watches")
            self.rig.lay("gat")
            number = self.cards["gat"]["idNumber"]
            self.wait(example, lambda: number in example.text(), "the example goes on")
            if self.rig.platform == "linux":
                example.interrupt(signal.SIGINT)
                status = example.end(2)
                self.equal(status, self.programs.interrupted, "status of the interrupted example")

    # Their pieces.

    def driver(
        self, *commands: str, library: Optional[str] = "", folder: Optional[Path] = None
    ) -> Program:
        arguments = [*self.programs.driver, *commands]
        return self.rig.start(arguments, self.programs.variables, library, folder)

    def start_example(self, *arguments: str, library: str = "") -> Program:
        command = [*self.programs.example, *arguments]
        if self.programs.linked:  # the system's loader looks there
            return self.rig.start(command, self.programs.variables, None, self.rig.folder)
        return self.rig.start(command, self.programs.variables, library)

    def ended(self, driver: Program, kinds: List[str], what: str) -> List[Record]:
        """The records when they are of these kinds, else none."""
        status = driver.end()
        records, strays = parse(driver.output())
        self.equal(status, 0, f"{what}, status ({driver.errors().strip()[-300:]})")
        self.equal(strays, [], f"{what}, other lines")
        seen = [record.kind for record in records]
        told = [record["text"] for record in records if record.kind == "error"]
        self.check(seen == kinds, f"{what}: {seen} {told} instead of {kinds}")
        return records if seen == kinds else []

    def error_is(self, error: Record, code: Optional[int], what: str) -> None:
        entry = CODES.get(code, {}) if code else {}
        self.equal(error["code"], str(code or 0), f"{what}, code of {error['text']!r}")
        text = entry.get("text", "")
        self.check(error["text"].startswith(text), f"{what}, text: {error['text']!r}")
        self.check(error["text"].count(text) == 1 or not text, f"{what}, repeats: {error['text']}")
        for key, part, language in (
            ("cause", "cause", "en"),
            ("cure", "cure", "en"),
            ("causeZh", "cause", "zh"),
            ("cureZh", "cure", "zh"),
        ):
            self.equal(error[key], entry.get(part, {}).get(language, ""), f"{what}, {key}")

    def cancelled(self, records: List[Record], what: str) -> None:
        if [record.kind for record in records] != ["cancelled"]:
            self.failures.append(f"{what}: was not cancelled")
            return
        milliseconds = records[0]["ms"]
        in_time = milliseconds.isdigit() and int(milliseconds) <= CANCEL_MILLISECONDS
        self.late += not in_time
        self.check(in_time, f"{what}: ended {milliseconds} ms behind the cancel")

    def wait(self, program: Program, holds: Any, what: str) -> None:
        wait_until(lambda: holds() or program.has_ended(), what)
        if not holds():
            raise Failure(f"ended before: {what}\n{program.text()[-500:]}{program.errors()[-500:]}")

    def cards_there(self, driver: Program, count: int) -> None:
        there = lambda: sum(record.kind == "card" for record in driver.records()) >= count
        self.wait(driver, there, f"card {count} is yielded")

    def starts_again(self, driver: Program) -> None:
        """Waits until everything that the watch does has been begun once more: what began behind
        now has seen the desk as it is."""
        self.logs(driver, "ReadCardStartRead   auto =", 3)

    def reads_again(self, driver: Program) -> None:
        """Waits until a read has begun and ended: no card is taken away from under one."""
        self.logs(driver, "Read Done", 2)

    def logs(self, driver: Program, step: str, count: int) -> None:
        wanted = self.rig.logged(step) + count
        self.wait(driver, lambda: self.rig.logged(step) >= wanted, f"the watch goes on: {step}")


GROUPS = {
    "load": Checks.load,
    "cards": Checks.read_cards,
    "scenarios": Checks.scenarios,
    "watch": Checks.watch,
    "polling": Checks.polling,
    "cancel": Checks.cancel,
    "example": Checks.example,
}


def errors(driver: Program) -> List[str]:
    return [record["code"] for record in driver.records() if record.kind == "error"]


def names(records: List[Record], cards: Dict[str, Dict[str, str]]) -> List[str]:
    of_number = {card["idNumber"]: name for name, card in cards.items()}
    seen = [record["idNumber"] for record in records if record.kind == "card"]
    return [of_number.get(number, number) for number in seen]
