# SPDX-License-Identifier: Apache-2.0
"""fhrp-snmpd standalone, as AgentX subagent and as plug-in; live edits; the SNMPv3 set-up."""
import os
import signal
import socket

import pytest

from harness import (ASSO_TABLE, FHRP_PLUGIN, OPER_TABLE, SANITIZED, SNMP_TRAP_OID, VRRP,
                     get, in_order, masked, run_tool, snmp, state_doc, vr, wait_until)

# The lab example: eight version-2 routers with fourteen served columns each (its version-3
# router stays out) and eleven associated addresses.
LAB_BINDINGS = 2 + 8 * 14 + 11
NODE_VERSION, NOTIFICATION_CNTL = VRRP + ".1.1.0", VRRP + ".1.2.0"
FIRST_ADDR = ASSO_TABLE + ".1.2.1.1.192.0.2.1"


def col(column, if_index, vrid):
    return f"{OPER_TABLE}.1.{column}.{if_index}.{vrid}"


def serve(lab, way, *args):
    """The address serving the lab example the given way, with write community `private`."""
    if way == "standalone":
        conf = lab.write("agent.conf", "rwcommunity private 127.0.0.1\n")
        return lab.daemon("--config", conf, *args).address
    rw = ["rwcommunity private 127.0.0.1"]
    if way == "agentx":
        lab.master = lab.snmpd(rw)
        lab.daemon("--agentx", str(lab.master.agentx), *args, listen=False)
        assert wait_until(lambda: len(snmp("snmpwalk", lab.master.address, VRRP, check=False))
                          == LAB_BINDINGS, 30)
        return lab.master.address
    if SANITIZED:
        pytest.skip("an instrumented plug-in cannot load into snmpd")
    return lab.snmpd([*rw, f"dlmod fhrpsnmp {FHRP_PLUGIN}", f"fhrpStateFile {lab.state()}"]).address


@pytest.mark.parametrize("way", ["standalone", "agentx", "plugin"])
def test_serves_the_lab_example_and_refuses_every_set(lab, way):
    agent = serve(lab, way)
    walk = snmp("snmpwalk", agent, VRRP)
    assert len(walk) == LAB_BINDINGS and in_order(walk)
    served = {oid: (kind, value) for oid, kind, value in walk}
    # States 3 master, 2 backup, 1 initialize; a master's master address is its own, a backup's
    # the master's source address; authType 2 is simpleTextPassword, whose key is never disclosed.
    expected = {
        NODE_VERSION: "2", NOTIFICATION_CNTL: "1", col(3, 1, 1): "3", col(3, 1, 2): "2",
        col(3, 1, 3): "1", col(4, 1, 1): "1", col(5, 1, 1): "200", col(6, 1, 1): "2",
        col(7, 1, 1): "192.0.2.2", col(7, 1, 2): "192.0.2.3", col(7, 1, 3): "0.0.0.0",
        col(8, 2, 11): "0.0.0.0", col(9, 2, 11): "2", col(10, 2, 11): "", col(11, 1, 1): "1",
        col(12, 1, 1): "1", col(13, 1, 3): "0", col(14, 100100, 100): "1",
        col(15, 100100, 101): "1", FIRST_ADDR: "1", col(2, 1, 1): "\x00\x00\x5e\x00\x01\x01"}
    assert {oid: served.get(oid, ("missing", ""))[1] for oid in expected} == expected
    assert served[col(7, 1, 1)][0] == "IpAddress"
    assert served[col(13, 1, 1)][0] == "Timeticks" and int(served[col(13, 1, 1)][1]) > 0
    assert not any("s3cret" in value for _, _, value in walk)
    assert masked(snmp("snmpbulkwalk", agent, VRRP, options=["-Cr7"])) == masked(walk)

    some = [NODE_VERSION, NOTIFICATION_CNTL, col(7, 1, 1), col(15, 100100, 101), FIRST_ADDR]
    assert snmp("snmpget", agent, *some) == [(oid, *served[oid]) for oid in some]
    assert [kind for _, kind, _ in snmp("snmpget", agent, col(1, 1, 1), col(16, 1, 1),
                                        col(3, 1, 4))] == \
        ["noSuchObject", "noSuchObject", "noSuchInstance"]

    # Every column, scalar and SNMP version: test_hostile.py.
    for oid in (NOTIFICATION_CNTL, col(5, 1, 1), FIRST_ADDR):
        done = run_tool("snmpset", agent, oid, "i", "2", community="private", env=lab.env)
        assert "notWritable" in done.stderr, f"SET {oid}: {done.stdout}{done.stderr}"
    assert masked(snmp("snmpwalk", agent, VRRP)) == masked(walk)
    # A subagent pings its master every 2 s: served again soon after each restart of it.
    for _ in range(2 if way == "agentx" else 0):
        lab.master.stop()
        lab.master = lab.snmpd(["rwcommunity private 127.0.0.1"])  # another UDP port
        assert wait_until(lambda: masked(snmp("snmpwalk", lab.master.address, VRRP, check=False))
                          == masked(walk), 10, 0.2), lab.master.log()


