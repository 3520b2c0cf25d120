#pragma once
// SNMP messages as bytes, for tests that send what no well-behaved manager would: a small BER
// writer, a reader for the agent's replies, and a UDP socket on 127.0.0.1.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/integration/Wait.h"

namespace Harness {

using Oid = std::vector<std::uint32_t>;

// ".1.3.6.1" or "1.3.6.1" -> {1, 3, 6, 1}; "" -> {}.
Oid parseOid(const std::string& text);
std::string oidText(const Oid& oid);  // ".1.3.6.1"

namespace Ber {

constexpr std::uint8_t kInteger = 0x02, kOctets = 0x04, kNull = 0x05, kObjectId = 0x06,
                       kSequence = 0x30, kIpAddress = 0x40, kCounter = 0x41, kGauge = 0x42,
                       kTimeTicks = 0x43, kNoSuchObject = 0x80, kNoSuchInstance = 0x81,
                       kEndOfMibView = 0x82;
constexpr std::uint8_t kGet = 0xa0, kGetNext = 0xa1, kResponse = 0xa2, kSet = 0xa3, kTrapV1 = 0xa4,
                       kGetBulk = 0xa5, kInform = 0xa6, kTrapV2 = 0xa7, kReport = 0xa8;

std::string length(std::size_t n);  // definite form, shortest encoding
std::string tlv(std::uint8_t tag, const std::string& value);
std::string integer(std::int64_t value);
std::string octets(const std::string& value);
std::string null();
std::string objectId(const Oid& oid);  // needs at least two sub-identifiers
std::string sequence(const std::vector<std::string>& items);

// A variable binding; the value is an encoded TLV (null() for requests).
std::string varBind(const Oid& oid, const std::string& value = null());
// A PDU: request-id, then error-status and error-index (non-repeaters and max-repetitions
// for GETBULK), then the bindings.
std::string pdu(std::uint8_t type, std::int64_t requestId, std::int64_t a, std::int64_t b,
                const std::vector<std::string>& varBinds);
// A community-based message: version 0 is SNMPv1, 1 is SNMPv2c.
std::string message(std::int64_t version, const std::string& community, const std::string& pdu);

}  // namespace Ber

struct RawVarBind {
  Oid oid;
  std::uint8_t type = 0;
  std::string value;             // the value's content octets
  std::int64_t integer() const;  // INTEGER and the unsigned application types
};

struct RawReply {
  std::int64_t version = -1;
  std::string community;
  std::uint8_t pduType = 0;
  std::int64_t requestId = 0;
  std::int64_t errorStatus = 0;
  std::int64_t errorIndex = 0;
  std::vector<RawVarBind> varBinds;
};

// A community-based message, or nothing when the bytes are not one.
std::optional<RawReply> parseReply(const std::string& bytes);

// A connected UDP socket on 127.0.0.1; counts what it sends.
class UdpClient {
 public:
  explicit UdpClient(std::uint16_t port);
  ~UdpClient();
  UdpClient(const UdpClient&) = delete;
  UdpClient& operator=(const UdpClient&) = delete;

  void send(const std::string& bytes);
  // The next datagram, or nothing within the timeout.
  std::optional<std::string> receive(Millis timeout);
  // Sends, then waits for the reply that carries the same request-id (others are skipped).
  std::optional<RawReply> request(const std::string& bytes, std::int64_t requestId,
                                  Millis timeout = Millis(3000));
  // Throws away replies that are waiting.
  void drain();
  std::size_t sent() const { return sent_; }

 private:
  int fd_ = -1;
  std::size_t sent_ = 0;
};

}  // namespace Harness
