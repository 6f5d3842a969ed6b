"""Reads Chinese identity cards by the library idcardreader.

    with idcardreader.CardReader() as reader:
        card = reader.read()
        print(card.name, card.id_number)
"""

from __future__ import annotations

import codecs
import contextlib
import ctypes
import enum
import json
import os
import pkgutil
import sys
import threading
import time
from dataclasses import dataclass
from typing import Callable, Dict, Iterator, List, Optional, Tuple, Union

__all__ = ["Card", "CardReader", "CardType", "LibraryError", "ReadCancelled", "ReadError"]

ENVIRONMENT_VARIABLE = "IDCARDREADER_LIBRARY"

_SEARCH = 1
_READER_OPENED = 1
_NO_CARD_CODE = 40
_ANY_KIND_OF_CARD = 0
_ANY_PORT = 1001
_TEXT_BLOCK_BYTES, _PHOTO_BYTES, _FINGERPRINT_BYTES = 256, 1024, 1024
_FIELD_BYTES, _LONG_FIELD_BYTES, _UID_BYTES = 128, 512, 121
# How soon a cancel is noticed, and how often a call that is to end is stopped: a stop that comes
# before the library has begun the call is lost.
_TICK = 0.01
# Between attempts when the reader is not there, between looks at a card that stays, and between
# whole reads.
_PAUSE = 0.3

# A process has one engine, whatever the number of readers; its texts share one place.
_engine = threading.Lock()


class CardType(enum.IntEnum):
    RESIDENT = 1
    RESIDENCE_PERMIT = 2
    PERMANENT_OLD = 3
    PERMANENT_NEW = 4


@dataclass(frozen=True)
class Card:
    """What one card holds; a field or block that the card does not have is empty."""

    type: CardType
    dn: str  # the chip's number in hexadecimal digits
    name: str
    english_name: str
    sex: str
    nation: str
    country: str
    country_code: str
    birthday: str  # YYYYMMDD, like the two below
    address: str
    id_number: str
    pass_number: str
    authority: str
    valid_from: str
    valid_until: str  # or a word that means "for ever"
    text_block: bytes
    photo: bytes  # as the card holds it, compressed
    fingerprint: bytes

    def save_photo(self, path: Union[str, "os.PathLike[str]"]) -> None:
        """Writes the photo block to a file; ValueError when the card has none."""
        if not self.photo:
            raise ValueError("The card has no photo.")
        with open(path, "wb") as file:
            file.write(self.photo)


class LibraryError(OSError):
    """The library could not be loaded."""


class ReadCancelled(Exception):
    """The read was cancelled; it has not failed."""


class ReadError(Exception):
    """The card was not read."""

    def __init__(self, code: Optional[int], text: str) -> None:
        super().__init__(text if code is None else f"{text} (code {code})")
        entry = _codes().get(code, {})
        self.code = code  # None when there is no code
        self.text = text  # the library's, in Chinese
        self.cause: str = entry.get("cause", {}).get("en", "")
        self.cure: str = entry.get("cure", {}).get("en", "")
        self.cause_zh: str = entry.get("cause", {}).get("zh", "")
        self.cure_zh: str = entry.get("cure", {}).get("zh", "")


