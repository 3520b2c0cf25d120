"""fhrp-snmpd as the systemd unit runs it: our socket is NOTIFY_SOCKET, its log the journal."""
import os
import socket

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
