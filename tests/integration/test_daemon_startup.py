"""fhrp-snmpd's start-up as an operator meets it: a failed start says why in one line, under
AgentX it is ready only once the master took the MIB, the standalone agent answers the system
group; and the plug-in follows a document that comes after snmpd or that snmpd cannot read."""
import os
import signal
import socket
from pathlib import Path

import pytest

from harness import FHRP_PLUGIN, LAB_JSON, OPER_TABLE, SANITIZED, VRRP, get, snmp, wait_until

NODE_VERSION = VRRP + ".1.1.0"
DROP_PRIVILEGES = ("setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups")
NOWHERE = ["--listen", "udp:127.0.0.1:1"]  # never opened: the start fails before


def unprivileged_port_161(lab, state):
    if os.geteuid() != 0 or int(Path("/proc/sys/net/ipv4/ip_unprivileged_port_start")
                                .read_text()) <= 161:
        pytest.skip("needs root to drop, and port 161 privileged")
    lab.dir.chmod(0o755)
    return ["--state", state, "--listen", "udp:127.0.0.1:161"], "Permission denied", \
        DROP_PRIVILEGES


def busy_port(lab, state):
    held = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    held.bind(("127.0.0.1", 0))
    lab.held = held  # open until the test ends
    port = held.getsockname()[1]
    return ["--state", state, "--listen", f"udp:127.0.0.1:{port}"], \
        f"cannot listen on udp:127.0.0.1:{port}: Address already in use"


# Each case: its arguments, the reason its one line must give, and a wrapper to run it in.
BAD_STARTS = {
    "bad document": lambda lab, state: (
        ["--state", lab.write("bad.json", '{"interfaces": []}'), *NOWHERE],
        "bad.json: $.interfaces: expected an object"),
    "missing document": lambda lab, state: (["--state", lab.dir / "missing", *NOWHERE],
                                            "missing: no such file"),
    "unknown argument": lambda lab, state: (["--state", state, "--bogus"],
                                            "unknown argument '--bogus'"),
    # Without the users and rules it holds the agent would be open: no start.
    "missing --config": lambda lab, state: (
        ["--state", state, *NOWHERE, "--config", lab.dir / "missing"],
        f"cannot read --config {lab.dir / 'missing'}"),
    "rejected --config line": lambda lab, state: (
        ["--state", state, *NOWHERE, "--config",
         lab.write("agent.conf", 'createUser bad SHA-999 "x"\n')],
        "agent.conf: line 1: unknown authProtocol"),
    "unknown --config token": lambda lab, state: (
        ["--state", state, *NOWHERE, "--config", lab.write("agent.conf", "rocomunity x\n")],
        "agent.conf: line 1: Unknown token: rocomunity"),
    "unknown sink": lambda lab, state: (
        ["--state", state, *NOWHERE, "--trap-sink", "nosuchhost.invalid:162"],
        "--trap-sink nosuchhost.invalid:162: unknown host"),
    "unknown trace handle": lambda lab, state: (["--state", state, "--trace", "Snmp/1,Nope"],
                                                "--trace: unknown handle 'Nope'"),
    "community under agentx": lambda lab, state: (
        ["--state", state, "--agentx", lab.dir / "ax", "--community", "c"],
        "--community does not apply under --agentx"),
    "sink under agentx": lambda lab, state: (
        ["--state", state, "--agentx", lab.dir / "ax", "--trap-sink", "h:162"],
        "--trap-sink does not apply under --agentx"),
    "busy port": busy_port,
    "address not on this host": lambda lab, state: (
        ["--state", state, "--listen", "udp:192.0.2.77:1161"],
        "cannot listen on udp:192.0.2.77:1161: Cannot assign requested address"),
    "port 161 unprivileged": unprivileged_port_161,
}


@pytest.mark.parametrize("case", BAD_STARTS)
def test_a_bad_start_exits_2_with_one_line_naming_the_reason(lab, case):
    state = lab.state()
    state.chmod(0o644)
    args, reason, *wrapper = BAD_STARTS[case](lab, state)
    daemon = lab.daemon(*args, state=False, listen=False, wait=False, wrapper=wrapper[0] if wrapper else ())
    assert daemon.wait(30) == 2, daemon.describe()
    lines = daemon.log().splitlines()
    assert len(lines) == 1 and lines[0].startswith("fhrp-snmpd: ") and reason in lines[0], \
        daemon.describe()


