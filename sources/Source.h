// SPDX-License-Identifier: Apache-2.0
#pragma once
// A source of state snapshots: something outside (the state document, FRR's vrrpd and the
// kernel) that it reads and hands, as snapshots, to the one Zentra::StatePublisher it was made
// with. The host makes one, wires it and starts it; it never asks which kind it has.
namespace Sources {

class Source {
 public:
  virtual ~Source() = default;

  // Publishes what the source says now and follows it from then on, on the event loop. What
  // is not there yet (a missing document, a vrrpd that does not answer) is said once and waited
  // for: nothing is served until it comes. Kiv::RangeException when the source cannot be served
  // and no waiting will change that (a document that is there but invalid, where the host asked
  // for that to be refused; rtnetlink that cannot be opened).
  virtual void start() = 0;
  // Reads anew, now (SIGHUP, a reloaded snmpd): the document again, or vrrpd's whole answer.
  virtual void refresh() = 0;
};

}  // namespace Sources
