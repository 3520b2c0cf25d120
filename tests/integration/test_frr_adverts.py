"""fhrp-snmpd --frr hearing the VRRP advertisements on the wire: a backup's master on every one
of many parents, and nothing moved by a flood of forged advertisements."""
from pathlib import Path

import pytest

from harness import OPER_TABLE, VRRP, free_port, wait_until
import frr_lab

FLOOD = Path(__file__).resolve().parents[2] / "bench" / "advert_flood.py"
PUBLISHED = "Sources/1: published at"


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

        # Not a snapshot more: no row moved, no notification.
        assert mib() == before
        assert agent.count(PUBLISHED) == published, agent.log()[-2000:]
    finally:
        frr.close()
