# SPDX-License-Identifier: Apache-2.0
"""Bursts of new masters: 2,000 virtual routers master at start, then all backup, then all master
again. The agent must answer throughout and every notification must reach a local snmptrapd,
the three ways the module runs. Run with -s for the figures."""
import json
import socket
import subprocess
import threading
import time
from collections import Counter

import pytest

from harness import ASSO_TABLE, FHRP_PLUGIN, GEN_STATE, OPER_TABLE, SANITIZED, snmp

ROUTERS = 2000
OPER_STATE = OPER_TABLE + ".1.3"
OPER_MASTER_IP = OPER_TABLE + ".1.7"
ASSO_STATUS = ASSO_TABLE + ".1.2"


def document(state):
    return subprocess.run([GEN_STATE, str(ROUTERS), "--all", state], capture_output=True,
                          text=True, check=True).stdout


# vrrpNodeVersion.0 as encoded in a varbind, and the same varbind with the value 2.
NODE_VERSION_NAME = b"\x06\x09" + bytes([0x2B, 6, 1, 2, 1, 68, 1, 1, 0])
NODE_VERSION_TWO = NODE_VERSION_NAME + b"\x02\x01\x02"


def get_request(request_id):
    """A v2c GET of vrrpNodeVersion.0, community public, encoded by hand: building each request
    with pysnmp costs the poller more time than the agent takes to answer."""
    varbinds = b"\x30\x0f\x30\x0d" + NODE_VERSION_NAME + b"\x05\x00"
    pdu = b"\x02\x04" + request_id.to_bytes(4, "big") + b"\x02\x01\x00\x02\x01\x00" + varbinds
    body = b"\x02\x01\x01\x04\x06public\xa0" + bytes([len(pdu)]) + pdu
    return b"\x30" + bytes([len(body)]) + body


class Poller(threading.Thread):
    """A GET every 50 ms until stopped, each given 1 s; keeps the slowest answer and every GET
    that went unanswered."""

    def __init__(self, agent):
        super().__init__(daemon=True)
        host, port = agent.rsplit(":", 1)
        self.agent, self.slowest, self.failures, self.polls = (host, int(port)), 0.0, [], 0
        self._done = threading.Event()

    def run(self):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
            s.settimeout(1.0)
            while not self._done.is_set():
                request_id = 0x10000000 + self.polls
                start = time.monotonic()
                s.sendto(get_request(request_id), self.agent)
                try:
                    answer = b""
                    while request_id.to_bytes(4, "big") not in answer:
                        answer = s.recv(2048)  # or a late answer to an earlier GET
                    if not answer.endswith(NODE_VERSION_TWO):
                        self.failures.append(f"GET {self.polls} answered {answer.hex()}")
                except socket.timeout:
                    self.failures.append(f"GET {self.polls} unanswered after 1 s")
                self.slowest = max(self.slowest, time.monotonic() - start)
                self.polls += 1
                self._done.wait(0.05)

    def stop(self):
        self._done.set()
        self.join()


@pytest.mark.parametrize("way", ["standalone", "agentx", "plugin"])
def test_mass_failovers_deliver_every_notification_while_the_agent_answers(lab, way):
    masters, backups = document("master"), document("backup")
    trapd = lab.trapd()
    if way == "standalone":
        started = time.monotonic()
        ours = lab.daemon("--trap-sink", trapd.sink, state=masters)
        agent, state, logs = ours.address, ours.state_path, [ours]
    elif way == "agentx":
        snmpd = lab.snmpd([f"trap2sink {trapd.sink} public"])
        started = time.monotonic()
        ours = lab.daemon("--agentx", str(snmpd.agentx), state=masters, listen=False)
        agent, state, logs = snmpd.address, ours.state_path, [ours, snmpd]
    else:
        if SANITIZED:
            pytest.skip("an instrumented plug-in cannot load into snmpd")
        state = lab.state(masters)
        started = time.monotonic()
        snmpd = lab.snmpd([f"trap2sink {trapd.sink} public", f"dlmod fhrpsnmp {FHRP_PLUGIN}",
                           f"fhrpStateFile {state}"])
        agent, logs = snmpd.address, [snmpd]
    poller = Poller(agent)
    poller.start()

    def received(n, since):
        got = trapd.wait_for_count(n, timeout=120)
        assert got == n, f"{got} of {n} notifications arrived\n" + logs[0].describe()
        return time.monotonic() - since

    first = received(ROUTERS, started)
    switched = time.monotonic()
    replace(state, backups)
    # All backup: no notification, and every row says so before the routers come back.
    assert wait_until_rows(agent, "2", ROUTERS), "the backup document was not applied"
    settled = time.monotonic() - switched
    again = time.monotonic()
    replace(state, masters)
    second = received(2 * ROUTERS, again)
    poller.stop()

    # Each router's notification arrived once per failover, not merely the right count.
    instances = Counter(oid for n in trapd.new_masters() for oid in n if
                        oid.startswith(OPER_MASTER_IP + "."))
    assert len(instances) == ROUTERS and set(instances.values()) == {2}
    assert wait_until_rows(agent, "3", ROUTERS)
    addresses = sum(len(r["ipAddrs"]) for intf in json.loads(masters)["vrrpStatus"].values()
                    for r in intf.values())
    assert len(snmp("snmpbulkwalk", agent, ASSO_STATUS, options=["-Cr50"])) == addresses
    assert not poller.failures, poller.failures
    assert poller.slowest < 1.0
    assert sum(p.log().count("notification queue drained: 2000 sent") for p in logs) == 2

    cpu = ", ".join(f"{p.argv[0].rsplit('/', 1)[-1]} {p.cpu_seconds():.2f} s" for p in logs)
    print(f"\n[{way}] {2 * ROUTERS} notifications: first {ROUTERS} in {first:.1f} s from start, "
          f"second {ROUTERS} in {second:.1f} s from the document (total {first + second:.1f} s; "
          f"all-backup applied in {settled:.1f} s); slowest of {poller.polls} GETs "
          f"{poller.slowest * 1000:.0f} ms; CPU {cpu}")


def replace(path, text):
    """As a publisher should: written aside, then renamed over the document."""
    aside = path.with_name(path.name + ".new")
    aside.write_text(text)
    aside.rename(path)


def wait_until_rows(agent, state, n, timeout=60):
    """True once all `n` rows of vrrpOperTable report `state`."""
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        states = [v for _, _, v in snmp("snmpbulkwalk", agent, OPER_STATE, options=["-Cr50"])]
        if len(states) == n and set(states) == {state}:
            return True
        time.sleep(0.2)
    return False
