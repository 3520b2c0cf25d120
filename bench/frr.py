#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Figures for fhrp-snmpd --frr against real FRR in two network namespaces (root only):

  failover  the time from vrrpd's transition (its log line, microsecond timestamps) to the MIB
            showing it (the agent's Sources/1 trace line, written once the snapshot is applied)
            and to the new-master notification arriving at a receiver in the same namespace,
            median and worst; and how often the agent asked vrrpd meanwhile (its Sources/2
            trace lines). The router failing over is a version 2 one (vrrpTrapNewMaster), or with
            --vrrpv3 FAMILY a version 3 one of that family (vrrpv3NewMaster);
  idle      the agent's CPU (utime + stime from /proc) while it follows 255 routers.

    sudo bench/frr.py [--failovers 12] [--background 0] [--parents 1] [--idle-seconds 30]
                      [--routers 255] [--vrrpv3 ipv4|ipv6] [--only failover|idle]

Routers go round the parent interfaces (router v on parent v % parents), one vrid each.

It uses the integration tests' FRR lab (tests/integration/frr_lab.py): every process is ended
by its PID and the namespaces are deleted at the end."""
import argparse
import datetime
import os
import statistics
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "tests" / "integration"))
os.environ.setdefault("FHRP_SNMPD", str(ROOT / "build" / "host" / "fhrp-snmpd"))

import frr_lab  # noqa: E402
from harness import Lab, wait_until  # noqa: E402


def vrrpd_time(stamp):
    """vrrpd logs local time; this machine's zone is the one it used."""
    return datetime.datetime.strptime(stamp, "%Y/%m/%d %H:%M:%S.%f").timestamp()


def published(agent):
    """(time, masters) of each snapshot the agent applied."""
    out = []
    for line in agent.log().splitlines():
        if line.startswith("Sources/1: published at "):
            t, rest = line[len("Sources/1: published at "):].split(": ", 1)
            out.append((float(t), int(rest.split(", ")[1].split()[0])))
    return out


def failover(args):
    lab = Lab("frr-bench")
    router = {"vrid": 10, "priority": {"here": 100, "there": 200}, "interval": 100,
              "addresses": ["192.0.2.110"]}
    family = "IPv4"
    if args.vrrpv3:
        router["version"] = 3
        if args.vrrpv3 == "ipv6":
            family = "IPv6"
            router.update(addresses=[], addresses6=["2001:db8:10::1"])
    routers = [router]
    # Routers that stay put meanwhile, so that vrrpd has many to report.
    routers += [{"vrid": v, "interval": 1000, "addresses": [f"198.51.{v // 200}.{v % 200 + 1}"],
                 "priority": {"here": 200, "there": 100}, "parent": v % args.parents}
                for v in range(1, args.background + 2) if v != 10][:args.background]
    frr = None
    try:
        frr = frr_lab.FrrLab(lab, routers, parents=args.parents)
        here, there = frr.sides["here"], frr.sides["there"]
        # Settled: router 10 a backup here, every other one master; failovers timed while the
        # others still start would time their start-up too.
        def settled():
            routers = here.show_vrrp() or {}
            return len(routers) == len(frr.routers) and all(
                r[half]["status"] == ("Backup" if v == 10 else "Master")
                for v, r in routers.items() for half in ("v4", "v6") if r[half]["addresses"])
        assert wait_until(settled, 60, 0.5)
        port = 16299
        sink = lab.spawn(here.exec("/usr/bin/python3", "-u", "-c", RECEIVER, str(port)), "sink",
                         wait_for="listening")
        agent = frr.agent(port, trace="Sources/1-2")
        time.sleep(1)
        asked_before, t_start = asked(agent), time.monotonic()
        mib, trap = [], []
        for i in range(args.failovers):
            for priority, state, masters in ((50, "Master", args.background + 1),
                                             (200, "Backup", args.background)):
                count = len(here.transitions(state, family))
                there.configure(f"vrrp 10 priority {priority}")
                assert wait_until(lambda: len(here.transitions(state, family)) > count, 5)
                t0 = vrrpd_time(here.transitions(state, family)[-1][0])
                assert wait_until(lambda: any(t >= t0 and m == masters
                                              for t, m in published(agent)), 5), agent.log()
                t_mib = min(t for t, m in published(agent) if t >= t0 and m == masters)
                mib.append((state, (t_mib - t0) * 1000))
                if state == "Master":
                    assert wait_until(lambda: any(float(x) >= t0 for x in
                                                  sink.log().split()[1:]), 5), sink.log()
                    t_trap = min(float(x) for x in sink.log().split()[1:] if float(x) >= t0)
                    trap.append((t_trap - t0) * 1000)
                time.sleep(0.3)
        one, every = (n - b for n, b in zip(asked(agent), asked_before))
        for state in ("Master", "Backup"):
            values = [v for s, v in mib if s == state]
            print(f"to {state}: MIB after vrrpd's log line, ms: median "
                  f"{statistics.median(values):.2f}, min {min(values):.2f}, "
                  f"max {max(values):.2f} over {len(values)}")
        kind = f"version 3 {family}" if args.vrrpv3 else "version 2"
        print(f"(a {kind} router; {args.background} more routers on {args.parents} parents; "
              f"load average {os.getloadavg()[0]:.2f})")
        notification = "vrrpv3NewMaster" if args.vrrpv3 else "vrrpTrapNewMaster"
        print(f"{notification} arrival after vrrpd's log line, ms: median "
              f"{statistics.median(trap):.2f}, min {min(trap):.2f}, max {max(trap):.2f} over "
              f"{len(trap)}")
        print(f"queries to vrrpd: {one / len(mib):.2f} about one router per transition, "
              f"{every / (time.monotonic() - t_start):.2f} about all per second")
    finally:
        lab.close()
        if frr:
            frr.close()


def asked(agent):
    """(queries about one router, queries about all) the agent sent vrrpd so far."""
    lines = [line for line in agent.log().splitlines() if line.startswith("Sources/2: asking")]
    one = sum("show vrrp interface" in line for line in lines)
    return one, sum(line.endswith("show vrrp json") for line in lines)


def idle(args):
    lab = Lab("frr-idle")
    routers = [{"vrid": v, "interval": 1000, "addresses": [f"198.51.{v // 200}.{v % 200 + 1}"],
                "priority": {"here": 200 if v % 2 else 100, "there": 100 if v % 2 else 200},
                "parent": v % args.parents}
               for v in range(1, args.routers + 1)]
    frr = None
    try:
        frr = frr_lab.FrrLab(lab, routers, parents=args.parents)
        here = frr.sides["here"]
        agent = frr.agent(16298)
        # Settled: this side master of the odd vrids, the other side of the even ones.
        def up():
            routers = here.show_vrrp() or {}
            return len(routers) == args.routers and all(
                r["v4"]["status"] == ("Master" if v % 2 else "Backup") for v, r in routers.items())
        if not wait_until(up, 90, 0.5):
            states = {v: r["v4"]["status"] for v, r in (here.show_vrrp() or {}).items()}
            wrong = {v: s for v, s in states.items() if s != ("Master" if v % 2 else "Backup")}
            raise AssertionError(f"not settled after 90 s: {len(wrong)} routers, e.g. "
                                 f"{dict(list(wrong.items())[:5])}")
        time.sleep(10)
        before, t0, snapshots = agent.cpu_seconds(), time.monotonic(), len(published(agent))
        time.sleep(args.idle_seconds)
        used, elapsed = agent.cpu_seconds() - before, time.monotonic() - t0
        # A loaded machine delays adverts until routers fail over: then it was not idle.
        print(f"idle with {args.routers} routers on {args.parents} parents: {used:.2f} s CPU in "
              f"{elapsed:.1f} s = {100 * used / elapsed:.2f}% of a core (load average "
              f"{os.getloadavg()[0]:.2f}, {len(published(agent)) - snapshots} snapshots "
              f"published meanwhile)")
        # Whole-MIB bulk walks by snmpbulkwalk (-Cr25) in the namespace, tool start-up included.
        times = []
        for _ in range(5):
            t = time.monotonic()
            varbinds = len(frr.walk(agent, ".1.3.6.1.2.1.68"))
            times.append(time.monotonic() - t)
        print(f"snmpbulkwalk of the VRRP-MIB ({varbinds} varbinds): best {min(times):.3f} s, "
              f"{varbinds / min(times):.0f} varbinds/s, tool start-up included")
    finally:
        lab.close()
        if frr:
            frr.close()


RECEIVER = """
import socket, sys, time
s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
s.bind(("127.0.0.1", int(sys.argv[1])))
print("listening", flush=True)
while True:
    s.recv(65536)
    print("%.6f" % time.time(), flush=True)
"""

if __name__ == "__main__":
    p = argparse.ArgumentParser()
    p.add_argument("--failovers", type=int, default=12)
    p.add_argument("--idle-seconds", type=float, default=30)
    p.add_argument("--routers", type=int, default=255)
    p.add_argument("--background", type=int, default=0,
                   help="routers beside the one failing over")
    p.add_argument("--parents", type=int, default=1, help="parent interfaces (veth pairs)")
    p.add_argument("--only", choices=["failover", "idle"])
    p.add_argument("--vrrpv3", choices=["ipv4", "ipv6"],
                   help="the router failing over is version 3, of this family")
    a = p.parse_args()
    if a.only != "idle":
        failover(a)
    if a.only != "failover":
        idle(a)
