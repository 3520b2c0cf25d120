// SPDX-License-Identifier: Apache-2.0
#pragma once
// What the mirroring machines share: their trace handle, key snapshots for walks
// that may change what they walk, and the base of their reactors.
#include <vector>

#include "kiv/Notifier.h"
#include "kiv/Trace.h"

namespace FhrpSnmp {

// Level 8: one entry line per handler; level 7: what the machines create, delete and send.
inline Kiv::TraceHandle& entryTrace() {
  static Kiv::TraceHandle& handle = Kiv::traceHandle("FhrpSnmpEntry");
  return handle;
}

// The keys of a map as they are now. Handlers walk snapshots because the work done
// per key (rows, notifications, nested record changes) may change the map itself.
template <class Map>
std::vector<typename Map::key_type> keysOf(const Map& map) {
  std::vector<typename Map::key_type> keys;
  keys.reserve(map.size());
  for (const auto& member : map) keys.push_back(member.first);
  return keys;
}

// Whether a map holds a key with a non-null (or true) value: a member that is null
// counts as absent.
template <class Map>
bool holds(const Map& map, const typename Map::key_type& key) {
  auto it = map.find(key);
  return it != map.end() && static_cast<bool>(it->second);
}

// A counted reference to an object that may still be under construction (no
// reference yet); taking one then would delete the object when it is dropped.
template <class T>
Kiv::Ptr<const T> holdIfCounted(const T* p) {
  return Kiv::Ptr<const T>(p && p->references() > 0 ? p : nullptr);
}

// A machine's reactor on one record. The machine owns the reactor; the reactor's
// plain back pointer is cleared when the machine lets it go, after which no
// handler of it runs.
template <class Machine, class Record>
class MachineReactor : public Record::NotifieeConst {
 public:
  MachineReactor(const Kiv::Ptr<const Record>& record, Machine* machine)
      : Record::NotifieeConst(record), machine_(machine) {}

  Machine* machine() const { return machine_; }
  // Unhooks the reactor from its machine and its record for good.
  void machineDel() {
    machine_ = nullptr;
    this->teardown();
  }
  bool live() const { return machine_ && this->isLive(); }

 protected:
  // Taken for the length of a notification handler: the handler's work may end up
  // releasing the machine (and with it this reactor); both then go when it returns.
  struct Hold {
    Kiv::Ptr<const MachineReactor> self;
    Kiv::Ptr<const Machine> machine;
  };
  Hold hold() const { return Hold{holdIfCounted(this), holdIfCounted(machine_)}; }

 private:
  Machine* machine_;
};

}  // namespace FhrpSnmp
