"""Bulk walkers against fhrp-snmpd while its state document is rewritten over and over:
failovers, routers and interfaces coming and going, interfaces renumbered, torn writes. Every
walk must be well-formed and hold only rows that some written document had; memory must stay
flat. The churn runs FHRP_SOAK_SECONDS (default 10); FHRP_SOAK_SECONDS=600 makes it a soak."""
import os
import random
import threading
import time

from harness import RSS_SLACK_KB, VRRP, in_order, parse_varbinds, run_tool, state_doc, vr, \
    wait_until

OPER_ENTRY, ASSO_ENTRY = VRRP + ".1.3.1.", VRRP + ".1.4.1.2."
CYCLE = 12  # documents, written in turn


def churn_doc(seed):
    """Eight interfaces, each present four times in five and one of them renumbered between
    documents, about 20 routers each with random states, one in ten configured for version 3
    (not served), one to three virtual addresses each and sometimes an inactive one. Returns the
    document and what it lets the agent serve, as walk_keys() names it."""
    rng = random.Random(seed)
    interfaces, allowed = {}, set()
    for i in range(1, 9):
        present = rng.randrange(5) != 0
        if_index = 800 + 80 * (seed % 2) if i == 8 else 100 + i
        routers = {}
        for vrid in range(1, 256):
            if rng.randrange(100) >= 8:
                continue
            state = rng.randrange(3)
            prefix = f"10.{i}.{vrid}."
            addrs = [prefix + str(host) for host in (1, 2, 3) if host == 1 or rng.randrange(2)]
            version = 3 if rng.randrange(10) == 0 else 2
            routers[vrid] = vr(["initialize", "backup", "master"][state],
                               f"10.{i}.0.3" if state else "0.0.0.0", addrs, version,
                               rng.randrange(1, 255), 1763760000.5 if state else 0,
                               [prefix + "9"] if rng.randrange(4) == 0 else [])
            if present and version == 2:
                row = f"{if_index}.{vrid}"
                allowed |= {("row", row), ("state", row, str(state + 1))}
                allowed |= {("address", f"{row}.{a}") for a in addrs}
        interfaces[f"Ethernet{i}"] = (if_index if present else None,
                                      f"10.{i}.0.2/24" if present else None, routers)
    return state_doc(interfaces), allowed


def walk_keys(done):
    """What a bulk walk showed: its rows, states and address rows. The walk must be well-formed:
    the tools' first run in a fresh persistent folder says it created it; anything else on
    standard error (a timeout, "OID not increasing") fails it."""
    assert done.returncode == 0 and all(line.startswith("Created directory: ") for line in
                                        done.stderr.splitlines() if line), \
        f"{' '.join(done.args)}: exit {done.returncode}\n{done.stderr}"
    vbs = [vb for vb in parse_varbinds(done.stdout) if vb[1] != "endOfMibView"]
    assert in_order(vbs), done.stdout
    keys = set()
    for oid, _, value in vbs:
        if oid.startswith(OPER_ENTRY):
            column, row = oid[len(OPER_ENTRY):].split(".", 1)
            keys |= {("row", row), ("state", row, value)} if column == "3" else {("row", row)}
        elif oid.startswith(ASSO_ENTRY):
            keys.add(("address", oid[len(ASSO_ENTRY):]))
        elif oid not in (VRRP + ".1.1.0", VRRP + ".1.2.0"):
            keys.add(("unexpected", oid))
    return keys


def test_bulk_walks_stay_well_formed_while_the_document_churns(lab):
    duration = max(1, int(os.environ.get("FHRP_SOAK_SECONDS") or 10))
    docs, rows = zip(*(churn_doc(i) for i in range(CYCLE)))
    daemon = lab.daemon(state=docs[0])
    bulkwalk = lambda repetitions, *options: run_tool(
        "snmpbulkwalk", daemon.address, VRRP, options=[f"-Cr{repetitions}", *options], env=lab.env)

    def apply(which):
        before = daemon.count("fhrp-snmpd: applied")
        daemon.replace_state(docs[which])
        return wait_until(lambda: daemon.count("fhrp-snmpd: applied") > before, 20, 0.005)

    def served_exactly(which):
        assert walk_keys(bulkwalk(50)) == rows[which], f"document {which}"

    # Each document in turn, walked alone: the agent serves exactly its rows, whatever came
    # before. Interfaces that leave under their routers, come back or are renumbered must
    # neither leave rows behind nor keep their routers from being served.
    for i in range(1, CYCLE + 1):
        assert apply(i % CYCLE), daemon.log()
        served_exactly(i % CYCLE)

    # Then again and again under three walkers, each document waited for until applied, every
    # seventh preceded by a torn write in place, which must be rejected or overtaken, never
    # served.
    ever = set(rows[0])
    stop, walks, problems, lock = threading.Event(), [0], [], threading.Lock()

    def walker(repetitions):
        while not stop.is_set():
            done = bulkwalk(repetitions, "-t", "5")
            with lock:
                walks[0] += 1
                try:
                    strange = walk_keys(done) - ever
                    assert not strange, f"of no document: {sorted(strange)[:5]}"
                except Exception as problem:  # noqa: BLE001 -- a thread's failure is reported here
                    problems.append(str(problem))

    walkers = [threading.Thread(target=walker, args=(r,)) for r in (10, 25, 60)]
    for thread in walkers:
        thread.start()
    # At least four cycles, two to warm up and two to watch memory, however slow the machine.
    started, kb, i = time.monotonic(), [], 0
    try:
        while time.monotonic() - started < duration or i < 4 * CYCLE:
            i += 1
            which = i % CYCLE
            with lock:
                ever |= rows[which]
            if i % 7 == 0:
                daemon.write_state(docs[which][:len(docs[which]) // 2])
            replaced = time.monotonic()
            assert apply(which), f"document {i} not applied\n{daemon.describe()}"
            # As long again for the walkers: back-to-back documents would starve them.
            time.sleep(time.monotonic() - replaced)
            if which == CYCLE - 1 and i > 2 * CYCLE:  # the same point of every cycle
                kb.append(daemon.rss_kb())
    finally:
        stop.set()
        for thread in walkers:
            thread.join()
    assert problems[:5] == [] and walks[0] > 0
    served_exactly(i % CYCLE)  # nothing left behind once the churn is over
    print(f"churn {time.monotonic() - started:.0f} s: {walks[0]} walks, {CYCLE + i} documents "
          f"written, {daemon.count('fhrp-snmpd: rejected')} torn writes rejected; RSS after "
          f"warm-up {kb[0]} KiB, highest {max(kb)} KiB")
    assert max(kb) - kb[0] <= RSS_SLACK_KB
    assert daemon.stop() == 0, daemon.describe()
