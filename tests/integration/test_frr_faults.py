# SPDX-License-Identifier: Apache-2.0
"""fhrp-snmpd --frr when the kernel drops events, and when vrrpd stalls, dies and comes back."""
import os
import signal
import time
from collections import Counter

import pytest

from harness import OPER_TABLE, free_port, wait_until
import frr_lab
from test_frr import new_masters, settled

# Adverts every 3 s: a 5 s stall of this side's vrrpd stays inside the other side's master-down
# interval (3 x 3 s and a skew), so that nothing really fails over meanwhile.
ROUTERS = [{"vrid": v, "interval": 3000, "addresses": [f"192.0.2.{100 + v}"],
            "priority": {"here": 200 if v % 2 else 100, "there": 100 if v % 2 else 200}}
           for v in (21, 22, 23, 24)]
HERE = {r["vrid"]: ("Master", "Backup")[r["vrid"] % 2 == 0] for r in ROUTERS}
THERE = {r["vrid"]: ("Backup", "Master")[r["vrid"] % 2 == 0] for r in ROUTERS}


def table(frr, agent):
    # vrrpOperTable as {(column, vrid): value}, vrrpOperUpTime as the time the router came up.
    rows, now = {}, time.monotonic()
    for oid, value in frr.walk(agent, OPER_TABLE).items():
        column, _, vrid = (int(x) for x in oid[len(OPER_TABLE) + 3:].split("."))
        rows[column, vrid] = now - int(value) / 100 if column == 13 else value
    return rows


def agent_up(frr, trapd, *args):
    # Up once each router shows its master: this side, or the other side by its adverts.
    agent = frr.agent(int(trapd.sink.rsplit(":", 1)[1]), *args)
    masters = {v: frr.sides["here" if s == "Master" else "there"].address for v, s in HERE.items()}
    assert wait_until(lambda: {v: x for (c, v), x in table(frr, agent).items() if c == 7} ==
                      masters, 10), agent.log()
    return agent


def test_no_false_alarm_from_lost_events_or_a_stall_and_true_ones_after_a_restart(lab):
    if frr_lab.available():
        pytest.skip(frr_lab.available())
    frr = frr_lab.FrrLab(lab, ROUTERS)
    try:
        here = frr.sides["here"]
        assert wait_until(lambda: settled(here, HERE) and settled(frr.sides["there"], THERE), 30)
        trapd = lab.trapd(free_port(), here.exec())

        # A receive buffer for one event: a burst of link changes overflows it at once.
        agent = agent_up(frr, trapd, "Sources/1,FhrpSnmpEntry/7",
                         dict(lab.env, FHRP_NETLINK_RCVBUF="1"))
        announced = len(trapd.new_masters())
        here.ip_batch([f"link add burst{i} type veth peer name burst{i}p" for i in range(100)] +
                      [f"link set burst{i} up" for i in range(100)] +
                      [f"link del burst{i}" for i in range(100)])
        assert agent.wait_for("rtnetlink lost events"), agent.log()
        time.sleep(1)
        assert "Deleting OperEntry" not in agent.log()
        assert len(trapd.new_masters()) == announced
        agent.stop()

        # Stopped and continued: vrrpd is slow, not gone. States and up times stay.
        agent = agent_up(frr, trapd)
        before, announced = table(frr, agent), len(trapd.new_masters())
        os.kill(here.vrrpd.pid, signal.SIGSTOP)
        time.sleep(5)
        os.kill(here.vrrpd.pid, signal.SIGCONT)
        assert agent.wait_for("vrrpd answers again")
        after = table(frr, agent)
        assert after.keys() == before.keys() and all(
            abs(after[k] - x) < 0.2 if k[0] == 13 else after[k] == x for k, x in before.items())
        assert len(trapd.new_masters()) == announced

        # Killed: gone, its routers initialize within 2 s. Restarted: a notification for each
        # router that really became master again.
        counted = {vrid: new_masters(trapd, here, vrid) for vrid in HERE}
        entered = Counter(v for _, v in here.transitions())
        os.kill(here.vrrpd.pid, signal.SIGKILL)
        assert wait_until(lambda: {x for (c, _), x in table(frr, agent).items() if c == 3} == {"1"},
                          2)
        here.start_vrrpd()
        assert wait_until(lambda: settled(here, HERE), 30)
        entered = Counter(v for _, v in here.transitions()) - entered
        assert wait_until(lambda: all(new_masters(trapd, here, v) - n == entered[v]
                                      for v, n in counted.items()), 5), trapd.new_masters()
        for line in ("vrrpd has not answered for 3 s", "vrrpd does not answer"):
            assert agent.log().count(line) == 1, agent.log()
    finally:
        frr.close()
