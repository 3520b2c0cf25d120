#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""fhrp-snmpd --frr under a flood of VRRP advertisements sent from the other side of the FRR lab
(tests/integration/frr_lab.py, root only): the snapshots it publishes per second (its
`Sources/1: published at` lines) and the answer time of a GET every 50 ms meanwhile, for

  forged  wrong TTL, unicast, bad checksum, valid ones from outside the subnet: all dropped;
  moving  valid ones from 8 routers of the subnet that take router 10 and resign, in turn:
          every packet moves its master.

    sudo bench/adverts.py [--seconds 10]

Every process is ended by its PID and the namespaces are deleted at the end."""
import argparse
import os
import statistics
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "tests" / "integration"))
os.environ.setdefault("FHRP_SNMPD", str(ROOT / "build" / "host" / "fhrp-snmpd"))

import frr_lab  # noqa: E402
from harness import OPER_TABLE, Lab, free_port, wait_until  # noqa: E402

FLOOD = Path(__file__).with_name("advert_flood.py")
PUBLISHED = "Sources/1: published at"
FLOODS = {"forged": ["ttl", "unicast", "checksum", "foreign"], "moving": ["moving"]}
ROUTERS = [{"vrid": 10, "priority": {"here": 100, "there": 200}, "interval": 100,
            "addresses": ["192.0.2.110"]},
           {"vrid": 11, "priority": {"here": 200, "there": 100}, "interval": 100,
            "addresses": ["192.0.2.111"]}]


def main(args):
    lab, frr = Lab("adverts-bench"), None
    try:
        frr = frr_lab.FrrLab(lab, ROUTERS)
        here, there = frr.sides["here"], frr.sides["there"]
        agent = frr.agent(free_port())
        master = f"{OPER_TABLE}.1.7.{here.if_index(here.parent)}.10"
        assert wait_until(lambda: frr.walk(agent, master).get(master) == "192.0.2.2", 30, 0.2)
        for name, kinds in FLOODS.items():
            time.sleep(2)  # settled after the last flood
            before = agent.count(PUBLISHED)
            gets = lab.spawn(here.exec("/usr/bin/python3", FLOOD, "gets", agent.address,
                                       args.seconds), f"gets-{name}")
            flood = lab.spawn(there.exec("/usr/bin/python3", FLOOD, "flood", there.parent,
                                         args.seconds, *kinds), f"flood-{name}")
            assert flood.wait(args.seconds + 30) == 0 and gets.wait(args.seconds + 30) == 0
            times = [float(t) for t in gets.log().split() if t != "timeout"]
            lost = gets.log().split().count("timeout")
            print(f"{name}: {int(flood.log()) / args.seconds:.0f} adverts/s; "
                  f"{(agent.count(PUBLISHED) - before) / args.seconds:.1f} publishes/s; "
                  f"GET every 50 ms: median {statistics.median(times):.2f} ms, "
                  f"max {max(times):.2f} ms, {lost} unanswered of {len(times) + lost}")
    finally:
        lab.close()
        if frr:
            frr.close()


if __name__ == "__main__":
    p = argparse.ArgumentParser()
    p.add_argument("--seconds", type=float, default=10)
    main(p.parse_args())
