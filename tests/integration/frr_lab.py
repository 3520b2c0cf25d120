# SPDX-License-Identifier: Apache-2.0
"""Two FRR routers in namespaces of their own joined by veth pairs (one per parent interface,
as VLANs would be on a real router), with private FRR paths.

A router is a dict: "vrid", "priority" ({side: priority}), "interval" (ms), "addresses" (IPv4),
and optionally "version" (2 unless given), "addresses6" (IPv6, version 3 only), "preempt" and
"parent" (the number of its parent interface)."""
import json
import os
import shutil
import subprocess
from pathlib import Path

from harness import FHRP_PLUGIN, Snmpd, free_port, parse_varbinds, wait_until

FRR = Path("/usr/lib/frr")
SIDES = {"here": "192.0.2.1", "there": "192.0.2.2"}


def available():
    if os.geteuid() != 0:
        return "needs root (network namespaces, FRR's daemons)"
    if not (FRR / "vrrpd").exists() or not shutil.which("vtysh"):
        return "needs Debian's frr package"
    return None


def run(*argv, check=True):
    return subprocess.run([str(a) for a in argv], capture_output=True, text=True, check=check,
                          timeout=30)


def address(side, parent):
    """This side's own address on parent interface number `parent`."""
    if parent == 0:
        return SIDES[side]
    return f"10.{parent // 256}.{parent % 256}.{1 if side == 'here' else 2}"


def macvlan(router, family=4):
    """The name of a router's macvlan of `family` (4 or 6) on its parent."""
    parent, suffix = router.get("parent", 0), "" if family == 4 else "v6"
    return (f"vrrp{router['vrid']}" if parent == 0 else f"p{parent}v{router['vrid']}") + suffix


class Router:

    def __init__(self, lab, name, ns, routers, parents):
        self.lab, self.name, self.ns = lab, name, ns
        self.address = SIDES[name]
        self.parents = [f"{name[0]}{i}" for i in range(parents)]
        self.parent = self.parents[0]
        self.dir = lab.dir / name
        self.dir.mkdir()
        self.zebra = self.vrrpd = None
        lines = [f"log file {self.dir}/vrrpd.log informational", "log timestamp precision 6"]
        for i, parent in enumerate(self.parents):
            lines.append(f"interface {parent}")
            for r in (r for r in routers if r.get("parent", 0) == i):
                vrid = r["vrid"]
                lines.append(f" vrrp {vrid} version {r.get('version', 2)}")
                lines.append(f" vrrp {vrid} priority {r['priority'][name]}")
                lines.append(f" vrrp {vrid} advertisement-interval {r['interval']}")
                if not r.get("preempt", True):
                    lines.append(f" no vrrp {vrid} preempt")
                lines += [f" vrrp {vrid} ip {a}" for a in r["addresses"]]
                lines += [f" vrrp {vrid} ipv6 {a}" for a in r.get("addresses6", [])]
        (self.dir / "vrrpd.conf").write_text("\n".join(lines) + "\n")
        (self.dir / "zebra.conf").write_text("")
        run("chown", "-R", "frr:frr", self.dir)

    def ip(self, *args):
        return run("ip", "-n", self.ns, *args)

    def ip_batch(self, commands):
        """Many `ip` commands in one process: a lab of 40 parents needs hundreds."""
        subprocess.run(["ip", "-n", self.ns, "-batch", "-"], input="\n".join(commands) + "\n",
                       capture_output=True, text=True, check=True, timeout=60)

    def enable_ipv6(self):
        # The virtual addresses are on both sides' macvlans: no duplicate detection, or the
        # second side's would never leave "tentative". No addresses from the router
        # advertisements vrrpd's master sends either: the lab's addresses are its own.
        run(*self.exec("sysctl", "-qw", *(f"net.ipv6.conf.{scope}.{key}" for scope in
                                          ("all", "default") for key in
                                          ("disable_ipv6=0", "accept_dad=0", "accept_ra=0"))))

    def link_local(self, name):
        """The link-local IPv6 address of interface `name`, or None."""
        info = json.loads(self.ip("-j", "-6", "addr", "show", "dev", name).stdout)
        return next((a["local"] for i in info for a in i.get("addr_info", [])
                     if a.get("scope") == "link"), None)

    def exec(self, *argv):
        return ["ip", "netns", "exec", self.ns, *argv]

    def if_index(self, name):
        return json.loads(self.ip("-j", "link", "show", "dev", name).stdout)[0]["ifindex"]

    def start(self, daemon, ready):
        d = self.dir
        proc = self.lab.spawn(self.exec(
            FRR / daemon, "-f", d / f"{daemon}.conf", "-i", d / f"{daemon}.pid", "-z",
            d / "zserv.api", "--vty_socket", d), f"{daemon}-{self.name}")
        assert wait_until(ready, 20), proc.describe()
        return proc

    def start_vrrpd(self):
        self.vrrpd = self.start("vrrpd", lambda: self.show_vrrp() is not None)

    def stop_vrrpd(self):
        self.vrrpd.stop()
        (self.dir / "vrrpd.vty").unlink(missing_ok=True)

    def configure(self, *commands, parent=0):
        run("vtysh", "--vty_socket", self.dir, *(f"-c{c}" for c in (
            "configure terminal", f"interface {self.parents[parent]}", *commands)))

    def show_vrrp(self):
        done = run("vtysh", "--vty_socket", self.dir, "-d", "vrrpd", "-c", "show vrrp json",
                   check=False)
        try:
            return {r["vrid"]: r for r in json.loads(done.stdout)}
        except ValueError:
            return None

    def transitions(self, to="Master", family="IPv4"):
        """vrrpd's logged transitions of `family` into `to`, as (timestamp text, vrid)."""
        found = []
        log = self.dir / "vrrpd.log"
        for line in log.read_text(errors="replace").splitlines() if log.exists() else []:
            if f"-> {to}" in line and f"[{family}]" in line:
                vrid = int(line.split("[VRID ")[1].split("]")[0])
                found.append((" ".join(line.split()[:2]), vrid))
        return found


