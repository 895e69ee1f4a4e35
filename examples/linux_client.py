#!/usr/bin/python3
"""A Linux program that talks to a Windows serial program, over a virtual COM port that portwright serves.

  script/portwright create COM7
  script/portwright serve COM7 --listen 7000 &
  script/wine build/bin/examples/serial_echo.exe COM7 &
  examples/linux_client.py 7000

Needs Debian's python3-serial. Its socket:// ports are used like any serial port.
"""
import sys

import serial

LINES = [b"hello\r\n", bytes(range(256)), b"x" * 10000]


def main() -> int:
    with serial.serial_for_url(f"socket://127.0.0.1:{sys.argv[1]}", timeout=20) as port:
        for sent in LINES:
            port.write(sent)
            answer = port.read(len(sent))
            print(f"sent {len(sent)} bytes, received {len(answer)}")
            if answer != sent:
                print("FAILED: the answer is not what was sent")
                return 1
    print("All as expected.")
    return 0


if __name__ == "__main__":
    sys.exit(main())
