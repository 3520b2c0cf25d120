"""fhrp-snmpd as the systemd unit runs it: a socket of ours stands in for NOTIFY_SOCKET."""
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

