# SPDX-License-Identifier: Apache-2.0
"""fhrp-snmpd, snmpd and snmptrapd on free loopback ports, a folder per test, ended by PID."""
import json
import os
import shutil
import signal
import socket
import subprocess
import tempfile
import time
from pathlib import Path

from pysnmp.hlapi import (CommunityData, ContextData, ObjectIdentity, ObjectType, SnmpEngine,
                          UdpTransportTarget, getCmd)

FHRP_SNMPD = os.environ.get("FHRP_SNMPD", "build/host/fhrp-snmpd")
FHRP_PLUGIN = os.environ.get("FHRP_PLUGIN", "build/host/fhrpsnmp.so")
GEN_STATE = os.environ.get("FHRP_GEN_STATE", "build/tools/gen-state")
SOURCE_DIR = Path(os.environ.get("FHRP_SOURCE_DIR", Path(__file__).resolve().parents[2]))
SANITIZED = os.environ.get("FHRP_SANITIZED") == "1"
LAB_JSON = SOURCE_DIR / "examples" / "lab.json"
# How far the resident size may grow once warmed up: allocator caches settle, a leak of a few
# bytes per request does not. Wider under the sanitizers, whose allocator keeps more.
RSS_SLACK_KB = 12 * 1024 if SANITIZED else 2 * 1024

VRRP = ".1.3.6.1.2.1.68"
OPER_TABLE = VRRP + ".1.3"
ASSO_TABLE = VRRP + ".1.4"
NEW_MASTER = VRRP + ".0.1"
SNMP_TRAP_OID = ".1.3.6.1.6.3.1.1.4.1.0"
SYS_DESCR = ".1.3.6.1.2.1.1.1.0"

# snmptrapd writes each notification as one record framed by RS, its bindings split by US: the
# default format spreads a notification over lines that a string value could imitate.
_RS, _US = "\x1e", "\x1f"


def free_port():
    # Free on 127.0.0.1 for both UDP and TCP right now.
    while True:
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as u:
            u.bind(("127.0.0.1", 0))
            port = u.getsockname()[1]
            with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as t:
                try:
                    t.bind(("127.0.0.1", port))
                except OSError:
                    continue
            return port


def wait_until(predicate, timeout=10.0, step=0.02):
    deadline = time.monotonic() + timeout
    while not predicate():
        if time.monotonic() >= deadline:
            return False
        time.sleep(step)
    return True


class Proc:

    def __init__(self, argv, log_path, env=None, cwd=None):
        self.argv = [str(a) for a in argv]
        self.log_path = Path(log_path)
        with open(self.log_path, "wb") as log:
            self._popen = subprocess.Popen(self.argv, stdout=log, stderr=subprocess.STDOUT,
                                           stdin=subprocess.DEVNULL, env=env, cwd=cwd)
        self.pid = self._popen.pid

    def log(self):
        return self.log_path.read_text(errors="replace")

    def alive(self):
        return self._popen.poll() is None

    def wait_for(self, text, timeout=10.0):
        """True once `text` is in the log; False on timeout or when the process exits first."""
        return wait_until(lambda: text in self.log() or not self.alive(), timeout) \
            and text in self.log()

    def wait(self, timeout=30.0):
        try:
            return self._popen.wait(timeout)
        except subprocess.TimeoutExpired:
            return None

    def stop(self, timeout=30.0):
        if self.alive():
            os.kill(self.pid, signal.SIGTERM)
            if self.wait(timeout) is None:
                os.kill(self.pid, signal.SIGKILL)
        return self._popen.wait()

    def count(self, text):
        return sum(text in line for line in self.log().splitlines())

    def _proc_field(self, file, name):
        for line in Path(f"/proc/{self.pid}/{file}").read_text().splitlines():
            if line.startswith(name + ":"):
                return int(line.split()[1])
        return 0

    rss_kb = lambda self: self._proc_field("status", "VmRSS")
    bytes_read = lambda self: self._proc_field("io", "rchar")  # files and sockets

    def cpu_seconds(self):
        fields = Path(f"/proc/{self.pid}/stat").read_text().rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def describe(self):
        return f"{' '.join(self.argv)}\n--- log ---\n{self.log()}"


