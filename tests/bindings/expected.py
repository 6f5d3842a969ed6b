"""What a host has to see of the devkit's cards: what readcard yields, and what the files say."""

import json
import shutil
from pathlib import Path
from typing import Dict

from rig import REPOSITORY, Failure, Rig

CARDS = ("sample", "yjznew", "gat", "resident-rare-private")
_TYPES = {"iden": 1, "gat": 2, "yjzold": 3, "yjznew": 4}
_BLOCKS = {"textBlock": "text.bin", "photo": "photo.wlt", "fingerprint": "fingerprint.bin"}


def codes() -> Dict[int, dict]:
    file = REPOSITORY / "include" / "idcardreader" / "codes.json"
    return {entry["code"]: entry for entry in json.loads(file.read_text(encoding="utf-8"))}


def card_of_file(name: str) -> Dict[str, str]:
    card = json.loads((REPOSITORY / "devkit" / "cards" / f"{name}.json").read_text("utf-8"))
    fields = card["fields"]
    country, _, country_code = fields.get("nationlity", "").partition("/")
    values = {
        "type": str(_TYPES[card["type"]]),
        "name": fields.get("name", fields.get("nameChinese", "")),
        "englishName": fields.get("nameEnglish", "") + fields.get("nameEnglishAdd", ""),
        "country": country,
        "countryCode": country_code,
    }
    for key, in_file in {
        "sex": "sex",
        "nation": "nation",
        "birthday": "birthday",
        "address": "address",
        "idNumber": "id",
        "passNumber": "passCheckId",
        "authority": "issue",
        "validFrom": "startDate",
        "validUntil": "endDate",
    }.items():
        values[key] = fields.get(in_file, "")
    if "textBlock" in card:
        text = card["textBlock"].replace("_", "\0")
        values["textBlock"] = text.encode("utf-16-le").hex()
    return values


def card_of_readcard(rig: Rig, name: str) -> Dict[str, str]:
    files = rig.folder / "files"
    shutil.rmtree(files, ignore_errors=True)
    files.mkdir()
    rig.lay(name)
    arguments = [rig.path(rig.readcard), "--json", "--library", rig.path(rig.library)]
    with rig.start([*arguments, "--files", rig.path(files)], {}) as readcard:
        if readcard.end() != 0:
            raise Failure("readcard: " + readcard.text() + readcard.errors())
        document = json.loads(readcard.text())
    values = {"type": str(document["cardType"]), "dn": document["dn"], **document["fields"]}
    for key, file in _BLOCKS.items():
        values[key] = _bytes(files / file).hex()
    return values


def _bytes(file: Path) -> bytes:
    return file.read_bytes() if file.exists() else b""
