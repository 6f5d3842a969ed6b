"""What a driver prints: records of lines, from the record's kind to "end"."""

import re
from dataclasses import dataclass, field
from typing import Dict, List, Tuple

CARD_KEYS = (
    "type dn name englishName sex nation country countryCode birthday address idNumber passNumber "
    "authority validFrom validUntil textBlock photo fingerprint"
).split()
KEYS = {
    "card": CARD_KEYS,
    "error": "code text cause cure causeZh cureZh".split(),
    "photo": ["bytes"],
    "cancelled": ["ms"],
}


@dataclass
class Record:
    kind: str
    values: Dict[str, str] = field(default_factory=dict)

    def __getitem__(self, key: str) -> str:
        return self.values.get(key, "")


def parse(output: bytes) -> Tuple[List[Record], List[str]]:
    """The complete records, and the lines that belong to none."""
    records: List[Record] = []
    strays: List[str] = []
    current = None
    text = output.decode("utf-8", "backslashreplace").replace("\r\n", "\n")
    lines = text.split("\n")
    lines.pop()  # what stands behind the last line's end is no line yet
    for line in lines:
        if current is None:
            if line in KEYS:
                current = Record(line)
            else:
                strays.append(line)
        elif line == "end":
            records.append(current)
            current = None
        else:
            pair = re.match(r"(\w+):(?: (.*))?$", line)
            expected = KEYS[current.kind][len(current.values) :][:1]
            if pair and [pair[1]] == expected:
                current.values[pair[1]] = pair[2] or ""
            else:
                strays.append(line)
    return records, strays