def small_doc(master12=False, ip="10.0.0.2/24", v13=2):
    # One interface, ifIndex 7; vr 12 backup (or master), vr 13 master. Routers that come and go
    # with their addresses: test_churn.py.
    routers = {12: vr("master" if master12 else "backup", "10.0.0.2" if master12 else "10.0.0.3",
                      ["10.0.0.1"]),
               13: vr("master", "10.0.0.2", ["10.0.0.100"], version=v13, up_since=1763760000)}
    return state_doc({"Ethernet7": (7, ip, routers)})


def announced(trapd, vrid, before=0, timeout=15):
    """The new-master notifications naming router `vrid`, once more than `before` arrived."""
    mine = lambda: [n for n in trapd.new_masters() if col(7, 7, vrid) in n]
    wait_until(lambda: len(mine()) > before, timeout, 0.1)
    return mine()


def test_follows_the_state_document_and_sends_new_master_traps(lab):
    trapd, quiet = lab.trapd(), lab.trapd()
    daemon = lab.daemon("--trap-sink", trapd.sink, state=small_doc())
    # Another agent on the same document, its notifications switched off: it announces nothing.
    off = lab.daemon("--trap-sink", quiet.sink, "--notifications", "off", state=small_doc())
    agent = daemon.address
    value = lambda oid: get(agent, oid)[oid]
    # A router that is master when the agent starts is announced once it knows its address.
    assert len(announced(trapd, 13)) == 1, trapd.log()

    # Failover: the backup takes over; exactly the two variables, in order, after sysUpTime.
    daemon.replace_state(small_doc(master12=True))
    traps = announced(trapd, 12)
    assert len(traps) == 1, trapd.log() + daemon.log()
    assert list(traps[0]) == [".1.3.6.1.2.1.1.3.0", SNMP_TRAP_OID, col(7, 7, 12)]
    assert traps[0][col(7, 7, 12)] == "10.0.0.2"
    assert value(col(3, 7, 12)) == "3"

    # The interface loses its address: masters report no master address until it returns.
    daemon.replace_state(small_doc(master12=True, ip=None))
    assert wait_until(lambda: value(col(7, 7, 13)) == "0.0.0.0")
    daemon.replace_state(small_doc(master12=True, ip="10.0.0.5/24"))
    assert wait_until(lambda: value(col(7, 7, 13)) == "10.0.0.5")

    # Version 2 -> 3 removes the router's rows; back to 2 restores them and announces it again.
    daemon.replace_state(small_doc(master12=True, ip="10.0.0.5/24", v13=3))
    assert wait_until(lambda: "No Such Instance" in value(col(3, 7, 13)))
    assert "No Such Instance" in value(ASSO_TABLE + ".1.2.7.13.10.0.0.100")
    daemon.replace_state(small_doc(master12=True, ip="10.0.0.5/24"))
    traps = announced(trapd, 13, before=1)
    assert len(traps) == 2, trapd.log() + daemon.log()
    assert traps[1][col(7, 7, 13)] == "10.0.0.5"
    assert value(ASSO_TABLE + ".1.2.7.13.10.0.0.100") == "1"
    assert get(off.address, col(3, 7, 12))[col(3, 7, 12)] == "3"
    assert quiet.new_masters() == [], quiet.log()


AUTH_PASS, PRIV_PASS = "auth-pass-phrase-1", "priv-pass-phrase-1"


