#!/usr/bin/env python3
"""Installs, uses, updates and removes the library with the setup program, and builds an example from the SDK alone, in
the Wine prefix of the environment, where it has never been installed.

  package_test.py BUILD_FOLDER

Prints a line for each case, and what went wrong below it; the status is 0 when none failed.
"""
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

BUILD = Path(sys.argv[1])
DRIVE = Path(os.environ["WINEPREFIX"]) / "drive_c"
PACKAGE = BUILD / "package"
WORK = Path(tempfile.mkdtemp(prefix="package-"))
failed = False


def case(name, problem):
    global failed
    failed = failed or bool(problem)
    print(f"{'FAILED' if problem else 'ok':6} {name}" + (f"\n       {problem}" if problem else ""), flush=True)


def run(*command, **options):
    return subprocess.run(command, capture_output=True, text=True, timeout=200, **options)


def windows(path):
    return "Z:" + str(path).replace("/", "\\")


def expect(name, status, program, *arguments, says=""):
    result = run("wine", program, *arguments)
    good = result.returncode == status and says in result.stdout + result.stderr
    case(name, "" if good else f"status {result.returncode}, printed {result.stdout!r}, said {result.stderr!r}")


def setup(version):
    """The setup program, as a version of its own would be."""
    program = WORK / f"{version}.exe"
    subprocess.run(["makensis", "-V1", f"-DVERSION={version}", f"-DOUTPUT={program}", f"-DPRODUCTS={BUILD}/bin",
                    f"-DSOURCES={BUILD.parent}", BUILD.parent / "packaging/setup.nsi"], check=True)
    return program


def machine():
    """Every file, and every line of the registry below its key."""
    run("wine", "regedit", "/E", windows(WORK / "registry"))
    found = {str(file.relative_to(DRIVE)): "" for file in DRIVE.rglob("*") if not file.is_symlink()}
    key = ""
    for line in (WORK / "registry").read_text("utf-16").replace("\\\n  ", "").splitlines():
        if line.startswith("["):
            key = line
            found[key] = ""
        elif line:
            name, _, value = line.partition("=")
            found[f"{key} {name}"] = value
    return found


# What Windows keeps, empty, of the port numbers and classes of interfaces that it has ever heard of.
STAYS = (r"\\Control\\COM Name Arbiter|\\DeviceClasses\\{(24E7F5CF|86E0D1E0)[^\\]*}\]$|"
               # What programs share, and the first one makes.
               r"\\Software\\Classes(\\(AppID|CLSID))?\]$|\\CurrentVersion\\Uninstall\]$|Local/Programs$|"
               # Wine counts its services, and each program with a window notes the displays.
               r"\\Control\\(ServiceCurrent\] @|Video\\)")


def expect_as(before, name):
    after = machine()
    names = [name for name in sorted(before.keys() | after.keys())
             if before.get(name) != after.get(name) and not re.search(STAYS, name)]
    case(name, "\n       ".join(names))


def expect_example():
    """From the SDK alone, as examples/README.md says."""
    sdk = next(PACKAGE.glob("zorvanlib-*-sdk.zip"))
    run("cmake", "-E", "tar", "xf", sdk, cwd=WORK)
    result = run("cmake", "-S", WORK / sdk.stem / "examples", "-B", WORK / "build", "-G", "Ninja",
                 "-DCMAKE_SYSTEM_NAME=Windows", "-DCMAKE_CXX_COMPILER=x86_64-w64-mingw32-g++-posix",
                 f"-DCMAKE_PREFIX_PATH={WORK / sdk.stem}")
    if result.returncode == 0:
        result = run("cmake", "--build", WORK / "build", "--target", "example_ports")
    case("builds an example from the SDK", result.returncode and result.stdout + result.stderr)
    expect("runs it", 0, WORK / "build/bin/examples/ports.exe", says="All as expected.")


def expect_life_for_the_machine():
    driver = WORK / "driver"
    driver.mkdir()
    for file in [*(BUILD / "bin/devkit/driver").iterdir(), BUILD / "bin/devkit/difxapi/DIFxAPI.dll"]:
        (driver / file.name).write_bytes(file.read_bytes())
    option = f"/DRIVER={windows(driver)}"
    expect("installs", 0, OLDER, "/S", "/PATH", option)
    expect("is in PATH", 0, "cmd", "/c", "portwright create COM7", says="COM7")
    with subprocess.Popen(["wine", PORTWRIGHT, "watch"], stderr=subprocess.PIPE) as user:
        user.stderr.readline()
        expect("is not updated while in use", 6, CURRENT, "/S")
        user.terminate()
    expect("is updated", 0, CURRENT, "/S", option)
    expect("refuses an older version", 4, OLDER, "/S")
    expect_example()
    expect("is removed without the ports", 0, CURRENT, "/S", "/REMOVE", "/KEEPPORTS")
    expect("finds the ports again", 0, CURRENT, "/S")
    expect("keeps the ports", 0, PORTWRIGHT, "list", says="COM7")
    expect("installs the driver again", 0, CURRENT, "/S", option)
    expect("is removed", 0, CURRENT, "/S", "/REMOVE")


def expect_life_for_a_user():
    """Wine does not look for classes of a user, so nothing can be used here."""
    expect("installs for the user", 0, CURRENT, "/S", "/PATH", "/CURRENTUSER")
    expect("registers for the user", 0, "reg", "query", USER_CLASS, says=r"AppData\Local\Programs\zorvanlib\bin\zorvanlib.dll")
    expect("installs no driver for a user", 3, CURRENT, "/S", "/CURRENTUSER", "/DRIVER=C:\\")
    expect("is removed for the user", 0, CURRENT, "/S", "/CURRENTUSER", "/REMOVE")


CURRENT = next(PACKAGE.glob("zorvanlib-*-setup.exe"))
OLDER = setup("2.9.0")
PORTWRIGHT = DRIVE / "Program Files/zorvanlib/bin/portwright.exe"
USER_CLASS = r"HKCU\Software\Classes\CLSID\{6F01F777-2AC8-452F-AE8A-CCF5F24CB5ED}\InprocServer32"

# Before the comparison: Wine prepares more for the first program with a window.
expect("refuses a folder without a driver package", 5, CURRENT, "/S", "/DRIVER=C:\\")
before = machine()
for life in expect_life_for_the_machine, expect_life_for_a_user:
    life()
    expect_as(before, "leaves nothing")
sys.exit(failed)
