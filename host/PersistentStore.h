// SPDX-License-Identifier: Apache-2.0
#pragma once
// Where net-snmp keeps what must outlive the process: the engine ID, the boot counter (SNMPv3
// managers follow it to refuse replayed messages) and the SNMPv3 users made with createUser.
// It must be private to fhrp-snmpd: whoever may write there may add users and access rules.
#include "kiv/Types.h"

namespace Host {

// SNMP_PERSISTENT_DIR, else /var/lib/fhrp-snmp for root, else $TMPDIR/fhrp-snmpd-UID (TMPDIR
// defaulting to /tmp); relative paths are taken from the working directory. That last, the
// fallback, sits where every user may create files: it is created 0700, and refused with
// Kiv::RangeException (one line) when it is there already as a symbolic link, as something
// other than a folder, with another owner, or writable by its group or others.
Kiv::String8 persistentDirectory();

}  // namespace Host
