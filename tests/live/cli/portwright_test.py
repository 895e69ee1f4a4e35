#!/usr/bin/env python3
"""Runs portwright for real, in the Wine prefix of the environment.

  portwright_test.py BUILD_FOLDER

Prints a line for each case, and what went wrong below it; the status is 0 when none failed.
"""
import json
import os
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
from contextlib import contextmanager
from pathlib import Path

BUILD = Path(sys.argv[1])
PORTWRIGHT = BUILD / "bin/portwright.exe"
WORK = Path(tempfile.mkdtemp(prefix="portwright-"))
MIB = os.urandom(1 << 20)
EVERYONE = "D:AR(A;;CC;;;WD)"

failed = passed = 0


def run(line, stdin=""):
    words = [word.format(work=f"Z:{WORK}", host=socket.gethostname()) for word in line.split()]
    return subprocess.run(["wine", PORTWRIGHT, *words], input=stdin, capture_output=True, text=True, timeout=100)


def agrees(expected, actual):
    """None stands for anything. Objects may hold more keys than are expected, as a path has no known value."""
    if expected is None:
        return True
    if isinstance(expected, dict):
        return isinstance(actual, dict) and all(k in actual and agrees(v, actual[k]) for k, v in expected.items())
    if isinstance(expected, list):
        return len(expected) == len(actual) and all(map(agrees, expected, actual))
    return expected == actual


def case(name, problem):
    global failed, passed
    failed, passed = (failed + 1, passed) if problem else (failed, passed + 1)
    print(f"{'FAILED' if problem else 'ok':6} {name}" + (f"\n       {problem}" if problem else ""), flush=True)


def check(line, status, expected="", said="", stdin=""):
    """What it prints, as JSON when it is not a text, and a part of what it says on standard error."""
    result = run(line, stdin)
    printed = result.stdout if not isinstance(expected, (dict, list)) or not result.stdout else json.loads(result.stdout)
    good = result.returncode == status and agrees(expected, printed) and said in result.stderr
    case(line, "" if good else f"status {result.returncode}, printed {result.stdout!r}, said {result.stderr!r}")


def port(name, mode="listening", **keys):
    return {"portName": name, "mode": mode, "enabled": True, "emulateTxOverflow": False,
            "crossoverProbability": 0.0, **keys}


def write(name, content):
    (WORK / name).write_text(content if isinstance(content, str) else json.dumps(content))


# Command line, exit status, what is printed, part of what is said, standard input.
COMMANDS = [
    ("", 2, "", "which command?"),
    ("frobnicate", 2, "", "there is no command frobnicate"),
    ("list extra", 2, "", "portwright list --help"),
    ("list --json", 0, []),
    ("list", 0, "", "There are no virtual ports"),
    ("create COM7 com8 9", 0, "COM7\nCOM8\nCOM9\n"),
    ("create 7 10", 1, "COM10\n", "cannot create COM7: the number belongs to a serial port"),
    ("create COM0", 2, "", "COM0 is no port"),
    ("create 11 --count 2", 2, "", "portwright create --help"),
    ("list --json", 0, [port("COM7"), port("COM8"), port("COM9"), port("COM10")]),
    ("show COM7 --json", 0, port("COM7", connections=0, bytesSent=0, bytesReceived=0, securityDescriptor=EVERYONE)),
    ("show COM99", 1, "", "there is no virtual port COM99"),
    ("delete COM99 COM10", 1, "", "there is no virtual port COM99"),
    ("delete", 2, "", "either the ports or --all"),
    ("rename COM9 COM11", 0),
    ("rename COM11 COM7", 1, "", "cannot rename COM11 to COM7"),
    ("set COM7 --enabled off --crossover 0.057 --tx-overflow on", 0),
    ("set COM7 --crossover 0.6", 2, "", "0.6 is not between 0 and 0.5"),
    ("set COM7", 2, "", "at least one of"),
    ("show 7 --json", 0, port("COM7", enabled=False, emulateTxOverflow=True, crossoverProbability=0.057)),
    ("set COM7 --enabled on --crossover 0 --tx-overflow off", 0),
    ("bridge COM7 COM8", 0),
    ("bridge COM7 COM7", 2, "", "not COM7 with itself"),
    ("bridge COM7 COM99", 1, "", "there is no virtual port COM99"),
    ("show COM8 --json", 0, port("COM8", "bridge", pair="COM7", remoteServer=".", remotePort="COM7")),
    ("pins COM7 connect local.RTS remote.DSR disconnect local.RTS remote.CTS", 0),
    ("pins COM7 connect local.RTS remote.RTS", 1, "", "RI may drive RI"),
    ("pins COM7 connect local.RTS", 2, "", "pins takes"),
    ("pins COM7 connect local.RTS here.CTS", 2, "", "here.CTS is no pin"),
    ("disconnect COM7", 0),
    ("bridge COM7 {host}:COM8 --user u --temporary", 0, "", "", "secret\n"),
    ("bridge COM7 elsewhere:COM8 --temporary", 1, "", "the driver does not support this (0x80070032)"),
    ("pipe COM7 none", 1, "", "--create"),
    ("pipe COM7 portwright-test --create --instances 1", 0),
    ("pipe COM8 portwright-test", 0),
    ("show COM7 --json", 0, port("COM7", "pipe", PipeName="\\\\.\\pipe\\portwright-test")),
    ("pipe COM7 x --create --instances 999", 2, "", "portwright pipe --help"),
    ("files COM11 --in {work}/none --out {work}/out", 1, "", "the input file must exist"),
    ("files COM11 --in {work}/in --out {work}/out --mode never", 2, "", "portwright files --help"),
    ("files COM11 --in {work}/in --out {work}/out", 0),
    ("listen COM8 --sddl nonsense", 1, "", "check the security descriptor"),
    ("listen COM8 --sddl D:(A;;CC;;;BA)", 0),
    ("show COM8 --json", 0, port("COM8", securityDescriptor="D:(A;;CC;;;BA)")),
    ("disconnect COM7 COM99", 1, "", "there is no virtual port COM99"),
    ("serve COM99 --listen 0", 1, "", "there is no virtual port COM99"),
    ("serve COM7 --listen nowhere:", 2, "", "is no address"),
    ("connect COM7", 2, "", "--to"),
    ("watch --for 0", 2, "", "portwright watch --help"),
    ("doctor now", 2, "", "portwright doctor --help"),
    ("install --library {work}/none.dll", 1, "", "cannot load"),
]

