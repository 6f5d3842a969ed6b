"""The bindings: how each is built and started. A new one is one entry in LANGUAGES."""

import sys
from typing import List

from rig import REPOSITORY
from workshop import Language, Programs, Workshop


def python(shop: Workshop) -> Programs:
    binding = shop.bindings / "python"
    return Programs(
        driver=[sys.executable, str(shop.drivers / "python" / "driver.py")],
        example=[sys.executable, str(binding / "example.py")],
        variables={"PYTHONPATH": str(binding), "PYTHONDONTWRITEBYTECODE": "1"},
    )


CPP_FLAGS = ["-std=c++20", "-O1", "-Wall", "-Wextra", "-Wpedantic", "-Wshadow", "-Werror"]


def cpp_compiler(shop: Workshop) -> List[str]:
    """With its flags; behind the sources come those of cpp_libraries."""
    if shop.platform == "windows":
        package = "g++-mingw-w64-x86-64-posix"
        compiler = [shop.tool("x86_64-w64-mingw32-g++-posix", package), "-static"]
    else:
        compiler = [shop.tool("g++", "g++"), "-pthread"]
    return [*compiler, *CPP_FLAGS, f"-I{REPOSITORY / 'include'}"]


def build_cpp(shop: Workshop, compiler: List[str], *libraries: str) -> Programs:
    suffix = ".exe" if shop.platform == "windows" else ""
    driver, example = (shop.folder / (name + suffix) for name in ("driver", "example"))
    source = shop.drivers / "cpp" / "driver.cpp"
    shop.run(*compiler, source, "-o", driver, *libraries)
    shop.run(*compiler, shop.bindings / "cpp" / "example.cpp", "-o", example)
    return Programs(driver=[shop.path(driver)], example=[shop.path(example)])


def cpp(shop: Workshop) -> Programs:
    return build_cpp(shop, cpp_compiler(shop))


def cpp_clang(shop: Workshop) -> Programs:
    return build_cpp(shop, [shop.tool("clang++-14", "clang-14"), *cpp_compiler(shop)[1:]])


LANGUAGES: List[Language] = [
    Language("python", ("linux",), python),
    Language("cpp", ("linux", "windows"), cpp),
    Language("clang++", ("linux",), cpp_clang),
]
