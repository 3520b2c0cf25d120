"""fhrp-snmpd --frr when the kernel drops events and when vrrpd stalls, dies and comes back: the
MIB changes only where vrrpd's routers really did, and notifications say only that."""
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
SETTLED = {r["vrid"]: "Master" if r["vrid"] % 2 else "Backup" for r in ROUTERS}
THERE = {vrid: "Backup" if state == "Master" else "Master" for vrid, state in SETTLED.items()}


def columns(frr, agent, column):
    """{vrid: value} of one vrrpOperTable column."""
    prefix = f"{OPER_TABLE}.1.{column}."
    return {int(o.rsplit(".", 1)[1]): v for o, v in frr.walk(agent, OPER_TABLE).items()
            if o.startswith(prefix)}


def view(frr, agent):
    """The table without vrrpOperUpTime, and when each router came up by it (seconds ago)."""
    table, now = frr.walk(agent, OPER_TABLE), time.monotonic()
    up = {o: now - int(v) / 100 for o, v in table.items() if f"{OPER_TABLE}.1.13." in o}
    return {o: v for o, v in table.items() if o not in up}, up


def test_no_false_alarm_from_lost_events_or_a_stall_and_true_ones_after_a_restart(lab):
    reason = frr_lab.available()
    if reason:
        pytest.skip(reason)
    frr = frr_lab.FrrLab(lab, ROUTERS)
    try:
        here, there = frr.sides["here"], frr.sides["there"]
        assert wait_until(lambda: settled(here, SETTLED) and settled(there, THERE), 30)
        lost_events(lab, frr)
        stall_kill_restart(lab, frr)
    finally:
        frr.close()


def lost_events(lab, frr):
    # A receive buffer for one event: a burst of link changes overflows it at once.
    here = frr.sides["here"]
    trapd = lab.trapd(free_port(), here.exec())
    agent = frr.agent(int(trapd.sink.rsplit(":", 1)[1]), "Sources/1,FhrpSnmpEntry/7",
                      dict(lab.env, FHRP_NETLINK_RCVBUF="1"))
    assert wait_until(lambda: columns(frr, agent, 3) == {21: "3", 22: "2", 23: "3", 24: "2"}, 10)
    announced = len(trapd.new_masters())
    here.ip_batch([f"link add burst{i} type veth peer name burst{i}p" for i in range(100)] +
                  [f"link set burst{i} up" for i in range(100)] +
                  [f"link del burst{i}" for i in range(100)])
    assert agent.wait_for("rtnetlink lost events"), agent.log()
    time.sleep(1)
    assert "Deleting OperEntry" not in agent.log()
    assert len(trapd.new_masters()) == announced
    agent.stop()


def stall_kill_restart(lab, frr):
    here = frr.sides["here"]
    trapd = lab.trapd(free_port(), here.exec())
    agent = frr.agent(int(trapd.sink.rsplit(":", 1)[1]))
    # Up, and the backups heard their master's adverts.
    there = frr.sides["there"].address
    assert wait_until(lambda: columns(frr, agent, 7) == {21: here.address, 22: there,
                                                         23: here.address, 24: there}, 10)
    table, up = view(frr, agent)
    announced = len(trapd.new_masters())

    # Stopped and continued: vrrpd is slow, not gone.
    os.kill(here.vrrpd.pid, signal.SIGSTOP)
    time.sleep(5)
    os.kill(here.vrrpd.pid, signal.SIGCONT)
    assert agent.count("vrrpd has not answered for 3 s") == 1, agent.log()
    assert agent.wait_for("vrrpd answers again")
    table_after, up_after = view(frr, agent)
    assert table_after == table
    assert all(abs(up_after[o] - t) < 0.2 for o, t in up.items()), (up, up_after)
    assert len(trapd.new_masters()) == announced
    assert "vrrpd does not answer" not in agent.log()

    # Killed: gone, its routers initialize within 2 s, with one warning.
    announced = {vrid: new_masters(trapd, here, vrid) for vrid in SETTLED}
    os.kill(here.vrrpd.pid, signal.SIGKILL)
    assert wait_until(lambda: set(columns(frr, agent, 3).values()) == {"1"}, 2)
    assert agent.wait_for("vrrpd does not answer")

    # Restarted: a notification for each router that really became master again.
    entered = Counter(v for _, v in here.transitions())
    here.start_vrrpd()
    assert wait_until(lambda: settled(here, SETTLED), 30)
    entered = Counter(v for _, v in here.transitions()) - entered
    for vrid in SETTLED:
        want = announced[vrid] + entered[vrid]
        assert wait_until(lambda: new_masters(trapd, here, vrid) == want, 5), \
            (vrid, entered, trapd.new_masters())
    assert agent.log().count("vrrpd does not answer") == 1
    assert agent.log().count("vrrpd has not answered") == 1
