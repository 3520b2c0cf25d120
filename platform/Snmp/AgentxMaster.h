// SPDX-License-Identifier: Apache-2.0
#pragma once
// How many more notifications an AgentX subagent may send its master now.
//
// In a subagent send_v2trap writes each notification to the master as an AgentX Notify PDU,
// at once and with a blocking write on the Unix stream socket; the master answers each with
// a Response. Neither side reads while it is blocked writing, so a subagent that writes
// hundreds of Notifies without reading the Responses fills both socket buffers, and the two
// processes then wait on each other for good (with Debian's snmpd at 768 in one go, not 512;
// the machine's whole agent stops answering).
//
// net-snmp offers no safe non-blocking send for this: its Unix stream transport calls
// send() once and takes a short write as success, so a non-blocking socket would cut a PDU
// in two and desynchronise the session. What it does offer is the count of the master's
// answers: send_trap_to_sess sends a Notify as a request (snmp_async_send) and counts it in
// the session's trap_stats, and its response handler counts each Response, timeout or
// failure there. Sending only while fewer than a window of Notifies are unanswered keeps
// what either side has to write far below what the socket buffers hold, so neither side's
// writes wait on the other's reads. The queue's pacing (TrapManager.h) comes on top.
//
// The session itself comes from net-snmp's INDEX_START callback, which the subagent calls
// each time it (re)connects, and goes with INDEX_STOP when the master goes away.
#include <cstddef>

namespace Snmp::AgentxMaster {

// Notifies the master may leave unanswered.
constexpr size_t kWindow = 10;

// Starts following the subagent's session to its master; call before init_snmp, which
// connects. Idempotent.
void follow();

// How many notifications may go to the master now: none without a session to a master
// (they wait in the queue until it is back), else kWindow less those it has not answered.
size_t room();

}  // namespace Snmp::AgentxMaster
