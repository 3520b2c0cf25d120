#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Captures fuzz_netlink seeds with IPv6 in them from the kernel (root only): in a network
namespace of its own, a parent with a VRRP router's IPv4 and IPv6 macvlans, dumped as fhrp-snmpd
dumps them (links, then the addresses of both families), and the events of an IPv6 macvlan's
life (created with a random link-local address, given a global one, protodown flipped, removed).

    sudo fuzz/capture-netlink-seeds.py [DIR]   (default fuzz/corpus/fuzz_netlink)

Each seed is datagrams, each after its length in two bytes, little-endian (fuzz/NetlinkInput.cpp).
The namespace is deleted at the end."""
import os
import socket
import struct
import subprocess
import sys
import time
from pathlib import Path

RTM_GETLINK, RTM_GETADDR, NLM_F_REQUEST, NLM_F_DUMP, NLMSG_DONE = 18, 22, 1, 0x300, 3
GROUPS = 0x1 | 0x10 | 0x100  # RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR


def ip(*args):
    subprocess.run(["ip", *args], check=True, capture_output=True, timeout=30)


def dump(kind):
    s = socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, socket.NETLINK_ROUTE)
    s.send(struct.pack("=IHHIIB3x", 20, kind, NLM_F_REQUEST | NLM_F_DUMP, 1, 0, socket.AF_UNSPEC))
    datagrams = []
    while True:
        d = s.recv(65536)
        datagrams.append(d)
        if struct.unpack_from("=H", d, 4)[0] == NLMSG_DONE:
            return datagrams


def events(sock):
    time.sleep(0.5)
    out = []
    while True:
        try:
            out.append(sock.recv(65536, socket.MSG_DONTWAIT))
        except BlockingIOError:
            return out


def seed(path, datagrams):
    path.write_bytes(b"".join(struct.pack("<H", len(d)) + d for d in datagrams))


def inside(out):
    for key in ("disable_ipv6=0", "accept_dad=0"):
        for scope in ("all", "default"):
            subprocess.run(["sysctl", "-qw", f"net.ipv6.conf.{scope}.{key}"], check=True)
    ip("link", "set", "lo", "up")
    ip("link", "add", "p0", "type", "veth", "peer", "name", "p0peer")
    ip("link", "set", "p0peer", "up")
    ip("addr", "add", "192.0.2.1/24", "dev", "p0")
    ip("addr", "add", "2001:db8::1/64", "dev", "p0")
    ip("link", "set", "p0", "up")
    for name, mac, addr in (("vrrp7", "00:00:5e:00:01:07", "192.0.2.107/24"),
                            ("vrrp7v6", "00:00:5e:00:02:07", "2001:db8:7::1/64")):
        ip("link", "add", name, "link", "p0", "address", mac, "type", "macvlan", "mode", "bridge")
        ip("link", "set", name, "addrgenmode", "random")
        ip("addr", "add", addr, "dev", name)
        ip("link", "set", name, "up")
    time.sleep(0.5)
    seed(out / "dump_ipv6_links_addresses", dump(RTM_GETLINK) + dump(RTM_GETADDR))

    sock = socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, socket.NETLINK_ROUTE)
    sock.bind((0, GROUPS))
    ip("link", "add", "vrrp8v6", "link", "p0", "address", "00:00:5e:00:02:08", "type", "macvlan",
       "mode", "bridge")
    ip("link", "set", "vrrp8v6", "addrgenmode", "random")
    ip("link", "set", "vrrp8v6", "up")
    time.sleep(0.2)
    ip("addr", "add", "2001:db8:8::1/64", "dev", "vrrp8v6")
    ip("link", "set", "vrrp8v6", "protodown", "on")
    ip("link", "set", "vrrp8v6", "protodown", "off")
    ip("addr", "del", "2001:db8:8::1/64", "dev", "vrrp8v6")
    ip("link", "del", "vrrp8v6")
    seed(out / "events_ipv6_macvlan_life", events(sock))


if __name__ == "__main__":
    if len(sys.argv) > 2 and sys.argv[1] == "--inside":
        inside(Path(sys.argv[2]))
        sys.exit(0)
    out = Path(sys.argv[1] if len(sys.argv) > 1 else
               Path(__file__).resolve().parent / "corpus" / "fuzz_netlink").resolve()
    ns = f"fhrpseeds{os.getpid()}"
    ip("netns", "add", ns)
    try:
        subprocess.run(["ip", "netns", "exec", ns, sys.executable, __file__, "--inside", out],
                       check=True, timeout=60)
    finally:
        ip("netns", "delete", ns)
