# SPDX-License-Identifier: Apache-2.0
"""fhrp-snmpd --frr hearing the VRRP advertisements on the wire: a backup's master on every one
of many parents, nothing moved by a flood of forged advertisements, and bad advertisements
counted in the VRRPv3-MIB."""
import time
from pathlib import Path

import pytest

from harness import OPER_TABLE, SNMP_TRAP_OID, VRRP, free_port, wait_until
import frr_lab

FLOOD = Path(__file__).resolve().parents[2] / "bench" / "advert_flood.py"
PUBLISHED = "Sources/1: published at"
# vrrpv3OperationsMasterIpAddr, vrrpv3StatisticsIpTtlErrors and ProtoErrReason,
# vrrpv3RouterVrIdErrors, vrrpv3ProtoError.
V3_MASTER, TTL_ERRORS, ERR_REASON = (f".1.3.6.1.2.1.207.1.{c}" for c in ("1.1.1.3", "2.5.1.5",
                                                                       "2.5.1.6"))
VRID_ERRORS, PROTO_ERROR = ".1.3.6.1.2.1.207.1.2.3.0", ".1.3.6.1.2.1.207.0.2"


def lab_with(lab, routers, parents=1):
    reason = frr_lab.available()
    if reason:
        pytest.skip(reason)
    return frr_lab.FrrLab(lab, routers, parents)


def users_of_the_group(side):
    """Sockets joined to 224.0.0.18, by interface, from the kernel's table."""
    users, device = {}, None
    for line in frr_lab.run(*side.exec("cat", "/proc/net/igmp")).stdout.splitlines()[1:]:
        fields = line.split()
        if not line.startswith("\t"):
            device = fields[1]
        elif fields[0] == "120000E0":
            users[device] = int(fields[1])
    return users


def test_a_backup_reads_its_master_on_each_of_40_parents(lab):
    routers = [{"vrid": 1 + i, "parent": i, "priority": {"here": 100, "there": 200},
                "interval": 100, "addresses": [frr_lab.address("there", i)[:-1] + "100"]}
               for i in range(40)]
    frr = lab_with(lab, routers, 40)
    try:
        here = frr.sides["here"]
        agent = frr.agent(free_port())
        want = {f"{OPER_TABLE}.1.7.{here.if_index(p)}.{1 + i}": frr_lab.address("there", i)
                for i, p in enumerate(here.parents)}
        assert wait_until(lambda: frr.walk(agent, OPER_TABLE + ".1.7") == want, 30, 0.5), \
            (frr.walk(agent, OPER_TABLE + ".1.7"), agent.log()[-2000:])
        # The agent holds a membership of its own on each parent, whatever vrrpd holds.
        joined = users_of_the_group(here)
        agent.stop()
        left = users_of_the_group(here)
        assert all(joined.get(p, 0) - left.get(p, 0) == 1 for p in here.parents), (joined, left)
        assert "cannot join" not in agent.log()
    finally:
        frr.close()


def test_forged_advertisements_move_nothing_and_the_agent_keeps_answering(lab):
    routers = [{"vrid": 10, "priority": {"here": 100, "there": 200}, "interval": 100,
                "addresses": ["192.0.2.110"]},
               {"vrid": 11, "priority": {"here": 200, "there": 100}, "interval": 100,
                "addresses": ["192.0.2.111"]}]
    frr = lab_with(lab, routers)
    try:
        here, there = frr.sides["here"], frr.sides["there"]
        agent = frr.agent(free_port())
        row = f".{here.if_index(here.parent)}"
        settled = {f"{OPER_TABLE}.1.7{row}.10": "192.0.2.2", f"{OPER_TABLE}.1.3{row}.11": "3"}
        assert wait_until(lambda: settled.items() <= frr.walk(agent, OPER_TABLE).items(), 30, 0.2)
        # vrrpd's first answers may still move something (its configuration comes a poll later):
        # the flood starts once the agent has published nothing for a while.
        counts = []
        assert wait_until(lambda: counts.append(agent.count(PUBLISHED)) or
                          counts[-8:].count(counts[-1]) == 8, 20, 0.25)
        # Up times aside, the whole MIB.
        mib = lambda: {o: v for o, v in frr.walk(agent, VRRP).items() if ".1.3.1.13." not in o}
        before, published = mib(), agent.count(PUBLISHED)

        gets = lab.spawn(here.exec("/usr/bin/python3", FLOOD, "gets", agent.address, 10), "gets")
        flood = lab.spawn(there.exec("/usr/bin/python3", FLOOD, "flood", there.parent, 10, "ttl",
                                     "unicast", "checksum", "foreign"), "flood")
        assert flood.wait(30) == 0 and gets.wait(30) == 0, flood.log() + gets.log()
        times = gets.log().split()
        assert int(flood.log()) > 20000 and len(times) > 100
        assert all(t != "timeout" and float(t) < 100 for t in times), times

        # No row moved, no notification; the error counters that rose were told at most once per
        # AdvertListener::kChangeGap (0.25 s), and vrrpd's poll (once a second) takes the latest
        # counts with it.
        assert mib() == before
        assert agent.count(PUBLISHED) - published <= 10 / 0.25 + 10 + 2, agent.log()[-2000:]
    finally:
        frr.close()


def test_bad_version_3_advertisements_are_counted_and_told_once_while_vrrpd_ignores_them(lab):
    frr = lab_with(lab, [{"vrid": 13, "version": 3, "priority": {"here": 100, "there": 200},
                          "interval": 100, "addresses": ["192.0.2.113"]}])
    try:
        here, there = frr.sides["here"], frr.sides["there"]
        trapd = lab.trapd(free_port(), here.exec())
        agent = frr.agent(int(trapd.sink.rsplit(":", 1)[1]))
        row = f".{here.if_index(here.parent)}.13.1"
        get = lambda oid: frr.walk(agent, oid).get(oid, "0")
        there_address = bytes([192, 0, 2, 2]).decode("latin-1")  # an InetAddress's octets
        assert wait_until(lambda: get(V3_MASTER + row) == there_address, 30, 0.2)
        counts = lambda: (int(get(TTL_ERRORS + row)), int(get(VRID_ERRORS)))
        ttl, vrid = counts()

        send = lab.spawn(there.exec("/usr/bin/python3", FLOOD, "send", there.parent, "v3-ttl",
                                    "v3-vrid"), "send")
        assert send.wait(30) == 0, send.log()
        assert wait_until(lambda: counts() == (ttl + 1, vrid + 1), 5, 0.2), agent.log()[-2000:]
        errors = lambda: [n for n in trapd.notifications() if n.get(SNMP_TRAP_OID) == PROTO_ERROR]
        assert wait_until(errors, 5, 0.1), trapd.log()
        time.sleep(1)  # an unknown vrid names no row: nothing more follows
        assert [n.get(ERR_REASON + row) for n in errors()] == ["1"]  # ipTtlError
        # vrrpd took neither: still backup of the same master.
        assert here.show_vrrp()[13]["v4"]["status"] == "Backup"
        assert get(V3_MASTER + row) == there_address
    finally:
        frr.close()
