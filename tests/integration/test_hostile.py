# SPDX-License-Identifier: Apache-2.0
"""Hostile datagrams: each answered rightly, nothing changed, memory flat, no leak at exit."""
import socket
from collections import namedtuple

from pyasn1.codec.ber import decoder, encoder
from pyasn1.type import univ
from pysnmp.proto import api

from harness import RSS_SLACK_KB, VRRP, masked, oid_key, snmp

NODE_VERSION = VRRP + ".1.1.0"
OPER_ENTRY, ASSO_ENTRY = VRRP + ".1.3.1", VRRP + ".1.4.1"
GET, GETNEXT, SET, GETBULK = 0xa0, 0xa1, 0xa3, 0xa5
INTEGER, NO_SUCH_OBJECT, NO_SUCH_INSTANCE, END_OF_MIB_VIEW = 0x02, 0x80, 0x81, 0x82
NO_SUCH_NAME, NO_ACCESS, WRONG_TYPE, NO_CREATION, NOT_WRITABLE = 2, 6, 7, 11, 17
MAX_INT32 = 2**31 - 1


# Past the VRRP-MIB the agent serves the SNMP engine group, then the end of its view.
inside_vrrp = lambda oid, tag: tag != END_OF_MIB_VIEW and oid.startswith(VRRP + ".")


