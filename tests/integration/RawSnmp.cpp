#include "tests/integration/RawSnmp.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>

namespace Harness {

Oid parseOid(const std::string& text) {
  Oid oid;
  std::size_t pos = !text.empty() && text[0] == '.' ? 1 : 0;
  while (pos < text.size()) {
    std::size_t dot = text.find('.', pos);
    if (dot == std::string::npos) dot = text.size();
    oid.push_back(static_cast<std::uint32_t>(std::stoul(text.substr(pos, dot - pos))));
    pos = dot + 1;
  }
  return oid;
}

std::string oidText(const Oid& oid) {
  std::string text;
  for (std::uint32_t part : oid) text += "." + std::to_string(part);
  return text;
}

namespace Ber {

std::string length(std::size_t n) {
  if (n < 0x80) return std::string(1, static_cast<char>(n));
  std::string bytes;
  for (; n; n >>= 8) bytes.insert(bytes.begin(), static_cast<char>(n & 0xff));
  return static_cast<char>(0x80 | bytes.size()) + bytes;
}

std::string tlv(std::uint8_t tag, const std::string& value) {
  return static_cast<char>(tag) + length(value.size()) + value;
}

std::string integer(std::int64_t value) {
  std::string bytes;
  for (int i = 7; i >= 0; --i) bytes += static_cast<char>((value >> (8 * i)) & 0xff);
  // The shortest two's complement form: drop leading octets that only repeat the sign.
  std::size_t skip = 0;
  while (skip + 1 < bytes.size()) {
    const auto first = static_cast<std::uint8_t>(bytes[skip]);
    const auto next = static_cast<std::uint8_t>(bytes[skip + 1]);
    if ((first == 0x00 && !(next & 0x80)) || (first == 0xff && (next & 0x80))) {
      ++skip;
    } else {
      break;
    }
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
  if (oid.size() < 2) throw std::invalid_argument("an OID needs two sub-identifiers");
  auto subId = [](std::uint64_t value) {
    std::string bytes(1, static_cast<char>(value & 0x7f));
    for (value >>= 7; value; value >>= 7) {
      bytes.insert(bytes.begin(), static_cast<char>(0x80 | (value & 0x7f)));
    }
    return bytes;
  };
  std::string body = subId(std::uint64_t{oid[0]} * 40 + oid[1]);
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

// Reads definite-length TLVs; every failure is "not a reply".
class Reader {
 public:
  explicit Reader(std::string_view bytes) : bytes_(bytes) {}

  bool atEnd() const { return pos_ >= bytes_.size(); }

  // The next TLV's tag and content, or false.
  bool next(std::uint8_t& tag, std::string_view& content) {
    if (pos_ + 2 > bytes_.size()) return false;
    tag = static_cast<std::uint8_t>(bytes_[pos_++]);
    std::size_t len = static_cast<std::uint8_t>(bytes_[pos_++]);
    if (len & 0x80) {
      const std::size_t count = len & 0x7f;
      if (count == 0 || count > 4 || pos_ + count > bytes_.size()) return false;
      len = 0;
      for (std::size_t i = 0; i < count; ++i) {
        len = (len << 8) | static_cast<std::uint8_t>(bytes_[pos_++]);
      }
    }
    if (len > bytes_.size() - pos_) return false;
    content = bytes_.substr(pos_, len);
    pos_ += len;
    return true;
  }

  bool expect(std::uint8_t wanted, std::string_view& content) {
    std::uint8_t tag = 0;
    return next(tag, content) && tag == wanted;
  }

  bool integer(std::int64_t& value) {
    std::string_view content;
    if (!expect(Ber::kInteger, content) || content.empty() || content.size() > 8) return false;
    value = static_cast<std::int8_t>(content[0]);
    for (std::size_t i = 1; i < content.size(); ++i) {
      value = static_cast<std::int64_t>(static_cast<std::uint64_t>(value) << 8) |
              static_cast<std::uint8_t>(content[i]);
    }
    return true;
  }

 private:
  std::string_view bytes_;
  std::size_t pos_ = 0;
};

bool decodeOid(std::string_view content, Oid& oid) {
  std::uint64_t value = 0;
  bool first = true;
  for (std::size_t i = 0; i < content.size(); ++i) {
    const auto byte = static_cast<std::uint8_t>(content[i]);
    value = (value << 7) | (byte & 0x7f);
    if (value > 0xffffffffull * 40) return false;
    if (byte & 0x80) continue;
    if (first) {
      const std::uint64_t top = value < 80 ? value / 40 : 2;
      oid.push_back(static_cast<std::uint32_t>(top));
      oid.push_back(static_cast<std::uint32_t>(value - top * 40));
      first = false;
    } else {
      oid.push_back(static_cast<std::uint32_t>(value));
    }
    value = 0;
  }
  return !content.empty() && !(static_cast<std::uint8_t>(content.back()) & 0x80);
}

}  // namespace

std::int64_t RawVarBind::integer() const {
  if (value.empty()) return 0;
  const bool isSigned = type == Ber::kInteger;
  std::int64_t result = isSigned ? static_cast<std::int8_t>(value[0]) : 0;
  for (std::size_t i = isSigned ? 1 : 0; i < value.size(); ++i) {
    result = static_cast<std::int64_t>(static_cast<std::uint64_t>(result) << 8) |
             static_cast<std::uint8_t>(value[i]);
  }
  return result;
}

std::optional<RawReply> parseReply(const std::string& bytes) {
  Reader outer(bytes);
  std::string_view message;
  if (!outer.expect(Ber::kSequence, message)) return std::nullopt;
  Reader in(message);
  RawReply reply;
  std::string_view community, pdu;
  if (!in.integer(reply.version) || !in.expect(Ber::kOctets, community)) return std::nullopt;
  reply.community = std::string(community);
  if (!in.next(reply.pduType, pdu)) return std::nullopt;
  Reader fields(pdu);
  std::string_view list;
  if (!fields.integer(reply.requestId) || !fields.integer(reply.errorStatus) ||
      !fields.integer(reply.errorIndex) || !fields.expect(Ber::kSequence, list)) {
    return std::nullopt;
  }
  Reader bindings(list);
  while (!bindings.atEnd()) {
    std::string_view binding, oid, value;
    RawVarBind vb;
    if (!bindings.expect(Ber::kSequence, binding)) return std::nullopt;
    Reader parts(binding);
    if (!parts.expect(Ber::kObjectId, oid) || !decodeOid(oid, vb.oid) ||
        !parts.next(vb.type, value)) {
      return std::nullopt;
    }
    vb.value = std::string(value);
    reply.varBinds.push_back(std::move(vb));
  }
  return reply;
}

UdpClient::UdpClient(std::uint16_t port) {
  fd_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd_ < 0) throw std::runtime_error(std::string("socket: ") + std::strerror(errno));
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(port);
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
    ::close(fd_);
    throw std::runtime_error(std::string("connect: ") + std::strerror(errno));
  }
}

UdpClient::~UdpClient() {
  ::close(fd_);
}

void UdpClient::send(const std::string& bytes) {
  // A refused earlier datagram (ICMP port unreachable) surfaces here as ECONNREFUSED: retry.
  for (int attempt = 0; attempt < 3; ++attempt) {
    if (::send(fd_, bytes.data(), bytes.size(), 0) >= 0) {
      ++sent_;
      return;
    }
    if (errno != ECONNREFUSED && errno != EINTR) break;
  }
  throw std::runtime_error(std::string("send: ") + std::strerror(errno));
}

std::optional<std::string> UdpClient::receive(Millis timeout) {
  pollfd p{fd_, POLLIN, 0};
  if (::poll(&p, 1, static_cast<int>(timeout.count())) != 1) return std::nullopt;
  std::string buffer(65536, '\0');
  const ssize_t n = ::recv(fd_, buffer.data(), buffer.size(), 0);
  if (n < 0) return std::nullopt;
  buffer.resize(static_cast<std::size_t>(n));
  return buffer;
}

std::optional<RawReply> UdpClient::request(const std::string& bytes, std::int64_t requestId,
                                           Millis timeout) {
  send(bytes);
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (true) {
    const auto left =
        std::chrono::duration_cast<Millis>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return std::nullopt;
    auto datagram = receive(left);
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