RIG = {
    "ports": [
        {"portName": "COM7", "enabled": True, "emulateTxOverflow": True, "crossoverProbability": 0.009},
        {"portName": "COM8", "enabled": False, "emulateTxOverflow": False, "crossoverProbability": 0.0},
        {"portName": "COM20", "enabled": True, "emulateTxOverflow": False, "crossoverProbability": 0.0},
        {"portName": "COM21", "enabled": True, "emulateTxOverflow": False, "crossoverProbability": 0.0},
        {"portName": "COM22", "enabled": True, "emulateTxOverflow": False, "crossoverProbability": 0.0,
         "securityDescriptor": "D:(A;;CC;;;BA)"},
    ],
    "connections": [
        {"portName": "COM7", "pair": "COM8"},
        {"portName": "COM20", "PipeName": "\\\\.\\pipe\\portwright-rig"},
        {"portName": "COM21", "inputFileName": f"Z:{WORK}/in".replace("/", "\\"),
         "outputFileName": f"Z:{WORK}/out".replace("/", "\\")},
    ],
}

ONE = [{"portName": "COM7"}]
WRONG_RIGS = [
    ('{"ports": [', "no JSON"),
    ("[]", "no object"),
    ({"ports": [{"portName": 7}]}, "ports[0].portName is no text"),
    ({"ports": [{"portName": "COM7", "enable": True}]}, "ports[0].enable is no key"),
    ({"ports": [{"portName": "COM7", "crossoverProbability": 0.6}]}, "not between 0 and 0.5"),
    ({"ports": ONE * 2}, "COM7 is among the ports twice"),
    ({"ports": ONE, "connections": [{"portName": "COM7", "pair": "COM8"}]}, "COM8 is connected, but is not"),
    ({"ports": ONE, "connections": [{"portName": "COM7", "pair": "COM7"}]}, "COM7 is connected twice"),
    ({"ports": ONE, "connections": [{"portName": "COM7", "pair": "COM8", "PipeName": "x"}]}, "PipeName is no key"),
]


def rigs():
    write("rig.json", RIG)
    check("apply {work}/none.json", 1, "", "give the path of a rig file")
    for content, said in WRONG_RIGS:
        write("wrong.json", content)
        check("apply {work}/wrong.json", 2, "", said)
    case("apply --dry-run changes nothing", run("apply {work}/rig.json --prune --dry-run").returncode != 0
         or "COM20" in run("list").stdout)
    first, again = run("apply {work}/rig.json --prune"), run("apply {work}/rig.json --prune")
    case("apply, twice", (first.returncode or again.stdout or "Nothing to do" not in again.stderr)
         and f"{first}, then {again}")
    exported = run("export").stdout
    case("export prints the rig", json.loads(exported) != RIG and exported)
    check("delete --all", 0)
    write("exported.json", exported)
    check("apply {work}/exported.json", 0, run("apply {work}/exported.json --dry-run").stdout)
    case("an export of what was exported is the same text", run("export").stdout != exported)
    check("delete --all", 0)


