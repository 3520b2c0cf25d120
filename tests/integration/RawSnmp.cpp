#include "tests/integration/RawSnmp.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string_view>

namespace Harness {

namespace Ber {

std::string tlv(std::uint8_t tag, const std::string& value) {
  std::string length;
  for (std::size_t n = value.size(); n; n >>= 8) length.insert(0, 1, static_cast<char>(n & 0xff));
  if (value.size() >= 0x80) length.insert(0, 1, static_cast<char>(0x80 | length.size()));
  if (value.empty()) length = std::string(1, '\0');
  return static_cast<char>(tag) + length + value;
}

std::string integer(std::int64_t value) {
  std::string bytes;
  for (int i = 7; i >= 0; --i) bytes += static_cast<char>((value >> (8 * i)) & 0xff);
  // The shortest two's complement form: drop leading octets that only repeat the sign.
  std::size_t skip = 0;
  while (skip < 7 && (bytes[skip] == '\0' || bytes[skip] == '\xff') &&
         ((bytes[skip] == '\0') == !(bytes[skip + 1] & 0x80))) {
    ++skip;
  }
  return tlv(kInteger, bytes.substr(skip));
}

std::string octets(const std::string& value) {
  return tlv(kOctets, value);
}

std::string null() {
  return tlv(kNull, "");
}

std::string objectId(const Oid& oid) {
  auto subId = [](std::uint64_t value) {
    std::string bytes(1, static_cast<char>(value & 0x7f));
    for (value >>= 7; value; value >>= 7)
      bytes.insert(0, 1, static_cast<char>(0x80 | (value & 0x7f)));
    return bytes;
  };
  std::string body = subId(std::uint64_t{oid.at(0)} * 40 + oid.at(1));
  for (std::size_t i = 2; i < oid.size(); ++i) body += subId(oid[i]);
  return tlv(kObjectId, body);
}

std::string sequence(const std::vector<std::string>& items) {
  std::string body;
  for (const auto& item : items) body += item;
  return tlv(kSequence, body);
}

std::string varBind(const Oid& oid, const std::string& value) {
  return sequence({objectId(oid), value});
}

std::string pdu(std::uint8_t type, std::int64_t requestId, std::int64_t a, std::int64_t b,
                const std::vector<std::string>& varBinds) {
  return tlv(type, integer(requestId) + integer(a) + integer(b) + sequence(varBinds));
}

std::string message(std::int64_t version, const std::string& community, const std::string& pdu) {
  return sequence({integer(version), octets(community), pdu});
}

}  // namespace Ber

namespace {

// Takes the next definite-length TLV off `in`; false when there is none that fits.
bool take(std::string_view& in, std::uint8_t& tag, std::string_view& content) {
  if (in.size() < 2) return false;
  tag = static_cast<std::uint8_t>(in[0]);
  std::size_t len = static_cast<std::uint8_t>(in[1]), pos = 2;
  if (len & 0x80) {
    const std::size_t count = len & 0x7f;
    if (count == 0 || count > 4 || in.size() < 2 + count) return false;
    for (len = 0; pos < 2 + count; ++pos) len = (len << 8) | static_cast<std::uint8_t>(in[pos]);
  }
  if (len > in.size() - pos) return false;
  content = in.substr(pos, len);
  in.remove_prefix(pos + len);
  return true;
}

bool expect(std::string_view& in, std::uint8_t wanted, std::string_view& content) {
  std::uint8_t tag = 0;
  return take(in, tag, content) && tag == wanted;
}

bool takeInteger(std::string_view& in, std::int64_t& value) {
  std::string_view content;
  if (!expect(in, Ber::kInteger, content) || content.empty() || content.size() > 8) return false;
  value = RawVarBind{{}, Ber::kInteger, std::string(content)}.integer();
  return true;
}

bool decodeOid(std::string_view content, Oid& oid) {
  std::uint64_t value = 0;
  for (char c : content) {
    value = (value << 7) | (c & 0x7f);
    if (value > 0xffffffffull * 40) return false;
    if (c & 0x80) continue;
    const std::uint64_t top = value < 80 ? value / 40 : 2;
    if (oid.empty()) oid.push_back(static_cast<std::uint32_t>(top));
    oid.push_back(static_cast<std::uint32_t>(oid.size() == 1 ? value - top * 40 : value));
    value = 0;
  }
  return !content.empty() && !(content.back() & 0x80);
}

}  // namespace

std::int64_t RawVarBind::integer() const {
  std::int64_t result = value.empty() ? 0 : static_cast<std::int8_t>(value[0]);
  for (std::size_t i = 1; i < value.size(); ++i) {
    result = static_cast<std::int64_t>(static_cast<std::uint64_t>(result) << 8) |
             static_cast<std::uint8_t>(value[i]);
  }
  return result;
}

std::optional<RawReply> parseReply(const std::string& bytes) {
  std::string_view in = bytes, message, community, pdu, list;
  std::int64_t version = 0;
  std::uint8_t pduType = 0;
  RawReply r;
  if (!expect(in, Ber::kSequence, message) || !takeInteger(message, version) ||
      !expect(message, Ber::kOctets, community) || !take(message, pduType, pdu) ||
      !takeInteger(pdu, r.requestId) || !takeInteger(pdu, r.errorStatus) ||
      !takeInteger(pdu, r.errorIndex) || !expect(pdu, Ber::kSequence, list)) {
    return std::nullopt;
  }
  while (!list.empty()) {
    std::string_view binding, oid, value;
    RawVarBind vb;
    if (!expect(list, Ber::kSequence, binding) || !expect(binding, Ber::kObjectId, oid) ||
        !decodeOid(oid, vb.oid) || !take(binding, vb.type, value)) {
      return std::nullopt;
    }
    vb.value = std::string(value);
    r.varBinds.push_back(std::move(vb));
  }
  return r;
}

UdpClient::UdpClient(std::uint16_t port) {
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(port);
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(socket_.fd(), reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
    throw std::runtime_error(std::string("connect: ") + std::strerror(errno));
  }
}

void UdpClient::send(const std::string& bytes) {
  // A refused earlier datagram (ICMP port unreachable) surfaces here as ECONNREFUSED: retry.
  for (int attempt = 0; attempt < 3; ++attempt) {
    if (::send(socket_.fd(), bytes.data(), bytes.size(), 0) >= 0) {
      ++sent_;
      return;
    }
    if (errno != ECONNREFUSED && errno != EINTR) break;
  }
  throw std::runtime_error(std::string("send: ") + std::strerror(errno));
}

std::optional<std::string> UdpClient::receive(Millis timeout) {
  pollfd p{socket_.fd(), POLLIN, 0};
  if (::poll(&p, 1, static_cast<int>(timeout.count())) != 1) return std::nullopt;
  std::string buffer(65536, '\0');
  const ssize_t n = ::recv(socket_.fd(), buffer.data(), buffer.size(), 0);
  if (n < 0) return std::nullopt;
  buffer.resize(static_cast<std::size_t>(n));
  return buffer;
}

std::optional<RawReply> UdpClient::request(const std::string& bytes, std::int64_t requestId,
                                           Millis timeout) {
  send(bytes);
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    const auto left =
        std::chrono::duration_cast<Millis>(deadline - std::chrono::steady_clock::now());
    auto datagram = left.count() > 0 ? receive(left) : std::nullopt;
    if (!datagram) return std::nullopt;
    auto reply = parseReply(*datagram);
    if (reply && reply->requestId == requestId) return reply;
  }
}

void UdpClient::drain() {
  while (receive(Millis(0))) {
  }
}

}  // namespace Harness