def v3(level, user="opsuser", auth=AUTH_PASS, priv=PRIV_PASS):
    return ["-v3", "-t", "1", "-r", "0", "-l", level, "-u", user,
            *(["-a", "SHA-256", "-A", auth] if level != "noAuthNoPriv" else []),
            *(["-x", "AES", "-X", priv] if level == "authPriv" else [])]


# Lower levels, wrong pass phrases, an unknown user, the community over SNMPv2c and v1.
REFUSED = [v3("authNoPriv"), v3("noAuthNoPriv"), v3("authPriv", auth="wrong-pass"),
           v3("authPriv", priv="wrong-pass"), v3("authPriv", user="intruder"),
           ["-t", "1", "-r", "0"], ["-v1", "-t", "1", "-r", "0"]]


# One SNMPv3 user with authentication and privacy, no community. Only that user, with both its
# pass phrases, gets anything; nothing it gets or the agent stores discloses a secret. The engine
# and the user outlive restarts, so the createUser line can leave the configuration.
def test_only_the_authpriv_user_gets_anything_and_no_secret_leaks(lab):
    rouser = f"rouser opsuser authpriv {VRRP}\n"
    create = f'createUser opsuser SHA-256 "{AUTH_PASS}" AES "{PRIV_PASS}"\n'
    stored = lab.dir / "persist" / "fhrp-snmpd.conf"
    engine = None
    for run in (1, 2):
        conf = lab.write("agent.conf", create + rouser if run == 1 else rouser)
        daemon = lab.daemon("--config", conf, "--no-community")
        # Under load in the sanitizer build the first walk after a restart once went unanswered
        # for 5 s: retried, as a manager would.
        walk = snmp("snmpwalk", daemon.address, VRRP, options=v3("authPriv") + ["-t3", "-r2"],
                    env=lab.env)
        assert len(walk) == LAB_BINDINGS
        assert snmp("snmpset", daemon.address, NODE_VERSION, "i", "3", options=v3("authPriv"),
                    env=lab.env, check=False) == []
        if run == 1:  # once: a restart changes no rule
            for options in REFUSED:
                assert snmp("snmpget", daemon.address, NODE_VERSION, options=options,
                            env=lab.env, check=False) == [], options
        assert daemon.stop() == 0, daemon.describe()
        text = stored.read_text()
        for secret in (AUTH_PASS, PRIV_PASS, "s3cret"):
            assert secret not in daemon.log() and secret not in text, secret
        tokens = dict(line.split(" ", 1) for line in text.splitlines() if " " in line)
        assert "usmUser" in tokens and tokens["engineBoots"] == str(run)
        engine = engine or tokens["oldEngineID"]
        assert tokens["oldEngineID"] == engine
        if run == 1:
            # Failed starts, the createUser line already gone, write nothing (the second one after
            # net-snmp read the persistent file): the next start still knows the user, and its
            # boot is the second.
            lab.write("agent.conf", rouser)
            with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as held:
                held.bind(("127.0.0.1", 0))
                busy = f"udp:127.0.0.1:{held.getsockname()[1]}"
                for args in (["--state", lab.write("bad.json", '{"interfaces": []}')],
                             ["--state", lab.state(), "--listen", busy]):
                    failed = lab.daemon(*args, "--config", conf, "--no-community", state=False,
                                        listen=False, wait=False)
                    assert failed.wait(30) == 2, failed.describe()
    assert os.stat(stored).st_mode & 0o777 == 0o600


def test_a_killed_agent_kept_its_users_and_its_boot_counter(lab):
    # SIGKILL, an abort, the OOM killer: nothing runs at the end. What must outlive the process
    # (the user made by createUser, the boot counter managers check for replays) was written
    # once the agent was ready.
    rouser = "rouser opsuser authpriv\n"
    conf = lab.write("agent.conf", f'createUser opsuser SHA-256 "{AUTH_PASS}" AES "{PRIV_PASS}"\n'
                     + rouser)
    boots = []
    for _ in range(2):
        daemon = lab.daemon("--config", conf, "--no-community")
        boots += [int(v) for _, _, v in snmp("snmpget", daemon.address, ".1.3.6.1.6.3.10.2.1.2.0",
                                             options=v3("authPriv"), env=lab.env)]
        os.kill(daemon.pid, signal.SIGKILL)
        daemon.wait()
        conf = lab.write("agent.conf", rouser)
    assert boots[1] > boots[0], boots