class CardReader:
    """The reader of this process.

    library: the library's file. Left out, it is the file that the environment variable
    IDCARDREADER_LIBRARY names, else what the system's loader finds by the library's name.
    serial: the reader on the serial port of conf.yaml instead of the USB reader.

    Any method may be called from any thread. Behind close() the next call opens the reader anew.
    """

    def __init__(
        self, library: Union[str, "os.PathLike[str]", None] = None, *, serial: bool = False
    ) -> None:
        self._library = _load(library)
        self._serial = serial
        self._chosen = False
        self._closing = threading.Event()
        self._going_on: Optional[threading.Thread] = None  # a search that nobody waits for

    def __enter__(self) -> CardReader:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def read(self, cancel: Optional[threading.Event] = None) -> Card:
        """Reads the card that lies on the reader.

        Raises ReadError when it was not read, and ReadCancelled at once when another thread sets
        the event or closes the reader.
        """
        with self._turn(cancel):
            return self._read(cancel)

    def watch(
        self,
        on_problem: Optional[Callable[[ReadError], None]] = None,
        *,
        polling: Optional[bool] = None,
        cancel: Optional[threading.Event] = None,
    ) -> Iterator[Card]:
        """Yields each card that is laid on the reader, once, until cancelled or closed.

        Goes on when the reader is unplugged and plugged in again or a card cannot be read;
        on_problem hears of that, once as long as it stays the same.
        polling: whole reads instead of the reader's own search. A serial reader needs that, and has
        it when nothing is said.

        A cancel ends it at once; the library goes on searching for up to a second, for which the
        next call waits.
        """
        look = self._poll if (self._serial if polling is None else polling) else self._search
        present = ""  # what tells the card that lies there from others; empty for none
        complaint = ""  # that was made last and still holds
        try:
            while True:
                with self._turn(cancel):
                    seen = look(present, cancel)
                present = seen.present
                if seen.problem is None:
                    complaint = ""
                elif seen.problem.text != complaint:
                    complaint = seen.problem.text
                    if on_problem:
                        on_problem(seen.problem)
                if seen.card:
                    yield seen.card
                if seen.pause:
                    self._sleep(_PAUSE, cancel)
        except ReadCancelled:
            return

    def close(self) -> None:
        """Ends what other threads are doing with the reader, and gives the reader back."""
        self._closing.set()
        try:
            with _engine:
                self._library.CloseComm()
                self._chosen = False
        finally:
            self._closing.clear()

    # What follows runs with the engine's lock held, but for _turn and _sleep.

    def _read(self, cancel: Optional[threading.Event]) -> Card:
        if not self._start(0, cancel):
            raise self._last_error()
        card = _fetch(self._library)
        if card is None:  # cleared before all was fetched
            raise self._last_error()
        return card

    # The reader tells of a card by itself. A card that stays may be told of again and is not read
    # again; it has gone when the reader finds no number.
    def _search(self, present: str, cancel: Optional[threading.Event]) -> _Seen:
        found = self._start(_SEARCH, cancel)
        if not found and self._library.readCardGetDeviceStatus() != _READER_OPENED:
            return _Seen("", problem=self._last_error(), pause=True)
        uid = self._uid() if found or present else ""
        if not found or not uid or uid == present:
            return _Seen(uid, pause=found)  # a card that stays is told of again at once
        try:
            return _Seen(uid, card=self._read(cancel))
        except ReadError as problem:
            return _Seen(uid, problem=problem)

    def _poll(self, present: str, cancel: Optional[threading.Event]) -> _Seen:
        try:
            card = self._read(cancel)
        except ReadError as problem:
            return _Seen("", problem=None if problem.code == _NO_CARD_CODE else problem, pause=True)
        return _Seen(card.dn, card=card if card.dn != present else None, pause=True)

    def _start(self, mode: int, cancel: Optional[threading.Event]) -> bool:
        """Blocks on a thread of its own, so that a cancel and Ctrl-C are heard meanwhile."""
        if self._serial and not self._chosen:
            self._chosen = bool(self._library.readCardSetDeviceType(1))
        results: List[bool] = []
        thread = threading.Thread(
            target=lambda: results.append(bool(self._library.readCardStart(mode))), daemon=True
        )
        thread.start()
        try:
            while thread.is_alive():
                thread.join(_TICK)
                self._check(cancel)
        except BaseException:
            if mode == _SEARCH:  # no stop shortens it
                self._going_on = thread
                raise
            while thread.is_alive():
                self._library.readCardStop()
                thread.join(_TICK)
            raise
        return results[0]

    def _uid(self) -> str:
        buffer = ctypes.create_string_buffer(_UID_BYTES)
        found = self._library.readCardGetUID(_ANY_KIND_OF_CARD, buffer)
        return buffer.value.decode("ascii") if found else ""

    def _last_error(self) -> ReadError:
        """The library tells a text, not a number: the code is that whose text it begins with."""
        message: bytes = self._library.readCardGetLastError()
        code, code_text = None, b""
        for candidate in range(2, 56):
            text: bytes = self._library.readCardErrorInfo(candidate)
            if len(text) > len(code_text) and message.startswith(text):
                code, code_text = candidate, text
        # Behind it stands the last line of the error log, which mostly begins with it again.
        log_line = message[len(code_text) :]
        if code_text and log_line.startswith(code_text):
            message = log_line
        return ReadError(code, _gbk(message))

    @contextlib.contextmanager
    def _turn(self, cancel: Optional[threading.Event]) -> Iterator[None]:
        self._check(cancel)
        while not _engine.acquire(timeout=_TICK):
            self._check(cancel)
        try:
            yield
        finally:
            search, self._going_on = self._going_on, None
            if search is None:
                _engine.release()
            else:
                threading.Thread(target=_release_behind, args=(search,), daemon=True).start()

    def _sleep(self, seconds: float, cancel: Optional[threading.Event]) -> None:
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            self._check(cancel)
            time.sleep(_TICK)

    def _check(self, cancel: Optional[threading.Event]) -> None:
        if self._closing.is_set() or (cancel is not None and cancel.is_set()):
            raise ReadCancelled("The read was cancelled.")


