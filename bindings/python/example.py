"""Reads one card and prints it; "example.py watch" prints each card until Ctrl-C."""

import sys

import idcardreader


def show(card: idcardreader.Card) -> None:
    print(card.name or card.english_name, card.id_number)
    print(card.type.name, "valid until", card.valid_until)
    print("photo:", len(card.photo), "bytes", flush=True)


def complain(error: idcardreader.ReadError) -> None:
    print("not read:", error, *filter(None, [error.cause, error.cure]), sep="\n", file=sys.stderr)


def main() -> int:
    if sys.argv[1:] not in ([], ["watch"]):
        print("usage: example.py [watch]", file=sys.stderr)
        return 2
    sys.stdout.reconfigure(encoding="utf-8")
    sys.stderr.reconfigure(encoding="utf-8")
    try:
        with idcardreader.CardReader() as reader:
            if sys.argv[1:]:
                for card in reader.watch(on_problem=complain):
                    show(card)
            else:
                show(reader.read())
    except idcardreader.LibraryError as error:
        print(error, file=sys.stderr)
        return 2
    except idcardreader.ReadError as error:
        complain(error)
        return 1
    except KeyboardInterrupt:
        pass
    return 0


sys.exit(main())
