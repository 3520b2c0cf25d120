// SPDX-License-Identifier: Apache-2.0
#include "sources/adverts/Speakers.h"

#include <utility>

namespace Sources {

double Speakers::masterDownSeconds(const Advert& advert) {
  const double interval = advert.intervalCentiseconds / 100.0;
  const double share = (256.0 - advert.priority) / 256.0;
  return 3 * interval + share * (advert.version == kVrrpVersion2 ? 1.0 : interval);
}

bool Speakers::heard(const AdvertKey& key, const Advert& advert, double now) {
  auto master = masters_.find(key);
  const bool fromMaster = master != masters_.end() && master->second.address == advert.source;
  if (advert.priority == 0) {
    // The master resigns: until the next one speaks, there is none. Another router's
    // resignation says nothing about the master.
    if (!fromMaster) return false;
    erase(key);
    return true;
  }
  const HeardMaster heard{advert.source, advert.priority};
  const double expires = now + masterDownSeconds(advert);
  if (master != masters_.end() && !fromMaster) {
    // Two routers advertise for a moment when one preempts the other: the election's winner
    // is the master. A silent master is replaced by whoever speaks.
    const HeardMaster& held = master->second;
    if (expires_.at(key) > now &&
        std::pair(held.priority, held.address) > std::pair(heard.priority, heard.address)) {
      return false;
    }
  }
  // The master's own advertisement may carry another priority: told like a new master, since
  // the priority it advertises is part of what is heard.
  const bool changed = master == masters_.end() || master->second != heard;
  masters_[key] = heard;
  expires_[key] = expires;
  return changed;
}

bool Speakers::expire(double now) {
  bool forgot = false;
  for (auto it = expires_.begin(); it != expires_.end();) {
    const auto [key, expires] = *it++;
    if (expires > now) continue;
    erase(key);
    forgot = true;
  }
  return forgot;
}

std::optional<double> Speakers::nextExpiry() const {
  std::optional<double> next;
  for (const auto& [key, expires] : expires_) {
    if (!next || expires < *next) next = expires;
  }
  return next;
}

void Speakers::erase(const AdvertKey& key) {
  masters_.erase(key);
  expires_.erase(key);
}

}  // namespace Sources
