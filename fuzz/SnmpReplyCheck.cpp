// SPDX-License-Identifier: Apache-2.0
#include "fuzz/SnmpReplyCheck.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "kiv/Assert.h"
#include "platform/Snmp/NetSnmp.h"
#include "platform/Snmp/Oid.h"

namespace FhrpFuzz {
namespace {

struct PduFree {
  void operator()(netsnmp_pdu* pdu) const { snmp_free_pdu(pdu); }
};
using PduPtr = std::unique_ptr<netsnmp_pdu, PduFree>;

struct Name {
  std::vector<oid> oids;
  u_char type;
};

struct Message {
  long version = 0;
  int command = 0;
  long errorStatus = 0;
  long nonRepeaters = 0;
  long maxRepetitions = 0;
  std::vector<Name> names;
};

// Reads a community-based message with net-snmp's own parser, as the agent reads it.
std::optional<Message> parse(std::string_view bytes) {
  std::vector<u_char> data(bytes.begin(), bytes.end());
  std::vector<u_char> community(data.size() + 1);
  size_t communityLength = community.size();
  size_t length = data.size();
  long version = -1;
  u_char* pduData =
      snmp_comstr_parse(data.data(), &length, community.data(), &communityLength, &version);
  if (!pduData || (version != SNMP_VERSION_1 && version != SNMP_VERSION_2c)) return std::nullopt;
  PduPtr pdu(snmp_pdu_create(SNMP_MSG_GET));
  pdu->version = version;
  if (snmp_pdu_parse(pdu.get(), pduData, &length) != 0) return std::nullopt;
  Message m;
  m.version = version;
  m.command = pdu->command;
  if (pdu->command == SNMP_MSG_GETBULK) {
    m.nonRepeaters = pdu->non_repeaters;
    m.maxRepetitions = pdu->max_repetitions;
  } else {
    m.errorStatus = pdu->errstat;
  }
  for (const netsnmp_variable_list* v = pdu->variables; v; v = v->next_variable) {
    m.names.push_back({{v->name, v->name + v->name_length}, v->type});
    // BER holds at least two arcs: an empty OID is read as .0, and net-snmp sends that back
    // as .0.0.
    if (m.names.back().oids.size() < 2) m.names.back().oids.resize(2, 0);
  }
  return m;
}

Kiv::String8 text(const std::vector<oid>& name) {
  return Snmp::oidToString(name.data(), name.size());
}

bool after(const std::vector<oid>& a, const std::vector<oid>& b) {
  return snmp_oid_compare(a.data(), a.size(), b.data(), b.size()) > 0;
}

void checkForward(const Name& answer, const std::vector<oid>& from) {
  if (answer.type == SNMP_ENDOFMIBVIEW) return;
  KIV_ASSERT(after(answer.oids, from),
             "the agent answered " + text(answer.oids) + " after " + text(from));
}

}  // namespace

void checkReply(std::string_view requestBytes, std::string_view replyBytes) {
  const std::optional<Message> request = parse(requestBytes);
  if (!request) return;
  const std::optional<Message> reply = parse(replyBytes);
  KIV_ASSERT(reply && reply->command == SNMP_MSG_RESPONSE && reply->version == request->version,
             "the agent sent something other than a response");

  if (request->command == SNMP_MSG_SET) {
    KIV_ASSERT(request->names.empty() || reply->errorStatus != SNMP_ERR_NOERROR,
               "a SET of " + text(request->names.front().oids) + " was accepted");
    return;
  }
  if (reply->errorStatus != SNMP_ERR_NOERROR) return;
  const auto& asked = request->names;
  const auto& answered = reply->names;

  switch (request->command) {
    case SNMP_MSG_GET:
      KIV_ASSERT(answered.size() == asked.size(), "a GET answered another number of names");
      for (size_t i = 0; i < asked.size(); ++i) {
        KIV_ASSERT(answered[i].oids == asked[i].oids,
                   "a GET of " + text(asked[i].oids) + " answered " + text(answered[i].oids));
      }
      return;
    case SNMP_MSG_GETNEXT:
      KIV_ASSERT(answered.size() == asked.size(), "a GETNEXT answered another number of names");
      for (size_t i = 0; i < asked.size(); ++i) checkForward(answered[i], asked[i].oids);
      return;
    case SNMP_MSG_GETBULK: {
      // Non-repeaters first, then the repeaters once per repetition; the agent may stop early.
      const size_t plain = static_cast<size_t>(
          std::clamp<long>(request->nonRepeaters, 0, static_cast<long>(asked.size())));
      const size_t repeated = asked.size() - plain;
      for (size_t i = 0; i < answered.size(); ++i) {
        if (i < plain) {
          checkForward(answered[i], asked[i].oids);
          continue;
        }
        const size_t k = i - plain;
        if (repeated == 0) break;
        const size_t column = k % repeated;
        checkForward(answered[i],
                     k < repeated ? asked[plain + column].oids : answered[i - repeated].oids);
      }
      return;
    }
    default:
      return;
  }
}

}  // namespace FhrpFuzz
