# SPDX-License-Identifier: Apache-2.0
"""A state document broken every way a file can be, and deaf sinks: the last good state served."""
import os
import random
import socket

from harness import NEW_MASTER, VRRP, free_port, masked, run_tool, snmp, state_doc, vr, wait_until


def routers_doc(routers, even_masters=True, drop=None):
    """Ethernet1..4 with routers 1..`routers`, masters even or odd; `drop` (interface, vrId)."""
    doc = {}
    for i in range(1, 5):
        net = f"10.0.{i}"
        doc[f"Ethernet{i}"] = (i, f"{net}.2/24", {
            vrid: vr("master" if master else "backup", f"{net}.2" if master else f"{net}.3",
                     [f"10.{i}.{vrid}.1"], up_since=1763760000)
            for vrid in range(1, routers + 1)
            if (f"Ethernet{i}", vrid) != drop
            for master in [(vrid % 2 == 0) == even_masters]})
    return state_doc(doc)


# Root reads any file: the daemon then runs without the capabilities that let it.
NO_READ_OVERRIDE = ["setpriv", "--bounding-set", "-dac_override,-dac_read_search",
                    "--inh-caps", "-dac_override,-dac_read_search", "--"]


def test_a_broken_document_of_any_kind_leaves_the_last_good_state_served(lab):
    good = routers_doc(3)
    daemon = lab.daemon(state=good, wrapper=NO_READ_OVERRIDE if os.geteuid() == 0 else [])
    served_now = lambda: masked(snmp("snmpwalk", daemon.address, VRRP))
    served = served_now()
    assert len(served) == 2 + 4 * 3 * 14 + 4 * 3
    state = daemon.state_path
    rng = random.Random(7)
    garbage = "\x01" + "".join(chr(rng.randrange(1, 128)) for _ in range(4095))

    def huge():
        # Refused from its size, unread: a 64 GiB sparse file would take minutes and all memory.
        state.unlink()
        os.truncate(lab.write("huge", "{"), 64 << 30)
        os.rename(lab.dir / "huge", state)

    faults = [
        (state.unlink, f"{state} does not exist"),
        (lambda: daemon.write_state(""), "end of document"),  # a writer truncating first
        (lambda: daemon.write_state(good[:len(good) // 2]), "line "),
        (lambda: daemon.replace_state(garbage), "line 1, column 1"),
        (lambda: daemon.write_state('{"vrrpStatus": {"Ethernet1": {"5": {"state": "mastr"}}}}'),
         '$.vrrpStatus.Ethernet1["5"].state'),
        (lambda: (state.unlink(), state.mkdir()), "directory"),
        # A FIFO whose writer never comes: opening it must not block the agent.
        (lambda: (state.rmdir(), os.mkfifo(state, 0o600)), "not a regular file"),
        (huge, "68719476736 bytes, larger than the limit"),
        (lambda: daemon.write_state(" " * (16 * 1024 * 1024 + 1)), "16777217 bytes"),
    ]
    rejections = lambda: [line for line in daemon.log().splitlines()
                          if "; still serving the last good state" in line]
    read_before = daemon.bytes_read()
    for fault, reason in faults:
        seen = len(rejections())
        fault()
        # A write in place may be seen half done first: the last rejection is the one that counts.
        assert wait_until(lambda: len(rejections()) > seen and reason in rejections()[-1]), \
            f"no rejection for {reason}\n{daemon.log()}"
        assert served_now() == served, reason
    assert daemon.bytes_read() - read_before < 20 << 20, "the oversized documents were read"

    # The next good document arrives unreadable (mode 000), as from a writer with a bad umask;
    # fixing the mode is a change of the document: no rewrite or SIGHUP needed.
    aside = lab.write("next.json", routers_doc(3, drop=("Ethernet2", 3)))
    aside.chmod(0)
    os.rename(aside, state)
    assert daemon.wait_for("permission denied"), daemon.log()
    assert served_now() == served
    state.chmod(0o600)
    assert daemon.wait_for("fhrp-snmpd: applied"), daemon.log()
    assert len(served_now()) == len(served) - 15
    assert daemon.stop() == 0, daemon.describe()


def test_sinks_that_do_not_listen_or_never_read_stall_nothing(lab):
    # A TCP sink whose connection is never accepted nor read, a UDP port nobody listens on, and
    # a live snmptrapd.
    trapd = lab.trapd()
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as deaf:
        deaf.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        deaf.bind(("127.0.0.1", 0))
        deaf.listen(4)
        even, odd = routers_doc(250, True), routers_doc(250, False)
        # The notifications carry the community: a long one fills the deaf sink's buffers sooner.
        community = "c" * 250
        daemon = lab.daemon("--community", community, "--trap-sink", trapd.sink,
                            "--trap-sink", "tcp:127.0.0.1:%d" % deaf.getsockname()[1],
                            "--trap-sink", f"127.0.0.1:{free_port()}", state=even)
        # Every document fails over half of the 1000 routers: 500 notifications to each sink. Go
        # on until notifications to the deaf sink are dropped (its buffers are full), then five
        # more.
        after_full = documents = 0
        drained = daemon.count("queue drained")
        while documents < 400 and after_full < 5:
            # Counted in the raw log: parsing thousands of notifications each time is slow.
            before, traps_before = daemon.count("fhrp-snmpd: applied"), trapd.log().count(NEW_MASTER)
            daemon.replace_state(odd if documents % 2 == 0 else even)
            documents += 1
            assert wait_until(lambda: daemon.count("fhrp-snmpd: applied") > before, 20), \
                f"document {documents} not applied: the agent is stuck\n{daemon.describe()}"
            # Notifications are paced: the next document once these went out.
            assert wait_until(lambda: daemon.count("queue drained") > drained, 20), \
                f"notifications of document {documents} never went out\n{daemon.describe()}"
            drained = daemon.count("queue drained")
            # Answers within 2 s, not when the deaf sink times out.
            done = run_tool("snmpget", daemon.address, VRRP + ".1.1.0", community=community,
                            options=["-r", "0"], env=lab.env)
            assert done.returncode == 0, f"no answer after document {documents}: {done.stderr}"
            assert wait_until(lambda: trapd.log().count(NEW_MASTER) > traps_before), \
                f"no notification reached the live sink after document {documents}"
            after_full += daemon.count("send_trap: Failure in sendto") > 0
        assert after_full == 5, f"the deaf sink never filled after {documents} documents"
        assert daemon.stop() == 0, daemon.describe()
