# SPDX-License-Identifier: Apache-2.0
"""The load of bench/adverts.py and tests/integration/test_frr_adverts.py, run inside a lab
namespace (`ip netns exec`): VRRP advertisements made by hand, and SNMP GETs timed one by one
while they fly.

    advert_flood.py flood IFACE SECONDS KIND...   KIND: see KINDS; prints the count sent
    advert_flood.py send IFACE KIND...            each kind's packets once
    advert_flood.py gets ADDRESS SECONDS          prints each GET's answer time in ms, or "timeout"
"""
import select
import socket
import struct
import sys
import time

HERE, OUTSIDER, GROUP = "192.0.2.1", "198.51.100.7", "224.0.0.18"


def checksum(data):
    total = sum(struct.unpack(f"!{len(data) // 2}H", data))
    while total >> 16:
        total = (total & 0xffff) + (total >> 16)
    return ~total & 0xffff


def advert(src, vrid, priority, dst=GROUP, ttl=255, bad_checksum=False, version=2):
    """An IPv4 packet, header included; version 3 at 100 centiseconds, version 2 at 1 s."""
    address = socket.inet_aton("192.0.2.110")
    if version == 2:
        vrrp = struct.pack("!BBBBBBH4s8x", 0x21, vrid, priority, 1, 0, 1, 0, address)
        covered = vrrp
    else:
        vrrp = struct.pack("!BBBBHH4s", 0x31, vrid, priority, 1, 100, 0, address)
        covered = (socket.inet_aton(src) + socket.inet_aton(dst) +
                   struct.pack("!BBH", 0, 112, len(vrrp)) + vrrp)
    vrrp = vrrp[:6] + struct.pack("!H", checksum(covered) ^ bad_checksum) + vrrp[8:]
    return struct.pack("!BBHHHBBH4s4s", 0x45, 0, 20 + len(vrrp), 0, 0, ttl, 112, 0,
                       socket.inet_aton(src), socket.inet_aton(dst)) + vrrp


def advert6(vrid, priority, hops=255):
    """A version 3 IPv6 message and its hop limit: the kernel adds the header, from the
    interface's link-local address, and the checksum."""
    return struct.pack("!BBBBHH16s", 0x31, vrid, priority, 1, 100, 0,
                       socket.inet_pton(socket.AF_INET6, "2001:db8:14::1")), hops


# Each kind a cycle of (packet, destination). The forged ones claim router 10 (of which this lab's
# "here" side is backup) or router 42 (not configured), at a priority that would win.
KINDS = {
    "ttl": [advert("192.0.2.66", 10, 255, ttl=254)],
    "unicast": [advert("192.0.2.66", 10, 255, dst=HERE)],
    "checksum": [advert("192.0.2.66", 10, 255, bad_checksum=True)],
    "foreign": [advert(OUTSIDER, 10, 255), advert(OUTSIDER, 42, 255)],
    # Accepted ones from 8 routers of the subnet that take router 10 and resign in turn: every
    # packet moves its master.
    "moving": [advert(f"192.0.2.{a}", 10, p) for a in range(66, 74) for p in (250, 0)],
    # Version 3: router 13 (IPv4) and router 14 (IPv6) with TTL or hop limit 64, which vrrpd
    # drops; router 99, which no one has.
    "v3-ttl": [advert("192.0.2.2", 13, 200, ttl=64, version=3)],
    "v3-vrid": [advert("192.0.2.2", 99, 200, version=3)],
    "v6-ttl": [advert6(14, 200, hops=64)],
    "v6-vrid": [advert6(99, 200)],
}


def sender(iface, kinds):
    """(send, packets): each packet sent alone out of IFACE, never looped back to this side."""
    if all(k.startswith("v6") for k in kinds):
        s = socket.socket(socket.AF_INET6, socket.SOCK_RAW, 112)
        s.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_MULTICAST_LOOP, 0)
        s.setsockopt(socket.IPPROTO_IPV6, 7, 6)  # IPV6_CHECKSUM: at offset 6
        index = socket.if_nametoindex(iface)

        def send(packet):
            message, hops = packet
            s.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_MULTICAST_HOPS, hops)
            s.sendto(message, ("ff02::12", 0, 0, index))
        return send, [p for k in kinds for p in KINDS[k]]
    s = socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_RAW)
    s.setsockopt(socket.SOL_SOCKET, socket.SO_BINDTODEVICE, iface.encode())
    s.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_LOOP, 0)
    return (lambda p: s.sendto(p, (socket.inet_ntoa(p[16:20]), 0))), \
        [p for k in kinds for p in KINDS[k]]


def flood(iface, seconds, *kinds):
    send, packets = sender(iface, kinds)
    sent, end = 0, time.monotonic() + float(seconds)
    while time.monotonic() < end:
        for _ in range(20):  # about 4,000 a second
            for packet in packets:
                send(packet)
                sent += 1
        time.sleep(0.005 * len(packets))
    print(sent, flush=True)


def send_once(iface, *kinds):
    send, packets = sender(iface, kinds)
    for packet in packets:
        send(packet)
    print(len(packets), flush=True)


def gets(address, seconds):
    """A v2c GET of vrrpNodeVersion.0 every 50 ms, its request id the last byte before the
    bindings."""
    host, port = address.rsplit(":", 1)
    request = bytearray.fromhex("302702010104067075626c6963a01a02010002010002010030"
                                "0f300d06092b06010201440101000500")
    s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    s.connect((host, int(port)))
    end, n = time.monotonic() + float(seconds), 0
    while time.monotonic() < end:
        n = n % 127 + 1
        request[17] = n
        start = time.monotonic()
        s.send(request)
        while select.select([s], [], [], 1.0)[0]:
            if s.recv(1500)[15:18] == bytes([2, 1, n]):
                print(f"{(time.monotonic() - start) * 1000:.2f}", flush=True)
                break
        else:
            print("timeout", flush=True)
        time.sleep(0.05)


if __name__ == "__main__":
    {"flood": flood, "send": send_once, "gets": gets}[sys.argv[1]](*sys.argv[2:])
