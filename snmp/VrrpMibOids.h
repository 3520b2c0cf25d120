// SPDX-License-Identifier: Apache-2.0
#pragma once
// The VRRP-MIB's object identifiers (RFC 2787, vrrpMIB 1.3.6.1.2.1.68), each written once: the
// scalars, the tables and the notification refer to them by name.
#include "platform/Snmp/NetSnmp.h"

// vrrpOperations: the two scalars and the two served tables.
inline constexpr oid vrrpNodeVersion_oid[] = {1, 3, 6, 1, 2, 1, 68, 1, 1};
inline constexpr oid vrrpNotificationCntl_oid[] = {1, 3, 6, 1, 2, 1, 68, 1, 2};
inline constexpr oid vrrpOperTable_oid[] = {1, 3, 6, 1, 2, 1, 68, 1, 3};
inline constexpr oid vrrpAssoIpAddrTable_oid[] = {1, 3, 6, 1, 2, 1, 68, 1, 4};
// vrrpOperEntry.vrrpOperMasterIpAddr, the column: a notification appends ifIndex and vrId.
inline constexpr oid vrrpOperMasterIpAddrOid[] = {1, 3, 6, 1, 2, 1, 68, 1, 3, 1, 7};

// vrrpNotifications.vrrpTrapNewMaster
inline constexpr oid vrrpTrapNewMasterOid[] = {1, 3, 6, 1, 2, 1, 68, 0, 1};
