#pragma once
// SNMP messages as bytes, for sending what no well-behaved manager would: a small BER writer, a
// reader for the agent's replies, and a UDP socket towards 127.0.0.1.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/integration/SnmpTools.h"

namespace Harness {

namespace Ber {

constexpr std::uint8_t kInteger = 0x02, kOctets = 0x04, kNull = 0x05, kObjectId = 0x06,
                       kSequence = 0x30, kIpAddress = 0x40, kGauge = 0x42, kTimeTicks = 0x43,
                       kNoSuchObject = 0x80, kNoSuchInstance = 0x81, kEndOfMibView = 0x82;
constexpr std::uint8_t kGet = 0xa0, kGetNext = 0xa1, kResponse = 0xa2, kSet = 0xa3, kTrapV1 = 0xa4,
                       kGetBulk = 0xa5, kInform = 0xa6, kTrapV2 = 0xa7, kReport = 0xa8;

std::string tlv(std::uint8_t tag, const std::string& value);  // shortest definite length
std::string integer(std::int64_t value);
std::string octets(const std::string& value);
std::string null();
std::string objectId(const Oid& oid);  // at least two sub-identifiers
std::string sequence(const std::vector<std::string>& items);
std::string varBind(const Oid& oid, const std::string& value = null());
// request-id, error-status and error-index (non-repeaters and max-repetitions for GETBULK).
std::string pdu(std::uint8_t type, std::int64_t requestId, std::int64_t a, std::int64_t b,
                const std::vector<std::string>& varBinds);
// Version 0 is SNMPv1, 1 is SNMPv2c.
std::string message(std::int64_t version, const std::string& community, const std::string& pdu);

}  // namespace Ber

struct RawVarBind {
  Oid oid;
  std::uint8_t type = 0;
  std::string value;             // content octets
  std::int64_t integer() const;  // of an INTEGER
};

struct RawReply {
  std::int64_t requestId = 0, errorStatus = 0, errorIndex = 0;
  std::vector<RawVarBind> varBinds;
};
std::optional<RawReply> parseReply(const std::string& bytes);  // nothing when it is not one

// A UDP socket connected to 127.0.0.1:port; counts what it sends.
class UdpClient {
 public:
  explicit UdpClient(std::uint16_t port);
  void send(const std::string& bytes);
  std::optional<std::string> receive(Millis timeout);
  // Sends, then waits for the reply with the same request-id, skipping others.
  std::optional<RawReply> request(const std::string& bytes, std::int64_t requestId,
                                  Millis timeout = Millis(3000));
  void drain();  // throws away the replies waiting
  std::size_t sent() const { return sent_; }

 private:
  Socket socket_{SOCK_DGRAM};
  std::size_t sent_ = 0;
};

}  // namespace Harness