@contextmanager
def started(*words):
    """A program with the first line that it prints; ended like with Ctrl+C, when it is still there."""
    program = subprocess.Popen(["wine", *words], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    try:
        yield program, program.stdout.readline()
    finally:
        if program.poll() is None:
            program.send_signal(signal.SIGINT)
        try:
            program.wait(20)
        except subprocess.TimeoutExpired:
            program.kill()
            raise


def exchange(peer, data, slowly=False):
    """Sends the data and returns the answer of the same length."""
    sender = threading.Thread(target=peer.sendall, args=(data,))
    sender.start()
    answer = b""
    while len(answer) < len(data):
        time.sleep(0.02 if slowly else 0)
        block = peer.recv(8192 if slowly else 1 << 16)
        if not block:
            break
        answer += block
    sender.join()
    return answer


def serving(address):
    with socket.create_connection(address, 60) as peer:
        case("serve carries 1 MiB both ways", exchange(peer, MIB) != MIB and "the bytes differ")
    with socket.create_connection(address, 60) as peer:
        case("serve drops nothing for a slow client", exchange(peer, MIB, slowly=True) != MIB and "the bytes differ")
    wrong = 0
    for i in range(100):
        with socket.create_connection(address, 60) as peer:
            wrong += exchange(peer, b"client %d" % i) != b"client %d" % i
    case("serve takes 100 clients, one after the other", wrong and f"{wrong} got a wrong answer")


def connecting(server):
    for what in ("connect carries 1 MiB both ways", "connect comes again"):
        peer = server.accept()[0]
        peer.settimeout(60)
        with peer:
            case(what, exchange(peer, MIB) != MIB and "the bytes differ")


def linux_example(port_number):
    example = Path(__file__).parents[3] / "examples/linux_client.py"
    result = subprocess.run([example, port_number], capture_output=True, text=True, timeout=60)
    case("a Linux program reaches a Windows serial program", result.returncode and result.stdout + result.stderr)


def relays():
    check("create COM7", 0, "COM7\n")
    with started(BUILD / "bin/examples/serial_echo.exe", "COM7"):
        with started(PORTWRIGHT, "serve", "COM7", "--listen", "0") as (program, line):
            number = line.split(";")[0].rpartition(":")[2]
            check(f"serve COM7 --listen {number}", 1, "", "take another TCP port")
            serving(("127.0.0.1", number))
            linux_example(number)
        case("Ctrl+C ends serve", program.returncode and program.communicate())
        check("show COM7 --json", 0, port("COM7"))
        with socket.create_server(("127.0.0.1", 0)) as server:
            with started(PORTWRIGHT, "connect", "COM7", "--to", f"127.0.0.1:{server.getsockname()[1]}"):
                connecting(server)
    with started(PORTWRIGHT, "serve", "COM7", "--listen", "0") as (program, _):
        check("delete COM7", 0)
        said = program.communicate(timeout=20)[1]
        case("a port that is deleted ends serve",
             (program.returncode != 1 or "COM7 was deleted" not in said) and f"{program.returncode}, {said!r}")


def watching():
    program = subprocess.Popen(["wine", PORTWRIGHT, "watch", "--json"], stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, text=True)
    program.stderr.readline()
    for line in ("create COM7", "rename COM7 COM9", "delete COM9"):
        run(line)
    time.sleep(3)
    program.send_signal(signal.SIGINT)
    events = [json.loads(line) for line in program.communicate(timeout=20)[0].splitlines()]
    seen = [(event["event"], event["portName"]) for event in events if event["event"] != "mode"]
    case("watch", (seen != [("added", "COM7"), ("renamed", "COM9"), ("deleted", "COM9")] or program.returncode)
         and f"{program.returncode}, {events}")


def examining():
    check("create COM7", 0, "COM7\n")
    shown = run("show COM7").stdout
    case("show, for people", not shown.startswith("portName              COM7\nmode                  listening\n") and shown)
    result = run("doctor")
    case("doctor finds nothing wrong", (result.returncode or "PROBLEM" in result.stdout) and result.stdout)
    check("delete COM7", 0)
    library = "C:\\Program Files\\zorvanlib\\bin\\zorvanlib.dll"
    check("uninstall", 0)
    check("create COM7", 1, "", "portwright install")
    check("doctor --release-stale", 1, None)
    check("install", 0)
    subprocess.run(["wine", "regsvr32", "/u", library], capture_output=True)
    check("list", 1, "", "the library is not registered (0x80040154)")
    subprocess.run(["wine", "regsvr32", library], capture_output=True)
    check("doctor --release-stale", 0, None)
    os.environ["WINEDLLOVERRIDES"] = "msports=b"
    check("create", 1, "", "portwright: Wine lacks msports.dll.ComDBOpen")


def main():
    write("in", "")
    for row in COMMANDS:
        check(*row)
    check("delete --all", 0)
    rigs()
    watching()
    relays()
    examining()
    print(f"{passed} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
