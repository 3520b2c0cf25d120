"""fhrp-snmpd --frr and the VRRPv3-MIB: version 3 routers of both families beside a version 2
one, every column of both MIBs against vrrpd and the kernel, through failover, preemption and a
shutdown, each entry into master announced with its reason."""
import ipaddress
from collections import Counter

import pytest

from harness import VRRP, free_port, wait_until
import frr_lab
from test_frr import expected, new_masters

V3 = ".1.3.6.1.2.1.207"
OPER, ASSO, STATS = V3 + ".1.1.1.1", V3 + ".1.1.2.1", V3 + ".1.2.5.1"
NEW_MASTER = V3 + ".0.1"
HALVES = {"v4": 1, "v6": 2}
STATE = {"Initialize": "1", "Backup": "2", "Master": "3"}
PRIORITY, PREEMPTED, MASTER_NO_RESPONSE = 1, 2, 3
# Router 20 is version 2; 21 version 3 IPv4, 22 IPv6 with two addresses, 23 both. This side backs
# up 20 to 22 and is master of 23.
ROUTERS = [
    {"vrid": 20, "priority": {"here": 100, "there": 200}, "interval": 100,
     "addresses": ["192.0.2.120"]},
    {"vrid": 21, "version": 3, "priority": {"here": 100, "there": 200}, "interval": 100,
     "addresses": ["192.0.2.121"]},
    {"vrid": 22, "version": 3, "priority": {"here": 100, "there": 200}, "interval": 200,
     "addresses": [], "addresses6": ["2001:db8:22::1", "2001:db8:22::2"]},
    {"vrid": 23, "version": 3, "priority": {"here": 200, "there": 100}, "interval": 100,
     "addresses": ["192.0.2.123"], "addresses6": ["2001:db8:23::1"]},
]


# ---- What waits on the advertisement listener hearing version 3 (IPv4 and IPv6) ----
# Until it does, a version 3 backup hears no master: its master address reads zero, and an entry
# into master cannot be told a preemption (no priority heard), so it reads masterNoResponse.
LISTENER_HEARS_VRRPV3 = False


def heard_master(frr, router, half):
    """A version 3 backup's master: the peer's address (IPv6: its macvlan's link-local)."""
    if not LISTENER_HEARS_VRRPV3:
        return None
    there = frr.sides["there"]
    return there.address if half == "v4" else there.link_local(router[half]["interface"])


def preempted():
    return PREEMPTED if LISTENER_HEARS_VRRPV3 else MASTER_NO_RESPONSE


def priority_zero_heard(count):
    """Priority-0 advertisements the peer sent while this side was its backup."""
    return count if LISTENER_HEARS_VRRPV3 else 0
# ---- end ----


def octets(address, half):
    packed = ipaddress.ip_address(address).packed if address else bytes(4 if half == "v4" else 16)
    return packed.decode("latin-1")


def states(side):
    return {(v, h): r[h]["status"] for v, r in (side.show_vrrp() or {}).items() for h in HALVES
            if r[h]["addresses"]}


def settled(frr, here):
    """This side in the states `here`, the peer in the others'; both sides start as backups."""
    there = {k: {"Master": "Backup", "Backup": "Master"}[s] for k, s in here.items()}
    return states(frr.sides["here"]) == here and states(frr.sides["there"]) == there


class Want:
    """What the agent has seen happen to each row: entries into master, the reason of the last,
    shutdowns from master (priority-0 advertisements sent) and those the peer made."""

    def __init__(self):
        self.priorities = {r["vrid"]: r["priority"]["here"] for r in ROUTERS}
        self.entered, self.sent, self.reason = Counter(), Counter(), {}
        self.heard_zero = 0  # by each backup of the peer

    def became_master(self, rows, reason):
        for row in rows:
            self.entered[row] += 1
            self.reason[row] = reason


