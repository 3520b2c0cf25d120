"""fhrp-snmpd as the systemd unit runs it, without systemd: a datagram socket of ours stands in
for NOTIFY_SOCKET, and a file that JOURNAL_STREAM names stands in for the journal."""
import os
import socket

from harness import VRRP, get


def test_ready_once_it_answers_and_stopping_on_sigterm(lab):
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as notify:
        notify.bind(str(lab.dir / "notify"))
        notify.settimeout(10)
        daemon = lab.daemon(env=dict(lab.env, NOTIFY_SOCKET=str(lab.dir / "notify")))
        ready = notify.recv(4096).decode()
        assert "READY=1" in ready
        # systemd takes READY=1 as the word that managers may ask now.
        assert get(daemon.address, VRRP + ".1.1.0") == {VRRP + ".1.1.0": "2"}
        assert daemon.stop() == 0
        assert notify.recv(4096) == b"STOPPING=1"


def test_lines_to_the_journal_carry_their_priority_only_there(lab):
    # The lab opens the daemon's log without replacing it: same device and inode.
    stream = lab.write("fhrp-snmpd-0.log", "")
    st = os.stat(stream)
    env = dict(lab.env, JOURNAL_STREAM=f"{st.st_dev}:{st.st_ino}")
    journal = lab.daemon(env=env)
    assert "<6>" in journal.log()
    journal.write_state('{"interfaces": 1}')
    assert journal.wait_for("<3>")
    # A child whose stderr went elsewhere inherits the variable, not the journal: plain lines.
    redirected = lab.daemon(env=env)
    assert "<6>" not in redirected.log()
