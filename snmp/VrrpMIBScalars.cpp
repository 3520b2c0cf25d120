// SPDX-License-Identifier: Apache-2.0
// vrrpNodeVersion and vrrpNotificationCntl: constants, registered in every context.
#include "kiv/Assert.h"
#include "platform/Snmp/Conversions.h"
#include "snmp/SnmpTrace.h"
#include "snmp/VrrpMIBInternal.h"
#include "snmp/VrrpMibOids.h"

namespace {

using Snmp::snmpTrace;

// Below net-snmp's default of 127, so these registrations win over another module's.
constexpr int kScalarPriority = 64;

void traceOid(const oid* name, size_t len, const Kiv::String8& context) {
  char oidText[200];
  snprint_objid(oidText, sizeof(oidText), name, len);
  KIV_TRACE(snmpTrace(), 1,
            "init_VrrpMIB initializing oid " << oidText << " in context \"" << context << "\"");
}

// net-snmp owns the registration from here on, also when it refuses it as a duplicate.
void registerScalar(const char* object, Netsnmp_Node_Handler* handler, const oid* name, size_t len,
                    int mode, const Kiv::String8& context, const char* assertion) {
  netsnmp_handler_registration* reg = netsnmp_create_handler_registration(
      (Kiv::String8(object) + "_" + context).c_str(), handler, name, len, mode);
  KIV_ASSERT(reg, assertion);
  reg->priority = kScalarPriority;
  netsnmp_register_scalar(reg);
}

int answerConstant(const char* object, S32 value, netsnmp_agent_request_info* reqinfo,
                   netsnmp_request_info* requests) {
  switch (reqinfo->mode) {
    case MODE_SET_RESERVE1:
    case MODE_SET_RESERVE2:
    case MODE_SET_ACTION:
    case MODE_SET_COMMIT:
    case MODE_SET_FREE:
    case MODE_SET_UNDO:
      for (netsnmp_request_info* r = requests; r; r = r->next) {
        KIV_TRACE(snmpTrace(), 2, "handle_" << object << " - SET is not configured for " << object);
        netsnmp_request_set_error(r, SNMP_ERR_NOTWRITABLE);
      }
      return SNMP_ERR_NOERROR;
    case MODE_GET:
      for (netsnmp_request_info* r = requests; r; r = r->next) {
        KIV_TRACE(snmpTrace(), 2, "handle_" << object << " - returning " << value);
        unsigned char buf[1024];
        const S32 len = S32ToAsnInteger(value, buf, sizeof(buf));
        if (len >= 0) snmp_set_var_typed_value(r->requestvb, ASN_INTEGER, buf, len);
      }
      return SNMP_ERR_NOERROR;
    default:
      for (netsnmp_request_info* r = requests; r; r = r->next) {
        KIV_TRACE(snmpTrace(), 2,
                  "handle_" << object << " - unknown mode from request: " << reqinfo->mode);
        netsnmp_request_set_error(r, SNMP_ERR_GENERR);
      }
      return SNMP_ERR_GENERR;
  }
}

}  // namespace

int handle_vrrpNodeVersion(netsnmp_mib_handler*, netsnmp_handler_registration*,
                           netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
  const S32 vrrpVersion = 2;
  return answerConstant("vrrpNodeVersion", vrrpVersion, reqinfo, requests);
}

int handle_vrrpNotificationCntl(netsnmp_mib_handler*, netsnmp_handler_registration*,
                                netsnmp_agent_request_info* reqinfo,
                                netsnmp_request_info* requests) {
  // Whether notifications go out is the agent's notification configuration's business;
  // the MIB object always reads enabled.
  const S32 enabled = 1;
  return answerConstant("vrrpNotificationCntl", enabled, reqinfo, requests);
}

namespace VrrpMIBImpl {

void registerScalars(const Kiv::String8& context) {
  if (snmpTrace().enabled(1)) {
    traceOid(vrrpNodeVersion_oid, OID_LENGTH(vrrpNodeVersion_oid), context);
    traceOid(vrrpNotificationCntl_oid, OID_LENGTH(vrrpNotificationCntl_oid), context);
  }
  // The registrations carry no context name: initialising a further context registers them
  // again in the default one, and the agent's refusal of the duplicate is harmless.
  registerScalar("vrrpNodeVersion", handle_vrrpNodeVersion, vrrpNodeVersion_oid,
                 OID_LENGTH(vrrpNodeVersion_oid), HANDLER_CAN_RONLY, context,
                 "reg_vrrpNodeVersion");
  registerScalar("vrrpNotificationCntl", handle_vrrpNotificationCntl, vrrpNotificationCntl_oid,
                 OID_LENGTH(vrrpNotificationCntl_oid), HANDLER_CAN_RWRITE, context,
                 "reg_vrrpNotificationCntl");
}

}  // namespace VrrpMIBImpl
