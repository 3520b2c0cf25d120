# SPDX-License-Identifier: Apache-2.0
"""fhrp-snmpd --frr next to FRR's vrrpd: every column against vrrpd and the kernel, throughout."""
from collections import Counter

import pytest

from harness import (ASSO_TABLE, NEW_MASTER, OPER_TABLE, SANITIZED, SNMP_TRAP_OID, VRRP, free_port,
                     wait_until)
import frr_lab

# Short intervals keep failovers well under a second.
ROUTERS = [
    {"vrid": 10, "priority": {"here": 100, "there": 200}, "interval": 100,
     "addresses": ["192.0.2.110"]},
    {"vrid": 11, "priority": {"here": 200, "there": 100}, "interval": 200,
     "addresses": ["192.0.2.111", "192.0.2.121"]},
    {"vrid": 12, "priority": {"here": 150, "there": 120}, "interval": 1000, "preempt": False,
     "addresses": ["192.0.2.112"]},
    {"vrid": 13, "version": 3, "priority": {"here": 100, "there": 100}, "interval": 100,
     "addresses": ["192.0.2.113"]},
]
STATE = {"Initialize": "1", "Backup": "2", "Master": "3"}


def settled(side, states):
    routers = side.show_vrrp() or {}
    return all(vrid in routers and routers[vrid]["v4"]["status"] == s
               for vrid, s in states.items())


def up(instance):
    """An up time's check: set exactly when the router is up."""
    return lambda ticks: (ticks != "0") == (instance["status"] != "Initialize")