def tlv(tag, content):
    n = len(content)
    size = n.to_bytes((n.bit_length() + 7) // 8, "big")
    return bytes([tag]) + (bytes([n]) if n < 0x80 else bytes([0x80 | len(size)]) + size) + content


seq = lambda *items: tlv(0x30, b"".join(items))
integer = lambda value: encoder.encode(univ.Integer(value))
octets = lambda value: encoder.encode(univ.OctetString(value))

NULL = b"\x05\x00"


def varbind(oid, value=NULL):
    return seq(encoder.encode(univ.ObjectIdentifier(oid.strip("."))), value)


def pdu(tag, request_id, bindings, a=0, b=0):
    return tlv(tag, integer(request_id) + integer(a) + integer(b) + seq(*bindings))


def message(tag, request_id, bindings, community=b"public", a=0, b=0, version=1):
    return seq(integer(version), octets(community), pdu(tag, request_id, bindings, a, b))


def v3(flags, engine, user, scoped, max_size=65507, model=3):
    """SNMPv3 whose flags claim authentication (1) or privacy (3) with nothing valid behind."""
    usm = seq(octets(engine), integer(1), integer(10), octets(user),
              octets(b"a" * 12 if flags else b""), octets(b""))
    return seq(integer(3), seq(integer(4711), integer(max_size), octets(bytes([flags | 4])),
                               integer(model)), octets(usm), scoped)


Reply = namedtuple("Reply", "request_id error_status error_index bindings")


def parse_reply(data):
    try:
        mod = api.protoModules[api.decodeMessageVersion(data)]
        msg, _ = decoder.decode(data, asn1Spec=mod.Message())
        p = mod.apiMessage.getPDU(msg)
        return Reply(int(mod.apiPDU.getRequestID(p)), int(mod.apiPDU.getErrorStatus(p)),
                     int(mod.apiPDU.getErrorIndex(p)),
                     [("." + str(o), encoder.encode(v)[0], v)
                      for o, v in mod.apiPDU.getVarBinds(p)])
    except Exception:  # noqa: BLE001 -- whatever it is, it is no reply
        return None


def malformed():
    valid = [message(GET, 7, [varbind(OPER_ENTRY + ".3.1.1")]),
             message(GETNEXT, 8, [varbind(OPER_ENTRY)]),
             message(GETBULK, 9, [varbind(ASSO_ENTRY)], b=5),
             message(GETNEXT, 10, [varbind(OPER_ENTRY)], version=0)]
    # Each cut short, and every octet replaced by what breaks lengths and tags: short and long
    # forms, the indefinite form, a nine-octet length, a reserved tag. Random changes and noise
    # meet the same decoder checks.
    out = [good[:n] for good in valid for n in range(len(good))]
    out += [good[:i] + bytes([c]) + good[i + 1:] for good in valid for i in range(len(good))
            for c in (0x00, 0x7f, 0x80, 0x81, 0x84, 0x89, 0xff)]
    body, nested = valid[0][2:], NULL
    for _ in range(2000):
        nested = tlv(0x30, nested)
    get = pdu(GET, 19, [varbind(NODE_VERSION)])
    scoped, engine = seq(octets(b""), octets(b""), get), b"\x80\x00\x1f\x88\x80\x01"
    # Lengths and tags are broken octet by octet above; these break sizes and depths.
    out += [
        b"\x30\x84\x7f\xff\xff\xff" + body,
        seq(tlv(INTEGER, b"\x01" * 100), octets(b"public"), get),
        message(GET, 11, [varbind(NODE_VERSION)], b"c" * 60000),
        seq(integer(1), octets(b"public"), tlv(GET, tlv(INTEGER, b"\x7f" * 9) + integer(0) * 3)),
        # A sub-identifier of ten octets, an OID far past 128 sub-identifiers, deep nesting.
        message(GETNEXT, 12, [seq(tlv(0x06, b"\x2b\x06\x01" + b"\xff" * 9 + b"\x7f"), NULL)]),
        message(GETNEXT, 13, [varbind(OPER_ENTRY + ".7" * 300)]), message(GET, 14, [nested]),
        message(GETBULK, 18, [varbind(OPER_ENTRY)], b=10, version=0),
        # SNMPv3 without credentials: discovery, an unknown user, authentication and privacy
        # claimed, an invalid size and security model.
        v3(0, b"", b"", seq(octets(b""), octets(b""), pdu(GET, 20, []))),
        v3(1, engine, b"intruder", scoped), v3(3, engine, b"intruder", octets(b"e" * 64)),
        v3(0, b"", b"", scoped, 100, 99)]
    out += [message(GETNEXT, 15, [varbind(OPER_ENTRY)], c) for c in (b"", b"public\0")]
    out += [message(GET, 16, [], version=v) for v in (-1, 2, 2**40)]
    # Response, the traps, Inform, Report and two undefined types.
    return out + [message(tag, 17, [varbind(NODE_VERSION)], version=v)
                  for tag in (0xa2, 0xa4, 0xa6, 0xa7, 0xa8, 0xa9, 0xbf) for v in (0, 1)]


# GETNEXT and GET with indices that are too long, too short, over 255 in an address or a vrId,
# over 2^31 or 2^32-1 in ifIndex, partial addresses, and the longest OIDs there are.
ODD = [OPER_ENTRY + "." + o for o in (
    "3.1.1.0.0.0.0.0.0.0.0.0.0 3.1.256 3.1.4294967295 3.4294967295 3.4294967295.1 "
    "3.2147483648.1 3.2147483647.255 3.0.0 3.2 0 1.1.1 15.100100.101 16 4294967295").split()] + \
    [ASSO_ENTRY + "." + o for o in (
        "2.1.1 2.1.1.192 2.1.1.192.0 2.1.1.192.0.2 2.1.1.192.0.2.1.5 2.1.1.300.300.300.300 "
        "2.1.1.4294967295.0.0.0 2.1.300.1.2.3.4 2.4294967295.1.1.2.3.4 3").split()] + \
    [VRRP + ".1.1", VRRP + ".1.1.0.5", VRRP + ".1.5", ".1.3.6.1.2.1.67.9",
     *(oid + f".{fill}" * (128 - len(oid_key(oid)))  # as long as an OID may be
       for oid, fill in [(OPER_ENTRY + ".3.1.1", 2**32 - 1), (ASSO_ENTRY + ".2.1.1.192.0.2.1", 1)])]

# Each SET target with what a write community gets: notWritable from the module, noCreation for
# an instance of the read-write scalar that does not exist.
SET_TARGETS = [(NODE_VERSION, NOT_WRITABLE), (VRRP + ".1.2.0", NOT_WRITABLE),
               (VRRP + ".1.2.1", NO_CREATION)] + \
    [(f"{OPER_ENTRY}.{column}.1.1", NOT_WRITABLE) for column in range(1, 17)] + \
    [(f"{ASSO_ENTRY}.{column}.1.1.192.0.2.1", NOT_WRITABLE) for column in (1, 2, 3)]
# Among them createAndGo (4) and destroy (6).
SET_VALUES = [integer(1), integer(4), integer(6), octets(b"guess"), tlv(0x40, b"\x0a\0\0\x01")]


def test_every_request_gets_its_answer_and_nothing_changes(lab):
    # A write community, so that SETs reach the module's handlers instead of being refused by
    # access control; level 2 of Snmp traces those handlers refusing them.
    conf = lab.write("agent.conf", "rwcommunity private 127.0.0.1\n")
    daemon = lab.daemon("--config", conf, "--trace", "Snmp/2")
    before = snmp("snmpwalk", daemon.address, VRRP, env=lab.env)
    served = {oid for oid, _, _ in before}
    datagrams, sock, last_id = malformed(), socket.socket(type=socket.SOCK_DGRAM), [1000]
    sock.connect(("127.0.0.1", int(daemon.address.rsplit(":", 1)[1])))

    def drain():
        # Replies left waiting would crowd out the next ones.
        sock.setblocking(False)
        try:
            while True:
                sock.recv(65535)
        except BlockingIOError:
            sock.setblocking(True)

    def ask(build, timeout=10.0):
        last_id[0] += 1  # above the fixed ids of the malformed requests
        sock.send(build(last_id[0]))
        sock.settimeout(timeout)
        try:
            while (reply := parse_reply(sock.recv(65535))) is None or \
                    reply.request_id != last_id[0]:
                pass
        except TimeoutError:
            return None
        return reply

    def alive():
        # Replies come in order, so an answer proves everything before it was dealt with. A
        # burst of large datagrams can fill the agent's receive buffer: the probe is repeated,
        # as a manager would.
        for _ in range(10):
            reply = ask(lambda i: message(GET, i, [varbind(NODE_VERSION)]), 1.0)
            if reply:
                assert [int(v) for _, _, v in reply.bindings] == [2]
                return drain()
        raise AssertionError(f"no answer\n{daemon.describe()}")

    def barrage():
        for n, data in enumerate(datagrams, 1):
            drain()
            sock.send(data)
            if n % 100 == 0:
                alive()
        alive()
        for oid in ODD:
            after = next((o for o, _, _ in before if oid_key(o) > oid_key(oid)), None)
            reply = ask(lambda i: message(GETNEXT, i, [varbind(oid)]))
            assert reply and reply.error_status == 0 and len(reply.bindings) == 1, oid
            name, tag, _ = reply.bindings[0]
            assert name == after if after else not inside_vrrp(name, tag), f"GETNEXT {oid}: {name}"
            reply = ask(lambda i: message(GET, i, [varbind(oid)]))
            assert reply and len(reply.bindings) == 1, oid
            assert reply.bindings[0][1] in ({INTEGER} if oid in served else
                                            {NO_SUCH_OBJECT, NO_SUCH_INSTANCE}), f"GET {oid}"
        # GETBULK with the largest repetition count there is, with one and with sixty bindings.
        many = [varbind(ODD[i % len(ODD)]) for i in range(60)]
        for a, b, bindings in [(0, MAX_INT32, [varbind(VRRP)]), (30, MAX_INT32, many),
                               (-1, -1, many)]:
            reply = ask(lambda i: message(GETBULK, i, bindings, a=a, b=b))
            assert reply and reply.error_status in (0, 1), f"GETBULK {a}/{b}"
            assert all(not inside_vrrp(oid, tag) or oid in served for oid, tag, _ in reply.bindings)
        for target, refusal in SET_TARGETS:
            for value in SET_VALUES:
                # SNMPv1 knows only noSuchName; the read community has no write access at all.
                for version, community, expected in [(1, b"private", refusal),
                                                     (0, b"private", NO_SUCH_NAME),
                                                     (1, b"public", NO_ACCESS)]:
                    reply = ask(lambda i: message(SET, i, [varbind(target, value)], community,
                                                  version=version))
                    assert reply and (reply.error_status, reply.error_index) == (expected, 1), \
                        f"{community} v{version} SET {target}: {reply}"
            # NULL is no value to set: the agent refuses it before any handler sees it.
            reply = ask(lambda i: message(SET, i, [varbind(target)], b"private"))
            assert reply and reply.error_status == WRONG_TYPE, f"SET NULL {target}"
        # An unknown community gets no answer at all.
        assert ask(lambda i: message(SET, i, [varbind(NODE_VERSION, integer(3))], b"secret"),
                   0.3) is None
        alive()

    barrage()
    warm = peak = daemon.rss_kb()
    for _ in range(2):
        barrage()
        peak = max(peak, daemon.rss_kb())
    assert peak - warm <= RSS_SLACK_KB
    assert "SET is not configured for column vrrpOperRowStatus" in daemon.log()
    assert masked(snmp("snmpwalk", daemon.address, VRRP, env=lab.env)) == masked(before)
    assert daemon.stop() == 0, daemon.describe()
