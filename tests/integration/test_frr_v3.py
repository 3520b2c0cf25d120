# SPDX-License-Identifier: Apache-2.0
"""fhrp-snmpd --frr and the VRRPv3-MIB: version 3 routers of both families beside a version 2
one, every column of both MIBs against vrrpd and the kernel through failover, return, preemption
and a shutdown, each entry into master announced with its reason."""
import ipaddress
from collections import Counter

import pytest

from harness import SNMP_TRAP_OID, VRRP, free_port, wait_until
import frr_lab
from test_frr import STATE, assert_mib, up

V3 = ".1.3.6.1.2.1.207"
OPER, STATS = V3 + ".1.1.1.1", V3 + ".1.2.5.1"
PRIORITY, PREEMPTED, NO_RESPONSE = 1, 2, 3
# 20 is version 2; 21 version 3 IPv4, 22 IPv6 with two addresses, 23 both. This side backs up
# 20 to 22 and is master of 23.
ROUTERS = [{"vrid": v, "version": 2 if v == 20 else 3, "interval": 100,
            "priority": {"here": 200, "there": 100} if v == 23 else {"here": 100, "there": 200},
            "addresses": [] if v == 22 else [f"192.0.2.1{v}"],
            "addresses6": {22: ["2001:db8:22::1", "2001:db8:22::2"], 23: ["2001:db8:23::1"]}
            .get(v, [])} for v in (20, 21, 22, 23)]
START = {(20, "v4"): "Backup", (21, "v4"): "Backup", (22, "v6"): "Backup", (23, "v4"): "Master",
         (23, "v6"): "Master"}

def heard(there, router, half):
    """A version 3 backup's master as heard: the peer (IPv6: its macvlan's link-local)."""
    return there.link_local(router[half]["interface"]) if half == "v6" else there.address


def octets(address, half):
    return (ipaddress.ip_address(address).packed if address else
            bytes(4 if half == "v4" else 16)).decode("latin-1")


def states(side):
    return {(v, h): r[h]["status"] for v, r in (side.show_vrrp() or {}).items()
            for h in ("v4", "v6") if r[h]["addresses"]}


def settled(frr, here):
    """This side in the states `here`, the peer (when running) master where this side is not."""
    other, there = {k: "Backup" if s == "Master" else "Master" for k, s in here.items()}, \
        frr.sides["there"]
    return states(frr.sides["here"]) == here and (not there.vrrpd.alive() or states(there) == other)


