// SPDX-License-Identifier: Apache-2.0
#pragma once
// CAP_NET_RAW, held only as long as opening raw sockets takes. The advertisement listener (the
// one user) opens its raw sockets when the FRR source starts and hears interfaces that appear
// later through group memberships on unprivileged sockets, so nothing needs the capability
// after that start; a state document needs none at all. Dropped, it is gone for good: a
// compromised process can neither sniff nor forge packets with it, nor hand it to a program it
// runs.
namespace Host {

// Drops CAP_NET_RAW from the process's effective, permitted, inheritable and ambient sets, and
// from its bounding set where the process may change that (it needs CAP_SETPCAP: root can, the
// unit's user cannot, and with its permitted set empty and no new privileges it never regains
// it). One line says from which sets, and `why`; none when the process held it nowhere.
void dropNetRaw(const char* why);

}  // namespace Host
