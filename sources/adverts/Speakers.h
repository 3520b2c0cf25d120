#pragma once
// Who is master of each router on each parent interface, as the advertisements tell: the
// router heard with the highest priority (ties: the higher address, as routers elect), until
// it resigns with priority 0 or falls silent for its master-down interval.
#include <map>
#include <optional>
#include <utility>

#include "kiv/Types.h"
#include "lirex/IpAddr.h"
#include "sources/adverts/Advert.h"

namespace Sources {

class Speakers {
 public:
  using Key = std::pair<U32, U32>;  // ifIndex of the parent it arrived on, vrid

  // How long a master may stay silent before its backups take over: 3 advertisement
  // intervals and the skew of its priority.
  static double masterDownSeconds(const Advert& advert);

  // Takes in a well-formed advertisement heard at `now` (monotonic seconds); true when the
  // master of `key` changed.
  bool heard(Key key, const Advert& advert, double now);
  // Forgets the masters silent for their master-down interval; true when any was.
  bool expire(double now);
  // Forgets the masters on `ifIndex`, or only those `keep` refuses; true when any was.
  template <typename Keep>
  bool forget(U32 ifIndex, Keep keep);
  // When the next master falls silent, if any is heard.
  std::optional<double> nextExpiry() const;

  const std::map<Key, Lirex::IpAddr>& masters() const { return masters_; }
  // The priority `key`'s master advertises; 0 when none is heard.
  U32 priority(Key key) const;

 private:
  struct Standing {
    U32 priority = 0;
    double expires = 0;
  };
  void erase(Key key);
  std::map<Key, Lirex::IpAddr> masters_;
  std::map<Key, Standing> standing_;  // beside masters_, which readers get as it is
};

template <typename Keep>
bool Speakers::forget(U32 ifIndex, Keep keep) {
  bool forgot = false;
  for (auto it = masters_.lower_bound({ifIndex, 0});
       it != masters_.end() && it->first.first == ifIndex;) {
    const auto [key, source] = *it++;
    if (keep(source)) continue;
    erase(key);
    forgot = true;
  }
  return forgot;
}

}  // namespace Sources
