#include <gtest/gtest.h>

#include "sources/adverts/Advert.h"

namespace {

// Captured from vrrpd: 192.0.2.1 advertising router 6 at priority 150, two addresses.
std::string captured() {
  const char* hex =
      "45c0002ce59b4000ff70f2f1c0000201e0000012210696020002c415c000026ac00002740000000000000000";
  std::string bytes;
  for (const char* p = hex; *p; p += 2)
    bytes.push_back(static_cast<char>(std::stoi(std::string(p, 2), nullptr, 16)));
  return bytes;
}

TEST(AdvertTest, ReadsACapturedAdvertisement) {
  auto advert = Sources::parseAdvert(captured());
  ASSERT_TRUE(advert);
  EXPECT_EQ(*advert,
            (Sources::Advert{Lirex::IpAddr(192, 0, 2, 1),
                             6,
                             150,
                             {Lirex::IpAddr(192, 0, 2, 106), Lirex::IpAddr(192, 0, 2, 116)}}));
}

TEST(AdvertTest, RefusesWhatIsNotAnAdvertisementFromThisLink) {
  struct Case {
    const char* what;
    std::size_t offset;  // byte changed
    char value;
  };
  for (const Case& c : {Case{"TTL below 255", 8, '\xfe'}, Case{"another protocol", 9, 17},
                        Case{"VRRPv3", 20, 0x31}, Case{"not an advertisement", 20, 0x22},
                        Case{"bad checksum", 26, 0x00}, Case{"address count past the end", 23, 9},
                        Case{"IPv6 header", 0, 0x65}, Case{"length past the data", 3, '\xff'}}) {
    std::string packet = captured();
    packet[c.offset] = c.value;
    EXPECT_FALSE(Sources::parseAdvert(packet)) << c.what;
  }
  for (std::size_t n : {0, 19, 27})
    EXPECT_FALSE(Sources::parseAdvert(captured().substr(0, n))) << n;
}

}  // namespace