def _release_behind(search: threading.Thread) -> None:
    search.join()
    _engine.release()


@dataclass
class _Seen:
    present: str
    card: Optional[Card] = None
    problem: Optional[ReadError] = None
    pause: bool = False


def _fetch(library: ctypes.CDLL) -> Optional[Card]:
    """All of the card that was read last; None when it was cleared before all was fetched."""

    def field(function: Callable[[ctypes.Array[ctypes.c_char]], int], size: int) -> bytes:
        buffer = ctypes.create_string_buffer(size)
        return buffer.value if function(buffer) else b""

    text, text_length = ctypes.create_string_buffer(_TEXT_BLOCK_BYTES), ctypes.c_uint32()
    photo, photo_length = ctypes.create_string_buffer(_PHOTO_BYTES), ctypes.c_uint32()
    finger, finger_length = ctypes.create_string_buffer(_FINGERPRINT_BYTES), ctypes.c_uint32()
    library.SDT_ReadBaseFPMsg(
        _ANY_PORT,
        *(text, ctypes.byref(text_length)),
        *(photo, ctypes.byref(photo_length)),
        *(finger, ctypes.byref(finger_length)),
    )
    if photo_length.value == 0:  # a card without a text block yields its photo this way only
        library.GetNewPhotoRaw(photo, ctypes.byref(photo_length))
    values = dict(
        dn=library.readCardGetDN().decode("ascii", "replace"),
        name=_gbk(library.GetPeopleName()),
        english_name=_utf8(field(library.GetNewPeopleNameEn, _LONG_FIELD_BYTES)),
        sex=_gbk(library.GetPeopleSex()),
        nation=_gbk(library.GetPeopleNation()),
        country=_gbk(field(library.GetNewPeopleCountry, _FIELD_BYTES)),
        country_code=_gbk(field(library.GetNewPeopleCountryCode, _FIELD_BYTES)),
        birthday=_utf8(library.GetPeopleBirthday()),
        address=_gbk(library.GetPeopleAddress()),
        id_number=_utf8(library.GetPeopleIDCode()),
        pass_number=_utf8(field(library.GetNewPassNum, _FIELD_BYTES)),
        authority=_gbk(library.GetDepartment()),
        valid_from=_utf8(library.GetStartDate()),
        valid_until=_gbk(library.GetEndDate()),
    )
    card_type = library.GetNewCardType()  # last: 0 when the fields were cleared meanwhile
    if card_type == 0:
        return None
    return Card(
        type=CardType(card_type),
        text_block=text.raw[: text_length.value],
        photo=photo.raw[: photo_length.value],
        fingerprint=finger.raw[: finger_length.value],
        **values,
    )