def tool_env(lab_dir):
    # net-snmp's tools and daemons read no MIB files and no configuration but ours.
    conf = Path(lab_dir) / "tool-conf"
    conf.mkdir(exist_ok=True)
    return dict(os.environ, MIBS="", MIBDIRS="/nonexistent", SNMPCONFPATH=str(conf),
                SNMP_PERSISTENT_DIR=str(Path(lab_dir) / "tool-persist"))


def _value(text):
    for start, kind in (("No Such Object", "noSuchObject"), ("No Such Instance", "noSuchInstance"),
                        ("No more variables", "endOfMibView")):
        if text.startswith(start):
            return kind, ""
    if text.startswith('"'):
        return "STRING", text[1:-1].replace('\\"', '"').replace("\\\\", "\\")
    kind, _, value = text.partition(": ")
    if kind == "Timeticks":
        value = value[1:value.index(")")]
    elif kind == "Hex-STRING":
        value = bytes.fromhex(value).decode("latin-1")
    elif kind == "STRING" and value.startswith('"'):
        value = value[1:-1]
    return kind, value


def parse_varbinds(text):
    """net-snmp's `-On` output as (oid, type, value)."""
    result = []
    for line in text.splitlines():
        oid, sep, rest = line.partition(" = ")
        if sep and oid.startswith("."):
            result.append((oid, *_value(rest)))
        elif result and not line.startswith("."):  # a string value that spans lines
            oid, kind, value = result[-1]
            result[-1] = (oid, kind, value + "\n" + line)
    return result


def run_tool(tool, agent, *args, community="public", options=(), env=None):
    """One of net-snmp's tools against `agent`, run to its end; `options` override ours."""
    argv = [tool, "-On", "-Oe", "-t", "2", "-r", "2", "-v2c", "-c", community, *options, agent,
            *args]
    return subprocess.run(argv, capture_output=True, text=True,
                          env=env or tool_env(tempfile.gettempdir()), timeout=600)


def snmp(tool, agent, *args, community="public", options=(), env=None, check=True):
    """A tool's bindings, without a walk's closing endOfMibView."""
    done = run_tool(tool, agent, *args, community=community, options=options, env=env)
    if check and done.returncode != 0:
        raise AssertionError(f"{' '.join(done.args)}: exit {done.returncode}\n{done.stderr}")
    vbs = parse_varbinds(done.stdout)
    if "walk" in tool and vbs and vbs[-1][1] == "endOfMibView":
        vbs.pop()
    return vbs


def oid_key(oid):
    return tuple(int(x) for x in oid.strip(".").split("."))


def in_order(vbs, root=VRRP):
    keys = [oid_key(oid) for oid, _, _ in vbs]
    return keys == sorted(set(keys)) and all(oid.startswith(root + ".") for oid, _, _ in vbs)


def masked(vbs):
    """Up times are computed when read: two walks agree on everything else."""
    return [(oid, kind, "(ticks)" if kind == "Timeticks" else value) for oid, kind, value in vbs]


def vr(state="backup", src="0.0.0.0", addrs=(), version=2, priority=100, up_since=0.0,
       inactive=()):
    """One router of a state document: (configuration, status)."""
    return {"version": version, "priority": priority}, {
        "state": state, "priority": priority, "srcAddr": src, "upSince": float(up_since),
        "ipAddrs": {**dict.fromkeys(addrs, True), **dict.fromkeys(inactive, False)}}