def expected(frr, here, priorities):
    """The whole VRRP-MIB as vrrpd and the kernel say it should read."""
    routers = here.show_vrrp() or {}
    if_index = here.if_index(here.parent)
    mib = {VRRP + ".1.1.0": "2", VRRP + ".1.2.0": "1"}
    for vrid, r in routers.items():
        if r["version"] != 2:
            continue
        v4, row = r["v4"], f".{if_index}.{vrid}"
        master = {"Master": here.address, "Backup": frr.sides["there"].address}.get(
            v4["status"], "0.0.0.0")
        columns = {2: bytes.fromhex(v4["vmac"].replace(":", "")).decode("latin-1"),
                   3: STATE[v4["status"]], 4: "2" if r["shutdown"] else "1",
                   5: str(priorities[vrid]), 6: str(len(v4["addresses"])), 7: master,
                   8: "0.0.0.0", 9: "1", 10: "", 11: str(r["advertisementInterval"] // 1000),
                   12: "1" if r["preemptMode"] else "2", 13: up(v4), 14: "1", 15: "1"}
        for column, value in columns.items():
            mib[f"{OPER_TABLE}.1.{column}{row}"] = value
        for a in v4["addresses"]:
            mib[f"{ASSO_TABLE}.1.2{row}.{a}"] = "1"
    return mib


def mib_matches(frr, agent, expect, roots):
    # Walked first, so that what moves (up times, counters) is checked against what vrrpd says
    # after. A callable is a check of the value read.
    got = {o: v for root in roots for o, v in frr.walk(agent, root).items()}
    want = expect()
    mib_matches.last = {o: (want.get(o), got.get(o)) for o in want.keys() | got.keys()
                        if o not in want or o not in got or
                        not (want[o](got[o]) if callable(want[o]) else want[o] == got[o])}
    return not mib_matches.last


def assert_mib(frr, here, agent, priorities, timeout=5, more=None, roots=(VRRP,)):
    """The MIB under `roots` as vrrpd and the kernel say, the VRRP-MIB's and what `more` adds."""
    expect = lambda: {**expected(frr, here, priorities), **(more() if more else {})}
    if not wait_until(lambda: mib_matches(frr, agent, expect, roots), timeout, 0.1):
        raise AssertionError(f"MIB differs from vrrpd (oid: (vrrpd, agent)): "
                             f"{mib_matches.last}\n{agent.log()[-3000:]}")


def new_masters(trapd, here, vrid):
    row = f".{here.if_index(here.parent)}.{vrid}"
    return sum(1 for n in trapd.new_masters() if any(o.endswith(row) for o in n))


# fhrp-snmpd --frr, and the plug-in with `fhrpFrr` in Debian's snmpd.
@pytest.mark.parametrize("host", ["daemon", "plugin"])
def test_every_column_follows_vrrpd_and_the_kernel(lab, host):
    reason = frr_lab.available()
    if not reason and host == "plugin" and SANITIZED:
        reason = "an instrumented plug-in cannot load into snmpd"
    if reason:
        pytest.skip(reason)
    frr = frr_lab.FrrLab(lab, ROUTERS)
    try:
        follow(lab, frr, frr.agent if host == "daemon" else frr.plugin)
    finally:
        frr.close()


def follow(lab, frr, start_agent):
    here, there = frr.sides["here"], frr.sides["there"]
    priorities = {r["vrid"]: r["priority"]["here"] for r in ROUTERS}
    assert wait_until(lambda: settled(here, {10: "Backup", 11: "Master", 12: "Master"}), 30)
    trapd = lab.trapd(free_port(), here.exec())
    # What the agent announces from its start on: each router master then, and every transition
    # into master after.
    announced = Counter(v for v, r in here.show_vrrp().items() if r["v4"]["status"] == "Master")
    announced.subtract(v for _, v in here.transitions())
    agent = start_agent(int(trapd.sink.rsplit(":", 1)[1]))
    assert_mib(frr, here, agent, priorities)
    assert not any(o.endswith(".13") for o in frr.walk(agent, OPER_TABLE))  # version 3

    # Failover, then preemption: the other router's priority 200 takes router 10 back.
    before = new_masters(trapd, here, 10)
    there.stop_vrrpd()
    assert wait_until(lambda: settled(here, {10: "Master"}), 5)
    assert_mib(frr, here, agent, priorities)
    assert wait_until(lambda: new_masters(trapd, here, 10) == before + 1, 5), trapd.log()
    there.start_vrrpd()
    assert wait_until(lambda: settled(here, {10: "Backup"}), 10)
    assert_mib(frr, here, agent, priorities)

    # A priority change and a shutdown; once back, the other router took over and is not
    # preempted.
    here.configure("vrrp 11 priority 50")
    priorities[11] = 50
    assert wait_until(lambda: settled(here, {11: "Backup"}), 5)
    here.configure("vrrp 12 shutdown")
    assert wait_until(lambda: settled(here, {12: "Initialize"}), 5)
    assert_mib(frr, here, agent, priorities)
    here.configure("no vrrp 12 shutdown")
    assert wait_until(lambda: settled(here, {12: "Backup"}), 10)
    assert_mib(frr, here, agent, priorities)

    # This side's vrrpd stopped, then started from its configuration: router 11 at 200 again.
    here_if = here.if_index(here.parent)
    here.stop_vrrpd()
    states = [f"{OPER_TABLE}.1.3.{here_if}.{vrid}" for vrid in (10, 11, 12)]
    assert wait_until(lambda: all(frr.walk(agent, OPER_TABLE).get(s) == "1" for s in states), 3)
    assert agent.wait_for("vrrpd does not answer")
    here.start_vrrpd()
    priorities[11] = 200
    assert agent.wait_for("vrrpd answers again")
    assert wait_until(lambda: settled(here, {10: "Backup", 11: "Master", 12: "Backup"}), 10)
    assert_mib(frr, here, agent, priorities)
    assert agent.log().count("vrrpd does not answer") == 1

    # A notification for every new master.
    for vrid in (10, 11, 12):
        became = announced[vrid] + sum(1 for _, v in here.transitions() if v == vrid)
        assert wait_until(lambda: new_masters(trapd, here, vrid) == became, 5), \
            (vrid, became, new_masters(trapd, here, vrid), here.transitions())
    assert all(n[SNMP_TRAP_OID] == NEW_MASTER for n in trapd.new_masters())
