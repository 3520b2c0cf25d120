#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Captures vrrpd's answers for the FRR source's unit tests and fuzz seeds (root only), from
FRR's vrrpd in the integration tests' namespace lab (tests/integration/frr_lab.py): side a is
master of routers 5 (version 2), 6 (version 2, no preemption), 7 (version 3, IPv4) and 9
(version 3, both families) and backs up 8 (version 3, IPv6 with two addresses); side b backs up
5, 7 and 9, is master of 8 and has 6 shut down.

    sudo tools/capture-frr-fixtures.py

Writes tests/sources/fixtures/v3-{a,b}-{show-vrrp,yang}.json and the fuzz_vrrpd_reply seeds made
of them, and prints each side's ifIndex and link-local addresses, which the unit tests take as
the kernel's (the IPv6 macvlans' are random on every capture)."""
import socket
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "tests" / "integration"))

import frr_lab  # noqa: E402
from harness import Lab, wait_until  # noqa: E402

COMMANDS = {"show-vrrp": "show vrrp json",
            "yang": "show yang operational-data /frr-interface:lib with-config"}
ROUTERS = [
    {"vrid": 5, "version": 2, "priority": {"here": 200, "there": 100}, "interval": 1000,
     "addresses": ["192.0.2.105"]},
    {"vrid": 6, "version": 2, "priority": {"here": 150, "there": 150}, "interval": 2000,
     "preempt": False, "addresses": ["192.0.2.106", "192.0.2.116"]},
    {"vrid": 7, "version": 3, "priority": {"here": 200, "there": 100}, "interval": 1000,
     "addresses": ["192.0.2.107"]},
    {"vrid": 8, "version": 3, "priority": {"here": 100, "there": 200}, "interval": 500,
     "addresses": [], "addresses6": ["2001:db8:8::1", "2001:db8:8::2"]},
    {"vrid": 9, "version": 3, "priority": {"here": 250, "there": 100}, "interval": 1000,
     "addresses": ["192.0.2.109"], "addresses6": ["2001:db8:9::1"]},
]
# Side a as (IPv4, IPv6) state of each router once settled.
SETTLED = {5: ("Master", "Initialize"), 6: ("Master", "Initialize"), 7: ("Master", "Initialize"),
           8: ("Initialize", "Backup"), 9: ("Master", "Master")}


def ask(vty, command):
    """One command on a vty socket, after `enable`, as fhrp-snmpd asks it."""
    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as s:
        s.connect(str(vty))
        for c in ("enable", command):
            s.sendall(c.encode() + b"\0")
            answer = b""
            while answer[-4:-1] != b"\0\0\0":
                answer += s.recv(65536)
    return answer[:-4].decode()


def main():
    if frr_lab.available():
        sys.exit(frr_lab.available())
    lab, frr = Lab("capture"), None
    try:
        frr = frr_lab.FrrLab(lab, ROUTERS)
        a, b = frr.sides["here"], frr.sides["there"]
        b.configure("vrrp 6 shutdown")
        states = lambda: {v: (r["v4"]["status"], r["v6"]["status"])
                          for v, r in (a.show_vrrp() or {}).items()}
        assert wait_until(lambda: states() == SETTLED, 60, 0.5), states()
        for name, side in (("a", a), ("b", b)):
            for kind, command in COMMANDS.items():
                text = ask(side.dir / "vrrpd.vty", command)
                (ROOT / "tests/sources/fixtures" / f"v3-{name}-{kind}.json").write_text(text)
                seed = ROOT / "fuzz/corpus/fuzz_vrrpd_reply" / f"v3-{name}-{kind}"
                if (name, kind) != ("a", "yang"):
                    seed.write_bytes(b"@" + text.encode() + b"\0" * 4)
            print(name, {n: (side.if_index(n), side.link_local(n))
                         for n in (side.parent, "vrrp8v6", "vrrp9v6")})
    finally:
        if frr:
            frr.close()
        lab.close()


if __name__ == "__main__":
    main()