def state_doc(interfaces):
    """A document from {name: (ifIndex or None, "address/length" or None, {vrId: vr(...)})}."""
    doc = {"interfaces": {}, "ip": {}, "vrrpConfig": {}, "vrrpStatus": {}}
    for name, (index, ip, routers) in interfaces.items():
        if index is not None:
            doc["interfaces"][name] = {"ifIndex": index}
        if ip:
            doc["ip"][name] = {"activeAddrWithMask": ip}
        doc["vrrpConfig"][name] = {str(v): r[0] for v, r in routers.items()}
        doc["vrrpStatus"][name] = {str(v): dict(r[1], virtualMacAddr=f"00:00:5e:00:01:{v:02x}")
                                   for v, r in routers.items()}
    return json.dumps(doc, indent=1)


def get(agent, *oids, timeout=1.0, community="public"):
    """One GET through pysnmp without retries: {oid: value as text}, or TimeoutError."""
    host, port = agent.rsplit(":", 1)
    error, status, _, vbs = next(getCmd(
        SnmpEngine(), CommunityData(community),
        UdpTransportTarget((host, int(port)), timeout=timeout, retries=0), ContextData(),
        *(ObjectType(ObjectIdentity(o.lstrip("."))) for o in oids)))
    if error:
        raise TimeoutError(f"{agent}: {error}")
    if status:
        raise AssertionError(f"{agent}: {status.prettyPrint()}")
    return {"." + str(name): value.prettyPrint() for name, value in vbs}


class Daemon(Proc):
    address = None
    state_path = None

    def write_state(self, text):
        # In place, as a careless editor would.
        self.state_path.write_text(text)

    def replace_state(self, text):
        # As a publisher should: written aside, then renamed over the document.
        aside = self.state_path.with_name(self.state_path.name + ".new")
        aside.write_text(text)
        aside.rename(self.state_path)


class Snmpd(Proc):
    address = None
    agentx = None


class Trapd(Proc):
    sink = None

    def notifications(self):
        # Records sit between RS pairs; a record still being written has no closing RS yet, and
        # the slice's end leaves it out either way.
        return [{oid: value for oid, _, value in parse_varbinds(record.replace(_US, "\n"))}
                for record in self.log().split(_RS)[1:-1:2]]

    def new_masters(self):
        return [n for n in self.notifications() if n.get(SNMP_TRAP_OID) == NEW_MASTER]

    def wait_for_count(self, n, timeout=30.0, kind=NEW_MASTER):
        count = lambda: sum(1 for x in self.notifications() if x.get(SNMP_TRAP_OID) == kind)
        wait_until(lambda: count() >= n, timeout, 0.1)
        return count()


