#include "tests/integration/DaemonHealth.h"

#include <iterator>
#include <sstream>
#include <string_view>

namespace Harness {
namespace {

std::string procField(pid_t pid, const char* file, const std::string& name) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/" + file);
  for (std::string line; std::getline(in, line);) {
    if (line.rfind(name + ":", 0) == 0) return line.substr(name.size() + 1);
  }
  return "";
}

}  // namespace

bool sanitizedBuild() {
#ifdef FHRP_SANITIZED_BUILD
  return true;
#else
  return false;
#endif
}

Env daemonCheckEnvironment() {
  if (!sanitizedBuild()) return {};
  return {{"ASAN_OPTIONS",
           "detect_leaks=1:leak_check_at_exit=1:exitcode=23:quarantine_size_mb=8:"
           "thread_local_quarantine_size_kb=64"},
          {"UBSAN_OPTIONS", "halt_on_error=1:print_stacktrace=1"}};
}

long residentKb(pid_t pid) {
  const std::string value = procField(pid, "status", "VmRSS");
  return value.empty() ? -1 : std::stol(value);
}

std::uint64_t bytesRead(pid_t pid) {
  const std::string value = procField(pid, "io", "rchar");
  return value.empty() ? 0 : std::stoull(value);
}

long residentSlackKb() {
  return sanitizedBuild() ? 12 * 1024 : 2 * 1024;
}

std::vector<VarBind> masked(std::vector<VarBind> vbs) {
  for (auto& vb : vbs) {
    if (vb.type == "Timeticks") vb.value = "(ticks)";
  }
  return vbs;
}

std::vector<unsigned long> oidParts(const std::string& oid) {
  std::vector<unsigned long> parts;
  try {
    for (std::size_t pos = oid.rfind('.', 0) == 0 ? 1 : 0; pos < oid.size();) {
      std::size_t dot = oid.find('.', pos);
      if (dot == std::string::npos) dot = oid.size();
      parts.push_back(std::stoul(oid.substr(pos, dot - pos)));
      pos = dot + 1;
    }
  } catch (const std::exception&) {
    return {};
  }
  return parts;
}

std::string orderProblem(const std::vector<VarBind>& vbs, const std::string& root) {
  std::vector<unsigned long> previous;
  for (std::size_t i = 0; i < vbs.size(); ++i) {
    std::vector<unsigned long> parts = oidParts(vbs[i].oid);
    std::ostringstream problem;
    if (vbs[i].oid.rfind(root + ".", 0) != 0 || parts.empty()) {
      problem << "binding " << i << " outside " << root << ": " << vbs[i];
    } else if (i > 0 && !(previous < parts)) {
      problem << "binding " << i << " not after " << vbs[i - 1].oid << ": " << vbs[i];
    }
    if (!problem.str().empty()) return problem.str();
    previous = std::move(parts);
  }
  return "";
}

LogCounter::LogCounter(std::filesystem::path path, std::string substring)
    : path_(std::move(path)), substring_(std::move(substring)) {}

std::size_t LogCounter::count() {
  std::ifstream in(path_, std::ios::binary);
  if (!in) return count_;
  in.seekg(offset_);
  std::string added((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  offset_ += static_cast<std::streamoff>(added.size());
  partial_ += added;
  std::size_t start = 0;
  for (std::size_t end; (end = partial_.find('\n', start)) != std::string::npos; start = end + 1) {
    if (std::string_view(partial_).substr(start, end - start).find(substring_) !=
        std::string_view::npos) {
      ++count_;
    }
  }
  partial_.erase(0, start);
  return count_;
}

}  // namespace Harness
