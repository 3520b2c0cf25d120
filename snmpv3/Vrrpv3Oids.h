// SPDX-License-Identifier: Apache-2.0
#pragma once
// Every OID of the VRRPv3-MIB this module serves or sends, in one place.
#include "platform/Snmp/NetSnmp.h"

namespace Vrrpv3Snmp::Oids {

// vrrpv3MIB = mib-2 207.
inline constexpr oid kOperationsTable[] = {1, 3, 6, 1, 2, 1, 207, 1, 1, 1};
inline constexpr oid kAssociatedIpAddrTable[] = {1, 3, 6, 1, 2, 1, 207, 1, 1, 2};
inline constexpr oid kStatisticsTable[] = {1, 3, 6, 1, 2, 1, 207, 1, 2, 5};
// vrrpv3RouterChecksumErrors .1, VersionErrors .2, VrIdErrors .3,
// vrrpv3GlobalStatisticsDiscontinuityTime .4 (each with instance .0).
inline constexpr oid kRouterStatistics[] = {1, 3, 6, 1, 2, 1, 207, 1, 2};

inline constexpr oid kSnmpTrapOid[] = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};
inline constexpr oid kNewMaster[] = {1, 3, 6, 1, 2, 1, 207, 0, 1};
inline constexpr oid kProtoError[] = {1, 3, 6, 1, 2, 1, 207, 0, 2};
// Columns the notifications carry: vrrpv3OperationsMasterIpAddr,
// vrrpv3StatisticsNewMasterReason, vrrpv3StatisticsProtoErrReason.
inline constexpr oid kMasterIpAddrColumn = 3;
inline constexpr oid kNewMasterReasonColumn = 2;
inline constexpr oid kProtoErrReasonColumn = 6;

}  // namespace Vrrpv3Snmp::Oids