class Lab:

    def __init__(self, name="lab"):
        self.dir = Path(tempfile.mkdtemp(prefix=f"fhrp-{name}-"))
        self.env = tool_env(self.dir)
        self._procs = []

    def write(self, name, text):
        path = self.dir / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        return path

    def spawn(self, argv, name, env=None, wait_for=None, timeout=10.0, cls=Proc, cwd=None):
        # A second process of the same name gets a log of its own.
        used = sum(1 for p in self._procs if p.log_path.stem.split(".")[0] == name)
        log = self.dir / (f"{name}.{used}.log" if used else f"{name}.log")
        proc = cls(argv, log, env=env or self.env, cwd=cwd or self.dir)
        self._procs.append(proc)
        if wait_for and not proc.wait_for(wait_for, timeout):
            raise AssertionError(f"{name} did not log {wait_for!r}:\n{proc.describe()}")
        return proc

    def state(self, state=None, name="state.json"):
        """The lab example, a path to copy, a dict or JSON text as a document in the lab."""
        if state is None or isinstance(state, Path):
            return self.write(name, Path(state or LAB_JSON).read_text())
        return self.write(name, state if isinstance(state, str) else json.dumps(state))

    def daemon(self, *args, state=None, listen=True, wait=True, wrapper=(), env=None):
        """fhrp-snmpd (`--state` unless `state` is False), listening unless `listen` is False."""
        denv = dict(env or self.env, SNMP_PERSISTENT_DIR=str(self.dir / "persist"))
        if SANITIZED:
            # Freed memory is held back only briefly, so that the resident size still means
            # something.
            denv.update(ASAN_OPTIONS="detect_leaks=1:exitcode=23:quarantine_size_mb=8:"
                                     "thread_local_quarantine_size_kb=64",
                        UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1")
        path = self.state(state) if state is not False else None
        for attempt in range(3):
            argv = [*wrapper, FHRP_SNMPD] + (["--state", path] if path else [])
            port = free_port() if listen else None
            if listen:
                argv += ["--listen", f"udp:127.0.0.1:{port}"]
            proc = self.spawn([*argv, *args], f"fhrp-snmpd-{attempt}", env=denv, cls=Daemon)
            proc.state_path, proc.address = path, listen and f"127.0.0.1:{port}"
            if not wait or proc.wait_for("fhrp-snmpd: ready on", 60):
                return proc
            if not listen or "cannot listen" not in proc.log():
                break  # not a port someone took between our probe and the bind
        raise AssertionError(f"fhrp-snmpd did not become ready:\n{proc.describe()}")

    def snmpd(self, lines=(), agentx=True, community=True):
        """snmpd on a free port; with `agentx`, also the AgentX master on a socket in the lab."""
        sock = self.dir / "agentx.sock"
        conf = ["rocommunity public 127.0.0.1"] if community else []
        if agentx:
            conf += ["master agentx", f"agentxsocket unix:{sock}"]
        path = self.write("snmpd.conf", "\n".join([*conf, *lines]) + "\n")
        env = dict(self.env, SNMP_PERSISTENT_DIR=str(self.dir / "snmpd-persist"))
        for attempt in range(3):
            port = free_port()
            proc = self.spawn(["snmpd", "-f", "-Lo", "-C", "-c", path, "-I",
                               "-smux,mteTrigger,mteTriggerConf", f"udp:127.0.0.1:{port}"],
                              f"snmpd-{attempt}", env=env, cls=Snmpd)
            proc.address, proc.agentx = f"127.0.0.1:{port}", sock if agentx else None
            answered = lambda: not proc.alive() or snmp(
                "snmpget", proc.address, SYS_DESCR, options=["-t", "1", "-r", "0"],
                env=self.env, check=False)
            if wait_until(answered, 60, 0.05) and proc.alive():
                return proc
        raise AssertionError(f"snmpd did not start:\n{proc.describe()}")

    def trapd(self, port=None, wrapper=()):
        """snmptrapd on `port` or a free one, logging every notification it receives."""
        conf = self.write("snmptrapd.conf", "disableAuthorization yes\n")
        env = dict(self.env, SNMP_PERSISTENT_DIR=str(self.dir / "trapd-persist"))
        for attempt in range(3):
            at = port or free_port()
            log = self.dir / f"traps-{at}.log"
            # -X: never an AgentX subagent of whatever snmpd listens on /var/agentx/master.
            proc = self.spawn([*wrapper, "snmptrapd", "-f", "-C", "-X", "-c", conf, "-Lf", log,
                               "-n", "-On", "-F", f"{_RS}%V{_US}%v{_RS}\n", f"udp:127.0.0.1:{at}"],
                              f"snmptrapd-{attempt}", env=env, cls=Trapd)
            proc.log_path, proc.sink = log, f"127.0.0.1:{at}"
            if wait_until(lambda: log.exists() and "NET-SNMP version" in proc.log()
                          or not proc.alive(), 30) and proc.alive():
                return proc
        raise AssertionError(f"snmptrapd did not start:\n{proc.describe()}")

    def close(self):
        for proc in reversed(self._procs):
            proc.stop(10)
        if os.environ.get("FHRP_KEEP_TMP") != "1":
            shutil.rmtree(self.dir, ignore_errors=True)