def expected_v3(frr, want, after):
    """The whole VRRPv3-MIB as vrrpd and the kernel say it should read; columns that move are
    checks of the value read, `after` what vrrpd says once the walk is done."""
    here = frr.sides["here"]
    if_index = here.if_index(here.parent)
    mib = {f"{V3}.1.2.{n}.0": "0" for n in (1, 2, 3, 4)}  # no error heard, no discontinuity
    for vrid, r in here.show_vrrp().items():
        for half, family in HALVES.items():
            h = r[half]
            if r["version"] != 3 or not h["addresses"]:
                continue
            row, key = f".{if_index}.{vrid}.{family}", (vrid, family)
            own = here.address if half == "v4" else here.link_local(h["interface"])
            master = {"Master": own, "Backup": heard_master(frr, r, half)}.get(h["status"])
            up = h["status"] != "Initialize"
            rx = lambda v, vrid=vrid, half=half: int(v) <= after()[vrid][half]["stats"]["adverRx"]
            columns = {3: octets(master, half), 4: octets(own, half),
                       5: bytes.fromhex(h["vmac"].replace(":", "")).decode("latin-1"),
                       6: STATE[h["status"]], 7: str(want.priorities[vrid]),
                       8: str(len(h["addresses"])), 9: str(r["advertisementInterval"] // 10),
                       10: "1" if r["preemptMode"] else "2", 11: "2" if half == "v4" else "1",
                       12: lambda v, up=up: (v != "0") == up, 13: "2" if r["shutdown"] else "1"}
            stats = {1: str(want.entered[key]),
                     2: str(want.reason[key] if h["status"] == "Master" else 0), 3: rx,
                     4: "0", 5: "0", 6: "0", 7: str(priority_zero_heard(want.heard_zero)),
                     8: str(want.sent[key]), 9: "0", 10: "0", 11: "0", 12: str.isdigit,
                     13: "1000"}
            # The peer's resignations reach its backups only: 23 is master here throughout.
            if vrid == 23:
                stats[7] = "0"
            mib.update({f"{OPER}.{c}{row}": v for c, v in columns.items()})
            mib.update({f"{STATS}.{c}{row}": v for c, v in stats.items()})
            for a in h["addresses"]:
                packed = ipaddress.ip_address(a).packed
                mib[f"{ASSO}.2{row}.{len(packed)}.{'.'.join(map(str, packed))}"] = "1"
    return mib


def assert_mibs(frr, agent, want, timeout=5):
    """Both MIBs, every column, until they read as vrrpd and the kernel say."""
    here, last = frr.sides["here"], {}

    def matches():
        read = []  # vrrpd's routers once the walk is done, read once
        after = lambda: read[0] if read else read.append(here.show_vrrp()) or read[0]
        v2 = expected(frr, here, want.priorities)
        for oid in [o for o, v in v2.items() if v is None]:  # vrrpOperUpTime: set when up
            up = v2[oid.replace(".1.13.", ".1.3.", 1)] != "1"
            v2[oid] = lambda v, up=up: (v != "0") == up
        wanted = {**v2, **expected_v3(frr, want, after)}
        got = {**frr.walk(agent, VRRP), **frr.walk(agent, V3)}
        last["diff"] = {o: (wanted.get(o), got.get(o)) for o in set(wanted) | set(got)
                        if o not in wanted or o not in got or
                        not (wanted[o](got[o]) if callable(wanted[o]) else wanted[o] == got[o])}
        return not last["diff"]

    if not wait_until(matches, timeout, 0.2):
        raise AssertionError(f"MIBs differ from vrrpd (oid: (vrrpd, agent)): {last['diff']}\n"
                             f"{agent.log()[-3000:]}")


def announced(trapd, frr):
    """vrrpv3NewMaster notifications as (vrid, family, master address octets, reason)."""
    if_index = frr.sides["here"].if_index(frr.sides["here"].parent)
    out = []
    for n in trapd.notifications():
        for oid, value in n.items():
            if oid.startswith(f"{OPER}.3.{if_index}."):
                row = oid[len(f"{OPER}.3"):]
                vrid, family = (int(x) for x in row.split(".")[2:])
                out.append((vrid, family, value, int(n[f"{STATS}.2{row}"])))
    return out


def test_version_3_routers_of_both_families_follow_vrrpd_and_the_kernel(lab):
    if frr_lab.available():
        pytest.skip(frr_lab.available())
    frr = frr_lab.FrrLab(lab, ROUTERS)
    try:
        run(lab, frr)
    finally:
        frr.close()


def run(lab, frr):
    here, there = frr.sides["here"], frr.sides["there"]
    start = {(20, "v4"): "Backup", (21, "v4"): "Backup", (22, "v6"): "Backup",
             (23, "v4"): "Master", (23, "v6"): "Master"}
    assert wait_until(lambda: settled(frr, start), 30, 0.2), states(here)
    trapd = lab.trapd(free_port(), here.exec())
    agent = frr.agent(int(trapd.sink.rsplit(":", 1)[1]))
    want = Want()
    want.reason.update({(23, 1): PRIORITY, (23, 2): PRIORITY})  # first seen master
    assert_mibs(frr, agent, want)
    own = {1: octets(here.address, "v4"), 2: octets(here.link_local("vrrp22v6"), "v6")}

    # Received advertisements grow on a backup.
    rx = lambda: {k: int(v) for k, v in frr.walk(agent, STATS + ".3").items()}
    before = rx()
    assert wait_until(lambda: all(rx()[k] > before[k] for k in before if ".21.1" in k or
                                  ".22.2" in k), 5), (before, rx())

    # Failover: the peer's vrrpd stops, resigning each router it was master of.
    there.stop_vrrpd()
    v2_before = new_masters(trapd, here, 20)
    want.heard_zero += 1
    assert wait_until(lambda: states(here) == {k: "Master" for k in start}, 5)
    want.became_master([(21, 1), (22, 2)], MASTER_NO_RESPONSE)
    assert_mibs(frr, agent, want)
    assert wait_until(lambda: len(announced(trapd, frr)) == 2, 5), trapd.log()
    assert sorted(announced(trapd, frr)) == [(21, 1, own[1], MASTER_NO_RESPONSE),
                                            (22, 2, own[2], MASTER_NO_RESPONSE)]
    assert wait_until(lambda: new_masters(trapd, here, 20) == v2_before + 1, 5)

    # It returns and takes its routers back at its higher priority: nothing to announce here.
    there.start_vrrpd()
    assert wait_until(lambda: settled(frr, start), 10), states(here)
    assert_mibs(frr, agent, want)

    # This side preempts at a priority above the peer's.
    for vrid in (21, 22):
        here.configure(f"vrrp {vrid} priority 250")
        want.priorities[vrid] = 250
    preempting = {**start, (21, "v4"): "Master", (22, "v6"): "Master"}
    assert wait_until(lambda: settled(frr, preempting), 5), states(here)
    want.became_master([(21, 1), (22, 2)], preempted())
    assert_mibs(frr, agent, want)
    assert wait_until(lambda: len(announced(trapd, frr)) == 4, 5), trapd.log()
    assert sorted(announced(trapd, frr)[2:]) == [(21, 1, own[1], preempted()),
                                                (22, 2, own[2], preempted())]

    # A shutdown of a master: priority 0 sent on both families, rows not in service. Back up, it
    # takes the router over again from the peer, at its higher priority.
    here.configure("vrrp 23 shutdown")
    assert wait_until(lambda: {s for (v, _), s in states(here).items() if v == 23} ==
                      {"Initialize"}, 5)
    want.sent.update([(23, 1), (23, 2)])
    assert_mibs(frr, agent, want)
    # Once the peer took over, so that this side preempts it.
    assert wait_until(lambda: {s for (v, _), s in states(there).items() if v == 23} ==
                      {"Master"}, 5)
    here.configure("no vrrp 23 shutdown")
    assert wait_until(lambda: settled(frr, preempting), 10), states(here)
    want.became_master([(23, 1), (23, 2)], preempted())
    assert_mibs(frr, agent, want)
    assert wait_until(lambda: len(announced(trapd, frr)) == 6, 5), trapd.log()
    assert sorted(announced(trapd, frr)[4:]) == [
        (23, 1, own[1], preempted()),
        (23, 2, octets(here.link_local("vrrp23v6"), "v6"), preempted())]
