# SPDX-License-Identifier: Apache-2.0
"""Start-up: bad starts in one line, AgentX readiness, the system group, the plug-in's document."""
import os
import pwd
import signal
import socket
import subprocess
import time
from pathlib import Path

import pytest

from harness import FHRP_PLUGIN, LAB_JSON, OPER_TABLE, SANITIZED, VRRP, get, snmp, wait_until

NODE_VERSION = VRRP + ".1.1.0"
DROP_PRIVILEGES = ("setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups")
# As the unit runs the daemon: a user of its own, CAP_NET_RAW ambient.
AS_THE_UNIT = (*DROP_PRIVILEGES, "--inh-caps=+net_raw", "--ambient-caps=+net_raw")
NET_RAW = 1 << 13
NOWHERE = ["--listen", "udp:127.0.0.1:1"]  # never opened: the start fails before


def unprivileged_port_161(lab, s):
    if os.geteuid() != 0 or int(Path("/proc/sys/net/ipv4/ip_unprivileged_port_start")
                                .read_text()) <= 161:
        pytest.skip("needs root to drop, and port 161 privileged")
    lab.dir.chmod(0o755)
    return [*s, "--listen", "udp:127.0.0.1:161"], "Permission denied", DROP_PRIVILEGES


def busy_port(lab, s):
    lab.held = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)  # open until the test ends
    lab.held.bind(("127.0.0.1", 0))
    at = f"udp:127.0.0.1:{lab.held.getsockname()[1]}"
    return [*s, "--listen", at], f"cannot listen on {at}: Address already in use"


def planted_store(lab, s):
    # Another local user made the fallback store first (here: a symbolic link to a folder of
    # theirs), to feed the agent's net-snmp its own directives.
    if os.geteuid() != 0:
        pytest.skip("needs root to run the daemon as another user")
    lab.dir.chmod(0o755)
    store = lab.dir / f"fhrp-snmpd-{pwd.getpwnam('nobody').pw_uid}"
    store.symlink_to(lab.dir)
    return [*s, *NOWHERE], f"persistent folder {store} refused: it is a symbolic link", \
        ("env", "-u", "SNMP_PERSISTENT_DIR", f"TMPDIR={lab.dir}", *DROP_PRIVILEGES)


def conf(lab, text):
    return ["--config", lab.write("agent.conf", text)]


# Each case, given `s` (--state and the lab example): its arguments, the reason its one line
# must give, and a wrapper to run it in.
BAD_STARTS = {
    "bad document": lambda lab, s: (["--state", lab.write("bad.json", '{"interfaces": []}'),
                                     *NOWHERE], "bad.json: $.interfaces: expected an object"),
    "unknown argument": lambda lab, s: ([*s, "--bogus"], "unknown argument '--bogus'"),
    "control character in a community": lambda lab, s: (
        [*s, *NOWHERE, "--community", "a\nrwcommunity b"],
        "--community holds the control character 0x0A"),
    # Without the users and rules it holds the agent would be open: no start.
    "missing --config": lambda lab, s: ([*s, *NOWHERE, "--config", lab.dir / "none"],
                                        f"cannot read --config {lab.dir / 'none'}"),
    "rejected --config line": lambda lab, s: (
        [*s, *NOWHERE, *conf(lab, 'createUser bad SHA-999 "x"\n')],
        "agent.conf: line 1: unknown authProtocol"),
    "unknown --config token": lambda lab, s: ([*s, *NOWHERE, *conf(lab, "rocomunity x\n")],
                                              "agent.conf: line 1: Unknown token: rocomunity"),
    # The resolver's words for it vary: the line names the sink, then says why.
    "unknown sink": lambda lab, s: ([*s, *NOWHERE, "--trap-sink", "nosuchhost.invalid:162"],
                                    "fhrp-snmpd: --trap-sink nosuchhost.invalid:162: "),
    "unknown trace handle": lambda lab, s: ([*s, "--trace", "Snmp/1,Nope"],
                                            "--trace: unknown handle 'Nope'"),
    "sink under agentx": lambda lab, s: ([*s, "--agentx", lab.dir / "ax", "--trap-sink", "h:1"],
                                         "--trap-sink does not apply under --agentx"),
    "busy port": busy_port,
    "port 161 unprivileged": unprivileged_port_161,
    "planted fallback store": planted_store,
}


@pytest.mark.parametrize("case", BAD_STARTS)
def test_a_bad_start_exits_2_with_one_line_naming_the_reason(lab, case):
    state = lab.state()
    state.chmod(0o644)
    args, reason, *wrapper = BAD_STARTS[case](lab, ["--state", state])
    daemon = lab.daemon(*args, state=False, listen=False, wait=False, wrapper=(wrapper or [()])[0])
    assert daemon.wait(30) == 2, daemon.describe()
    lines = daemon.log().splitlines()
    assert len(lines) == 1 and lines[0].startswith("fhrp-snmpd: ") and reason in lines[0], \
        daemon.describe()


