// SPDX-License-Identifier: Apache-2.0
#pragma once
// Who is master of each router on each parent interface and family, as the advertisements tell:
// the router heard with the highest priority (ties: the higher address, as routers elect), until
// it resigns with priority 0 or falls silent for its master-down interval.
#include <map>
#include <optional>

#include "kiv/Types.h"
#include "sources/adverts/Advert.h"
#include "sources/adverts/AdvertView.h"

namespace Sources {

class Speakers {
 public:
  using Masters = std::map<AdvertKey, HeardMaster>;

  // How long a master may stay silent before its backups take over: 3 advertisement intervals
  // and the skew of its priority (version 3: a share of its interval, version 2: of a second).
  static double masterDownSeconds(const Advert& advert);

  // Takes in a well-formed advertisement heard at `now` (monotonic seconds); true when the
  // master of `key` changed.
  bool heard(const AdvertKey& key, const Advert& advert, double now);
  // Forgets the masters silent for their master-down interval; true when any was.
  bool expire(double now);
  // Forgets the masters `keep` refuses (key, master); true when any was.
  template <typename Keep>
  bool forget(Keep keep);
  // When the next master falls silent, if any is heard.
  std::optional<double> nextExpiry() const;

  const Masters& masters() const { return masters_; }

 private:
  void erase(const AdvertKey& key);
  Masters masters_;
  std::map<AdvertKey, double> expires_;  // beside masters_, which readers get as it is
};

template <typename Keep>
bool Speakers::forget(Keep keep) {
  bool forgot = false;
  for (auto it = masters_.begin(); it != masters_.end();) {
    const auto [key, master] = *it++;
    if (keep(key, master)) continue;
    erase(key);
    forgot = true;
  }
  return forgot;
}

}  // namespace Sources
