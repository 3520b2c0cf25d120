// SPDX-License-Identifier: Apache-2.0
// walk-rate: walks one subtree of an agent with GETBULK exactly as snmpbulkwalk does and
// reports how many varbinds per second the agent delivers. The clock runs only around the
// walks, so a table of 16 rows is measured as fairly as one of 16384 (a tool started per
// walk would mostly measure its own start-up).
//
//   walk-rate --peer ADDR (--oid OID | --get OID...) [--community NAME] [--max-repetitions R]
//             [--samples K] [--min-seconds S]
//
// With --get (repeatable) it sends one GET of those instances instead of a walk, again and
// again: what a poller that asks for known rows costs, and what an index naming no row costs.
//
// Each sample repeats the walk until at least S seconds have passed; the best of K samples
// counts. Prints one line: varbinds=V requests=Q rate=R (varbinds per second) ms_per_walk=M
// total_varbinds=T (every varbind received, the first walk included) absent=A (varbinds of a
// walk answered noSuchObject or noSuchInstance; a GET's only).
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/Snmp/NetSnmp.h"

namespace {

struct Options {
  std::string peer, community = "public", oid;
  std::vector<std::string> gets;
  long maxRepetitions = 25;
  int samples = 5;
  double minSeconds = 0.3;
};

[[noreturn]] void usage() {
  std::fprintf(stderr,
               "usage: walk-rate --peer ADDR (--oid OID | --get OID...) [--community NAME] "
               "[--max-repetitions R] [--samples K] [--min-seconds S]\n");
  std::exit(2);
}

Options parse(int argc, char** argv) {
  Options o;
  for (int i = 1; i < argc; ++i) {
    if (i + 1 >= argc) usage();
    std::string flag = argv[i], value = argv[++i];
    if (flag == "--peer")
      o.peer = value;
    else if (flag == "--community")
      o.community = value;
    else if (flag == "--oid")
      o.oid = value;
    else if (flag == "--get")
      o.gets.push_back(value);
    else if (flag == "--max-repetitions")
      o.maxRepetitions = std::stol(value);
    else if (flag == "--samples")
      o.samples = std::stoi(value);
    else if (flag == "--min-seconds")
      o.minSeconds = std::stod(value);
    else
      usage();
  }
  if (o.peer.empty() || o.oid.empty() == o.gets.empty() || o.maxRepetitions < 1 || o.samples < 1) {
    usage();
  }
  return o;
}

// Numeric OIDs only: no MIB is loaded.
std::vector<oid> numericOid(const std::string& text) {
  std::vector<oid> out;
  std::istringstream in(text[0] == '.' ? text.substr(1) : text);
  std::string part;
  while (std::getline(in, part, '.')) out.push_back(std::stoul(part));
  if (out.empty()) throw std::runtime_error("bad OID " + text);
  return out;
}

struct Walk {
  long varbinds = 0;
  long requests = 0;
  long absent = 0;
};

class Walker {
 public:
  explicit Walker(const Options& o)
      : root_(numericOid(o.gets.empty() ? o.oid : o.gets.front())),
        maxRepetitions_(o.maxRepetitions) {
    for (const std::string& name : o.gets) gets_.push_back(numericOid(name));
    netsnmp_session s;
    snmp_sess_init(&s);
    s.peername = const_cast<char*>(o.peer.c_str());
    s.version = SNMP_VERSION_2c;
    s.community = reinterpret_cast<u_char*>(const_cast<char*>(o.community.c_str()));
    s.community_len = o.community.size();
    s.timeout = 5 * 1000 * 1000;
    s.retries = 0;
    session_ = snmp_open(&s);
    if (!session_) throw std::runtime_error("cannot open a session to " + o.peer);
  }
  ~Walker() { snmp_close(session_); }
  Walker(const Walker&) = delete;
  Walker& operator=(const Walker&) = delete;

  Walk run() { return gets_.empty() ? walk() : get(); }