def test_under_agentx_ready_comes_once_the_master_took_the_mib(lab):
    socket_path = lab.dir / "agentx.sock"
    daemon = lab.daemon("--agentx", socket_path, listen=False, wait=False)
    assert daemon.wait_for(f"waiting for the AgentX master at {socket_path}: "
                           "No such file or directory"), daemon.describe()
    assert "ready on" not in daemon.log()
    snmpd = lab.snmpd()
    assert daemon.wait_for(f"fhrp-snmpd: ready on {socket_path}", 30), daemon.describe()
    assert get(snmpd.address, NODE_VERSION) == {NODE_VERSION: "2"}

    second = lab.daemon("--agentx", socket_path, listen=False, wait=False)
    assert second.wait(30) == 2, second.describe()
    assert second.log().splitlines()[-1] == (
        f"fhrp-snmpd: the AgentX master at {socket_path} refused to register the VRRP-MIB: "
        "duplicateRegistration (another subagent already serves it)")
    assert "ready on" not in second.log()


def test_the_standalone_agent_answers_the_system_and_engine_groups(lab):
    conf = lab.write("agent.conf", "sysName edge-1\nsysContact noc@example.net\n"
                                   "sysLocation rack 4\n")
    daemon = lab.daemon("--config", conf)
    system = ".1.3.6.1.2.1.1."
    names = {"1.0": "sysDescr", "2.0": "sysObjectID", "3.0": "sysUpTime", "4.0": "sysContact",
             "5.0": "sysName", "6.0": "sysLocation"}
    answered = {oid: kind for oid, kind, _ in snmp("snmpget", daemon.address,
                                                   *(system + n for n in names))}
    assert all(kind not in ("noSuchObject", "noSuchInstance") for kind in answered.values()), \
        answered
    values = get(daemon.address, system + "4.0", system + "5.0", system + "6.0")
    assert list(values.values()) == ["noc@example.net", "edge-1", "rack 4"]
    # The engine group: snmpEngineBoots counts this start.
    assert get(daemon.address, ".1.3.6.1.6.3.10.2.1.2.0") == {".1.3.6.1.6.3.10.2.1.2.0": "1"}


def test_the_plugin_serves_a_document_created_after_snmpd_started(lab):
    if SANITIZED:
        pytest.skip("an instrumented plug-in cannot load into snmpd")
    state = lab.dir / "run" / "state.json"
    trapd = lab.trapd()
    snmpd = lab.snmpd([f"trap2sink {trapd.sink} public", f"dlmod fhrpsnmp {FHRP_PLUGIN}",
                       f"fhrpStateFile {state}"])
    assert get(snmpd.address, NODE_VERSION) == {NODE_VERSION: "2"}
    assert [kind for _, kind, _ in snmp("snmpwalk", snmpd.address, OPER_TABLE)] == ["noSuchObject"]
    lab.write("run/state.json", LAB_JSON.read_text())
    assert wait_until(lambda: len(snmp("snmpwalk", snmpd.address, OPER_TABLE)) == 8 * 14, 15), \
        snmpd.describe()
    # The lab's three masters are announced: their becoming master was never seen.
    assert trapd.wait_for_count(3) == 3, trapd.log()

    # snmpd reloads its configuration, which names another document now.
    other = lab.write("other.json", "{}")
    conf = lab.dir / "snmpd.conf"
    conf.write_text(conf.read_text().replace(str(state), str(other)))
    os.kill(snmpd.pid, signal.SIGHUP)
    assert wait_until(lambda: [kind for _, kind, _ in snmp("snmpwalk", snmpd.address, OPER_TABLE)]
                      == ["noSuchObject"], 15), snmpd.describe()


def test_the_plugin_names_the_user_that_cannot_read_its_document(lab):
    if SANITIZED or os.geteuid() != 0:
        pytest.skip("needs an uninstrumented plug-in and root for snmpd to drop")
    lab.dir.chmod(0o755)
    state = lab.state()
    state.chmod(0o600)  # as root reads its configuration, but not the user it becomes
    snmpd = lab.snmpd(["agentuser nobody", "agentgroup nogroup",
                       f"dlmod fhrpsnmp {FHRP_PLUGIN}", f"fhrpStateFile {state}"])
    assert snmpd.wait_for(f"fhrp-snmp: rejected {state}: permission denied for user nobody"), \
        snmpd.describe()
    state.chmod(0o644)
    assert wait_until(lambda: len(snmp("snmpwalk", snmpd.address, OPER_TABLE)) == 8 * 14, 15), \
        snmpd.describe()
