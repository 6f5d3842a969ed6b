"""The bindings: how each is built and started. A new one is one entry in LANGUAGES."""

import sys
from typing import List

from workshop import Language, Programs, Workshop


def python(shop: Workshop) -> Programs:
    binding = shop.bindings / "python"
    return Programs(
        driver=[sys.executable, str(shop.drivers / "python" / "driver.py")],
        example=[sys.executable, str(binding / "example.py")],
        variables={"PYTHONPATH": str(binding), "PYTHONDONTWRITEBYTECODE": "1"},
    )


LANGUAGES: List[Language] = [
    Language("python", ("linux",), python),
]