def expected_v3(frr, want):
    """The VRRPv3-MIB as vrrpd and the kernel say; `want` holds what the agent saw happen."""
    here = frr.sides["here"]
    mib = {f"{V3}.1.2.{n}.0": "0" for n in (1, 2, 3, 4)}  # no error heard, no discontinuity
    routers, if_index = here.show_vrrp(), here.if_index(here.parent)
    for (vrid, half), status in states(here).items():
        r, family = routers[vrid], 1 if half == "v4" else 2
        h, key, row = r[half], (vrid, family), f".{if_index}.{vrid}.{family}"
        if r["version"] != 3:
            continue
        own = here.address if half == "v4" else here.link_local(h["interface"])
        master = {"Master": own, "Backup": heard(frr.sides["there"], r, half)}.get(status)
        want["rows"][key] = row, octets(own, half)  # what its vrrpv3NewMaster names
        operations = [octets(master, half), octets(own, half),
                      bytes.fromhex(h["vmac"].replace(":", "")).decode("latin-1"), STATE[status],
                      str(want["priority"][vrid]), str(len(h["addresses"])),
                      str(r["advertisementInterval"] // 10), "1" if r["preemptMode"] else "2",
                      "2" if half == "v4" else "1", up(h), "2" if r["shutdown"] else "1"]
        reason = want["reason"].get(key, 0) if status == "Master" else 0
        statistics = [str(want["entered"][key]), str(reason),
                      lambda v, rx=h["stats"]["adverRx"]: int(v) <= rx, "0", "0", "0",
                      str(want["zero"][key]), str(want["sent"][key]), "0", "0", "0",
                      str.isdigit, "1000"]
        mib.update({f"{OPER}.{c}{row}": v for c, v in enumerate(operations, 3)})
        mib.update({f"{STATS}.{c}{row}": v for c, v in enumerate(statistics, 1)})
        for a in map(ipaddress.ip_address, h["addresses"]):
            mib[f"{V3}.1.1.2.1.2{row}.{len(a.packed)}.{'.'.join(map(str, a.packed))}"] = "1"
    return mib


def announced(trapd):
    """vrrpv3NewMaster notifications as (row, master address, reason), oldest first."""
    return [(m[len(OPER) + 2:], a, int(r)) for n in trapd.notifications()
            if n.get(SNMP_TRAP_OID) == V3 + ".0.1" for (m, a), (_, r) in [list(n.items())[2:4]]]


def test_version_3_routers_of_both_families_follow_vrrpd_and_the_kernel(lab):
    if frr_lab.available():
        pytest.skip(frr_lab.available())
    frr = frr_lab.FrrLab(lab, ROUTERS)
    try:
        follow(lab, frr)
    finally:
        frr.close()


def follow(lab, frr):
    here, there = frr.sides["here"], frr.sides["there"]
    assert wait_until(lambda: settled(frr, START), 30, 0.2), states(here)
    trapd = lab.trapd(free_port(), here.exec())
    agent = frr.agent(int(trapd.sink.rsplit(":", 1)[1]))
    want = {"priority": {r["vrid"]: r["priority"]["here"] for r in ROUTERS}, "sent": Counter(),
            "entered": Counter(), "zero": Counter(), "rows": {},
            "reason": {(23, 1): PRIORITY, (23, 2): PRIORITY}}  # first seen master

    def step(action, now, entered=(), reason=0):
        """After `action`: the states `now`, both MIBs, and a vrrpv3NewMaster with `reason` for
        each row that `entered` master."""
        before = len(announced(trapd))
        action()
        assert wait_until(lambda: settled(frr, now), 10, 0.1), states(here)
        want["entered"].update(entered)
        want["reason"].update(dict.fromkeys(entered, reason))
        assert_mib(frr, here, agent, want["priority"], more=lambda: expected_v3(frr, want),
                   roots=(VRRP, V3))
        notes = sorted((*want["rows"][key], reason) for key in entered)
        assert wait_until(lambda: sorted(announced(trapd)[before:]) == notes, 5), announced(trapd)

    step(lambda: None, START)
    # Received advertisements grow on a backup.
    rx = lambda: [int(v) for o, v in frr.walk(agent, STATS + ".3").items()
                  if o.endswith((want["rows"][21, 1][0], want["rows"][22, 2][0]))]
    before = rx()
    assert wait_until(lambda: all(a > b for a, b in zip(rx(), before)), 5), (before, rx())
    # Failover: the peer's vrrpd stops, resigning every router it was master of.
    want["zero"].update([(21, 1), (22, 2)])
    step(there.stop_vrrpd, {k: "Master" for k in START}, [(21, 1), (22, 2)], NO_RESPONSE)
    # It returns and takes them back at its higher priority: nothing to announce here.
    step(there.start_vrrpd, START)
    # This side preempts at a priority above the peer's.
    want["priority"].update({21: 250, 22: 250})
    preempting = {**START, (21, "v4"): "Master", (22, "v6"): "Master"}
    step(lambda: [here.configure(f"vrrp {v} priority 250") for v in (21, 22)], preempting,
         [(21, 1), (22, 2)], PREEMPTED)
    # A master shut down sends priority 0 on both families and is not in service; brought back,
    # it preempts the peer that took over.
    want["sent"].update([(23, 1), (23, 2)])
    step(lambda: here.configure("vrrp 23 shutdown"),
         {**preempting, (23, "v4"): "Initialize", (23, "v6"): "Initialize"})
    step(lambda: here.configure("no vrrp 23 shutdown"), preempting, [(23, 1), (23, 2)],
         PREEMPTED)