class FrrLab:
    # Both sides, their veth pair, a macvlan per router on each side and FRR running.

    def __init__(self, lab, routers, parents=1):
        self.lab, self.routers = lab, routers
        lab.dir.chmod(0o711)  # FRR's daemons run as frr and must reach their directories
        tag = f"fhrp{os.getpid()}"
        self.namespaces = []
        self.sides = {}
        ipv6 = any(r.get("addresses6") for r in routers)
        for name in SIDES:
            ns = f"{tag}{name}"
            run("ip", "netns", "add", ns)
            self.namespaces.append(ns)
            self.sides[name] = Router(lab, name, ns, routers, parents)
            if ipv6:
                self.sides[name].enable_ipv6()
        here, there = self.sides["here"], self.sides["there"]
        here.ip_batch([f"link add {h} type veth peer name {t} netns {there.ns}"
                       for h, t in zip(here.parents, there.parents)])
        for side in self.sides.values():
            commands = ["link set lo up"]
            for i, parent in enumerate(side.parents):
                commands += [f"addr add {address(side.name, i)}/24 dev {parent}",
                             f"link set {parent} up"]
            for r in routers:
                parent = side.parents[r.get("parent", 0)]
                for family, mac, prefix, addresses in (
                        (4, "00:00:5e:00:01:%02x", 24, r["addresses"]),
                        (6, "00:00:5e:00:02:%02x", 64, r.get("addresses6", []))):
                    if not addresses:
                        continue
                    vlan = macvlan(r, family)
                    commands.append(f"link add {vlan} link {parent} address {mac % r['vrid']} "
                                    "type macvlan mode bridge")
                    if family == 6:
                        # vrrpd advertises from the macvlan's own link-local address, which a
                        # MAC-derived one would make the same on both sides: a random one, set
                        # after creation (`ip link add` refuses it here), made when it comes up.
                        commands.append(f"link set {vlan} addrgenmode random")
                    commands += [f"addr add {a}/{prefix} dev {vlan}" for a in addresses]
                    commands.append(f"link set {vlan} up")
            side.ip_batch(commands)
        for side in self.sides.values():
            side.zebra = side.start("zebra", lambda s=side: (s.dir / "zserv.api").exists())
            side.start_vrrpd()

    def agent(self, trap_port, trace="Sources/1", env=None):
        here = self.sides["here"]
        return self.lab.daemon("--frr", "--frr-vty", str(here.dir), "--trap-sink",
                               f"127.0.0.1:{trap_port}", "--trace", trace, state=False,
                               wrapper=("ip", "netns", "exec", here.ns), env=env)

    def plugin(self, trap_port):
        """Debian's snmpd in this side's namespace, as root, with the plug-in following vrrpd."""
        here = self.sides["here"]
        conf = self.lab.write("snmpd-frr.conf", "\n".join([
            "rocommunity public 127.0.0.1", f"trap2sink 127.0.0.1:{trap_port} public",
            f"dlmod fhrpsnmp {FHRP_PLUGIN}", f"fhrpFrr {here.dir}"]) + "\n")
        port = free_port()  # the namespace's loopback is all ours
        agent = self.lab.spawn(
            here.exec("snmpd", "-f", "-Lo", "-C", "-c", conf, "-I",
                      "-smux,mteTrigger,mteTriggerConf", f"udp:127.0.0.1:{port}"), "snmpd-frr",
            env=dict(self.lab.env, SNMP_PERSISTENT_DIR=str(self.lab.dir / "snmpd-persist")),
            wait_for="fhrp-snmp: serving VRRP-MIB", cls=Snmpd)
        agent.address = f"127.0.0.1:{port}"
        return agent

    def walk(self, agent, oid):
        done = run(*self.sides["here"].exec("snmpbulkwalk", "-On", "-Oe", "-v2c", "-c", "public",
                                             "-t", "2", "-r", "2", "-Cr25", agent.address, oid))
        return {o: v for o, _, v in parse_varbinds(done.stdout) if _ != "endOfMibView"}

    def close(self):
        for ns in self.namespaces:
            run("ip", "netns", "delete", ns, check=False)
