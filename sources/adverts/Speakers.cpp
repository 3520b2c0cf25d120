#include "sources/adverts/Speakers.h"

#include <algorithm>

namespace Sources {

double Speakers::masterDownSeconds(const Advert& advert) {
  return 3.0 * advert.intervalSeconds + (256.0 - advert.priority) / 256.0;
}

bool Speakers::heard(Key key, const Advert& advert, double now) {
  auto master = masters_.find(key);
  const bool fromMaster = master != masters_.end() && master->second == advert.source;
  if (advert.priority == 0) {
    // The master resigns: until the next one speaks, there is none. Another router's
    // resignation says nothing about the master.
    if (!fromMaster) return false;
    erase(key);
    return true;
  }
  Standing standing{advert.priority, now + masterDownSeconds(advert)};
  if (fromMaster) {
    standing_[key] = standing;
    return false;
  }
  if (master != masters_.end()) {
    const Standing& held = standing_.at(key);
    // Two routers advertise for a moment when one preempts the other: the election's winner
    // is the master. A silent master is replaced by whoever speaks.
    if (held.expires > now && std::pair(held.priority, master->second.value()) >
                                  std::pair(advert.priority, advert.source.value())) {
      return false;
    }
  }
  masters_[key] = advert.source;
  standing_[key] = standing;
  return true;
}

bool Speakers::expire(double now) {
  bool forgot = false;
  for (auto it = standing_.begin(); it != standing_.end();) {
    const auto [key, standing] = *it++;
    if (standing.expires > now) continue;
    erase(key);
    forgot = true;
  }
  return forgot;
}

std::optional<double> Speakers::nextExpiry() const {
  std::optional<double> next;
  for (const auto& [key, standing] : standing_) {
    if (!next || standing.expires < *next) next = standing.expires;
  }
  return next;
}

U32 Speakers::priority(Key key) const {
  auto it = standing_.find(key);
  return it == standing_.end() ? 0 : it->second.priority;
}

void Speakers::erase(Key key) {
  masters_.erase(key);
  standing_.erase(key);
}

}  // namespace Sources