def test_a_missing_document_is_served_empty_until_it_comes(lab):
    # A start that races the boot: the document's writer starts later.
    path = lab.dir / "state.json"
    daemon = lab.daemon("--state", path, state=False)
    assert f"fhrp-snmpd: {path} does not exist; serving no virtual routers until it is good" in \
        daemon.log().splitlines()
    assert daemon.log().count(str(path)) == 1
    assert [kind for _, kind, _ in snmp("snmpwalk", daemon.address, OPER_TABLE)] == ["noSuchObject"]
    lab.state()
    assert wait_until(lambda: len(snmp("snmpwalk", daemon.address, OPER_TABLE)) == 8 * 14, 15), \
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
    # sysDescr to sysLocation, then snmpEngineBoots: this start is the first.
    got = get(daemon.address, *(f".1.3.6.1.2.1.1.{n}.0" for n in range(1, 7)),
              ".1.3.6.1.6.3.10.2.1.2.0")
    assert all(v and "No Such" not in v for v in got.values()), got
    assert list(got.values())[3:] == ["noc@example.net", "edge-1", "rack 4", "1"]


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


@pytest.fixture
def netns():
    if os.geteuid() != 0:
        pytest.skip("needs root for a network namespace")
    name = f"fhrp-boot-{os.getpid()}"
    subprocess.run(["ip", "netns", "add", name], check=True)
    subprocess.run(["ip", "-n", name, "link", "set", "lo", "up"], check=True)
    yield name
    subprocess.run(["ip", "netns", "del", name], check=False)


def test_a_listen_address_assigned_after_the_start_is_served_without_a_restart(lab, netns):
    at = "udp:192.0.2.9:1161"
    daemon = lab.daemon("--listen", at, listen=False, wait=False,
                        wrapper=("ip", "netns", "exec", netns))
    assert daemon.wait_for(f"fhrp-snmpd: cannot listen on {at} yet: Cannot assign requested "
                           "address; trying again every second for up to 60 s"), daemon.describe()
    time.sleep(3)  # the network configures the address late at boot
    subprocess.run(["ip", "-n", netns, "addr", "add", "192.0.2.9/32", "dev", "lo"], check=True)
    assert daemon.wait_for(f"fhrp-snmpd: ready on {at}", 10), daemon.describe()
    assert daemon.count("cannot listen") == 1
    # Other machines reach that address, and every one of them tries the default community.
    assert daemon.count(f"--listen {at} answers the community public from other machines; give "
                        "--community NAME, or --no-community") == 1
    answer = subprocess.run(["ip", "netns", "exec", netns, "snmpget", "-v2c", "-c", "public",
                             "-On", at[4:], NODE_VERSION], capture_output=True, text=True,
                            env=lab.env, timeout=30)
    assert answer.stdout.strip() == f"{NODE_VERSION} = INTEGER: 2", answer.stderr


def unreachable_vrrpd(lab):
    """A vty folder whose vrrpd.vty only root's group may open."""
    lab.dir.chmod(0o755)
    vty = lab.dir / "frr"
    vty.mkdir(mode=0o755)
    lab.vty = socket.socket(socket.AF_UNIX)  # open until the test ends
    lab.vty.bind(str(vty / "vrrpd.vty"))
    (vty / "vrrpd.vty").chmod(0o770)
    return vty, "(the owner group of {}/vrrpd.vty) and restart ".format(vty)


def holds_net_raw(pid):
    """In any set it could use or hand on: effective, permitted, ambient."""
    return any(int(line.split()[1], 16) & NET_RAW
               for line in Path(f"/proc/{pid}/status").read_text().splitlines()
               if line.split(":")[0] in ("CapEff", "CapPrm", "CapAmb"))


def test_net_raw_is_held_only_until_the_listener_is_open_and_vrrpd_s_group_is_named(lab):
    if os.geteuid() != 0:
        pytest.skip("needs root to run the daemon as another user with a capability")
    vty, owner = unreachable_vrrpd(lab)
    (lab.dir / "persist").mkdir()
    os.chown(lab.dir / "persist", pwd.getpwnam("nobody").pw_uid, -1)
    daemon = lab.daemon("--frr", "--frr-vty", vty, state=False, wrapper=AS_THE_UNIT)
    assert not holds_net_raw(daemon.pid)
    # The raw socket opened before: the listener hears advertisements.
    assert "cannot listen to VRRP advertisements" not in daemon.log()
    assert daemon.count(f"Permission denied); its routers read initialize until it does; add the "
                        f"user nobody to the group root {owner}fhrp-snmpd") == 1, daemon.describe()
    # A state document opens no raw socket: root's capability is gone from the start.
    assert not holds_net_raw(lab.daemon().pid)


def test_the_plugin_opens_vrrpd_s_socket_as_snmpd_s_user_and_names_its_group(lab):
    if SANITIZED or os.geteuid() != 0:
        pytest.skip("needs an uninstrumented plug-in and root for snmpd to drop")
    vty, owner = unreachable_vrrpd(lab)
    snmpd = lab.snmpd(["agentuser nobody", "agentgroup nogroup",
                       f"dlmod fhrpsnmp {FHRP_PLUGIN}", f"fhrpFrr {vty}"])
    assert snmpd.wait_for(f"add the user nobody to the group root {owner}snmpd"), \
        snmpd.describe()
