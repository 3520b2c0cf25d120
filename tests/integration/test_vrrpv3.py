# SPDX-License-Identifier: Apache-2.0
"""The VRRPv3-MIB: the same rows standalone, as AgentX subagent and as plug-in, every SET
refused, new masters announced with their reason."""
import json
from pathlib import Path

import pytest

from harness import (FHRP_PLUGIN, SANITIZED, SNMP_TRAP_OID, in_order, masked, run_tool, snmp,
                     wait_until)

V3 = ".1.3.6.1.2.1.207"
OPER = V3 + ".1.1.1.1"
STATS = V3 + ".1.2.5.1"
# A version 2 router, a version 3 IPv4 router, a version 3 IPv6 router with two addresses and a
# dual-stack version 3 router that is shut down.
DOC = json.loads(Path(__file__).with_name("vrrpv3-lab.json").read_text())
# 4 rows of 11 operations and 13 statistics columns, 5 addresses, 4 router-wide scalars.
BINDINGS = 4 * 11 + 5 + 4 + 4 * 13


def serve(lab, way, state):
    rw = ["rwcommunity private 127.0.0.1"]
    if way == "standalone":
        conf = lab.write("agent.conf", rw[0] + "\n")
        return lab.daemon("--config", conf, state=state).address
    if way == "agentx":
        lab.master = lab.snmpd(rw)
        lab.daemon("--agentx", str(lab.master.agentx), listen=False, state=state)
        assert wait_until(lambda: len(snmp("snmpwalk", lab.master.address, V3, check=False))
                          == BINDINGS, 30)
        return lab.master.address
    if SANITIZED:
        pytest.skip("an instrumented plug-in cannot load into snmpd")
    return lab.snmpd([*rw, f"dlmod fhrpsnmp {FHRP_PLUGIN}",
                      f"fhrpStateFile {lab.state(state)}"]).address


@pytest.mark.parametrize("way", ["agentx", "plugin"])
def test_every_way_serves_the_same_rows_and_refuses_every_set(lab, way):
    walk = snmp("snmpwalk", serve(lab, "standalone", json.dumps(DOC)), V3)
    assert len(walk) == BINDINGS and in_order(walk, root=V3)
    served = {oid: value for oid, _, value in walk}
    # The version 2 router stays out; the dual-stack router has two rows, notInService.
    assert not any(oid.endswith((".2.5.1", ".2.5.2")) for oid, _, _ in walk)
    assert served[f"{OPER}.6.3.7.2"] == "3" and served[f"{OPER}.13.4.8.1"] == "2"
    assert served[f"{OPER}.13.4.8.2"] == "2" and served[f"{STATS}.3.2.6.1"] == "4294967300"
    assert served[f"{V3}.1.2.3.0"] == "3"
    other = serve(lab, way, json.dumps(DOC))
    assert masked(snmp("snmpwalk", other, V3)) == masked(walk)
    assert masked(snmp("snmpbulkwalk", other, V3, options=["-Cr9"])) == masked(walk)
    for oid in (f"{OPER}.7.2.6.1", f"{STATS}.1.2.6.1", f"{V3}.1.1.2.1.2.2.6.1.4.192.0.2.99",
                f"{V3}.1.2.1.0"):
        done = run_tool("snmpset", other, oid, "i", "2", community="private", env=lab.env)
        assert "notWritable" in done.stderr, f"SET {oid}: {done.stdout}{done.stderr}"
    # Hostile indexes: noSuchInstance for a GET, the right next row for a GETNEXT.
    hostile = [f"{OPER}.3.2.6.{t}" for t in (0, 3, 4)] + \
              [f"{V3}.1.1.2.1.2.2.6.1.{n}.192.0.2.106" for n in (0, 5, 17)] + \
              [f"{V3}.1.1.2.1.2.2.6.1.4.192.0.2.362"]
    assert {kind for _, kind, _ in snmp("snmpget", other, *hostile)} == {"noSuchInstance"}
    assert [oid for oid, _, _ in snmp("snmpgetnext", other, f"{OPER}.3.2.6.0",
                                      f"{V3}.1.1.2.1.2.2.6.1.4.192.0.2.300")] == \
        [f"{OPER}.3.2.6.1", f"{V3}.1.1.2.1.2.3.7.2.16.32.1.13.184.0.7.0.0.0.0.0.0.0.0.0.1"]


def test_new_master_is_announced_with_its_reason(lab):
    trapd = lab.trapd()
    daemon = lab.daemon("--trap-sink", trapd.sink, state=json.dumps(DOC))
    doc = json.loads(json.dumps(DOC))
    router = doc["vrrpStatus"]["eth1"]["6"]
    router["state"], router["srcAddr"] = "master", "192.0.2.2"
    daemon.replace_state(json.dumps(doc))
    mine = lambda: [n for n in trapd.notifications() if n.get(SNMP_TRAP_OID) == V3 + ".0.1"]
    assert wait_until(lambda: mine(), 15, 0.1), trapd.log() + daemon.log()
    trap = mine()[0]
    # It heard a master of priority 200 above its own 150: the master stopped answering.
    assert list(trap)[1:] == [SNMP_TRAP_OID, f"{OPER}.3.2.6.1", f"{STATS}.2.2.6.1"]
    assert trap[f"{STATS}.2.2.6.1"] == "3"
    assert snmp("snmpget", daemon.address, f"{STATS}.1.2.6.1")[0][2] == "1"
