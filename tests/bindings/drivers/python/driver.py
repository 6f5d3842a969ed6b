"""Does the commands that it is given with the Python binding; see tests/bindings/run.py."""

import sys
import threading
import time

import idcardreader
from idcardreader import ReadCancelled, ReadError

FIELDS = (
    "dn name englishName sex nation country countryCode birthday address idNumber passNumber "
    "authority validFrom validUntil textBlock photo fingerprint"
)


def attribute(key):
    return "".join("_" + letter.lower() if letter.isupper() else letter for letter in key)


def show(kind, *lines):
    print(kind, *(f"{key}: {value}" for key, value in lines), "end", sep="\n", flush=True)


def show_card(card):
    values = ((key, getattr(card, attribute(key))) for key in FIELDS.split())
    show(
        "card",
        ("type", int(card.type)),
        *((key, value.hex() if isinstance(value, bytes) else value) for key, value in values),
    )


def show_error(error):
    keys = ("text", "cause", "cure", "causeZh", "cureZh")
    show(
        "error",
        ("code", error.code or 0),
        *((key, getattr(error, attribute(key))) for key in keys),
    )


class Driver:
    def __init__(self):
        self.reader = idcardreader.CardReader()
        self.card = None

    def read(self, cancel=None):
        try:
            self.card = self.reader.read(cancel)
            show_card(self.card)
        except ReadError as error:
            show_error(error)

    def photo(self, path):
        self.card.save_photo(path)
        show("photo", ("bytes", len(self.card.photo)))

    def cancel_read(self, milliseconds):
        cancelled = False

        def work():
            nonlocal cancelled
            try:
                self.read(cancel)
            except ReadCancelled:
                cancelled = True

        cancel = threading.Event()
        thread = threading.Thread(target=work)
        thread.start()
        time.sleep(int(milliseconds) / 1000)
        took = self.end(cancel, thread)
        if cancelled:
            show("cancelled", ("ms", took))

    def watch(self, count, polling=False):
        def work():
            left = int(count)
            for card in self.reader.watch(show_error, polling=polling, cancel=cancel):
                show_card(card)
                left -= 1
                if left == 0:
                    enough.set()

        cancel, enough = threading.Event(), threading.Event()
        thread = threading.Thread(target=work)
        thread.start()
        enough.wait()
        show("cancelled", ("ms", self.end(cancel, thread)))

    def cancel_watch(self, milliseconds):
        def work():
            for card in self.reader.watch(show_error, cancel=cancel):
                show_card(card)

        cancel = threading.Event()
        thread = threading.Thread(target=work)
        thread.start()
        time.sleep(int(milliseconds) / 1000)
        show("cancelled", ("ms", self.end(cancel, thread)))

    def end(self, cancel, thread):
        begin = time.monotonic()
        cancel.set()
        thread.join()
        return round((time.monotonic() - begin) * 1000)

    def close(self):
        self.reader.close()


def main():
    sys.stdout.reconfigure(encoding="utf-8")
    try:
        driver = Driver()
    except idcardreader.LibraryError as error:
        print(error, file=sys.stderr)
        return 2
    commands = {
        "read": driver.read,
        "photo": driver.photo,
        "cancel-read": driver.cancel_read,
        "watch": driver.watch,
        "watch-polling": lambda count: driver.watch(count, polling=True),
        "cancel-watch": driver.cancel_watch,
        "close": driver.close,
    }
    steps = [argument.partition("=") for argument in sys.argv[1:]]
    for name, _, _ in steps:
        if name not in commands:
            print("unknown command", name, file=sys.stderr)
            return 2
    for name, equals, value in steps:
        commands[name](*([value] if equals else []))
    driver.close()
    return 0


sys.exit(main())