def _load(path: Union[str, "os.PathLike[str]", None]) -> ctypes.CDLL:
    if ctypes.sizeof(ctypes.c_void_p) != 8:
        raise LibraryError("The library needs a 64-bit Python; this one has 32 bits.")
    stated = os.fspath(path) if path is not None else os.environ.get(ENVIRONMENT_VARIABLE)
    if stated:
        names = [os.path.abspath(stated)]
    elif sys.platform == "win32":
        names = ["idcardreader.dll"]
    else:
        names = ["libidcardreader.so.2", "libidcardreader.so"]
    reasons = []
    for name in names:
        try:
            # Windows' own search, the PATH included, for a library that is loaded by its name.
            library = ctypes.CDLL(name) if stated else ctypes.CDLL(name, winmode=0)
            _declare(library)
            return library
        except (OSError, AttributeError) as error:
            reasons.append(f"{name}: {error}")
    raise LibraryError(
        "The library idcardreader cannot be loaded. Name its file, or set "
        f"{ENVIRONMENT_VARIABLE} to it. ({'; '.join(reasons)})"
    )


def _declare(library: ctypes.CDLL) -> None:
    text, number, buffer = ctypes.c_char_p, ctypes.c_int32, ctypes.c_char_p
    length = ctypes.POINTER(ctypes.c_uint32)
    # As a result c_char_p copies the text at once, as the library asks for.
    functions: Dict[str, Tuple[object, List[object]]] = {
        "readCardStart": (number, [number]),
        "readCardStop": (None, []),
        "readCardSetDeviceType": (number, [number]),
        "readCardGetDeviceStatus": (number, []),
        "readCardGetUID": (number, [number, buffer]),
        "readCardGetLastError": (text, []),
        "readCardErrorInfo": (text, [number]),
        "readCardGetDN": (text, []),
        "CloseComm": (number, []),
        "SDT_ReadBaseFPMsg": (number, [number, buffer, length, buffer, length, buffer, length]),
        "GetNewPhotoRaw": (number, [buffer, length]),
        "GetNewCardType": (number, []),
    }
    for name in ("Name", "Sex", "Nation", "Birthday", "Address", "IDCode"):
        functions["GetPeople" + name] = (text, [])
    for name in ("GetStartDate", "GetEndDate", "GetDepartment"):
        functions[name] = (text, [])
    for name in ("PassNum", "PeopleNameEn", "PeopleCountry", "PeopleCountryCode"):
        functions["GetNew" + name] = (number, [buffer])
    for name, (result, arguments) in functions.items():
        function = getattr(library, name)
        function.restype, function.argtypes = result, arguments


def _utf8(text: bytes) -> str:
    return text.decode("utf-8", "replace")


def _gbk(text: bytes) -> str:
    return text.decode("gbk", "idcardreader-code-page-936")


def _private_characters() -> Dict[bytes, str]:
    """Rare names stand in pairs of bytes that "gbk" refuses. Windows gives these the private
    characters from U+E000 on: first the three user-defined areas, then what else is unassigned."""

    def pairs(leads: range, trails: range) -> Iterator[bytes]:
        return (bytes((a, b)) for a in leads for b in trails if b != 0x7F)

    def unassigned(pair: bytes) -> bool:
        try:
            return not pair.decode("gbk")
        except UnicodeDecodeError:
            return True

    order: Dict[bytes, str] = {}
    for area in (
        pairs(range(0xAA, 0xB0), range(0xA1, 0xFF)),
        pairs(range(0xF8, 0xFF), range(0xA1, 0xFF)),
        pairs(range(0xA1, 0xA8), range(0x40, 0xA1)),
        filter(unassigned, pairs(range(0x81, 0xFF), range(0x40, 0xFF))),
    ):
        for pair in area:
            order.setdefault(pair, chr(0xE000 + len(order)))
    order[b"\x80"], order[b"\xff"] = "\u20ac", "\uf8f5"
    return order


_private: Dict[bytes, str] = {}


def _decode_private(error: UnicodeError) -> Tuple[str, int]:
    assert isinstance(error, UnicodeDecodeError)
    if not _private:
        _private.update(_private_characters())
    for size in (2, 1):
        code = error.object[error.start : error.start + size]
        if code in _private:
            return _private[code], error.start + len(code)
    return "\ufffd", error.start + 1


codecs.register_error("idcardreader-code-page-936", _decode_private)

_table: Dict[Optional[int], dict] = {}


def _codes() -> Dict[Optional[int], dict]:
    if not _table:
        entries = json.loads((pkgutil.get_data(__name__, "codes.json") or b"").decode("utf-8"))
        _table.update((entry["code"], entry) for entry in entries)
    return _table
