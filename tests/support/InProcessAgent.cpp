// SPDX-License-Identifier: Apache-2.0
#include "tests/support/InProcessAgent.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

// Not installed with libsnmp-dev (agent/mibgroup/utilities/iquery.h).
extern "C" netsnmp_session* netsnmp_iquery_user_session(char* secName);

namespace FhrpTest {
namespace {

const char kAppName[] = "fhrp-test-agent";
const char kUser[] = "internal";

std::string makeDirectory() {
  std::string pattern = (std::filesystem::temp_directory_path() / "fhrp-agent-XXXXXX").string();
  if (!mkdtemp(pattern.data())) throw std::runtime_error("cannot create " + pattern);
  for (const char* sub : {"conf", "persist", "mibs"}) {
    std::filesystem::create_directory(std::filesystem::path(pattern) / sub);
  }
  return pattern;
}

VarBind toVarBind(const netsnmp_variable_list* v) {
  VarBind vb;
  vb.name.assign(v->name, v->name + v->name_length);
  vb.type = v->type;
  switch (v->type) {
    case ASN_INTEGER:
    case ASN_UNSIGNED:
    case ASN_COUNTER:
    case ASN_TIMETICKS:
      vb.integer = *v->val.integer;
      break;
    case ASN_OCTET_STR:
    case ASN_IPADDRESS:
    case ASN_OPAQUE:
    case ASN_BIT_STR:
      vb.octets.assign(v->val.string, v->val.string + v->val_len);
      break;
    default:
      break;
  }
  return vb;
}

bool under(const Oid& root, const Oid& name) {
  return name.size() > root.size() &&
         snmp_oid_compare(root.data(), root.size(), name.data(), root.size()) == 0;
}

}  // namespace

std::string toString(const Oid& name) {
  std::string text;
  // Two appends rather than "." + std::to_string(sub): GCC 12 at -O3 reports a false
  // -Wrestrict on the temporary's insert.
  for (oid sub : name) {
    text += '.';
    text += std::to_string(sub);
  }
  return text;
}

InProcessAgent& InProcessAgent::instance() {
  static InProcessAgent agent;
  return agent;
}

InProcessAgent::InProcessAgent() : directory_(makeDirectory()) {
  namespace fs = std::filesystem;
  // Nothing of the machine's net-snmp setup may leak in: no snmpd.conf, no MIB files.
  setenv("MIBS", "", 1);
  setenv("MIBDIRS", (fs::path(directory_) / "mibs").c_str(), 1);
  setenv("SNMPCONFPATH", (fs::path(directory_) / "conf").c_str(), 1);
  setenv("SNMP_PERSISTENT_DIR", (fs::path(directory_) / "persist").c_str(), 1);
  netsnmp_ds_set_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_PERSISTENT_DIR,
                        (fs::path(directory_) / "persist").c_str());
  netsnmp_ds_set_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_CONFIGURATION_DIR,
                        (fs::path(directory_) / "conf").c_str());
  // Alarms (the trap queue's among them) run from the event loop, as in snmpd.
  netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_ALARM_DONT_USE_SIG, 1);
  netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_PORTS, "none");

  // net-snmp's warnings and errors (a module's failed registration) stay visible.
  snmp_disable_log();
  netsnmp_register_loghandler(NETSNMP_LOGHANDLER_STDERR, LOG_WARNING);

  // Remembered now, applied when init_snmp reads the configuration.
  std::string access = std::string("rwuser ") + kUser + " noauth";
  netsnmp_config(access.data());

  if (init_agent(kAppName) != 0) throw std::runtime_error("init_agent failed");
  init_snmp(kAppName);
  if (init_master_agent() != 0) throw std::runtime_error("init_master_agent failed");
  session_ = netsnmp_iquery_user_session(const_cast<char*>(kUser));
  if (!session_) throw std::runtime_error("cannot open the internal query session");
}

InProcessAgent::~InProcessAgent() {
  if (session_) snmp_close(session_);
  std::error_code ignored;
  std::filesystem::remove_all(directory_, ignored);
}

Response InProcessAgent::get(const std::vector<Oid>& names) {
  return request(SNMP_MSG_GET, names);
}

Response InProcessAgent::getNext(const std::vector<Oid>& names) {
  return request(SNMP_MSG_GETNEXT, names);
}

Response InProcessAgent::walk(const Oid& root) {
  Response walked;
  Oid next = root;
  for (;;) {
    Response step = getNext({next});
    if (step.errorStatus != SNMP_ERR_NOERROR) {
      walked.errorStatus = step.errorStatus;
      walked.errorIndex = step.errorIndex;
      return walked;
    }
    if (step.varBinds.empty()) return walked;
    for (auto& vb : step.varBinds) {
      if (vb.type == SNMP_ENDOFMIBVIEW || !under(root, vb.name)) return walked;
      // An agent must move forward; one that does not would keep a walk going forever.
      if (snmp_oid_compare(vb.name.data(), vb.name.size(), next.data(), next.size()) <= 0) {
        throw std::runtime_error("walk did not advance past " + toString(next));
      }
      next = vb.name;
      walked.varBinds.push_back(std::move(vb));
    }
  }
}

void InProcessAgent::runEventLoopOnce() {
  agent_check_and_process(0);
}

Response InProcessAgent::request(int command, const std::vector<Oid>& names) {
  netsnmp_pdu* pdu = snmp_pdu_create(command);
  for (const auto& name : names) snmp_add_null_var(pdu, name.data(), name.size());
  netsnmp_pdu* reply = nullptr;
  const int status = snmp_synch_response(session_, pdu, &reply);
  if (status != STAT_SUCCESS || !reply) {
    if (reply) snmp_free_pdu(reply);
    throw std::runtime_error(std::string("internal SNMP request failed: ") +
                             snmp_api_errstring(snmp_errno));
  }
  Response response;
  response.errorStatus = reply->errstat;
  response.errorIndex = reply->errindex;
  for (auto* v = reply->variables; v; v = v->next_variable) {
    response.varBinds.push_back(toVarBind(v));
  }
  snmp_free_pdu(reply);
  return response;
}

}  // namespace FhrpTest
