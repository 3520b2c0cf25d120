# SPDX-License-Identifier: Apache-2.0
"""fhrp-snmpd as the systemd unit runs it: our socket is NOTIFY_SOCKET, its log the journal."""
import os
import socket
import time

from harness import VRRP, get


def test_ready_once_it_answers_watchdog_pings_stopping_on_sigterm_and_journal_priorities(lab):
    # The lab opens the daemon's log without replacing it: same device and inode.
    stream = os.stat(lab.write("fhrp-snmpd-0.log", ""))
    env = dict(lab.env, JOURNAL_STREAM=f"{stream.st_dev}:{stream.st_ino}")
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as notify:
        notify.bind(str(lab.dir / "notify"))
        notify.settimeout(10)
        daemon = lab.daemon(env=dict(env, NOTIFY_SOCKET=str(lab.dir / "notify"),
                                     WATCHDOG_USEC="200000"))
        assert "READY=1" in notify.recv(4096).decode()
        # The event loop itself feeds the watchdog, at half its interval.
        assert [notify.recv(4096) for _ in range(3)] == [b"WATCHDOG=1"] * 3
        # systemd takes READY=1 as the word that managers may ask now.
        assert get(daemon.address, VRRP + ".1.1.0") == {VRRP + ".1.1.0": "2"}
        assert "<6>" in daemon.log()
        daemon.write_state('{"interfaces": 1}')
        assert daemon.wait_for("<3>")
        assert daemon.stop() == 0
        last = iter(lambda: notify.recv(4096), b"STOPPING=1")
        assert set(last) <= {b"WATCHDOG=1"}
    # A child whose stderr went elsewhere inherits the variable, not the journal: plain lines.
    assert "<6>" not in lab.daemon(env=env).log()


def until_ready(notify):
    messages = [notify.recv(4096).decode()]
    while not messages[-1].startswith("READY=1"):
        messages.append(notify.recv(4096).decode())
    return messages


def test_a_late_agentx_master_holds_no_start_and_its_socket_is_the_status(lab):
    master = lab.dir / "agentx.sock"
    serving = f"STATUS=serving the VRRP-MIB and the VRRPv3-MIB on {master}"
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as notify:
        notify.bind(str(lab.dir / "notify"))
        notify.settimeout(10)
        env = dict(lab.env, NOTIFY_SOCKET=str(lab.dir / "notify"))
        started = time.monotonic()
        daemon = lab.daemon("--agentx", master, listen=False, wait=False, env=env)
        # Units ordered after it start within the grace period, told what it waits for.
        assert until_ready(notify)[-1] == \
            f"READY=1\nSTATUS=waiting for the AgentX master at {master}: No such file or directory"
        assert time.monotonic() - started < 5
        assert "ready on" not in daemon.log()
        lab.snmpd()
        assert daemon.wait_for(f"fhrp-snmpd: ready on {master}", 30), daemon.describe()
        assert notify.recv(4096).decode() == serving
        assert daemon.stop() == 0

        # A master that is there: READY=1 comes once it took the MIB.
        notify.recv(4096)  # STOPPING=1
        daemon = lab.daemon("--agentx", master, listen=False, wait=False, env=env)
        assert until_ready(notify)[-1] == f"READY=1\n{serving}"
        assert daemon.wait_for(f"fhrp-snmpd: ready on {master}"), daemon.describe()
