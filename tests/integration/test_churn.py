# SPDX-License-Identifier: Apache-2.0
"""Bulk walkers while the state document churns, FHRP_SOAK_SECONDS long (default 10)."""
import os
import random
import threading
import time

from harness import VRRP, in_order, parse_varbinds, run_tool, state_doc, vr, wait_until

OPER_ENTRY, ASSO_ENTRY = VRRP + ".1.3.1.", VRRP + ".1.4.1.2."
CYCLE = 12  # documents, written in turn


def churn_doc(seed):
    """A document of random routers (one in ten version 3) and what walk_keys() may see in it."""
    # Eight interfaces, present four times in five, the last renumbered each document.
    rng = random.Random(seed)
    interfaces, allowed = {}, set()
    for i in range(1, 9):
        present, if_index = rng.randrange(5) != 0, 800 + 80 * (seed % 2) if i == 8 else 100 + i
        routers = {}
        for vrid in (v for v in range(1, 256) if rng.randrange(100) < 8):
            state, version = rng.randrange(3), 3 if rng.randrange(10) == 0 else 2
            addrs = [f"10.{i}.{vrid}.{host}" for host in (1, 2) if host == 1 or rng.randrange(2)]
            # Sometimes an inactive address, never to be served.
            routers[vrid] = vr(["initialize", "backup", "master"][state], f"10.{i}.0.3", addrs,
                               version, up_since=1763760000.5 if state else 0,
                               inactive=[f"10.{i}.{vrid}.9"] if rng.randrange(4) == 0 else [])
            if present and version == 2:
                row = f"{if_index}.{vrid}"
                allowed |= {("row", row), ("state", row, str(state + 1))}
                allowed |= {("address", f"{row}.{a}") for a in addrs}
        interfaces[f"Ethernet{i}"] = (if_index if present else None,
                                      f"10.{i}.0.2/24" if present else None, routers)
    return state_doc(interfaces), allowed


def walk_keys(done):
    """A well-formed walk's rows, states and address rows (a fresh tool folder is announced)."""
    assert done.returncode == 0 and all(line.startswith("Created directory: ") for line in
                                        done.stderr.splitlines() if line), done.stderr
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
    bulkwalk = lambda repetitions: run_tool("snmpbulkwalk", daemon.address, VRRP,
                                            options=[f"-Cr{repetitions}", "-t", "5"], env=lab.env)

    def apply(which):
        before = daemon.count("fhrp-snmpd: applied")
        daemon.replace_state(docs[which])
        assert wait_until(lambda: daemon.count("fhrp-snmpd: applied") > before, 20, 0.005), \
            f"document {which} not applied\n{daemon.describe()}"

    # Each document in turn, walked alone: exactly its rows, whatever left, came back or was
    # renumbered before.
    for i in range(1, CYCLE + 1):
        apply(i % CYCLE)
        assert walk_keys(bulkwalk(50)) == rows[i % CYCLE], f"document {i % CYCLE}"
    # Then under three walkers, each walk holding only rows of some document written so far.
    ever = set(rows[0])
    stop, walks, problems, lock = threading.Event(), [0], [], threading.Lock()

    def walker(repetitions):
        while not stop.is_set():
            done = bulkwalk(repetitions)
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
    started, i = time.monotonic(), 0
    try:
        while time.monotonic() - started < duration or i < 2 * CYCLE:
            i += 1
            with lock:
                ever |= rows[i % CYCLE]
            replaced = time.monotonic()
            apply(i % CYCLE)
            time.sleep(time.monotonic() - replaced)  # back-to-back documents would starve walkers
    finally:
        stop.set()
        for thread in walkers:
            thread.join()
    assert problems[:5] == [] and walks[0] > 0
    assert walk_keys(bulkwalk(50)) == rows[i % CYCLE]
    assert daemon.stop() == 0, daemon.describe()