 private:
  // The response to pdu, or an exception.
  netsnmp_pdu* ask(netsnmp_pdu* pdu) {
    netsnmp_pdu* response = nullptr;
    const int status = snmp_synch_response(session_, pdu, &response);
    if (status != STAT_SUCCESS || !response || response->errstat != SNMP_ERR_NOERROR) {
      if (response) snmp_free_pdu(response);
      throw std::runtime_error("request failed: " +
                               std::string(status == STAT_TIMEOUT ? "timeout" : "error"));
    }
    return response;
  }

  Walk get() {
    Walk w;
    netsnmp_pdu* pdu = snmp_pdu_create(SNMP_MSG_GET);
    for (const std::vector<oid>& name : gets_) snmp_add_null_var(pdu, name.data(), name.size());
    netsnmp_pdu* response = ask(pdu);
    w.requests = 1;
    for (netsnmp_variable_list* v = response->variables; v; v = v->next_variable) {
      ++w.varbinds;
      if (v->type == SNMP_NOSUCHOBJECT || v->type == SNMP_NOSUCHINSTANCE) ++w.absent;
    }
    snmp_free_pdu(response);
    return w;
  }

  Walk walk() {
    Walk w;
    std::vector<oid> name = root_;
    for (bool more = true; more;) {
      netsnmp_pdu* pdu = snmp_pdu_create(SNMP_MSG_GETBULK);
      pdu->non_repeaters = 0;
      pdu->max_repetitions = maxRepetitions_;
      snmp_add_null_var(pdu, name.data(), name.size());
      netsnmp_pdu* response = ask(pdu);
      ++w.requests;
      more = false;
      for (netsnmp_variable_list* v = response->variables; v; v = v->next_variable) {
        if (v->type == SNMP_ENDOFMIBVIEW || v->type == SNMP_NOSUCHOBJECT ||
            v->type == SNMP_NOSUCHINSTANCE ||
            snmp_oidtree_compare(root_.data(), root_.size(), v->name, v->name_length) != 0) {
          more = false;
          break;
        }
        if (snmp_oid_compare(name.data(), name.size(), v->name, v->name_length) >= 0) {
          snmp_free_pdu(response);
          throw std::runtime_error("OID not increasing");
        }
        ++w.varbinds;
        name.assign(v->name, v->name + v->name_length);
        more = true;
      }
      snmp_free_pdu(response);
    }
    return w;
  }

  std::vector<oid> root_;
  std::vector<std::vector<oid>> gets_;
  long maxRepetitions_;
  netsnmp_session* session_ = nullptr;
};

}  // namespace

int main(int argc, char** argv) {
  Options o = parse(argc, argv);
  setenv("MIBS", "", 1);
  netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
  init_snmp("walk-rate");
  try {
    Walker walker(o);
    const Walk first = walker.run();  // also warms both ends up
    using Clock = std::chrono::steady_clock;
    double bestRate = 0, bestMs = 0;
    long total = first.varbinds;
    for (int s = 0; s < o.samples; ++s) {
      long walks = 0, varbinds = 0;
      const auto start = Clock::now();
      double elapsed = 0;
      do {
        varbinds += walker.run().varbinds;
        ++walks;
        elapsed = std::chrono::duration<double>(Clock::now() - start).count();
      } while (elapsed < o.minSeconds);
      total += varbinds;
      const double rate = varbinds / elapsed;
      if (rate > bestRate) {
        bestRate = rate;
        bestMs = elapsed * 1000 / walks;
      }
    }
    std::printf(
        "varbinds=%ld requests=%ld rate=%.0f ms_per_walk=%.3f total_varbinds=%ld absent=%ld\n",
        first.varbinds, first.requests, bestRate, bestMs, total, first.absent);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "walk-rate: %s: %s\n", o.peer.c_str(), e.what());
    snmp_shutdown("walk-rate");
    return 1;
  }
  snmp_shutdown("walk-rate");
  return 0;
}
