"""fhrp-snmpd's start-up as an operator meets it: a failed start loses nothing and says why in
one line, under AgentX it is ready only once the master took the MIB, the standalone agent
answers the system group, and the plug-in follows a document that comes after snmpd."""
import os
import signal
import socket
import subprocess
from pathlib import Path

import pytest

from harness import FHRP_PLUGIN, LAB_JSON, OPER_TABLE, SANITIZED, VRRP, get, snmp, wait_until

NODE_VERSION = VRRP + ".1.1.0"
AUTH, PRIV = "auth-pass-phrase-1", "priv-pass-phrase-1"
DROP_PRIVILEGES = ("setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups")


def v3_get(lab, agent, oid):
    """One authPriv GET as user `ops`; the tool's exit status and output."""
    done = subprocess.run(
        ["snmpget", "-On", "-t", "2", "-r", "1", "-v3", "-l", "authPriv", "-u", "ops", "-a",
         "SHA-256", "-A", AUTH, "-x", "AES", "-X", PRIV, agent, oid],
        capture_output=True, text=True, env=lab.env, timeout=60)
    return done.returncode, done.stdout + done.stderr


def test_a_failed_start_keeps_the_snmpv3_user(lab):
    rouser = "rouser ops authpriv\n"
    conf = lab.write("agent.conf", f'createUser ops SHA-256 "{AUTH}" AES "{PRIV}"\n' + rouser)
    daemon = lab.daemon("--no-community", "--config", conf)
    assert v3_get(lab, daemon.address, NODE_VERSION)[0] == 0
    assert daemon.stop() == 0
    # As docs/security.md advises: the pass phrases leave the configuration after the first start.
    lab.write("agent.conf", rouser)
    for name, text in [("missing.json", None), ("bad.json", '{"interfaces": []}')]:
        if text is not None:
            lab.write(name, text)
        failed = lab.spawn([daemon.argv[0], "--state", lab.dir / name, "--listen",
                            "udp:127.0.0.1:1", "--no-community", "--config", conf],
                           f"failed-{name}", env=dict(lab.env, SNMP_PERSISTENT_DIR=str(
                               lab.dir / "persist")))
        assert failed.wait(30) == 2, failed.describe()
    daemon = lab.daemon("--no-community", "--config", conf)
    status, output = v3_get(lab, daemon.address, NODE_VERSION)
    assert status == 0 and "INTEGER: 2" in output, output


def unprivileged_port_161(lab):
    if os.geteuid() != 0 or int(Path("/proc/sys/net/ipv4/ip_unprivileged_port_start")
                                .read_text()) <= 161:
        pytest.skip("needs root to drop, and port 161 privileged")
    lab.dir.chmod(0o755)
    return {"wrapper": DROP_PRIVILEGES}, ["--listen", "udp:127.0.0.1:161"], "Permission denied"


def busy_port(lab):
    held = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    held.bind(("127.0.0.1", 0))
    lab.held = held  # open until the test ends
    port = held.getsockname()[1]
    return {}, ["--listen", f"udp:127.0.0.1:{port}"], \
        f"cannot listen on udp:127.0.0.1:{port}: Address already in use"


# Each case: how to run, its arguments, and the one line it must end with.
BAD_STARTS = {
    "unknown sink": lambda lab: ({}, ["--listen", "udp:127.0.0.1:1", "--trap-sink",
                                      "nosuchhost.invalid:162"],
                                 "--trap-sink nosuchhost.invalid:162: unknown host"),
    "rejected config line": lambda lab: (
        {}, ["--listen", "udp:127.0.0.1:1", "--config",
             lab.write("agent.conf", 'createUser bad SHA-999 "x"\n')],
        "agent.conf: line 1: unknown authProtocol"),
    "unknown config token": lambda lab: (
        {}, ["--listen", "udp:127.0.0.1:1", "--config", lab.write("agent.conf", "rocomunity x\n")],
        "agent.conf: line 1: Unknown token: rocomunity"),
    "unknown trace handle": lambda lab: ({}, ["--trace", "Snmp/1,Nope"],
                                         "--trace: unknown handle 'Nope'"),
    "community under agentx": lambda lab: ({}, ["--agentx", lab.dir / "ax", "--community", "c"],
                                           "--community does not apply under --agentx"),
    "sink under agentx": lambda lab: ({}, ["--agentx", lab.dir / "ax", "--trap-sink", "h:162"],
                                      "--trap-sink does not apply under --agentx"),
    "busy port": busy_port,
    "address not on this host": lambda lab: (
        {}, ["--listen", "udp:192.0.2.77:1161"],
        "cannot listen on udp:192.0.2.77:1161: Cannot assign requested address"),
    "port 161 unprivileged": unprivileged_port_161,
}


@pytest.mark.parametrize("case", BAD_STARTS)
def test_a_bad_start_exits_2_with_one_line_naming_the_reason(lab, case):
    how, args, reason = BAD_STARTS[case](lab)
    state = lab.state()
    state.chmod(0o644)
    daemon = lab.daemon(*args, state=state, listen=False, wait=False, **how)
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
