// The SNMP target's reply oracle must fire on the faults it exists for; one that never fires
// would let the fuzzer pass anything. Replies are made from captured requests by turning their
// PDU type into a response (byte 13 in a "public" v2c message) and bending one field.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/SnmpReplyCheck.h"

namespace {

constexpr std::size_t kPduType = 13;

std::string seed(const char* name) {
  std::ifstream in(std::string(FHRP_FUZZ_DIR) + "/corpus/fuzz_snmp_request/" + name,
                   std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  EXPECT_GT(bytes.size(), kPduType) << name;
  return bytes;
}

std::string asResponse(std::string message) {
  message[kPduType] = static_cast<char>(0xA2);
  return message;
}

TEST(ReplyCheckDeathTest, FiresOnRepliesThatBreakTheProtocol) {
  const std::string get = seed("v2c_get_scalars");
  const std::string getNext = seed("v2c_getnext_root");
  const std::string set = seed("v2c_set_cntl");

  // The same names back: right for a GET, standing still for a GETNEXT.
  FhrpFuzz::checkReply(get, asResponse(get));
  EXPECT_DEATH(FhrpFuzz::checkReply(getNext, asResponse(getNext)), "answered .* after");

  std::string otherName = asResponse(get);
  otherName[0x28] = 3;  // vrrpNodeVersion.0 becomes .1.3.6.1.2.1.68.1.3.0
  EXPECT_DEATH(FhrpFuzz::checkReply(get, otherName), "a GET of .* answered");

  // The request echoed with error status 0 is a SET that went through.
  EXPECT_DEATH(FhrpFuzz::checkReply(set, asResponse(set)), "was accepted");
  EXPECT_DEATH(FhrpFuzz::checkReply(get, get), "other than a response");
}

}  // namespace
