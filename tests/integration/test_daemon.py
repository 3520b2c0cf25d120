"""fhrp-snmpd as operators run it: standalone, as AgentX subagent of Debian's snmpd, and as a
plug-in loaded into snmpd."""
import pytest

from harness import ASSO_TABLE, FHRP_PLUGIN, OPER_TABLE, SANITIZED, VRRP, get, snmp

# The lab example: eight version-2 routers with fourteen served columns each (its version-3
# router stays out) and eleven associated addresses.
LAB_BINDINGS = 2 + 8 * 14 + 11


def serve(lab, way, *args):
    """Runs the module the given way on the lab example; the address that answers for it."""
    if way == "standalone":
        return lab.daemon(*args).address
    if way == "agentx":
        snmpd = lab.snmpd()
        lab.daemon("--agentx", str(snmpd.agentx), *args, listen=False)
        return snmpd.address
    if SANITIZED:
        pytest.skip("an instrumented plug-in cannot load into snmpd")
    return lab.snmpd([f"dlmod fhrpsnmp {FHRP_PLUGIN}", f"fhrpStateFile {lab.state()}"]).address


@pytest.mark.parametrize("way", ["standalone", "agentx", "plugin"])
def test_serves_the_lab_example(lab, way):
    agent = serve(lab, way)
    walk = snmp("snmpbulkwalk", agent, VRRP)
    assert len(walk) == LAB_BINDINGS
    assert [oid for oid, _, _ in walk] == sorted(
        (oid for oid, _, _ in walk), key=lambda o: [int(x) for x in o.strip(".").split(".")])
    assert get(agent, VRRP + ".1.1.0", OPER_TABLE + ".1.3.1.1", ASSO_TABLE + ".1.2.1.1.192.0.2.1") \
        == {VRRP + ".1.1.0": "2", OPER_TABLE + ".1.3.1.1": "3",
            ASSO_TABLE + ".1.2.1.1.192.0.2.1": "1"}
