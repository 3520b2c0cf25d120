// SPDX-License-Identifier: Apache-2.0
#pragma once
// What every reply of the agent to a community-based request must satisfy, whatever the
// request: it is a well-formed response; a GET answers exactly the names asked; GETNEXT and
// GETBULK move strictly forward from the names asked (or from the previous repetition), so
// that no manager's walk can loop; and a SET with anything in it is refused.
#include <string_view>

namespace FhrpFuzz {

// Stops the process (KIV_ASSERT) on a reply that breaks one of these. Requests that are not
// SNMPv1 or SNMPv2c requests, and error replies to reads, are not judged.
void checkReply(std::string_view request, std::string_view reply);

}  // namespace FhrpFuzz
